// Both UTF loops on any input and any capacity: no crash, nothing written
// past the capacity, counts within bounds, and a UTF-8 prefix that was
// accepted comes back unchanged from UTF-16.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "plinth/i18n.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const char* text = reinterpret_cast<const char*>(data + 1);
  const long slen = static_cast<long>(size - 1);
  Osl_UnicodeConverter converter;

  const long wideRoom = (slen + 1) * data[0] / 255;
  std::unique_ptr<wchar_t[]> wide(new wchar_t[wideRoom > 0 ? wideRoom : 1]);
  long wlen = wideRoom;
  const ConversionRC toWide = converter.ConvertUTF8toUCS2(text, slen, wide.get(), wlen);
  const long accepted = converter.GetHandledLength();
  if (wlen < 0 || wlen > wideRoom || accepted < 0 || accepted > slen) __builtin_trap();
  if (toWide == CONV_OK && accepted != slen) __builtin_trap();

  std::string back;
  if (converter.ConvertUCS2toUTF8(std::wstring(wide.get(), wlen), back) != CONV_OK ||
      back != std::string(text, accepted))
    __builtin_trap();

  // The same bytes as UTF-16 units, two bytes each, some with a third byte
  // that reaches past U+FFFF and past Unicode.
  std::wstring units;
  for (long i = 0; i + 1 < slen; i += 2) {
    wchar_t unit = static_cast<wchar_t>(static_cast<uint8_t>(text[i]) | static_cast<uint8_t>(text[i + 1]) << 8);
    if ((data[0] & 1) && i + 2 < slen && text[i + 2] == '\x7f') unit |= static_cast<wchar_t>(text[i]) << 16;
    units += unit;
  }
  const long narrowRoom = (3 * static_cast<long>(units.size()) + 1) * data[0] / 255;
  std::unique_ptr<char[]> narrow(new char[narrowRoom > 0 ? narrowRoom : 1]);
  long nlen = narrowRoom;
  const ConversionRC toNarrow =
      converter.ConvertUCS2toUTF8(units.data(), static_cast<long>(units.size()), narrow.get(), nlen);
  const long taken = converter.GetHandledLength();
  if (nlen < 0 || nlen > narrowRoom || taken < 0 || taken > static_cast<long>(units.size())) __builtin_trap();
  if (toNarrow == CONV_OK && taken != static_cast<long>(units.size())) __builtin_trap();
  return 0;
}
