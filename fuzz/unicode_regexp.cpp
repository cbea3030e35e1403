// Any pattern on any text, in either mode, as a regular expression and as
// a wildcard: no crash, and every range lies inside the searched window.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

#include "plinth/errors/qln_error.h"
#include "plinth/i18n.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(data[0] & 1);
  const bool option = data[0] & 2;
  const std::string input(reinterpret_cast<const char*>(data + 2), size - 2);
  const size_t split = input.find('\0');
  const std::string pattern = input.substr(0, split);
  const std::string text = split == std::string::npos ? std::string() : input.substr(split + 1);
  const unsigned start = text.empty() ? 0 : data[1] % (text.size() + 1);
  try {
    Osl_RegularExpression expression(pattern, option);
    const auto found = expression.search(text, start, static_cast<unsigned>(-1));
    if (!(found == Osl_RegularExpression::not_found())) {
      if (found.first < start || found.second < found.first || found.second > text.size()) __builtin_trap();
      for (unsigned g = 0, n = expression.groups(); g <= n; ++g) {
        const auto part = expression.group(g);
        if (part.second < part.first || part.second > text.size()) __builtin_trap();
      }
    }
    const long length = expression.match(text, start, static_cast<unsigned>(-1));
    if (length < -2 || length > static_cast<long>(text.size())) __builtin_trap();
    std::string replaced = text;
    const unsigned count = expression.replace(replaced, start, static_cast<unsigned>(-1), "<>", true);
    if (count > text.size() + 1) __builtin_trap();
  } catch (const QLNError&) {
  }
  try {
    WildcardString wildcard(pattern, option);
    wildcard.Match(text, start, static_cast<unsigned>(-1));
  } catch (const std::exception&) {
  }
  return 0;
}
