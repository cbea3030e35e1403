#include "plinth/config/ini_edges.h"

#include <cstdlib>
#include <cstring>
#include <fstream>

namespace plinth_config_detail {

std::unique_ptr<std::istream> OpenIniForReading(const std::string& file) {
  auto in = std::make_unique<std::ifstream>(file, std::ios::in | std::ios::binary);
  // Opening a directory succeeds here; its first read fails. Find that out
  // now, so that it reads as a file that can't be opened, not as an empty one.
  if (in->good()) {
    in->peek();
    if (in->bad()) in->setstate(std::ios::failbit);
    else in->clear();
  }
  return in;
}

int SkipIniSignature(std::istream& in) {
  static const char utf8[3] = {'\xEF', '\xBB', '\xBF'};
  static const char ucs2[2] = {'\xFF', '\xFE'};
  static const char ucs2be[2] = {'\xFE', '\xFF'};
  const std::streampos start = in.tellg();
  char head[3] = {0, 0, 0};
  in.read(head, 3);
  if (in && std::memcmp(head, utf8, 3) == 0) return 1;
  in.seekg(start);
  char two[2] = {0, 0};
  in.read(two, 2);
  if (in && std::memcmp(two, ucs2, 2) == 0) return 2;
  if (in && std::memcmp(two, ucs2be, 2) == 0) return 3;
  in.seekg(start);
  return 0;
}

std::unique_ptr<std::ostream> OpenIniForWriting(const std::string& file) {
  return std::make_unique<std::ofstream>(file, std::ios::out | std::ios::trunc | std::ios::binary);
}

bool CloseIniAfterWriting(std::ostream& out) {
  out.flush();
  auto& file = static_cast<std::ofstream&>(out);
  file.close();
  return !file.fail();
}

bool ReadIniVariable(const std::string& name, std::string& value) {
  value.clear();
  const char* text = std::getenv(name.c_str());
  if (!text) return false;
  value = text;
  return true;
}

}  // namespace plinth_config_detail
