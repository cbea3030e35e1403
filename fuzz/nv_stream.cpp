// The name-value stream reader on any text: it ends, leaves the stop
// character in the stream, and a pair made of the input's halves comes
// back unchanged after writing and reading.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "plinth/config.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  {
    std::istringstream in(text);
    NVStrings pair;
    std::size_t pairs = 0;
    while (in >> pair) ++pairs;
    if (pairs > size) __builtin_trap();
  }
  {
    std::istringstream in(text);
    std::string out;
    NVUtil::DecodeFromStream(in, out, '<');
    const int next = in.get();
    if (next != std::char_traits<char>::eof() && next != '<') __builtin_trap();
    if (out.size() > size) __builtin_trap();
  }
  const std::size_t half = size / 2;
  const NVStrings written(text.substr(0, half), text.substr(half));
  std::ostringstream out;
  out << written;
  std::istringstream in(out.str());
  in >> std::noskipws;
  NVStrings read;
  if (!read.ReadFromStream(in)) __builtin_trap();
  if (read.GetName() != written.GetName() || read.GetValue() != written.GetValue()) __builtin_trap();
  return 0;
}
