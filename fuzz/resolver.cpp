// Any pattern and table for the variable resolver, held against a plain
// recursive reading of the same rules: the resolver's loop and its early
// end for names too long to resolve must give the same text.
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <map>
#include <string>

#include "plinth/config.h"

namespace {

bool IsNameChar(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '#' ||
         c == '@';
}

// The end of a variable that starts at i, or 0.
size_t VariableEnd(const std::string& text, size_t i) {
  if (text.compare(i, 2, "%%") != 0) return 0;
  size_t j = i + 2;
  if (j < text.size() && text[j] == '$') ++j;
  const size_t name = j;
  while (j < text.size() && IsNameChar(text[j])) ++j;
  return j > name ? j : 0;
}

struct Reference {
  std::map<OSLNoCaseString, std::string> table;

  std::string Variable(const std::string& token) {
    std::string bare;
    for (size_t i = 0; i < token.size();) {
      if (token.compare(i, 2, "%%") == 0) {
        i += token.compare(i, 3, "%%$") == 0 ? 3 : 2;
      } else {
        bare += token[i++];
      }
    }
    const auto it = table.find(OSLNoCaseString(bare));
    if (it != table.end()) return it->second;
    if (bare != "date") return token;
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[16];
    std::strftime(text, sizeof text, "%Y%m%d", &local);
    return text;
  }
  std::string Recursive(const std::string& text) {
    const size_t p = text.find('%', 2);
    if (p == std::string::npos) return Variable(text);
    return Variable(text.substr(0, p) + Recursive(text.substr(p)));
  }
  std::string Resolve(const std::string& pattern) {
    std::string out;
    for (size_t i = 0; i < pattern.size();) {
      size_t end = VariableEnd(pattern, i), next = 0, count = 1;
      while (end && (next = VariableEnd(pattern, end))) end = next, ++count;
      if (count < 2) {
        out += pattern[i++];
        continue;
      }
      const std::string seq = pattern.substr(i, end - i);
      const size_t split = seq.find('%', 2);
      out += seq.substr(0, split) + Recursive(seq.substr(split));
      i = end;
    }
    std::string result;
    for (size_t i = 0; i < out.size();) {
      const size_t end = VariableEnd(out, i);
      if (!end) {
        result += out[i++];
        continue;
      }
      const std::string value = Variable(out.substr(i, end - i));
      if (!result.empty() && result.back() == '.') result.pop_back();
      result += value;
      i = end;
    }
    return result;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 4096) return 0;  // the reference recurses once per variable
  // The pattern, then NAME=VALUE entries, separated by NUL bytes.
  const std::string input(reinterpret_cast<const char*>(data), size);
  size_t end = input.find('\0');
  QLNAutoEditString text(input.substr(0, end));
  Reference reference;
  while (end != std::string::npos) {
    const size_t start = end + 1;
    end = input.find('\0', start);
    const std::string entry = input.substr(start, end == std::string::npos ? end : end - start);
    const size_t eq = entry.find('=');
    text.AddVariable(entry.substr(0, eq), eq == std::string::npos ? "" : entry.substr(eq + 1));
    reference.table[OSLNoCaseString(entry.substr(0, eq))] = eq == std::string::npos ? "" : entry.substr(eq + 1);
  }
  const std::string resolved = text.Resolve();
  if (resolved != text.Resolve()) __builtin_trap();
  if (resolved != reference.Resolve(text.GetPattern())) __builtin_trap();
  return 0;
}
