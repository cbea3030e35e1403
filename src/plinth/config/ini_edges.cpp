#include "plinth/config/ini_edges.h"

#include "plinth/i18n/environment.h"
#include "plinth/i18n/file_streams.h"
#include "plinth/i18n/unicode_configuration.h"

namespace plinth_config_detail {

std::unique_ptr<std::istream> OpenIniForReading(const std::string& file) {
  auto in = std::make_unique<Osl_Ifstream>(file, std::ios::in | std::ios::binary);
  // Opening a directory succeeds here; its first read fails. Find that out
  // now, so that it reads as a file that can't be opened, not as an empty one.
  if (in->good()) {
    in->peek();
    if (in->bad()) in->setstate(std::ios::failbit);
    else in->clear();
  }
  return in;
}

int SkipIniSignature(std::istream& in) { return Osl_Ifstream_SkipSignature(in); }

std::unique_ptr<std::ostream> OpenIniForWriting(const std::string& file) {
  return std::make_unique<Osl_Ofstream>(file, std::ios::out | std::ios::trunc | std::ios::binary);
}

bool CloseIniAfterWriting(std::ostream& out) {
  auto& file = static_cast<Osl_Ofstream&>(out);
  file.close();
  return !file.fail();
}

bool ReadIniVariable(const std::string& name, std::string& value) {
  const EnvStatus status = Osl_UnicodeConfiguration::Instance()->IsCJKMode() ? WEnv::WGetEnvU(name, value)
                                                                             : WEnv::WGetEnvL(name, value);
  return status != ENV_NOT_SET;
}

}  // namespace plinth_config_detail
