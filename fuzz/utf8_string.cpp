// The character operations of Osl_UTF8String on arbitrary bytes, in both
// modes: no crash, no read outside the text (the address sanitizer watches),
// positions that stay inside the text, and a walk with GetNextChar that
// agrees with LengthInChars.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "plinth/errors/qln_error.h"
#include "plinth/i18n.h"

namespace {

constexpr unsigned int npos = Osl_UTF8String::npos;
constexpr unsigned int kContinuation = static_cast<unsigned int>(-2);

void Check(bool ok) {
  if (!ok) __builtin_trap();
}

// A small position now and then one far out, so both the walks and the
// range checks run.
unsigned int Position(uint8_t b) { return b == 0xFF ? npos : b % 64; }

void Walk(Osl_UTF8String& s) {
  char const* const begin = s.c_str();
  char const* const end = begin + s.length();
  unsigned int pos = 0, steps = 0;
  unsigned volatile sink = 0;
  try {
    for (;;) {
      char const* text = nullptr;
      unsigned int len = 0;
      unsigned int const next = s.GetNextChar(pos, text, len);
      if (next == npos) {
        Check(steps == s.LengthInChars());
        return;
      }
      if (next == kContinuation) return;
      Check(text >= begin && len >= 1 && text + len <= end && next == pos + len);
      for (unsigned int i = 0; i < len; ++i) sink = sink + static_cast<unsigned char>(text[i]);
      pos = next;
      ++steps;
    }
  } catch (QLNError const&) {
    Check(static_cast<unsigned char>(s.c_str()[pos]) >= 0xF0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 5) return 0;
  bool const unicode = (data[0] & 1) != 0;
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(unicode);
  unsigned int const pos = Position(data[1]);
  unsigned int const count = Position(data[2]);
  unsigned int const what_len = data[3] % 8;
  std::string const bytes(reinterpret_cast<const char*>(data + 4), size - 4);
  Osl_UTF8String s(bytes);

  unsigned int const chars = s.LengthInChars();
  Check(chars <= s.length());
  if (unicode) {
    // Against the plain walk of the lead-byte table, which the eight-byte
    // steps must agree with.
    auto walk = [&](std::size_t from, std::size_t to) {
      unsigned int n = 0;
      for (std::size_t i = from; i < to; ++n) i += Osl_UnicodeConverter::LeadByteStep[data[4 + i]];
      return n;
    };
    Check(chars == walk(0, bytes.size()));
    Check(s.AbsPosAsCharsPos(pos, count) == walk(pos, std::min<std::size_t>(count, bytes.size())));
  }
  unsigned int const abs = s.CharsPosAsAbsPos(pos, count);
  if (unicode) {
    Check(abs == npos || (abs >= pos && abs < s.length()));
    // Begun inside a character, the walk counts its continuation bytes.
    Check(s.AbsPosAsCharsPos(pos, count) <= (pos < s.length() ? s.length() - pos : 0));
  }
  Walk(s);

  try {
    Osl_UTF8String const part = s.SubstrInChars(pos, count);
    Check(part.length() <= s.length());
  } catch (std::out_of_range const&) {
  }
  try {
    Osl_UTF8String erased(s);
    erased.EraseInChars(pos, count);
    Check(erased.length() <= s.length());
  } catch (std::out_of_range const&) {
  }
  Osl_UTF8String const what(bytes.substr(bytes.size() / 2, what_len));
  unsigned int const found = s.Find(what, pos);
  Check(found == npos || found <= (unicode ? chars : s.length()));
  Osl_UTF8String out;
  try {
    unsigned int const next = s.GetNextChar(pos, out);
    Check(next == npos || next == kContinuation || out.length() >= 1);
  } catch (std::out_of_range const&) {
    Check(pos > s.length());
  } catch (QLNError const&) {
  }
  return 0;
}
