// Any bytes as locale.ini over tables the locale library would have filled:
// reading never throws; a file the INI reader refuses leaves every entry at
// its defaults; otherwise one Windows encoding per "win_encoding" group, no
// empty or comma-holding list item, and only entries that some group names
// (ignoring case) leave their defaults.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "plinth/config.h"
#include "plinth/errors.h"
#include "plinth/i18n.h"

namespace {

struct Reader : Osl_UnicodeConfiguration {
  using Osl_UnicodeConfiguration::ReadLocaleIni;
};

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  return text;
}

bool Clean(const std::list<std::string>& items) {
  for (const std::string& item : items)
    if (item.empty() || item.find(',') != std::string::npos) return false;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string dir = [] {
    char path[] = "/tmp/plinth-fuzz-locale-XXXXXX";
    return std::string(mkdtemp(path));
  }();
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::ofstream(dir + "/locale.ini", std::ios::binary | std::ios::trunc) << text;

  Reader reader;
  reader.m_LocaleDir = dir;
  for (const char* name : {"a", "A", "UTF-8", "b"}) reader.m_Encodings.emplace_back().name = name;
  for (const char* name : {"a", "de"}) reader.m_Languages.emplace_back().name = name;
  reader.ReadLocaleIni();

  std::set<std::string> encodings, languages;
  size_t windows = 0;
  try {
    std::istringstream in(text);
    Ini ini(in, true);
    for (IniGroupIterator it = ini.begin(); it != ini.end(); ++it) {
      const std::string group = (*it).m_sGroupName;
      const std::string name = Upper(ini.GetKeyValue(group, "name", "", true));
      if (group.rfind("encoding", 0) == 0) encodings.insert(name);
      else if (group.rfind("lang", 0) == 0) languages.insert(name);
      else if (group.rfind("win_encoding", 0) == 0) ++windows;
    }
  } catch (const QLNError&) {
  }
  if (reader.m_WinEncodings.size() != windows) __builtin_trap();
  for (const auto& w : reader.m_WinEncodings)
    if (!Clean(w.fix_fonts) || !Clean(w.var_fonts) || !Clean(w.fix_files) || !Clean(w.var_files)) __builtin_trap();
  for (const auto& e : reader.m_Encodings)
    if ((e.legacy || e.unicode || e.ibm || e.dbcs || !e.description.empty() || !e.win_encoding_name.empty()) &&
        !encodings.count(Upper(e.name)))
      __builtin_trap();
  for (const auto& l : reader.m_Languages)
    if ((l.legacy || l.unicode || !l.win_encoding_name.empty()) && !languages.count(Upper(l.name))) __builtin_trap();
  return 0;
}
