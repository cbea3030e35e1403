#include <gtest/gtest.h>

#include <memory>

#include "plinth/i18n.h"

namespace {

struct Utf16Case {
  std::wstring in;
  long capacity;
  std::string out;
  ConversionRC rc;
  long handled;
};

struct Utf8Case {
  std::string in;
  long capacity;
  std::wstring out;
  ConversionRC rc;
  long handled;
};

const std::string Ascii40(40, 'x');

}  // namespace

TEST(UnicodeUtf, Utf16ToUtf8StopsExactly) {
  const Utf16Case cases[] = {
      {L"A\u00e9\u4e2d\xD83D\xDE00", 64, "A\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80", CONV_OK, 5},
      {L"\xDC00", 8, "\xED\xB0\x80", CONV_OK, 1},           // lone low surrogate
      {L"\xD800" L"A", 8, "\xED\xA0\x80" "A", CONV_OK, 2},  // high surrogate without its pair
      {L"ab\xD800", 8, "ab", CONV_INCOMPLETE, 2},           // ends in a high surrogate
      {L"a\u4e2d", 3, "a", CONV_INCOMPLETE, 1},
      {L"\xD83D\xDE00", 3, "", CONV_INCOMPLETE, 0},  // a pair never half fits
      {std::wstring(1, wchar_t(0x1F600)), 8, "\xF0\x9F\x98\x80", CONV_OK, 1},
      {L"a" + std::wstring(1, wchar_t(0x110000)), 8, "a", CONV_ERROR, 1},
      {std::wstring(Ascii40.begin(), Ascii40.end()), 20, std::string(20, 'x'), CONV_INCOMPLETE, 20},
      {std::wstring(17, L'y') + L"\u00e9", 64, std::string(17, 'y') + "\xC3\xA9", CONV_OK, 18},
  };
  for (const Utf16Case& c : cases) {
    Osl_UnicodeConverter converter;
    std::string out(c.capacity + 8, '#');
    long dlen = c.capacity;
    EXPECT_EQ(converter.ConvertUCS2toUTF8(c.in.data(), static_cast<long>(c.in.size()), out.data(), dlen), c.rc);
    EXPECT_EQ(out.substr(0, dlen), c.out);
    EXPECT_EQ(out.substr(c.capacity), std::string(8, '#')) << "wrote past the capacity";
    EXPECT_EQ(converter.GetHandledLength(), c.handled);
  }
}

TEST(UnicodeUtf, Utf8ToUtf16StopsExactly) {
  const Utf8Case cases[] = {
      {"a\xF0\x9F\x98\x80\xC3\xA9", 8, L"a\xD83D\xDE00\u00e9", CONV_OK, 7},
      {"\xED\xA0\x80", 8, L"", CONV_ERROR, 0},  // an encoded surrogate
      {"\xC0\x80", 8, L"", CONV_ERROR, 0},      // overlong
      {"ab\xE4\xB8", 8, L"ab", CONV_INCOMPLETE, 2},
      {"ab\xE0\x41", 8, L"ab", CONV_INCOMPLETE, 2},  // incomplete before illegal
      {"ab\xE0\x41\x42", 8, L"ab", CONV_ERROR, 2},
      {"\xF8\x88\x80\x80\x80", 8, L"", CONV_ERROR, 0},
      {"\xF4\x90\x80\x80", 8, L"", CONV_ERROR, 0},  // past U+10FFFF
      {"a\x80", 8, L"a", CONV_ERROR, 1},
      {"a\xF0\x9F\x98\x80", 2, L"a", CONV_INCOMPLETE, 1},
      {Ascii40, 20, std::wstring(20, L'x'), CONV_INCOMPLETE, 20},
      {std::string(17, 'y') + "\xFF" "zzzzz", 64, std::wstring(17, L'y'), CONV_ERROR, 17},
      {"a\xFF", 8, L"a", CONV_INCOMPLETE, 1},  // a six-byte lead reaches past the end
      {"\xEF\xBF\xBF\xE0\xA0\x80", 8, L"\uFFFF\u0800", CONV_OK, 6},
  };
  for (const Utf8Case& c : cases) {
    Osl_UnicodeConverter converter;
    std::wstring out(c.capacity + 8, L'#');
    long dlen = c.capacity;
    EXPECT_EQ(converter.ConvertUTF8toUCS2(c.in.data(), static_cast<long>(c.in.size()), out.data(), dlen), c.rc)
        << c.in;
    EXPECT_EQ(out.substr(0, dlen), c.out) << c.in;
    EXPECT_EQ(out.substr(c.capacity), std::wstring(8, L'#'));
    EXPECT_EQ(converter.GetHandledLength(), c.handled) << c.in;
  }
}

TEST(UnicodeUtf, AllocatingAndStringForms) {
  Osl_UnicodeConverter converter;
  const std::string text = "x\xE4\xB8\xAD\xF0\x9F\x98\x80";
  wchar_t* wide = nullptr;
  long wlen = 0;
  EXPECT_EQ(converter.ConvertUTF8toUCS2(text.data(), static_cast<long>(text.size()), &wide, wlen), CONV_OK);
  std::unique_ptr<wchar_t[]> ownWide(wide);
  ASSERT_EQ(wlen, 4);
  char* narrow = nullptr;
  long nlen = 0;
  EXPECT_EQ(converter.ConvertUCS2toUTF8(wide, wlen, &narrow, nlen), CONV_OK);
  std::unique_ptr<char[]> ownNarrow(narrow);
  EXPECT_EQ(std::string(narrow, nlen), text);

  std::wstring w;
  EXPECT_EQ(converter.ConvertUTF8toUCS2(std::string("ab\xE4"), w), CONV_INCOMPLETE);
  EXPECT_EQ(w, L"ab");  // what came before the stop is kept
  std::string s;
  EXPECT_EQ(converter.ConvertUCS2toUTF8(std::wstring(L"\u4e2d\xD800"), s), CONV_INCOMPLETE);
  EXPECT_EQ(s, "\xE4\xB8\xAD");
  EXPECT_EQ(converter.GetHandledLength(), 1);
}

TEST(UnicodeUtf, CharacterWidthAndSteps) {
  const std::pair<wchar_t, bool> widths[] = {
      {0x10FF, false}, {0x1100, true},  {0x115F, true},  {0x1160, false}, {0x2E7F, false}, {0x2E80, true},
      {0x3000, true},  {0x300A, false}, {0x300B, false}, {0x301A, false}, {0x301B, false}, {0x303F, false},
      {0xA4CF, true},  {0xA4D0, false}, {0xAC00, true},  {0xD7A3, true},  {0xD7A4, false}, {0xF900, true},
      {0xFAFF, true},  {0xFE30, true},  {0xFE6F, true},  {0xFE70, false}, {0xFF00, true},  {0xFF5F, true},
      {0xFF60, false}, {0xFFE0, true},  {0xFFE6, true},  {0xFFE7, false},
  };
  for (auto [c, wide] : widths) EXPECT_EQ(Osl_UnicodeConverter::IsWideUnicode(c), wide) << std::hex << int(c);

  Osl_UnicodeConverter converter;
  EXPECT_FALSE(converter.IsNarrowChar("\xE4\xB8\xAD" "a", 0));
  EXPECT_EQ(converter.GetHandledLength(), 3);  // only the first character
  EXPECT_TRUE(converter.IsNarrowChar("a\xE4\xB8\xAD", 0));
  EXPECT_EQ(converter.GetHandledLength(), 1);
  EXPECT_TRUE(converter.IsNarrowChar("a\xE4\xB8\xAD", 4));  // later characters don't count
  EXPECT_TRUE(converter.IsNarrowChar("\xE4", 0));          // cut by the terminating zero

  const char steps[] = "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80\x80\xFC";
  const long expected[] = {1, 3, 6, 10, 11, 17};
  const char* p = steps;
  for (long at : expected) {
    p = Osl_UnicodeConverter::GetNextCharUTF8(p);
    EXPECT_EQ(p - steps, at);
  }
  EXPECT_EQ(Osl_UnicodeConverter::GetWLength(L"a\xD83D\xDE00"), 3u);
}
