// A named conversion between two encodings of a fixed list on any bytes,
// into a buffer of any capacity: no crash, nothing written past the
// capacity, and the counts exact: the consumed source, converted again into
// ample room, gives exactly the bytes that were produced.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "plinth/errors/qln_error.h"
#include "plinth/i18n.h"

namespace {

const char* const Names[] = {"UTF-8",  "MS1252", "MS932",  "MS936",       "MS950",     "MS949",
                             "EUC-JP", "GB18030", "MS1251", "ISO-2022-JP", "UTF-16LE", "MS437"};
constexpr size_t NameCount = sizeof Names / sizeof Names[0];

// Converts, giving the bytes produced and the source consumed.
ConversionRC Convert(const char* from, const char* to, const char* source, long slen, long capacity,
                     std::string& out, long& consumed, bool& full) {
  Osl_UnicodeConverter converter;
  converter.SetCurrentEncoding(from);
  converter.SetTargetEncoding(to);
  // Exactly the capacity, so that the address sanitizer sees any overrun.
  std::unique_ptr<char[]> buffer(new char[capacity > 0 ? capacity : 1]);
  long dlen = capacity;
  full = false;
  ConversionRC rc = CONV_OK;
  try {
    rc = converter.ConvertCurrentEncodingtoTargetEncoding(source, slen, buffer.get(), dlen);
    consumed = converter.GetHandledLength();
  } catch (const QLNError& error) {
    const std::string& text = error.What();
    full = true;
    consumed = std::atol(text.c_str() + text.find("slen: ") + 6);
  }
  if (dlen < 0 || dlen > capacity || consumed < 0 || consumed > slen) __builtin_trap();
  out.assign(buffer.get(), static_cast<size_t>(dlen));
  return rc;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const char* from = Names[data[0] % NameCount];
  const char* to = Names[data[1] % NameCount];
  if (std::strcmp(from, to) == 0) return 0;
  const char* source = reinterpret_cast<const char*>(data + 3);
  const long slen = static_cast<long>(size - 3);
  // Capacity from nothing up to the four bytes a source byte may need.
  const long capacity = (4 * slen + 1) * data[2] / 255;
  std::string out;
  long consumed = 0;
  bool full = false;
  const ConversionRC rc = Convert(from, to, source, slen, capacity, out, consumed, full);
  if (rc == CONV_OK && !full && consumed != slen) __builtin_trap();
  std::string again;
  long again_consumed = 0;
  bool again_full = false;
  // Stateful encodings may need more than four bytes per source byte.
  if (Convert(from, to, source, consumed, 8 * consumed + 16, again, again_consumed, again_full) != CONV_OK ||
      again_full || again_consumed != consumed || again != out)
    __builtin_trap();
  return 0;
}
