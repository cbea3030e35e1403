#include <gtest/gtest.h>

#include <functional>

#include "plinth/errors/qln_error.h"
#include "plinth/i18n.h"

namespace {

struct NamedCase {
  const char* from;
  const char* to;
  std::string in;
  long capacity;
  std::string out;
  ConversionRC rc;
  long handled;
};

// Calls f, which must throw a QLNError, and gives that error.
QLNError Thrown(const std::function<void()>& f) {
  try {
    f();
  } catch (const QLNError& error) {
    return error;
  }
  ADD_FAILURE() << "no QLNError";
  return QLNError();
}

const std::string Eacute8 = "\xC3\xA9";

std::string Repeat(const std::string& piece, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += piece;
  return text;
}

}  // namespace

TEST(UnicodeConverter, NamedConversionsStopInFrontOfTheFirstBadCharacter) {
  const NamedCase cases[] = {
      {"UTF-8", "MS1252", "a" + Eacute8 + "\xE2\x82\xAC", 16, "a\xE9\x80", CONV_OK, 6},
      {"MS1252", "UTF-8", "a\xE9\x80", 16, "a" + Eacute8 + "\xE2\x82\xAC", CONV_OK, 3},
      {"MS65001", "MS1252", "ab\xE4\xB8\xAD" "cd", 16, "ab", CONV_ERROR, 2},  // not in the target
      {"UTF-8", "MS1252", "ab\xFF" "cd", 16, "ab", CONV_ERROR, 2},             // illegal source
      {"UTF-8", "MS1252", "ab\xE2\x82", 16, "ab", CONV_ERROR, 2},              // cut at the end
      {"UTF-8", "MS932", "a\xE4\xB8\xAD", 16, "a\x92\x86", CONV_OK, 4},
      // Long enough to cross the rounds of the exact path.
      {"UTF-8", "MS1252", Repeat(Eacute8, 20000) + "\xE4\xB8\xAD", 80000, std::string(20000, '\xE9'), CONV_ERROR,
       40000},
      {"MS932", "UTF-8", Repeat("\x92\x86", 9000) + "\x92", 80000, Repeat("\xE4\xB8\xAD", 9000), CONV_ERROR,
       18000},
  };
  for (const NamedCase& c : cases) {
    Osl_UnicodeConverter converter;
    converter.SetCurrentEncoding(c.from);
    converter.SetTargetEncoding(c.to);
    std::string out(c.capacity + 4, '#');
    long dlen = c.capacity;
    EXPECT_EQ(converter.ConvertCurrentEncodingtoTargetEncoding(c.in.data(), static_cast<long>(c.in.size()),
                                                               out.data(), dlen),
              c.rc)
        << c.from << " " << c.to;
    EXPECT_EQ(out.substr(0, dlen), c.out);
    EXPECT_EQ(converter.GetHandledLength(), c.handled);
    EXPECT_EQ(out.substr(c.capacity), "####");
  }
}

TEST(UnicodeConverter, FullDestinationThrowsWithWholeCharacters) {
  const std::pair<long, std::string> cases[] = {{2, "a"}, {3, "a\x92\x86"}, {60000, ""}};
  for (const auto& [capacity, produced] : cases) {
    Osl_UnicodeConverter converter;
    converter.SetCurrentEncoding("UTF-8");
    converter.SetTargetEncoding("MS932");
    std::string in = capacity == 60000 ? Repeat("\xE4\xB8\xAD", 30001) : "a\xE4\xB8\xAD\xE4\xB8\xAD";
    std::string out(capacity, '#');
    long dlen = capacity;
    QLNError error = Thrown([&] {
      converter.ConvertCurrentEncodingtoTargetEncoding(in.data(), static_cast<long>(in.size()), out.data(), dlen);
    });
    const long consumed = capacity == 60000 ? 90000 : 1 + 3 * ((capacity - 1) / 2);
    const long written = capacity == 60000 ? 60000 : static_cast<long>(produced.size());
    EXPECT_EQ(error.What(), "No space in the destination buffer ; slen: " + std::to_string(consumed) +
                                " dlen: " + std::to_string(written) +
                                ". DO Destination buffer length = 4* length of source buffer");
    EXPECT_EQ(error.Code(), 0);
    EXPECT_EQ(error.Severity(), 0);
    EXPECT_EQ(dlen, written);
    // The record stays open and the converter usable.
    ASSERT_NE(converter.m_pConversion, nullptr);
    std::string again;
    EXPECT_EQ(converter.ConvertCurrentEncodingtoTargetEncoding(std::string("\xE4\xB8\xAD"), again), CONV_OK);
    EXPECT_EQ(again, "\x92\x86");
  }
}

TEST(UnicodeConverter, EqualNamesCopyWithoutARecord) {
  Osl_UnicodeConverter converter;
  converter.SetCurrentEncoding("UTF-8");
  converter.SetTargetEncoding("MS1252");
  std::string out;
  converter.ConvertCurrentEncodingtoTargetEncoding(std::string("abc"), out);
  EXPECT_EQ(converter.GetHandledLength(), 3);
  converter.SetCurrentEncoding("MS1252");
  EXPECT_EQ(converter.GetHandledLength(), 0);
  converter.ConvertCurrentEncodingtoTargetEncoding(std::string("xy"), out);
  converter.m_HandledLength = 7;
  char buffer[8] = "#######";
  long dlen = 6;
  EXPECT_EQ(converter.ConvertTargetEncodingtoCurrentEncoding("a\0bcde", 5, buffer, dlen), CONV_OK);
  EXPECT_EQ(dlen, 5);
  EXPECT_EQ(std::string(buffer, 7), std::string("a\0\0\0\0##", 7));  // a zero ends the copy
  EXPECT_EQ(converter.GetHandledLength(), 7);
  EXPECT_EQ(converter.m_pConversion, nullptr);
  // Nothing is opened, so no name is looked at.
  converter.SetCurrentEncoding("NO-SUCH-NAME");
  converter.SetTargetEncoding("NO-SUCH-NAME");
  EXPECT_EQ(converter.ConvertCurrentEncodingtoTargetEncoding(std::string("q"), out), CONV_OK);
}

TEST(UnicodeConverter, RecordLifeAcrossSettersCopiesAndShortcuts) {
  Osl_UnicodeConverter converter;
  converter.SetCurrentEncoding("MS1252");
  std::string out;
  EXPECT_EQ(converter.ConvertUTF8toCurrentEncoding(Eacute8, out), CONV_OK);
  EXPECT_EQ(out, "\xE9");
  EXPECT_FALSE(converter.m_bToUTF8);
  auto* record = converter.m_pConversion;
  ASSERT_NE(record, nullptr);
  converter.SetCurrentEncoding("MS1252");  // the same name keeps the record and the length
  EXPECT_EQ(converter.m_pConversion, record);
  EXPECT_EQ(converter.GetHandledLength(), 2);

  Osl_UnicodeConverter copy(converter);
  EXPECT_EQ(copy.m_pConversion, nullptr);
  EXPECT_EQ(copy.m_TargetEncoding, "UTF-8");
  EXPECT_EQ(copy.GetHandledLength(), 2);
  copy = converter;
  EXPECT_EQ(copy.m_pConversion, nullptr);

  // A change of direction makes a new record; the target name follows.
  EXPECT_EQ(converter.ConvertCurrentEncodingtoUTF8(std::string("\xE9\x80"), out), CONV_OK);
  EXPECT_EQ(out, Eacute8 + "\xE2\x82\xAC");
  EXPECT_TRUE(converter.m_bToUTF8);
  EXPECT_EQ(converter.ConvertUTF8toCurrentEncoding("\xE2\x82\xAC", out), CONV_OK);
  EXPECT_EQ(out, "\x80");

  converter.SetTargetEncoding("MS1252");
  EXPECT_EQ(converter.m_pConversion, nullptr);
  EXPECT_EQ(converter.GetHandledLength(), 0);
  converter.m_pConversion = nullptr;
  converter.SetTargetEncoding("NO-SUCH-NAME");
  QLNError error = Thrown([&] { converter.ConvertTargetEncodingtoCurrentEncoding(std::string("a"), out); });
  EXPECT_EQ(error.What(), "Character set \"NO-SUCH-NAME\" is not valid");
  EXPECT_EQ(error.Code(), 98);
  EXPECT_EQ(error.Severity(), 12);
  EXPECT_EQ(error.Where().rfind("unicode_configuration ", 0), 0u);
}

TEST(UnicodeConverter, CaseMappingAndCharacterTypes) {
  Osl_UnicodeConfiguration::Instance()->SetCJKMode(true);
  Osl_UnicodeConverter converter;
  struct {
    bool upper;
    std::string in, out;
    long capacity;
    ConversionRC rc;
  } const cases[] = {
      {true, "abc" + Eacute8, "ABC\xC3\x89", 16, CONV_OK},
      {false, "\xC3\x80" "B", "\xC3\xA0" "b", 16, CONV_OK},
      {true, "\xC4\xB1x", "IX", 16, CONV_ERROR},  // the length changes
      {true, "ab" + Eacute8, "AB", 3, CONV_ERROR},             // whole characters only
  };
  for (const auto& c : cases) {
    std::string out(c.capacity, '#');
    long dlen = c.capacity;
    const long slen = static_cast<long>(c.in.size());
    EXPECT_EQ(c.upper ? converter.ToUpperUTF8(c.in.data(), slen, out.data(), dlen)
                      : converter.ToLowerUTF8(c.in.data(), slen, out.data(), dlen),
              c.rc);
    EXPECT_EQ(out.substr(0, dlen), c.out);
  }
  EXPECT_EQ(converter.GetCharType(CHAR_TYPE_CLASSES, "A"), CHAR_CLASS_UPPER | CHAR_CLASS_ALPHA | CHAR_CLASS_XDIGIT);
  EXPECT_EQ(converter.GetCharType(CHAR_TYPE_CLASSES, " "), CHAR_CLASS_SPACE | CHAR_CLASS_BLANK);
  EXPECT_EQ(converter.GetCharType(CHAR_TYPE_WIDTH, "\xE4\xB8\xAD"), 2);
  EXPECT_EQ(converter.GetCharType(CHAR_TYPE_WIDTH, "\xCC\x81"), 0);
  EXPECT_EQ(converter.GetCharType(CHAR_TYPE_CATEGORY, "\xF0\x9F\x98\x80"), 27);  // other symbol
  EXPECT_EQ(converter.GetCharType(CHAR_TYPE_CLASSES, "\xE4\xB8"), -1);
  EXPECT_EQ(converter.GetCharType(EnumCharTypeMode(9), "a"), -1);
}

TEST(UnicodeConverter, LegacyCharacterTypesUseTheCurrentLocale) {
  Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding("MS1252");
  Osl_UnicodeConverter converter;
  EXPECT_EQ(converter.GetCharType(CHAR_TYPE_CLASSES, "\xE9"), CHAR_CLASS_LOWER | CHAR_CLASS_ALPHA);
}

TEST(UnicodeConverter, CurrentLocaleKeepsItsFirstSuccess) {
  Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding("MS1252");
  GCLocale* first = Osl_UnicodeConverter::GetCurrentLocale();
  Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding("MS932");
  EXPECT_EQ(Osl_UnicodeConverter::GetCurrentLocale(), first);
  EXPECT_NE(Osl_UnicodeConverter::GetLocaleUTF8(), nullptr);
  Osl_UnicodeConfiguration::Instance()->Destroy();  // the caches outlive the singleton
  EXPECT_EQ(Osl_UnicodeConverter::GetCurrentLocale(), first);
}

TEST(UnicodeConverter, CurrentLocaleKeepsItsFirstFailure) {
  Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding("NO-SUCH-NAME");
  QLNError first = Thrown([] { Osl_UnicodeConverter::GetCurrentLocale(); });
  EXPECT_EQ(first.What(), "cannot create a .NO-SUCH-NAME locale");
  EXPECT_NE(first.Code(), 0);
  EXPECT_EQ(first.Where().rfind("unicode_converter ", 0), 0u);
  Osl_UnicodeConfiguration::Instance()->SetCurrentEncoding("MS1252");
  QLNError later = Thrown([] { Osl_UnicodeConverter::GetCurrentLocale(); });
  EXPECT_EQ(later.What(), first.What());
  EXPECT_EQ(later.Code(), 0);
}
