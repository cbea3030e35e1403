// Any bytes as a decoration pattern and as the two context formats: the
// formatted context never exceeds its 255-byte buffer, whatever conversions
// the formats hold.
#include <cstddef>
#include <cstdint>
#include <string>

#include "plinth/message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  // Three texts separated by NUL bytes: pattern, pair format, frame format.
  const size_t a = input.find('\0');
  const size_t b = a == std::string::npos ? a : input.find('\0', a + 1);
  const std::string pattern = input.substr(0, a);
  const std::string pair = a == std::string::npos ? "%s=%s " : input.substr(a + 1, b == std::string::npos ? b : b - a - 1);
  const std::string frame = b == std::string::npos ? "{%s}" : input.substr(b + 1);

  StreamArray context(true);
  context.addPair("name", std::string(200, 'v'));
  context.addPair("odd", "");
  context.m_vContext.push_back("last");
  OCMessage m(42, "P", "S", "T", "Src", "desc {1}", "NAME", &context, pattern, pair, frame);
  m.addArg("arg");
  const std::string text = m.decorate();
  m.setPattern("${CTXT}");
  if (m.decorate().size() > 255) __builtin_trap();
  // Each token of the pattern yields at most its keyword's value.
  if (text.size() > pattern.size() * (255 + 16)) __builtin_trap();
  return 0;
}
