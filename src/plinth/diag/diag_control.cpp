#include "plinth/diag/diag_control.h"

#include <charconv>
#include <cstring>
#include <string_view>

#include "plinth/diag/diag_action.h"

namespace {
std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> words;
  size_t start = 0;
  while (start < line.size()) {
    while (start < line.size() && (line[start] == ' ' || line[start] == '\t')) ++start;
    size_t end = start;
    while (end < line.size() && line[end] != ' ' && line[end] != '\t') ++end;
    if (end > start) words.push_back(line.substr(start, end - start));
    start = end;
  }
  return words;
}

bool Number(std::string_view word, unsigned& value) {
  int base = 10;
  if (word.size() > 2 && word[0] == '0' && (word[1] == 'x' || word[1] == 'X')) {
    word.remove_prefix(2);
    base = 16;
  }
  if (word.empty()) return false;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value, base);
  return error == std::errc() && end == word.data() + word.size();
}

bool Level(std::string_view word, unsigned& level) { return Number(word, level) && level <= 7; }
}  // namespace

bool DiagControlMessage::Parse(const char* data, size_t size) {
  m_vCommands.clear();
  m_sError.clear();
  auto fail = [this](size_t line, const char* why) {
    m_vCommands.clear();
    m_sError = "line " + std::to_string(line) + ": " + why;
    return false;
  };
  if (!data || size == 0) return fail(1, "empty message");
  if (size > kMaxSize) return fail(1, "message too long");
  if (std::memchr(data, '\0', size)) return fail(1, "zero byte in message");

  std::string_view text(data, size);
  size_t number = 0;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    ++number;
    const std::vector<std::string_view> words = Words(line);
    if (number == 1) {
      if (line != kHead) return fail(1, "not a control message");
      continue;
    }
    if (words.empty()) continue;
    if (m_vCommands.size() == kMaxCommands) return fail(number, "too many commands");
    Command command{eFile, std::string(), 0, 0};
    const std::string_view verb = words[0];
    if (verb == "file" && words.size() == 3) {
      if (words[1].size() > kMaxName) return fail(number, "file name too long");
      if (!Level(words[2], command.m_nValue)) return fail(number, "level must be 0 to 7");
      command.m_sName = std::string(words[1]);
    } else if (verb == "context" && words.size() == 3) {
      command.m_eKind = eContext;
      if (!Number(words[1], command.m_nMask) || command.m_nMask == 0) return fail(number, "bad context mask");
      if (!Level(words[2], command.m_nValue)) return fail(number, "level must be 0 to 7");
    } else if (verb == "minimum" && words.size() == 2) {
      command.m_eKind = eMinimum;
      if (!Level(words[1], command.m_nValue)) return fail(number, "level must be 0 to 7");
    } else if (verb == "enabled" && words.size() == 2) {
      command.m_eKind = eEnabled;
      if (words[1] != "0" && words[1] != "1") return fail(number, "enabled takes 0 or 1");
      command.m_nValue = words[1] == "1";
    } else {
      return fail(number, "unknown command");
    }
    m_vCommands.push_back(std::move(command));
  }
  if (number == 0) return fail(1, "empty message");
  return true;
}

size_t DiagControlMessage::Apply(DiagAction& action) const {
  size_t applied = 0;
  for (const Command& command : m_vCommands) {
    switch (command.m_eKind) {
      case eFile: {
        std::string name = command.m_sName;
        action.SetDiagFileLevel(name.data(), command.m_nValue);
        break;
      }
      case eContext:
        action.SetDiagContextLevel(command.m_nMask, command.m_nValue);
        break;
      case eMinimum:
        action.SetMinimumDebugLevel(command.m_nValue);
        break;
      case eEnabled:
        action.SetDiagEnabled(command.m_nValue != 0);
        break;
    }
    ++applied;
  }
  return applied;
}
