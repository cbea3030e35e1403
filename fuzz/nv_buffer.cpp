// The three name-value buffer readers on any text, with buffers of exactly
// the given size plus the zero (the sanitizer sees any write past them).
// A result is -1, -2 or an index at or after pos within the text, and a
// name or value read whole fits its buffer.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "plinth/config.h"

namespace {
void Check(bool ok) {
  if (!ok) __builtin_trap();
}

void CheckResult(int result, int pos, std::size_t length) {
  Check(result == -1 || result == -2 || (result >= pos && static_cast<std::size_t>(result) <= length));
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) return 0;
  const unsigned nameSize = data[0] % 16, valueSize = data[1] % 16;
  const char sep[2] = {static_cast<char>(data[3]), '\0'};
  const std::string text(reinterpret_cast<const char*>(data + 4), size - 4);
  const std::size_t length = std::strlen(text.c_str());
  const int pos = static_cast<int>(data[2] % (length + 1));
  auto name = std::make_unique<char[]>(nameSize + 1);
  auto value = std::make_unique<char[]>(valueSize + 1);

  int r = nv_read_namevalue(text.c_str(), pos, name.get(), nameSize, value.get(), valueSize);
  CheckResult(r, pos, length);
  if (r >= 0) Check(std::strlen(name.get()) <= nameSize && std::strlen(value.get()) <= valueSize);
  r = nv_read_namevalue_with_sep(text.c_str(), sep, pos, name.get(), nameSize, value.get(), valueSize);
  CheckResult(r, pos, length);
  if (r >= 0) Check(std::strlen(name.get()) <= nameSize && std::strlen(value.get()) <= valueSize);
  r = nv_read_val_with_sep(text.c_str(), sep, pos, value.get(), valueSize);
  CheckResult(r, pos, length);
  if (r != -1) Check(std::memchr(value.get(), '\0', valueSize + 1) != nullptr);
  return 0;
}
