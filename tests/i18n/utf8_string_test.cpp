#include <gtest/gtest.h>

#include <stdexcept>

#include "plinth/errors/qln_error.h"
#include "plinth/i18n.h"

namespace {

constexpr unsigned int npos = Osl_UTF8String::npos;
constexpr unsigned int kMinus2 = static_cast<unsigned int>(-2);

void SetMode(bool unicode) {
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(unicode);
  Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding("MS1252");
}

// ä ö ü: three characters of two bytes.
const std::string kUmlauts = "\xC3\xA4\xC3\xB6\xC3\xBC";

}  // namespace

TEST(Utf8String, LengthsAndPositionsInBothModes) {
  struct Case {
    std::string text;
    unsigned int unicode_chars, legacy_chars;
  } const cases[] = {
      {"", 0, 0},
      {"abc", 3, 3},
      {kUmlauts, 3, 6},
      {"a\xE2\x82\xAC" "b", 3, 5},         // a € b
      {"\xF0\x9F\x98\x80" "x", 2, 5},      // a four-byte character steps by 4
      {"\x80\x80", 2, 2},                  // lone continuation bytes count one each
      {"ab\xE2", 3, 3},                    // a lead byte cut short by the end
      {"0123456789abcdef\xC3\xA4", 17, 18},  // past the eight-byte ASCII stride
      {"\xC3\xA4\xC3\xA4\xC3\xA4" "a\xE2\x82\xAC" "b", 6, 11},  // eight at once, € cut
      {"\xC3\xC3\xA4" "abcdefg", 9, 10},  // a lead eats a lead: byte by byte
      {"\xC3\xA4\xC3\xA4" "ab\xE2\x82\xAC" "c", 6, 10},
  };
  for (bool unicode : {true, false}) {
    SetMode(unicode);
    for (auto const& c : cases) {
      Osl_UTF8String s(c.text);
      EXPECT_EQ(s.length(), c.text.size());
      EXPECT_EQ(s.LengthInChars(), unicode ? c.unicode_chars : c.legacy_chars) << c.text;
      EXPECT_EQ(s.AbsPosAsCharsPos(0, s.length()), s.LengthInChars()) << c.text;
    }
  }
}

TEST(Utf8String, CharsPosAsAbsPosAndBack) {
  Osl_UTF8String s("a" + kUmlauts + "b");  // bytes: a=0 ä=1 ö=3 ü=5 b=7
  SetMode(true);
  struct Case {
    unsigned int start, count, abs;
  } const cases[] = {{0, 0, 0}, {0, 1, 1}, {0, 2, 3}, {1, 3, 7}, {0, 5, npos},
                     {7, 0, 7}, {8, 0, npos}, {9, 1, npos}, {2, 1, 3}};
  for (auto const& c : cases) EXPECT_EQ(s.CharsPosAsAbsPos(c.start, c.count), c.abs) << c.start;
  // The last never walks past the content.
  EXPECT_EQ(std::vector<unsigned>({s.AbsPosAsCharsPos(1, 7), s.AbsPosAsCharsPos(7, 1), s.AbsPosAsCharsPos(0, 1000)}),
            std::vector<unsigned>({3, 0, 5}));
  SetMode(false);
  EXPECT_EQ(std::pair(s.CharsPosAsAbsPos(7, 5), s.AbsPosAsCharsPos(1, 7)), std::pair(12u, 6u));
}

TEST(Utf8String, SubstrAndEraseCheckCountBeforePosition) {
  struct Case {
    bool unicode;
    std::string text;
    unsigned int pos, count;
    char const* substr;  // null: throws std::out_of_range
  } const cases[] = {
      {true, kUmlauts, 3, 1, nullptr},
      {true, kUmlauts, 2, 100, "\xC3\xBC"},
      {true, kUmlauts, 5, 0, ""},
      {true, kUmlauts, 1, 1, "\xC3\xB6"},
      {true, kUmlauts, 0, npos, kUmlauts.c_str()},
      {true, "", 0, 1, ""},
      {true, "", 1, 1, nullptr},
      {false, "abc", 3, 1, ""},
      {false, "abc", 4, 1, nullptr},
      {false, "abc", 4, 0, nullptr},  // the string class checks the position first
      {false, kUmlauts, 1, 2, "\xA4\xC3"},
  };
  for (auto const& c : cases) {
    SetMode(c.unicode);
    Osl_UTF8String s(c.text);
    Osl_UTF8String erased(c.text);
    if (c.substr == nullptr) {
      EXPECT_THROW(s.SubstrInChars(c.pos, c.count), std::out_of_range) << c.text << c.pos;
      EXPECT_THROW(erased.EraseInChars(c.pos, c.count), std::out_of_range) << c.text << c.pos;
      continue;
    }
    Osl_UTF8String const part = s.SubstrInChars(c.pos, c.count);
    EXPECT_EQ(part, c.substr) << c.text << c.pos;
    // Erasing the same characters leaves the text around them.
    erased.EraseInChars(c.pos, c.count);
    std::string const& all = s.GetString();
    std::size_t const at = s.SubstrInChars(0, c.pos).length();
    EXPECT_EQ(erased.GetString(), all.substr(0, at) + all.substr(at + part.length())) << c.text;
  }
  SetMode(true);
  try {
    Osl_UTF8String(kUmlauts).SubstrInChars(3, 1);
  } catch (std::out_of_range const& e) {
    EXPECT_STREQ(e.what(), "out of range error");
  }
}

TEST(Utf8String, FindWalksCharacterBoundariesInUnicodeMode) {
  std::string const text = "x\xC3\xA4" "b\xC3\xA4";  // x ä b ä
  struct Case {
    std::string what;
    unsigned int pos, unicode, legacy;
  } const cases[] = {
      {"\xC3\xA4", 0, 1, 1},  {"\xC3\xA4", 2, 3, 4},     {"\xC3\xA4", 5, npos, npos},
      {"\xA4" "b", 0, npos, 2},  // only inside a character
      {"", 2, 2, 2},          {"", 4, npos, 4},       {"", 6, npos, 6},
      {text + "y", 0, npos, npos},
  };
  for (auto const& c : cases) {
    Osl_UTF8String s(text);
    SetMode(true);
    EXPECT_EQ(s.Find(c.what, c.pos), c.unicode) << c.what << c.pos;
    SetMode(false);
    EXPECT_EQ(s.Find(c.what, c.pos), c.legacy) << c.what << c.pos;
  }
  SetMode(true);
  EXPECT_EQ(Osl_UTF8String("").Find("", 0), npos);
}

TEST(Utf8String, GetNextCharStepsEndsAndRefuses) {
  SetMode(true);
  Osl_UTF8String s("a\xC3\xA4\xE2\x82\xAC");  // a ä €
  char const* text = nullptr;
  unsigned int len = 0;
  unsigned int pos = 0;
  std::vector<std::string> seen;
  while ((pos = s.GetNextChar(pos, text, len)) != npos) seen.emplace_back(text, len);
  EXPECT_EQ(seen, (std::vector<std::string>{"a", "\xC3\xA4", "\xE2\x82\xAC"}));

  // On a continuation byte: -2 in both, text untouched.
  text = nullptr;
  EXPECT_EQ(s.GetNextChar(2, text, len), kMinus2);
  EXPECT_TRUE(len == kMinus2 && text == nullptr) << len;
  for (auto [pos, next] : {std::pair{2u, kMinus2}, {6u, npos}}) {
    Osl_UTF8String out("stale");
    EXPECT_EQ(s.GetNextChar(pos, out), next);
    EXPECT_EQ(out.length(), 0u);
  }
  Osl_UTF8String out;
  EXPECT_THROW(s.GetNextChar(7, out), std::out_of_range);

  // A lead byte that promises more than remains ends the walk at the end.
  Osl_UTF8String cut("a\xE2\x82");
  EXPECT_EQ(cut.GetNextChar(1, text, len), 3u);
  EXPECT_EQ(len, 2u);

  try {
    Osl_UTF8String("\xF0\x9F\x98\x80").GetNextChar(0, text, len);
    ADD_FAILURE() << "a four-byte character was accepted";
  } catch (QLNError const& e) {
    EXPECT_EQ(e.What() + ":" + std::to_string(e.Code()) + ":" + std::to_string(e.Severity()),
              "UTF8 char more than 3 bytes is not implemented:0:0");
  }

  SetMode(false);  // read at the call: the same object now steps by bytes
  EXPECT_EQ(s.GetNextChar(2, out), 3u);
  EXPECT_EQ(out, "\xA4");
  EXPECT_EQ(Osl_UTF8String("\xF0").GetNextChar(0, text, len), 1u);
}

TEST(Utf8String, OrderIsUtf16UnitsInUnicodeModeAndBytesInLegacyMode) {
  Osl_UTF8String const halfwidth("\xEF\xBD\xA1");     // U+FF61
  Osl_UTF8String const emoji("\xF0\x9F\x98\x80");     // U+1F600, units D83D DE00
  Osl_UTF8String const a("a"), ab("ab"), e_acute("\xC3\xA9");
  SetMode(true);  // surrogates sort below U+E000
  EXPECT_EQ(std::vector<bool>({emoji < halfwidth, halfwidth < emoji, a < ab, ab < e_acute}),
            std::vector<bool>({true, false, true, true}));
  SetMode(false);  // bytes, unsigned: EF before F0, C3 after 'a'
  EXPECT_EQ(std::vector<bool>({halfwidth < emoji, emoji < halfwidth, ab < e_acute}), std::vector<bool>({true, false, true}));
  // Equality is byte equality: the decomposed form is another string.
  EXPECT_FALSE(e_acute == Osl_UTF8String("e\xCC\x81"));
  EXPECT_TRUE(e_acute == "\xC3\xA9");
}

TEST(Utf8String, ConversionsFollowTheMode) {
  std::wstring const wide = {0xE4, 0x20AC, 0xD83D, 0xDE00};  // ä € U+1F600
  SetMode(true);
  Osl_UTF8String u(wide);
  EXPECT_EQ(u.GetString(), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(u.ToWString(), wide);
  EXPECT_EQ(Osl_UTF8String(wide.c_str()).GetString(), u.GetString());
  EXPECT_EQ(Osl_UTF8String("\xC3\xA4\xE2\x82\xAC").ToCurrentSystemEncoding(), "\xE4\x80");
  EXPECT_EQ(i18n_aux::UTF8ToLocalEncoding("x\xC3\xA4"), "x\xE4");

  SetMode(false);
  Osl_UTF8String l(std::wstring{0xE4, 0x20AC});
  EXPECT_EQ(l.GetString(), "\xE4\x80");
  EXPECT_EQ(l.ToWString(), (std::wstring{0xE4, 0x20AC}));
  EXPECT_EQ(u.ToCurrentSystemEncoding(), u.GetString());
  EXPECT_EQ(i18n_aux::UTF8ToLocalEncoding("x\xC3\xA4"), "x\xC3\xA4");
}
