// Any bytes as an INI file: the reader either refuses them with one of its
// numbered errors or loads a table that the writer writes and the reader
// reads back unchanged, but for a carriage return at the end of a value cut
// short by a comment (the reader trims it from a whole line). Every value
// also goes through the expansion.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>

#include "plinth/config.h"
#include "plinth/errors.h"

namespace {

std::string Table(Ini& ini) {
  std::string out;
  for (IniGroupIterator it = ini.begin(); it != ini.end(); ++it) {
    const Group g = *it;
    out += g.m_sGroupName + '\0';
    for (const auto& [k, v] : *g.m_pKeys) {
      out += k + '\1' + v.substr(0, v.find_last_not_of("\r\t ") + 1) + '\2';
      (void)ini.GetKeyValue(g.m_sGroupName, k, "", true);
    }
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  try {
    Ini ini(in, false);
    const std::string table = Table(ini);
    if (table.empty()) return 0;  // no group: the writer would write nothing
    static const std::string file = "/tmp/plinth-fuzz-ini-" + std::to_string(getpid()) + ".ini";
    ini.FlushIniDataToFile(file);
    Ini back(file, true);
    std::remove(file.c_str());
    if (Table(back) != table) __builtin_trap();
  } catch (const QLNError& e) {
    if (e.Code() < 1 || e.Code() > 15 || e.What() != Ini::ExceptionNumberToString(static_cast<int>(e.Code())))
      __builtin_trap();
  }
  return 0;
}
