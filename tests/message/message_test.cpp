// The message object on its own: the decoration pattern, the description
// language, the simple %s form, the context and validation.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>

#include "common/temp_dir.h"
#include "plinth/plinth.h"

using namespace plinth_test;

namespace {

const std::string kEntryPattern = "${PRFX}-${ID}${SEV}:\t${SRC} - ${TITLE}.${endl}${DESC}.${endl}${CTXT}.";

OCMessage Make(const std::string& description, std::vector<std::string> args = {},
               OCMessageType type = eMsgTypePlain) {
  OCMessage m(1001, "FIL", "E", "Open failed", "Files", description, "FILE_OPEN", nullptr, kEntryPattern,
              "%s=%s ", "{%s}");
  m.m_vArgs = std::move(args);
  m.setMessageType(type);
  return m;
}

std::string Described(const std::string& description, std::vector<std::string> args,
                      OCMessageType type = eMsgTypePlain) {
  return Make(description, std::move(args), type).toString_n();
}

}  // namespace

TEST(OCMessage, ConstructorCopiesTheContextAndLeavesTheBoxEmpty) {
  StreamArray context(true);
  context.addPair("file", "a.txt");
  context.addText("free");
  OCMessage m(7, "P", "S", "T", "Src", "D", "L", &context, "pat", "pair", "frame");
  EXPECT_EQ(m.m_eType, eMsgTypePlain);
  EXPECT_EQ(m.m_nBoxWidth, 0);
  EXPECT_EQ(m.m_nBoxHeight, 0);
  context.addPair("later", "x");
  EXPECT_EQ(*m.getContext()->getConetxt_vector(), (std::vector<std::string>{"file", "a.txt"}));
  EXPECT_EQ(m.getContext()->toString(), "free");
  EXPECT_TRUE(m.getContext()->isBreakedDownArray());
  m.setContextPattern("[%s]", "%s:%s;");
  EXPECT_EQ(m.m_sContextFrame, "[%s]");
  EXPECT_EQ(m.m_sContextPair, "%s:%s;");
}

TEST(OCMessage, StrIdIsZeroFilledToFiveDigits) {
  OCMessage m = Make("x");
  m.setID(7);
  EXPECT_EQ(m.getStrID(), "00007");
  m.setID(123456);
  EXPECT_EQ(m.getStrID(), "123456");
  m.setID(0);
  EXPECT_EQ(m.getStrID(), "00000");
}

TEST(OCMessage, DecoratesTheFileMessageToFourLines) {
  OCMessage m = Make("Cannot open {1}\n", {"a.txt"});
  EXPECT_EQ(m.decorate(), "FIL-1001E:\tFiles - Open failed.\nCannot open a.txt\n.\n.");
  // The catalogue's own pattern, without the full stops.
  m.setPattern(OCMessageMgr::DefaultPattern);
  EXPECT_EQ(m.decorate(), "FIL-1001E:\tFiles - Open failed.\nCannot open a.txt\n\n");
}

TEST(OCMessage, PatternKeywordsAreWholeTokensWithOrWithoutDollar) {
  OCMessage m = Make("desc");
  m.setID(42);
  StreamArray ctx(true);
  ctx.addPair("k", "v");
  m.setContext(&ctx);
  m.setPattern("ID{/}{ID}/${IDX}/$${SEV}${endl}${TITLE}|${SRC}|${PRFX}|${DESC}|${CTXT}|${FOO}|ID ");
  EXPECT_EQ(m.decorate(), "42/42/IDX/E\nOpen failed|Files|FIL|desc|{k=v }|FOO|ID ");
  m.setPattern("${id}${Id}");  // case matters
  EXPECT_EQ(m.decorate(), "idId");
  m.setID(-3);
  m.setPattern("${ID}");
  EXPECT_EQ(m.decorate(), "-3");
  m.setPattern("");
  EXPECT_EQ(m.decorate(), "");
}

TEST(OCMessage, PlainDescriptionComesBackUnchangedFromEveryForm) {
  const std::string text = "Disk is full: 100% used, (see log)\n";
  OCMessage m = Make(text, {"unused"});
  EXPECT_EQ(m.toString(), text);
  EXPECT_EQ(m.toString_n(), text);
  m.setPattern("${DESC}");
  EXPECT_EQ(m.decorate(), text);
}

TEST(OCMessage, NumberedParametersAndPercentS) {
  EXPECT_EQ(Described("Cannot open {1} or {2}!", {"a.txt"}), "Cannot open a.txt or !");
  EXPECT_EQ(Described("{2}{1}{2}", {"a", "b"}), "bab");
  // Only single digits from 1 to 9 are parameters.
  EXPECT_EQ(Described("{10}|{0}|{x}", {"a"}), "10|0|x");
  EXPECT_EQ(Described("{9}", {"1", "2", "3", "4", "5", "6", "7", "8", "nine"}), "nine");
  EXPECT_EQ(Described("{%s}-{%s}-{%s}", {"a", "b"}), "a-b-");
  // %s and numbered parameters have separate cursors.
  EXPECT_EQ(Described("{1}{%s}{%s}{1}", {"a", "b"}), "aaba");
  EXPECT_EQ(Described("Reading {%s} took {2} seconds\n", {"f", "12"}), "Reading f took 12 seconds\n");
  EXPECT_EQ(Described("a{endl}b$c", {}), "a\nbc");
}

TEST(OCMessage, MarkedPartsFollowTheMessageType) {
  EXPECT_EQ(Described("a~{1}b", {"X"}, eMsgTypeNoTilde), "ab");
  EXPECT_EQ(Described("a~{1}b", {"X"}, eMsgTypeNoCaret), "aXb");
  EXPECT_EQ(Described("a~{1}b", {"X"}, eMsgTypePlain), "ab");
  EXPECT_EQ(Described("a^{1}b", {"X"}, eMsgTypeNoTilde), "aXb");
  EXPECT_EQ(Described("a^{1}b", {"X"}, eMsgTypeNoCaret), "ab");
  EXPECT_EQ(Described("a^{1}b", {"X"}, eMsgTypePlain), "ab");
  // A skipped %s still takes its argument.
  EXPECT_EQ(Described("~{%s}{%s}", {"one", "two"}, eMsgTypePlain), "two");
  // A mark applies to one element; literal text can be marked too.
  EXPECT_EQ(Described("~hidden{endl}shown", {}, eMsgTypePlain), "\nshown");
  // A mark that doesn't fit the type stays set until a type it fits: with
  // type 0 the `~` never acts, the `^` drops c.
  EXPECT_EQ(Described("a~b^c", {}, eMsgTypeNoCaret), "ab");
  // With type 2 one element clears both marks.
  EXPECT_EQ(Described("~^{a} b", {}, eMsgTypePlain), " b");
  // endl and $ neither use nor clear a mark.
  EXPECT_EQ(Described("~{endl}$x y", {}, eMsgTypePlain), "\n");
}

TEST(OCMessage, ABlankBetweenParametersAfterABlankIsDropped) {
  EXPECT_EQ(Described("{1} {2} {3}", {"x", "y", "z"}), "x yz");
  // Blanks inside longer tokens stay; a literal in between re-arms the blank.
  EXPECT_EQ(Described("{1} {2} and {3}", {"x", "y", "z"}), "x y and z");
  EXPECT_EQ(Described("{1} {2}.{3} {1}", {"x", "y", "z"}), "x y.z x");
  // A skipped blank leaves the memory of the last blank as it was.
  EXPECT_EQ(Described("{1} ~ {2}", {"x", "y"}, eMsgTypePlain), "x y");
}

TEST(OCMessage, SimpleFormReplacesOnlyPercentS) {
  OCMessage m = Make("%s and %s", {"A"});
  EXPECT_EQ(m.toString(), "A and %s");
  m.m_vArgs = {"A", "B", "C"};
  EXPECT_EQ(m.toString(), "A and B");
  m.setDescription("this is {1} 50% sure %%s");
  m.m_vArgs = {"X"};
  EXPECT_EQ(m.toString(), "this is {1} 50% sure %X");
  m.setDescription("ends in %");
  EXPECT_EQ(m.toString(), "ends in %");
}

TEST(OCMessage, VectorFormCutsAtSemicolonsAndKeepsMarks) {
  OCMessage m = Make("a;b$c~d^e;;f");
  EXPECT_EQ(m.toString_vec(), (std::vector<std::string>{"a", "b", "$", "c", "~", "d", "^", "e", "f"}));
  m.setDescription("");
  EXPECT_TRUE(m.toString_vec().empty());
}

TEST(OCMessage, ValidityNeedsEveryTextAndAnEntryForAnAssignment) {
  EXPECT_TRUE(Make("d").is_valid());
  OCMessage m = Make("d");
  m.setLogical_name("FILE_ENTRY=1000");
  EXPECT_TRUE(m.is_valid());
  m.setLogical_name("FILE=1000");
  EXPECT_FALSE(m.is_valid());
  m.setLogical_name("FILE_OPEN");
  EXPECT_TRUE(m.is_valid());

  using Setter = void (OCMessage::*)(const std::string&);
  for (Setter setter : {&OCMessage::setPrefix, &OCMessage::setSeverity, &OCMessage::setTitle,
                        &OCMessage::setSource, &OCMessage::setDescription, &OCMessage::setLogical_name}) {
    OCMessage copy = Make("d");
    (copy.*setter)("");
    EXPECT_FALSE(copy.is_valid());
  }
  // The pattern and the context formats are not part of validity.
  OCMessage bare(1, "P", "S", "T", "Src", "D", "L", nullptr, "", "", "");
  EXPECT_TRUE(bare.is_valid());
}

TEST(OCMessage, ContextIsFreeTextOrFramedPairs) {
  OCMessage m = Make("d");
  m.setPattern("${CTXT}");
  EXPECT_EQ(m.decorate(), "");  // no frame round an empty free text

  StreamArray text;
  text.addText("disk=sda");
  m.setContext(&text);
  EXPECT_EQ(m.decorate(), "disk=sda");

  OCMessage p = Make("d");
  p.setPattern("${CTXT}");
  StreamArray pairs(true);
  pairs.addPair("a", "1");
  pairs.addPair("b", "2");
  pairs.addText("ignored while pairs are given");
  p.setContext(&pairs);
  EXPECT_EQ(p.decorate(), "{a=1 b=2 }");
  p.setContextPattern("[%s]", "%s:%s;");
  EXPECT_EQ(p.decorate(), "[a:1;b:2;]");
  // An odd list ends with an empty value.
  p.getContext()->m_vContext.push_back("c");
  EXPECT_EQ(p.decorate(), "[a:1;b:2;c:;]");
  // A flagged context with an empty list falls back to its free text.
  p.getContext()->m_vContext.clear();
  EXPECT_EQ(p.decorate(), "ignored while pairs are given");
}

TEST(OCMessage, ContextFormatsAreSafeWithAnyConversion) {
  OCMessage m = Make("d");
  m.setPattern("${CTXT}");
  StreamArray pairs(true);
  pairs.addPair("name", "value");
  m.setContext(&pairs);
  // Only %s takes arguments; others are text, missing ones are empty.
  m.setContextPattern("<%s|%d>", "%s=%s %s %n %p %% ");
  EXPECT_EQ(m.decorate(), "<name=value  %n %p % |%d>");
  m.setContextPattern("%s", "%-6s|%4.2s|;");
  EXPECT_EQ(m.decorate(), "name  |  va|;");
  m.setContextPattern("%s", "%99999999s%");
  EXPECT_EQ(m.decorate().size(), 255u);
  m.setContextPattern("%", "%");
  EXPECT_EQ(m.decorate(), "%");
}

TEST(OCMessage, ContextLongerThanItsBuffersIsCut) {
  OCMessage m = Make("d");
  m.setPattern("${CTXT}");
  StreamArray pairs(true);
  pairs.addPair("long", std::string(1000, 'v'));
  pairs.addPair("next", "x");
  m.setContext(&pairs);
  const std::string text = m.decorate();
  ASSERT_EQ(text.size(), 255u);
  EXPECT_EQ(text.substr(0, 6), "{long=");
  EXPECT_EQ(text.find("next"), std::string::npos);
  // The frame is cut as well: its own text counts against the buffer.
  m.setContextPattern(std::string(300, '<') + "%s", "%s=%s ");
  EXPECT_EQ(m.decorate(), std::string(255, '<'));
}

TEST(StreamArray, AssignmentAppendsTextAndReplacesListAndFlag) {
  StreamArray target;
  target.addText("first;");
  target.addPair("old", "1");
  StreamArray source(true);
  source.addText("second;");
  source.addPair("new", "2");
  target = &source;
  EXPECT_EQ(target.toString(), "first;second;");
  EXPECT_EQ(*target.getConetxt_vector(), (std::vector<std::string>{"new", "2"}));
  EXPECT_TRUE(target.isBreakedDownArray());

  StreamArray plain;
  plain.addText("third");
  target = plain;  // the value form behaves the same
  EXPECT_EQ(target.toString(), "first;second;third");
  EXPECT_TRUE(target.getConetxt_vector()->empty());
  EXPECT_FALSE(target.isBreakedDownArray());

  target = &target;  // the source's text is read before it grows
  EXPECT_EQ(target.toString(), "first;second;thirdfirst;second;third");

  StreamArray copy(source);
  EXPECT_EQ(copy.toString(), "second;");
  copy.addText("+");  // a copy goes on writing at its end
  EXPECT_EQ(copy.toString(), "second;+");
  EXPECT_EQ(source.toString(), "second;");
}

TEST(OCMessage, SettingAContextTwiceKeepsBothTextsButCopiesReplace) {
  OCMessage m = Make("d");
  StreamArray a, b;
  a.addText("A");
  b.addText("B");
  m.setContext(&a);
  m.setContext(&b);
  EXPECT_EQ(m.getContext()->toString(), "AB");

  OCMessage other = Make("other");
  other.addArg("x");
  other.setContext(&a);
  m = other;
  EXPECT_EQ(m.getContext()->toString(), "A");
  EXPECT_EQ(m.getDescription(), "other");
  EXPECT_EQ(m.m_vArgs, (std::vector<std::string>{"x"}));
  m.getContext()->addText("+");
  EXPECT_EQ(m.getContext()->toString(), "A+");
  EXPECT_EQ(other.getContext()->toString(), "A");
  OCMessage& self = m;
  m = self;
  EXPECT_EQ(m.getContext()->toString(), "A+");
}

TEST(OCMessage, TracesValidationAndContextUnderItsOwnName) {
  TempDir dir;
  setenv("PT_TRACE_ON", "1", 1);
  setenv("PT_TRACE_LEVEL", "4", 1);
  setenv("PT_TRACE_VERBOSE", "1", 1);
  setenv("PT_TRACE_FILE", (dir / "trace.txt").c_str(), 1);
  unsetenv("PT_TRACE_OUT");
  Tracer::getInstance();

  OCMessage m = Make("Cannot open {1}", {"a.txt"});
  m.setPattern("${CTXT}");
  StreamArray pairs(true);
  pairs.addPair("a", "1");
  pairs.m_vContext.push_back("b");
  m.setContext(&pairs);
  const std::string formatted = m.decorate();
  const bool valid = m.is_valid();

  const std::string trace = ReadFile(dir / "trace.txt");
  const std::regex line("[0-9]{4} [0-9:.]{12} \\[4\\] TID:[0-9]+ \\(OCMessage:[0-9]+\\): (.*)");
  std::vector<std::string> texts;
  std::stringstream ss(trace);
  for (std::string l; std::getline(ss, l);) {
    std::smatch match;
    ASSERT_TRUE(std::regex_match(l, match, line)) << l;
    texts.push_back(match[1]);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{
                       "[formatting context] context long=3",
                       "[formatting context] pair: name=a, value=1",
                       "[formatting context] pair: name=b, value=",
                       "OCMessage::isValid_record",
                       "[OCMessage::isValid] validating meessage details:m_nID=1001, m_sPrefix=FIL, "
                       "m_sSeverity=E, m_sLogical_name=FILE_OPEN, m_sTitle=Open failed, m_sSource=Files, "
                       "m_sDescription=Cannot open {1}",
                   }));
  // Tracing changes no result.
  EXPECT_EQ(formatted, "{a=1 b= }");
  EXPECT_TRUE(valid);
}
