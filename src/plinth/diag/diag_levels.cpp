// Levels of source files and contexts: the levels file read at Initialize,
// and the getters and setters that change levels while the process runs.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

#include "plinth/diag/levels_file.h"
#include "plinth/diag/tdiag.h"
#include "plinth/platform/numbers.h"
#include "plinth/platform/os/os_file.h"
#include "plinth/platform/os/os_stream.h"
#include "plinth/system/tracer.h"

namespace {
// Longest line of a levels file; longer lines are skipped whole.
constexpr size_t kMaxLineLength = 259;
const char* const kLevelsFileName = "DiagLvls.ini";
constexpr int kSmallestPool = 40;
// A pool beyond this helps no thread and could exhaust memory on a typo.
constexpr int kLargestPool = 4096;

bool IsSeparator(char c) { return c == ' ' || c == '=' || c == '\t'; }

using plinth::platform::read_int;
using plinth::platform::read_integer;

// Both levels of a level value; false when it holds no digit from 0 to 7.
bool ParseLevels(std::string_view text, unsigned& debugLevel, unsigned& bufferLevel) {
  const size_t digit = text.find_first_of("01234567");
  if (digit == std::string_view::npos) return false;
  debugLevel = static_cast<unsigned>(read_int(text.substr(digit)));
  const size_t separator = text.find_first_of(" =\t");
  if (separator != std::string_view::npos && separator != 0)
    bufferLevel = static_cast<unsigned>(read_int(text.substr(separator + 1)));
  else
    bufferLevel = debugLevel;
  return true;
}

enum Keyword {
  kNotKeyword,
  kMinimumDbgLvl,
  kEnable,
  kIsCyclic,
  kNumOfFiles,
  kNumOfMessages,
  kIgnoreMinimum,
  kIsBuffer,
  kMemBufferSize,
  kDiagStacksOn,
  kInstallSignals,
  kNumOfFormatObjects,
  kPrintLevelMaps,
  kIsPIDUsed,
  kFlushBufferSize,
  kPrintVersions,
  kRetainDays,
  kApplyCleanup,
};

// Exact match, case included.
Keyword KeywordOf(std::string_view key) {
  static constexpr std::pair<std::string_view, Keyword> kKeywords[] = {
      {"MinimumDbgLvl", kMinimumDbgLvl},
      {"*default", kMinimumDbgLvl},
      {"Enable", kEnable},
      {"IsCyclic", kIsCyclic},
      {"NumOfFiles", kNumOfFiles},
      {"NumOfMessages", kNumOfMessages},
      {"IgnoreMinimum", kIgnoreMinimum},
      {"IsBuffer", kIsBuffer},
      {"MemBufferSize", kMemBufferSize},
      {"DiagStacksOn", kDiagStacksOn},
      {"InstallSignals", kInstallSignals},
      {"NumOfFormatObjects", kNumOfFormatObjects},
      {"PrintLevelMaps", kPrintLevelMaps},
      {"IsPIDUsed", kIsPIDUsed},
      {"FlushBufferSize", kFlushBufferSize},
      {"PrintVersions", kPrintVersions},
      {"RetainDays", kRetainDays},
      {"ApplyCleanup", kApplyCleanup},
  };
  for (const auto& [name, keyword] : kKeywords)
    if (name == key) return keyword;
  return kNotKeyword;
}

// The keyword that key spells in other case, or empty.
std::string_view KeywordInOtherCase(std::string_view key) {
  static constexpr std::string_view kNames[] = {
      "MinimumDbgLvl", "Enable",          "IsCyclic",       "NumOfFiles", "NumOfMessages", "IgnoreMinimum",
      "IsBuffer",      "MemBufferSize",   "DiagStacksOn",   "InstallSignals", "NumOfFormatObjects",
      "PrintLevelMaps", "IsPIDUsed",      "FlushBufferSize", "PrintVersions", "RetainDays", "ApplyCleanup"};
  auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; };
  for (std::string_view name : kNames) {
    if (name.size() != key.size() || name == key) continue;
    bool same = true;
    for (size_t i = 0; same && i < name.size(); ++i) same = lower(name[i]) == lower(key[i]);
    if (same) return name;
  }
  return {};
}

// Reads a levels file line by line and calls
// fn(lineNumber, text, skipped, key, value) for each line that is no comment
// and not empty: skipped is null for a line split into key and value, else
// why the line was passed over. Ends at the end of the stream or when it
// goes bad.
template <class Fn>
void ForEachLevelsLine(std::istream& in, Fn fn) {
  // Room for a line of the longest length, its CR and the terminator.
  char buffer[kMaxLineLength + 2];
  std::string key, value;
  for (unsigned number = 1;; ++number) {
    in.getline(buffer, sizeof buffer);
    const std::streamsize extracted = in.gcount();
    if (in.bad()) return;
    if (in.fail()) {
      if (in.eof() || extracted == 0) return;
      // Over-long: skip the rest of it and read on.
      in.clear();
      in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
      fn(number, std::string_view(buffer, std::strlen(buffer)), "longer than 259 characters", key, value);
      if (in.bad()) return;
      continue;
    }
    // gcount counts the line end when one was taken.
    size_t length = static_cast<size_t>(extracted) - (in.eof() ? 0 : 1);
    if (length > 0 && buffer[length - 1] == '\r') --length;
    const std::string_view text(buffer, length);
    if (length > kMaxLineLength) {
      fn(number, text, "longer than 259 characters", key, value);
    } else if (length != 0 && buffer[0] != '#') {
      size_t separator = 0;
      while (separator < length && !IsSeparator(buffer[separator])) ++separator;
      if (separator == 0) {
        fn(number, text, "it begins with a separator: blank, \"=\" or tab", key, value);
      } else if (separator == length) {
        fn(number, text, "no separator: blank, \"=\" or tab", key, value);
      } else {
        key.assign(buffer, separator);
        value.assign(buffer + separator + 1, length - separator - 1);
        fn(number, text, nullptr, key, value);
      }
    }
    if (in.eof()) return;
  }
}
}  // namespace

// ---- reading the levels file ----

bool TDiag::OpenLvlsFile(os_ifstream& file) {
  const std::string prefix = m_sIniPath.empty() ? std::string() : m_sIniPath + "/";
  const std::string name = m_pOutputFileName ? m_pOutputFileName : "";
  std::string candidates[3];
  candidates[0] = prefix + name + (m_sLogicalName.empty() ? "" : "." + m_sLogicalName) + "_" + kLevelsFileName;
  candidates[1] = prefix + name + "_" + kLevelsFileName;
  candidates[2] = prefix + kLevelsFileName;
  for (const std::string& candidate : candidates) {
    // A directory, pipe or device under the name is no levels file: a pipe
    // would block the open, a device might never end.
    if (!os_file_system::is_regular_file(candidate)) continue;
    if (file.open(candidate)) return true;
  }
  return false;
}

bool TDiag::ReadLevelsFile(bool keywordsOnly) {
  os_ifstream file;
  if (!OpenLvlsFile(file)) return false;
  ReadLevelsStream(file, true, !keywordsOnly);
  return true;
}

bool TDiag::ReadAnotherLevelsFile() {
  os_ifstream file;
  if (!OpenLvlsFile(file)) return false;
  ReadLevelsStream(file, false, true);
  return true;
}

void TDiag::ReadLevelsStream(std::istream& in, bool applyKeywords, bool applyTokens) {
  // The tokens' reading is the last of a file, so only it tells the trace
  // which lines did nothing.
  const bool trace = applyTokens && Tracer::TraceEnabled.load(std::memory_order_relaxed);
  ForEachLevelsLine(in, [&](unsigned number, std::string_view text, const char* skipped, std::string& key,
                            std::string& value) {
    if (skipped) {
      if (trace) PLINTH_TRACE_AS("TDiag", 4, "levels file line " << number << " ignored (" << skipped << "): " << text);
      return;
    }
    if (trace) {
      const std::string problem = DiagLevelsLineProblem(key, value);
      if (!problem.empty()) PLINTH_TRACE_AS("TDiag", 4, "levels file line " << number << ": " << problem << ": " << text);
    }
    if (applyKeywords) ProcessKeyword(key, value);
    if (applyTokens && !IsKeyword(key)) ProcessToken(key, value);
  });
}

bool TDiag::IsKeyword(const std::string& key) const { return KeywordOf(key) != kNotKeyword; }

void TDiag::ProcessKeyword(std::string& key, std::string& value) {
  switch (KeywordOf(key)) {
    case kNotKeyword:
    case kInstallSignals:
      return;
    case kMinimumDbgLvl: {
      unsigned debugLevel = 0, bufferLevel = 0;
      if (!ParseLevels(value, debugLevel, bufferLevel)) return;
      SetMinimumLevels(debugLevel, bufferLevel);
      return;
    }
    case kEnable:
      SetDiagEnabled(read_int(value) == 1);
      return;
    case kIsCyclic:
      m_bIsCyclic = read_int(value) != 0;
      return;
    case kNumOfFiles:
      m_nNumOfCyclic = static_cast<unsigned>(read_int(value));
      return;
    case kNumOfMessages:
      m_nPrintsPerFile = static_cast<unsigned>(read_int(value));
      return;
    case kIgnoreMinimum:
      m_bIgnoreMinimum.store(read_int(value) != 0, std::memory_order_relaxed);
      return;
    case kIsBuffer:
      m_bBufferWanted.store(read_int(value) == 1, std::memory_order_relaxed);
      return;
    case kMemBufferSize: {
      long long sizeKB = 0;
      read_integer(value, sizeKB);
      // Below zero means the default size; above the largest block, the largest.
      if (sizeKB < 0) sizeKB = 0;
      if (sizeKB > UINT_MAX) sizeKB = UINT_MAX;
      m_nBufferSizeKB = static_cast<unsigned>(sizeKB);
      return;
    }
    case kDiagStacksOn:
      if (value == "false") {
        m_Stacks.handleStacks(true);
      } else if (value == "NoTLS") {
        m_Stacks.Disable();
        m_Stacks.handleStacks(false);
      } else {
        if (!m_Stacks.IsEnabled()) m_Stacks.Enable();
        m_Stacks.handleStacks(true);
      }
      return;
    case kNumOfFormatObjects: {
      int size = read_int(value);
      if (size < kSmallestPool) size = kSmallestPool;
      if (size > kLargestPool) size = kLargestPool;
      m_nPoolSize = size;
      return;
    }
    case kPrintLevelMaps:
      m_bPrintLevelMaps = read_int(value) == 1;
      return;
    case kIsPIDUsed:
      m_bIsPIDUsed = read_int(value) == 1;
      return;
    case kFlushBufferSize:
      SetOutPutBufferingMode(read_int(value));
      return;
    case kPrintVersions:
      m_bPrintVersions = true;
      return;
    case kRetainDays:
      m_nRetainDays = static_cast<unsigned>(read_int(value));
      return;
    case kApplyCleanup:
      m_bApplyCleanup = read_int(value) == 1;
      return;
  }
}

void TDiag::ProcessToken(std::string& key, std::string& value) {
  if (key.empty()) return;
  unsigned debugLevel = 0, bufferLevel = 0;
  const bool haveLevels = ParseLevels(value, debugLevel, bufferLevel);
  if (key[0] == '&') {
    long long index = 0;
    if (!read_integer(std::string_view(key).substr(1), index)) return;
    if (index >= static_cast<long long>(kContextCount)) {
      SayToFile("TDiag::ProcessToken", "Invalid Context Id was specified in INI file");
      return;
    }
    const unsigned mask = index < 0 ? 0u : 1u << index;
    if (haveLevels) SetDiagBufferLevels(mask, debugLevel, bufferLevel);
    return;
  }
  if (!haveLevels) return;
  const std::string name = NormalizeFileName(key.c_str());
  if (Tracer::TraceEnabled.load(std::memory_order_relaxed) && !m_mFiles.count(name))
    PLINTH_TRACE_AS("TDiag", 4, "levels file: no registered source file is named \"" << name << "\" (from \"" << key
                                                                                  << "\"); its levels are lost");
  SetDiagBufferLevels(name.c_str(), debugLevel, bufferLevel);
}

void TDiag::SetDefaultLevelForAll() {
  if (!m_bIgnoreMinimum.load(std::memory_order_relaxed)) return;
  const unsigned debugLevel = m_nMinimumDbgLvl.load(std::memory_order_relaxed);
  const unsigned bufferLevel = m_nMinimumBufLvl.load(std::memory_order_relaxed);
  for (auto& [name, levels] : m_mFiles) {
    if (!levels) continue;
    DbgLevelStore(levels->m_nDebugLevel, debugLevel);
    DbgLevelStore(levels->m_nBufferLevel, bufferLevel);
  }
  SetDiagBufferLevels(~0u, debugLevel, bufferLevel);
}

void TDiag::Str2DbgLevels(const std::string& text, unsigned* debugLevel, unsigned* bufferLevel) {
  unsigned debug = 0, buffer = 0;
  if (!ParseLevels(text, debug, buffer)) return;
  if (debugLevel) *debugLevel = debug;
  if (bufferLevel) *bufferLevel = buffer;
}

// ---- levels at run time ----

unsigned TDiag::GetFileDebugLevel(const char* file, bool raw) const {
  const auto it = file ? m_mFiles.find(NormalizeFileName(file)) : m_mFiles.end();
  if (it == m_mFiles.end() || !it->second) return m_nMinimumDbgLvl.load(std::memory_order_relaxed);
  const unsigned level = DbgLevelLoad(it->second->m_nDebugLevel);
  return raw ? level : GetFixedDebugLevel(level);
}

unsigned TDiag::GetFileBufferLevel(const char* file) const {
  const auto it = file ? m_mFiles.find(NormalizeFileName(file)) : m_mFiles.end();
  if (it == m_mFiles.end() || !it->second) return m_nMinimumBufLvl.load(std::memory_order_relaxed);
  return GetFixedBufferLevel(DbgLevelLoad(it->second->m_nBufferLevel));
}

unsigned TDiag::GetContextDebugLevel(unsigned mask, bool raw) const {
  unsigned result = raw ? 1 : m_nMinimumDbgLvl.load(std::memory_order_relaxed);
  const size_t entries = std::min<size_t>(m_vContextLevels.size(), kContextCount);
  for (size_t i = 0; i < entries; ++i) {
    if (!(mask & (1u << i))) continue;
    unsigned level = DbgLevelLoad(m_vContextLevels[i].m_nDebugLevel);
    if (!raw) level = GetFixedDebugLevel(level);
    if (level > result) result = level;
  }
  return result;
}

unsigned TDiag::GetContextBufferLevel(unsigned mask) const {
  unsigned result = m_nMinimumBufLvl.load(std::memory_order_relaxed);
  const size_t entries = std::min<size_t>(m_vContextLevels.size(), kContextCount);
  for (size_t i = 0; i < entries; ++i) {
    if (!(mask & (1u << i))) continue;
    const unsigned level = GetFixedBufferLevel(DbgLevelLoad(m_vContextLevels[i].m_nBufferLevel));
    if (level > result) result = level;
  }
  return result;
}

void TDiag::SetDiagBufferLevels(const char* file, unsigned debugLevel, unsigned bufferLevel) {
  if (!file) return;
  if (std::strcmp(file, "MinimumDbgLvl") != 0 && std::strcmp(file, "*default") != 0) {
    SetFileDiagBufferLevels(file, debugLevel, bufferLevel);
    return;
  }
  SetMinimumLevels(debugLevel, bufferLevel);
  SetDefaultLevelForAll();
}

void TDiag::SetFileDiagBufferLevels(const char* file, unsigned debugLevel, unsigned bufferLevel) {
  if (!file) return;
  const auto it = m_mFiles.find(NormalizeFileName(file));
  if (it == m_mFiles.end() || !it->second) return;
  DbgLevelStore(it->second->m_nDebugLevel, debugLevel);
  DbgLevelStore(it->second->m_nBufferLevel, bufferLevel);
}

void TDiag::SetDiagBufferLevels(unsigned mask, unsigned debugLevel, unsigned bufferLevel) {
  const size_t entries = std::min<size_t>(m_vContextLevels.size(), kContextCount);
  for (size_t i = 0; i < entries; ++i) {
    if (!(mask & (1u << i))) continue;
    DbgLevelStore(m_vContextLevels[i].m_nDebugLevel, debugLevel);
    DbgLevelStore(m_vContextLevels[i].m_nBufferLevel, bufferLevel);
  }
}

void TDiag::GetFileVec(std::vector<std::string>& files) const {
  for (const auto& [name, levels] : m_mFiles) files.push_back(name);
}

// ---- the levels file for tools and the trace ----

std::vector<std::string> DiagLevelsFileNames(const std::string& iniPath, const std::string& outputName,
                                             const std::string& logicalName) {
  const std::string prefix = iniPath.empty() ? std::string() : iniPath + "/";
  return {prefix + outputName + (logicalName.empty() ? "" : "." + logicalName) + "_" + kLevelsFileName,
          prefix + outputName + "_" + kLevelsFileName, prefix + kLevelsFileName};
}

std::string FindDiagLevelsFile(const std::string& iniPath, const std::string& outputName,
                               const std::string& logicalName) {
  for (const std::string& name : DiagLevelsFileNames(iniPath, outputName, logicalName)) {
    if (!os_file_system::is_regular_file(name)) continue;
    // Opened only to see that it opens, and closed at once.
    if (std::FILE* file = std::fopen(name.c_str(), "rbe")) {
      std::fclose(file);
      return name;
    }
  }
  return {};
}

std::string DiagLevelsLineProblem(const std::string& key, const std::string& value) {
  unsigned debugLevel = 0, bufferLevel = 0;
  const bool haveLevels = ParseLevels(value, debugLevel, bufferLevel);
  switch (KeywordOf(key)) {
    case kMinimumDbgLvl:
      return haveLevels ? std::string() : "the value has no level digit from 0 to 7; the minimums stay";
    case kInstallSignals:
      return "InstallSignals is read and ignored: no signal handling is installed";
    case kNotKeyword:
      break;
    default:
      // A blank before "=" puts "=" into the value, which reads as 0.
      if (!value.empty() && value[0] == '=') return "the value begins with \"=\": write the keyword and \"=\" without a blank";
      return {};
  }
  if (const std::string_view keyword = KeywordInOtherCase(key); !keyword.empty())
    return "\"" + key + "\" is no keyword (they match case); it is read as a source file name, \"" +
           std::string(keyword) + "\" was meant";
  if (key[0] == '&') {
    long long index = 0;
    if (!read_integer(std::string_view(key).substr(1), index)) return "the context index is no number";
    if (index >= static_cast<long long>(TDiag::kContextCount)) return "the context index is 32 or more";
    if (index < 0) return "the context index is negative";
  }
  if (!haveLevels) return "the value has no level digit from 0 to 7";
  return {};
}

void DiagLevelsFileReport::Read(std::istream& in) {
  struct Token {
    std::string key;
    Levels levels;
  };
  std::vector<Token> tokens;
  bool ignoreMinimum = false;
  ForEachLevelsLine(in, [&](unsigned number, std::string_view text, const char* skipped, std::string& key,
                            std::string& value) {
    const std::string problem = skipped ? std::string(skipped) : DiagLevelsLineProblem(key, value);
    if (!problem.empty()) m_vIgnored.push_back({number, std::string(text), problem});
    if (skipped) return;
    Levels levels;
    const bool haveLevels = ParseLevels(value, levels.m_nDebug, levels.m_nBuffer);
    switch (KeywordOf(key)) {
      case kNotKeyword:
        if (haveLevels) tokens.push_back({key, levels});
        return;
      case kMinimumDbgLvl:
        if (haveLevels) m_Minimum = levels;
        break;
      case kIgnoreMinimum:
        ignoreMinimum = read_int(value) != 0;
        break;
      default:
        break;
    }
    m_vKeywords.emplace_back(key, value);
  });
  m_bIgnoreMinimum = ignoreMinimum;
  // Tokens land on top of the defaults, in the order of the file.
  for (const Token& token : tokens) {
    if (token.key[0] == '&') {
      long long index = -1;
      if (!read_integer(std::string_view(token.key).substr(1), index)) continue;
      if (index >= 0 && index < static_cast<long long>(TDiag::kContextCount)) m_mContexts[static_cast<unsigned>(index)] = token.levels;
    } else {
      m_mFiles[TDiag::NormalizeFileName(token.key.c_str())] = token.levels;
    }
  }
}

namespace {
// The level a test compares with: the minimum raises it unless IgnoreMinimum.
DiagLevelsFileReport::Levels Effective(const DiagLevelsFileReport& report, DiagLevelsFileReport::Levels levels) {
  if (report.m_bIgnoreMinimum) return levels;
  return {std::max(levels.m_nDebug, report.m_Minimum.m_nDebug), std::max(levels.m_nBuffer, report.m_Minimum.m_nBuffer)};
}
}  // namespace

DiagLevelsFileReport::Levels DiagLevelsFileReport::FileLevels(const std::string& file) const {
  const auto it = m_mFiles.find(TDiag::NormalizeFileName(file.c_str()));
  return Effective(*this, it == m_mFiles.end() ? m_Minimum : it->second);
}

DiagLevelsFileReport::Levels DiagLevelsFileReport::ContextLevels(unsigned index) const {
  const auto it = m_mContexts.find(index);
  return Effective(*this, it == m_mContexts.end() ? m_Minimum : it->second);
}
