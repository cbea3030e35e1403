// Osl_UnicodeConfiguration::Init and the tables of encodings, languages and
// Windows encodings: filled from the locale library and locale.ini, read by
// the look-ups below.
#include <cstdlib>
#include <fstream>
#include <string>
#include <utility>

#include "plinth/config/ini.h"
#include "plinth/errors/qln_error.h"
#include "plinth/i18n/i18n_aux.h"
#include "plinth/i18n/unicode_configuration.h"
#include "plinth/i18n/unicode_converter.h"
#include "plinth/platform/gc/gc_locale_data.h"
#include "plinth/platform/os/os_tokenizer.h"
#include "plinth/platform/stream_file.h"

const char Osl_UnicodeConfiguration::LocaleIni[] = "locale.ini";
const char Osl_UnicodeConfiguration::EncodingPrefix[] = "encoding";
const char Osl_UnicodeConfiguration::LanguagePrefix[] = "lang";
const char Osl_UnicodeConfiguration::WinEncodingPrefix[] = "win_encoding";
const char Osl_UnicodeConfiguration::FixFontPrefix[] = "fix_font";
const char Osl_UnicodeConfiguration::VarFontPrefix[] = "var_font";
const char Osl_UnicodeConfiguration::FixFontFilePrefix[] = "fix_file";
const char Osl_UnicodeConfiguration::VarFontFilePrefix[] = "var_file";
const char Osl_UnicodeConfiguration::EncLangName[] = "name";
const char Osl_UnicodeConfiguration::EncDescription[] = "description";
const char Osl_UnicodeConfiguration::EncLangLegacySupported[] = "legacy";
const char Osl_UnicodeConfiguration::EncLangUnicodeSupported[] = "unicode";
const char Osl_UnicodeConfiguration::EncIBMSupported[] = "ibm";
const char Osl_UnicodeConfiguration::EncDBCSSupported[] = "dbcs";
const char Osl_UnicodeConfiguration::WinEncodingName[] = "win_encoding_name";

namespace {

// Failures carry the class's name, wherever its code lives.
const char SourceName[] = "unicode_configuration";

[[noreturn]] void Fail(std::string const& text, long code, long line) {
  throw QLNError(text, code, 12, SourceName, line);
}

bool StartsWith(std::string const& name, const char* prefix) { return name.rfind(prefix, 0) == 0; }

// The names of one kind, in the order the locale library reports them.
using EnumContext = std::pair<int, std::list<std::string>*>;

// Reads one group of locale.ini: each key with its default, expanded.
class GroupReader {
public:
  GroupReader(Ini const& ini, std::string const& group) : m_Ini(ini), m_Group(group) {}

  std::string Text(const char* key) const { return m_Ini.GetKeyValue(m_Group, key, "", true); }
  // Exactly "true"; every other spelling is false.
  bool Flag(const char* key) const { return m_Ini.GetKeyValue(m_Group, key, "false", true) == "true"; }
  void List(const char* key, std::list<std::string>& out) const {
    os_tokenizer commas;
    commas.separators(",");
    for (std::string& token : commas.tokenize(Text(key))) out.push_back(std::move(token));
  }

private:
  Ini const& m_Ini;
  std::string const& m_Group;
};

// The first entry whose name matches, ignoring case; null when none.
template <class Table>
auto FirstNamed(Table& table, std::string const& name) -> decltype(&table.front()) {
  for (auto& entry : table)
    if (i18n_aux::StrCmpI(entry.name, name)) return &entry;
  return nullptr;
}

}  // namespace

void Osl_UnicodeConfiguration::Init(InitParameters const& params) {
  if (m_bInitialized) return;
  Trace("init_params.mode: " + params.mode);
  m_LocaleDir = params.locale_dir;
  if (params.mode != "cjk") return;
  m_bUnicodeMode = true;
  m_DefaultEncoding = params.default_encoding;
  if (const char* forced = std::getenv("ORB_DEFAULT_ENCODING")) m_DefaultEncoding = forced;
  if (m_LocaleDir.empty()) Fail("Locale Dir is not set", 98, __LINE__);
  Trace("m_LocaleDir: " + m_LocaleDir);
  Trace("m_DefaultEncoding: " + m_DefaultEncoding);
  const int started = GCInit(m_LocaleDir.c_str(), 0, 0, 0, 0);
  if (started != 0 && started != GC_INIT_AGAIN) Fail("Cannot initialize Global C with " + m_LocaleDir, started, __LINE__);
  SetCurrentEncoding(m_DefaultEncoding);

  std::list<std::string> names;
  GetEncodings(names);
  for (std::string& name : names) m_Encodings.emplace_back().name = std::move(name);
  names.clear();
  GetLanguages(names);
  for (std::string& name : names) m_Languages.emplace_back().name = std::move(name);

  ReadLocaleIni();

  try {
    Osl_UnicodeConverter::GetLocaleUTF8();
    Osl_UnicodeConverter::GetCurrentLocale();
  } catch (QLNError const& error) {
    const std::string text =
        "Cannot get UTF8 locale, probably there is no locale dir: " + m_LocaleDir + " : " + error.What();
    Trace(text);
    Fail(text, 99, __LINE__);
  }
  m_bInitialized = true;
}

// Values are written into the entries key by key, so a failure half-way
// leaves what was read up to it, as the tables stand at that moment.
void Osl_UnicodeConfiguration::ReadLocaleIni() {
  const std::string path = m_LocaleDir + "/" + LocaleIni;
  try {
    // The path is used as it stands: no conversion from UTF-8.
    std::fstream file;
    if (!plinth::platform::open_close_on_exec(*file.rdbuf(), path.c_str(), std::ios::in | std::ios::binary))
      file.setstate(std::ios::failbit);
    Ini ini(file, true);
    for (IniGroupIterator it = ini.begin(); it != ini.end(); ++it) {
      const Group current = *it;
      const std::string& group = current.m_sGroupName;
      const GroupReader keys(ini, group);
      if (StartsWith(group, EncodingPrefix)) {
        Encoding* entry = FirstNamed(m_Encodings, keys.Text(EncLangName));
        if (!entry) continue;
        entry->description = keys.Text(EncDescription);
        entry->legacy = keys.Flag(EncLangLegacySupported);
        entry->unicode = keys.Flag(EncLangUnicodeSupported);
        entry->ibm = keys.Flag(EncIBMSupported);
        entry->dbcs = keys.Flag(EncDBCSSupported);
        entry->win_encoding_name = keys.Text(WinEncodingName);
      } else if (StartsWith(group, LanguagePrefix)) {
        Language* entry = FirstNamed(m_Languages, keys.Text(EncLangName));
        if (!entry) continue;
        entry->legacy = keys.Flag(EncLangLegacySupported);
        entry->unicode = keys.Flag(EncLangUnicodeSupported);
        entry->win_encoding_name = keys.Text(WinEncodingName);
      } else if (StartsWith(group, WinEncodingPrefix)) {
        WinEncoding& entry = m_WinEncodings.emplace_back();
        entry.name = keys.Text(EncLangName);
        keys.List(FixFontPrefix, entry.fix_fonts);
        keys.List(VarFontPrefix, entry.var_fonts);
        keys.List(FixFontFilePrefix, entry.fix_files);
        keys.List(VarFontFilePrefix, entry.var_files);
      }
    }
  } catch (QLNError const& error) {
    // No failure: the process goes on with the bare names of the library.
    Trace("Error read locale file " + path + " : " + error.What());
  }
}

bool Osl_UnicodeConfiguration::CompareEncodings(Encoding const& first, Encoding const& second) {
  return first.name < second.name;
}

int Osl_UnicodeConfiguration::EnumLocalesProc(void* context, int kind, char const* name) {
  auto* wanted = static_cast<EnumContext*>(context);
  if (kind == wanted->first) wanted->second->push_back(name);
  return 1;
}

// ---- Look-ups -----------------------------------------------------------------

Osl_UnicodeConfiguration::Encoding Osl_UnicodeConfiguration::FindEncoding(std::string const& name) const {
  if (const Encoding* entry = FirstNamed(m_Encodings, name)) return *entry;
  Fail("Failed to retrieve encoding info from " + name, 99, __LINE__);
}

Osl_UnicodeConfiguration::WinEncoding Osl_UnicodeConfiguration::FindWinEncoding(std::string const& name) const {
  if (const WinEncoding* entry = FirstNamed(m_WinEncodings, name)) return *entry;
  Fail("Falure to retrieve info for windows encoding " + name, 99, __LINE__);
}

Osl_UnicodeConfiguration::Language Osl_UnicodeConfiguration::FindLanguage(std::string const& name) const {
  if (const Language* entry = FirstNamed(m_Languages, name)) return *entry;
  Fail("Falure to retrieve info for language " + name, 99, __LINE__);
}

void Osl_UnicodeConfiguration::GetEncodings(std::list<std::string>& names) const {
  EnumContext wanted(GC_LOCALE_ENCODING, &names);
  GCEnumLocales(&EnumLocalesProc, &wanted, 0);
}

void Osl_UnicodeConfiguration::GetLanguages(std::list<std::string>& names) const {
  EnumContext wanted(GC_LOCALE_LANGUAGE, &names);
  GCEnumLocales(&EnumLocalesProc, &wanted, 0);
}

void Osl_UnicodeConfiguration::GetWinEncodings(std::list<std::string>& names) const {
  for (const WinEncoding& entry : m_WinEncodings) names.push_back(entry.name);
}

std::string Osl_UnicodeConfiguration::GetEncodingDescription(std::string const& encoding) {
  return FindEncoding(encoding).description;
}
bool Osl_UnicodeConfiguration::IsLegacySupportedEncoding(std::string const& encoding) const {
  return FindEncoding(encoding).legacy;
}
bool Osl_UnicodeConfiguration::IsUNICODESupportedEncoding(std::string const& encoding) const {
  return FindEncoding(encoding).unicode;
}
bool Osl_UnicodeConfiguration::IsIBMEncoding(std::string const& encoding) const { return FindEncoding(encoding).ibm; }
bool Osl_UnicodeConfiguration::IsDBCSEncoding(std::string const& encoding) const { return FindEncoding(encoding).dbcs; }
std::string Osl_UnicodeConfiguration::Encoding2WindowsEncoding(std::string const& encoding) {
  return FindEncoding(encoding).win_encoding_name;
}
bool Osl_UnicodeConfiguration::IsLegacySupportedLanguage(std::string const& language) const {
  return FindLanguage(language).legacy;
}
bool Osl_UnicodeConfiguration::IsUNICODESupportedLanguage(std::string const& language) const {
  return FindLanguage(language).unicode;
}
std::string Osl_UnicodeConfiguration::Language2WindowsEncoding(std::string const& language) {
  return FindLanguage(language).win_encoding_name;
}

// The Windows encoding has to exist; the scan then compares byte for byte.
void Osl_UnicodeConfiguration::WindowsEncoding2Encoding(std::string const& win, std::list<std::string>& names) const {
  FindWinEncoding(win);
  for (const Encoding& entry : m_Encodings)
    if (entry.win_encoding_name == win) names.push_back(entry.name);
}

void Osl_UnicodeConfiguration::WindowsEncoding2Language(std::string const& win, std::list<std::string>& names) const {
  FindWinEncoding(win);
  for (const Language& entry : m_Languages)
    if (entry.win_encoding_name == win) names.push_back(entry.name);
}

namespace {
void Append(std::list<std::string> const& from, std::list<std::string>& to) { to.insert(to.end(), from.begin(), from.end()); }
}  // namespace

void Osl_UnicodeConfiguration::WindowsEncoding2FixedFonts(std::string const& win, std::list<std::string>& fonts) const {
  Append(FindWinEncoding(win).fix_fonts, fonts);
}
void Osl_UnicodeConfiguration::WindowsEncoding2VariableFonts(std::string const& win,
                                                             std::list<std::string>& fonts) const {
  Append(FindWinEncoding(win).var_fonts, fonts);
}
void Osl_UnicodeConfiguration::WindowsEncoding2FixedFontFileNames(std::string const& win,
                                                                  std::list<std::string>& files) const {
  Append(FindWinEncoding(win).fix_files, files);
}
void Osl_UnicodeConfiguration::WindowsEncoding2VariableFontFileNames(std::string const& win,
                                                                     std::list<std::string>& files) const {
  Append(FindWinEncoding(win).var_files, files);
}

std::string Osl_UnicodeConfiguration::GetLanguageAbbreviatedName(std::string const& language) {
  int error = 0;
  GCLocale* locale = GCGetLocale(language.c_str(), 0, &error);
  if (error != 0 || !locale) Fail("Failure to create a locale for language: " + language, error, __LINE__);
  char buffer[10];
  const int length = GCGetLocaleTextInfo(locale, GC_TEXT_ABBREVIATED_LANGUAGE, buffer, sizeof buffer, 0);
  if (length == -1) {
    const int code = GCGetError(locale);
    GCReleaseLocale(locale, 0);
    Fail("Failure to retrieve info for language: " + language, code, __LINE__);
  }
  std::string abbreviated(buffer, static_cast<size_t>(length));
  GCReleaseLocale(locale, 0);
  return abbreviated;
}
