#include "plinth/config/ini.h"

#include <array>
#include <memory>
#include <set>
#include <utility>

#include "plinth/errors/qln_error.h"
#include "plinth/i18n/environment.h"
#include "plinth/i18n/file_streams.h"
#include "plinth/i18n/unicode_configuration.h"

namespace {

// ---- Where Ini meets files and the environment ------------------------------
// The grammar, look-ups and writer below see only streams and strings.

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

// Closing flushes; a write that failed on the way shows in the fail bit.
bool CloseIniAfterWriting(Osl_Ofstream& file) {
  file.close();
  return !file.fail();
}

bool ReadIniVariable(const std::string& name, std::string& value) {
  const EnvStatus status = Osl_UnicodeConfiguration::Instance()->IsCJKMode() ? WEnv::WGetEnvU(name, value)
                                                                             : WEnv::WGetEnvL(name, value);
  return status != ENV_NOT_SET;
}

// ---- Grammar helpers -----------------------------------------------------------

// Each throw site passes its own line, so that Where() tells which rule of
// the grammar refused the text.
[[noreturn]] void Fail(int number, long line) {
  throw QLNError(Ini::ExceptionNumberToString(number), number, 12, "ini", line);
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

size_t SkipBlanks(const std::string& line, size_t pos) {
  while (pos < line.size() && IsBlank(line[pos])) ++pos;
  return pos;
}

void TrimWhiteSpace(std::string& line) {
  static const char kWhite[] = "\t\n\r ";
  const size_t last = line.find_last_not_of(kWhite);
  if (last == std::string::npos) {
    line.clear();
    return;
  }
  line.erase(last + 1);
  line.erase(0, line.find_first_not_of(kWhite));
}

// Every occurrence of what, left to right; replaced text is not searched again.
void ReplaceAll(std::string& text, const std::string& what, const std::string& with) {
  size_t hit = text.find(what);
  if (hit == std::string::npos) return;
  std::string out;
  size_t pos = 0;
  for (; hit != std::string::npos; hit = text.find(what, pos)) {
    out.append(text, pos, hit - pos);
    out += with;
    pos = hit + what.size();
  }
  out.append(text, pos, std::string::npos);
  text.swap(out);
}

// %NAME% from the environment. Names are taken in pairs of signs from the
// left and looked up in byte order; each one that is set replaces all of its
// occurrences literally, also inside what an earlier name brought in.
std::string ExpandEnvironment(std::string text) {
  std::set<std::string> names;
  for (size_t pos = 0;;) {
    const size_t open = text.find('%', pos);
    if (open == std::string::npos) break;
    const size_t close = text.find('%', open + 1);
    if (close == std::string::npos) break;
    if (close > open + 1) names.insert(text.substr(open + 1, close - open - 1));
    pos = close + 1;
  }
  std::string value;
  for (const std::string& name : names)
    if (ReadIniVariable(name, value)) ReplaceAll(text, "%" + name + "%", value);
  return text;
}

}  // namespace

// toupper of the "C" locale, whatever locale the host sets later: the order
// of a map must not change while the map exists.
static inline unsigned char UpperC(unsigned char c) {
  return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - 'a' + 'A') : c;
}

bool StrCmpInSensitive::operator()(std::string const& a, std::string const& b) const {
  const size_t n = a.size() < b.size() ? a.size() : b.size();
  const auto* x = reinterpret_cast<const unsigned char*>(a.data());
  const auto* y = reinterpret_cast<const unsigned char*>(b.data());
  for (size_t i = 0; i < n; ++i) {
    if (x[i] == y[i]) continue;
    const unsigned char ux = UpperC(x[i]);
    const unsigned char uy = UpperC(y[i]);
    if (ux != uy) return ux < uy;
  }
  return a.size() < b.size();
}

// ---- Iterator -------------------------------------------------------------

IniGroupIterator::IniGroupIterator(Ini* ini, bool atEnd)
    : m_pIni(ini), m_Pos(atEnd ? ini->m_Groups.end() : ini->m_Groups.begin()),
      m_End(ini->m_Groups.end()) {
  Settle();
}

void IniGroupIterator::Settle() {
  if (m_Pos == m_End) {
    m_pKeys = nullptr;
    m_sGroupName.clear();
    return;
  }
  m_pKeys = &m_Pos->second;
  m_sGroupName = m_Pos->first;
}

Group IniGroupIterator::operator*() { return Group{m_sGroupName, m_pKeys}; }

IniGroupIterator& IniGroupIterator::operator++() {
  if (m_Pos != m_End) ++m_Pos;
  Settle();
  return *this;
}

IniGroupIterator IniGroupIterator::operator++(int) {
  IniGroupIterator before(*this);
  ++*this;
  return before;
}

bool IniGroupIterator::operator==(const IniGroupIterator& other) const {
  return m_pIni == other.m_pIni && m_Pos == other.m_Pos;
}

// ---- Life and loading -------------------------------------------------------

Ini::Ini(std::string const& file, bool readOnly) { LoadAdd(file, readOnly); }

Ini::Ini(std::istream& in, bool readOnly) : m_bReadOnly(readOnly) { ReadDataFromStream(in); }

Ini::Ini(Ini const& other) = default;
Ini& Ini::operator=(Ini const& other) = default;
Ini::~Ini() = default;

void Ini::Load(std::string const& file, bool readOnly) {
  m_Groups.clear();
  LoadAdd(file, readOnly);
}

void Ini::LoadAdd(std::string const& file, bool readOnly) {
  m_sFileName = file;
  m_bReadOnly = readOnly;
  if (file.empty()) return;
  const std::unique_ptr<std::istream> in = OpenIniForReading(file);
  ReadDataFromStream(*in);
}

// ---- The reader -------------------------------------------------------------

void Ini::ReadDataFromStream(std::istream& in) {
  if (in.fail()) Fail(1, __LINE__);
  Osl_Ifstream_SkipSignature(in);
  std::string line;
  if (!GetNextLine(in, line)) {
    if (in.bad()) Fail(1, __LINE__);
    Fail(5, __LINE__);
  }
  // A header on the last line without a line end is never read as a group:
  // the end of the stream is already known when the loop is first tested.
  while (!in.eof()) {
    std::string name;
    KeyTable keys;
    GetNewGroup(in, line, name, keys);
    // A read error ends the group early; keeping it would lose keys silently.
    if (in.bad()) Fail(1, __LINE__);
    // The first occurrence of a group wins, whole.
    m_Groups.try_emplace(std::move(name), std::move(keys));
  }
}

bool Ini::GetNextLine(std::istream& in, std::string& line) {
  for (;;) {
    if (in.fail()) return false;
    if (!std::getline(in, line)) return false;
    TrimWhiteSpace(line);
    if (!line.empty() && line[0] != ';') return true;
  }
}

void Ini::GetNewGroup(std::istream& in, std::string& line, std::string& groupName, KeyTable& keys) {
  GetGroupName(line);
  groupName = line;
  GetProperties(in, line, keys);
}

void Ini::GetGroupName(std::string& line) {
  size_t pos = SkipBlanks(line, 0);
  if (pos == line.size()) Fail(12, __LINE__);
  if (line[pos] != '[') Fail(7, __LINE__);
  pos = SkipBlanks(line, pos + 1);
  if (pos == line.size() || line[pos] == ']') Fail(9, __LINE__);
  if (line[pos] == ';') Fail(13, __LINE__);
  const size_t start = pos;
  for (; pos < line.size() && line[pos] != ']'; ++pos)
    if (line[pos] == ';') Fail(13, __LINE__);
  if (pos == line.size()) Fail(10, __LINE__);
  const size_t close = pos;
  // Only spaces may stand behind the bracket, then a comment or nothing.
  for (++pos; pos < line.size() && line[pos] == ' ';) ++pos;
  if (pos < line.size() && line[pos] != ';') Fail(11, __LINE__);
  line = line.substr(start, close - start);
}

void Ini::GetProperties(std::istream& in, std::string& line, KeyTable& keys) {
  std::string key;
  std::string value;
  while (!in.eof()) {
    if (!GetNextLine(in, line)) return;
    if (DoesGroupEnd(line)) return;
    GetKey(line, key);
    GetValue(line, value);
    // Of two lines with one key, the first wins.
    keys.try_emplace(key, value);
  }
}

bool Ini::DoesGroupEnd(std::string const& line) {
  size_t pos = 0;
  while (pos < line.size() && line[pos] == ' ') ++pos;
  return pos < line.size() && line[pos] == '[' && line.find(']', pos + 1) != std::string::npos;
}

void Ini::GetKey(std::string& line, std::string& key) {
  size_t pos = SkipBlanks(line, 0);
  if (pos == line.size()) Fail(12, __LINE__);
  if (line[pos] == ';') Fail(15, __LINE__);
  if (line[pos] == '[') Fail(7, __LINE__);
  const size_t start = pos;
  // The first character belongs to the key whatever it is, "=" included.
  for (++pos;; ++pos) {
    if (pos == line.size()) Fail(8, __LINE__);
    const char c = line[pos];
    if (c == '=' || IsBlank(c)) break;
    if (c == ';') Fail(14, __LINE__);
  }
  key.assign(line, start, pos - start);
  if (line[pos] == '=') return;
  pos = SkipBlanks(line, pos);
  if (pos == line.size() || line[pos] != '=') Fail(8, __LINE__);
}

void Ini::GetValue(std::string& line, std::string& value) {
  value.clear();
  size_t pos = line.find('=', 1);
  if (pos == std::string::npos) return;
  pos = SkipBlanks(line, pos + 1);
  size_t end = line.find(';', pos);
  if (end == std::string::npos) end = line.size();
  while (end > pos && IsBlank(line[end - 1])) --end;
  value.assign(line, pos, end - pos);
}

// ---- Look-ups -----------------------------------------------------------------

bool Ini::isGroupExist(std::string const& group) { return m_Groups.find(group) != m_Groups.end(); }

bool Ini::isGroupHasKey(std::string const& group, std::string const& key) const {
  const auto g = m_Groups.find(group);
  return g != m_Groups.end() && g->second.find(key) != g->second.end();
}

std::string Ini::GetKeyValue(std::string const& group, std::string const& key,
                             std::string const& def, bool expandEnvironment) const {
  const auto g = m_Groups.find(group);
  if (g == m_Groups.end()) return def;
  const auto k = g->second.find(key);
  if (k == g->second.end()) return def;
  if (!expandEnvironment || k->second.find('%') == std::string::npos) return k->second;
  return ExpandEnvironment(k->second);
}

std::string Ini::GetString(std::string const& group, std::string const& key,
                           std::string const& def, bool* found) const {
  if (found) *found = isGroupHasKey(group, key);
  return GetKeyValue(group, key, def, true);
}

Ini::KeyTable const* Ini::GetGroupProperty(std::string const& group) {
  const auto g = m_Groups.find(group);
  return g == m_Groups.end() ? nullptr : &g->second;
}

void Ini::GetGroupNames(std::list<std::string>& names) {
  names.clear();
  for (const auto& entry : m_Groups) names.push_back(entry.first);
}

IniGroupIterator Ini::begin() { return IniGroupIterator(this, false); }
IniGroupIterator Ini::end() { return IniGroupIterator(this, true); }

// ---- Changes --------------------------------------------------------------------

bool Ini::SetKeyValue(std::string const& group, std::string const& key, std::string const& value) {
  const auto g = m_Groups.find(group);
  if (g == m_Groups.end()) {
    m_Groups.try_emplace(group, KeyTable{{key, value}});
    return true;
  }
  // Erased and inserted anew, so that this spelling of the key is kept.
  const bool existed = g->second.erase(key) > 0;
  g->second.emplace(key, value);
  return existed;
}

bool Ini::InsertNewGroup(std::string const& group) {
  const bool existed = m_Groups.erase(group) > 0;
  m_Groups.try_emplace(group);
  return existed;
}

void Ini::EraseGroup(std::string const& group) { m_Groups.erase(group); }

void Ini::EraseKey(std::string const& group, std::string const& key) {
  const auto g = m_Groups.find(group);
  if (g != m_Groups.end()) g->second.erase(key);
}

// ---- Writing and errors -----------------------------------------------------------

void Ini::FlushIniDataToFile(std::string const& file) {
  if (m_bReadOnly) Fail(2, __LINE__);
  const std::string& name = file.empty() ? m_sFileName : file;
  if (name.empty()) Fail(3, __LINE__);
  Osl_Ofstream out(name, std::ios::out | std::ios::trunc | std::ios::binary);
  if (!out) Fail(3, __LINE__);
  for (const auto& group : m_Groups) {
    out << '[' << group.first << "]\n";
    for (const auto& entry : group.second) out << entry.first << '=' << entry.second << '\n';
    out << '\n';
  }
  // A full disk must not pass for a written file.
  if (!CloseIniAfterWriting(out)) Fail(3, __LINE__);
}

std::string const& Ini::ExceptionNumberToString(int number) {
  static const std::array<std::string, 16> texts = {
      "",
      "Error opening file",
      "File was opened for input only",
      "Failure to open file before flushing",
      "Group name is expected",
      "Ini file is empty",
      "Unexpected blank space , tab or ;",
      "Unexpected  [",
      " = Expected",
      "No group name",
      "No ] sign ",
      " ] sign doesn't end line ",
      "Empty line",
      "; sign is not allowed inside group name",
      "; sign is not allowed here",
      "Sign ; is not extpected",
  };
  if (number < 0 || number >= static_cast<int>(texts.size())) return texts[0];
  return texts[static_cast<size_t>(number)];
}
