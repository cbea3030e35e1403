// Any bytes as a description, with any type and up to nine arguments, through
// the description language, the simple %s form and the vector form. Every
// output is bounded by the input and the arguments.
#include <cstddef>
#include <cstdint>
#include <string>

#include "plinth/message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const int type = data[0] % 3;
  const size_t nargs = data[1] % 10;
  const std::string description(reinterpret_cast<const char*>(data + 2), size - 2);
  OCMessage m(1, "P", "S", "T", "Src", description, "NAME", nullptr, "${DESC}", "%s=%s ", "{%s}");
  m.setMessageType(static_cast<OCMessageType>(type));
  size_t argBytes = 0;
  for (size_t i = 0; i < nargs; ++i) {
    m.addArg(std::string(i + 1, static_cast<char>('a' + i)));
    argBytes += i + 1;
  }
  const std::string full = m.toString_n();
  // Each element writes at most one argument, each line end comes from four
  // bytes ({endl} or endl), so the text is bounded.
  if (full.size() > description.size() * (argBytes + 1) + argBytes) __builtin_trap();
  if (m.decorate() != full) __builtin_trap();
  const std::string simple = m.toString();
  if (simple.size() > description.size() + argBytes) __builtin_trap();
  size_t tokenBytes = 0;
  for (const std::string& token : m.toString_vec()) {
    if (token.empty()) __builtin_trap();
    tokenBytes += token.size();
  }
  if (tokenBytes > description.size()) __builtin_trap();
  return 0;
}
