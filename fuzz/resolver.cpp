// Any pattern and table for the variable resolver, held against a plain
// recursive reading of the same rules: the resolver's loop and its early
// end for names too long to resolve must give the same text.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "plinth/config.h"
#include "plinth/platform/os/os_regexp.h"
#include "plinth/platform/os/os_time.h"

namespace {

struct Reference {
  std::map<OSLNoCaseString, std::string> table;

  std::string Variable(const std::string& token) {
    static const os_regexp heading(QLNAutoEditString::VariableHeadingPattern);
    std::string bare = token;
    heading.replace(bare, 0, static_cast<unsigned>(bare.size()), "", true);
    const auto it = table.find(OSLNoCaseString(bare));
    if (it != table.end()) return it->second;
    if (bare == "date") return os_date::today().to_string("%s%m%d");
    return token;
  }
  std::string Recursive(const std::string& text) {
    const size_t p = text.find('%', 2);
    if (p == std::string::npos) return Variable(text);
    return Variable(text.substr(0, p) + Recursive(text.substr(p)));
  }
  std::string Resolve(const std::string& pattern) {
    static const os_regexp sequence(QLNAutoEditString::RecursiveVariablePattern);
    static const os_regexp variable(QLNAutoEditString::VariablePattern);
    std::string text = pattern, out;
    unsigned pos = 0;
    for (auto m = sequence.search(text, pos); m != os_regexp::not_found(); m = sequence.search(text, pos)) {
      const std::string seq = text.substr(m.first, m.second - m.first);
      const size_t split = seq.find('%', 2);
      out += text.substr(pos, m.first - pos) + seq.substr(0, split) + Recursive(seq.substr(split));
      pos = m.second;
    }
    text = out + text.substr(pos);
    out.clear();
    pos = 0;
    for (auto m = variable.search(text, pos); m != os_regexp::not_found(); m = variable.search(text, pos)) {
      out += text.substr(pos, m.first - pos);
      const std::string value = Variable(text.substr(m.first, m.second - m.first));
      if (!out.empty() && out.back() == '.') out.pop_back();
      out += value;
      pos = m.second;
    }
    return out + text.substr(pos);
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
