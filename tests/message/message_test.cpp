// The message object on its own: the decoration pattern, the description
// language, the simple %s form, the context and validation.
#include <gtest/gtest.h>

#include <regex>

#include "common/temp_dir.h"
#include "common/trace_env.h"
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

// A message that shows only its context.
OCMessage ContextOnly(StreamArray* context) {
  OCMessage m = Make("d");
  m.setPattern("${CTXT}");
  if (context) m.setContext(context);
  return m;
}

}  // namespace

TEST(OCMessage, ConstructorCopiesTheContext) {
  StreamArray context(true);
  context.addPair("file", "a.txt");
  context.addText("free");
  OCMessage m(7, "P", "S", "T", "Src", "D", "L", &context, "pat", "pair", "frame");
  context.addPair("later", "x");
  EXPECT_EQ(*m.getContext()->getConetxt_vector(), (std::vector<std::string>{"file", "a.txt"}));
  EXPECT_EQ(m.getContext()->toString(), "free");
  EXPECT_TRUE(m.getContext()->isBreakedDownArray());
  m.setID(7);
  EXPECT_EQ(m.getStrID(), "00007");
  m.setID(123456);
  EXPECT_EQ(m.getStrID(), "123456");
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
  // The catalogue's own pattern, without the full stops of the entry pattern.
  OCMessage file = Make("Cannot open {1}\n", {"a.txt"});
  file.setPattern(OCMessageMgr::DefaultPattern);
  EXPECT_EQ(file.decorate(), "FIL-1001E:\tFiles - Open failed.\nCannot open a.txt\n\n");
}

TEST(OCMessage, NumberedParametersAndPercentS) {
  // Text without parameters comes back unchanged from every form.
  const std::string plain = "Disk is full: 100% used, (see log)\n";
  OCMessage m = Make(plain, {"unused"});
  EXPECT_EQ(m.toString() + m.toString_n(), plain + plain);
  EXPECT_EQ(Described("{2}{1}{2}", {"a", "b"}), "bab");
  // Only single digits from 1 to 9 are parameters; missing ones are empty.
  EXPECT_EQ(Described("{10}|{0}|{x}|{2}", {"a"}), "10|0|x|");
  EXPECT_EQ(Described("{9}", {"1", "2", "3", "4", "5", "6", "7", "8", "nine"}), "nine");
  // %s and numbered parameters have separate cursors.
  EXPECT_EQ(Described("{1}{%s}{%s}{1}{%s}", {"a", "b"}), "aaba");
  EXPECT_EQ(Described("a{endl}b$c", {}), "a\nbc");
}

TEST(OCMessage, MarkedPartsFollowTheMessageType) {
  EXPECT_EQ(Described("a~{1}b", {"X"}, eMsgTypeNoTilde), "ab");
  EXPECT_EQ(Described("a~{1}b", {"X"}, eMsgTypeNoCaret), "aXb");
  EXPECT_EQ(Described("a^{1}b", {"X"}, eMsgTypeNoTilde), "aXb");
  EXPECT_EQ(Described("a^{1}b", {"X"}, eMsgTypeNoCaret), "ab");
  EXPECT_EQ(Described("a~{1}b^{1}", {"X"}, eMsgTypePlain), "ab");
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
  m.setDescription("this is {1} 50% sure %%s, ends in %");
  m.m_vArgs = {"X", "unused"};
  EXPECT_EQ(m.toString(), "this is {1} 50% sure %X, ends in %");
}

TEST(OCMessage, VectorFormCutsAtSemicolonsAndKeepsMarks) {
  EXPECT_EQ(Make("a;b$c~d^e;;f").toString_vec(),
            (std::vector<std::string>{"a", "b", "$", "c", "~", "d", "^", "e", "f"}));
  EXPECT_TRUE(Make("").toString_vec().empty());
}

TEST(OCMessage, ValidityNeedsEveryTextAndAnEntryForAnAssignment) {
  OCMessage m = Make("d");
  m.setLogical_name("FILE_ENTRY=1000");
  EXPECT_TRUE(m.is_valid());
  m.setLogical_name("FILE=1000");
  EXPECT_FALSE(m.is_valid());
  using Setter = void (OCMessage::*)(const std::string&);
  for (Setter setter : {&OCMessage::setPrefix, &OCMessage::setSeverity, &OCMessage::setTitle,
                        &OCMessage::setSource, &OCMessage::setDescription, &OCMessage::setLogical_name}) {
    OCMessage copy = Make("d");
    (copy.*setter)("");
    EXPECT_FALSE(copy.is_valid());
  }
  // The pattern and the context formats are not part of validity.
  EXPECT_TRUE(OCMessage(1, "P", "S", "T", "Src", "D", "L", nullptr, "", "", "").is_valid());
}

TEST(OCMessage, ContextIsFreeTextOrFramedPairs) {
  EXPECT_EQ(ContextOnly(nullptr).decorate(), "");  // no frame round an empty free text
  StreamArray text;
  text.addText("disk=sda");
  EXPECT_EQ(ContextOnly(&text).decorate(), "disk=sda");

  StreamArray pairs(true);
  pairs.addPair("a", "1");
  pairs.addPair("b", "2");
  pairs.addText("ignored while pairs are given");
  OCMessage p = ContextOnly(&pairs);
  EXPECT_EQ(p.decorate(), "{a=1 b=2 }");
  p.setContextPattern("[%s]", "%s:%s;");
  // An odd list ends with an empty value.
  p.getContext()->m_vContext.push_back("c");
  EXPECT_EQ(p.decorate(), "[a:1;b:2;c:;]");
  // A flagged context with an empty list falls back to its free text.
  p.getContext()->m_vContext.clear();
  EXPECT_EQ(p.decorate(), "ignored while pairs are given");
}

TEST(OCMessage, ContextFormatsAreSafeWithAnyConversionAndCutToTheirBuffers) {
  StreamArray pairs(true);
  pairs.addPair("name", "value");
  OCMessage m = ContextOnly(&pairs);
  // Only %s takes arguments; others are text, missing ones are empty.
  m.setContextPattern("<%s|%d>", "%s=%s %s %n %p %% ");
  EXPECT_EQ(m.decorate(), "<name=value  %n %p % |%d>");
  m.setContextPattern("%s", "%-6s|%4.2s|;");
  EXPECT_EQ(m.decorate(), "name  |  va|;");
  m.setContextPattern("%s", "%99999999s%");
  EXPECT_EQ(m.decorate().size(), 255u);
  // A context longer than its buffers is cut.
  m.setContextPattern("{%s}", "%s=%s ");
  pairs.addPair("long", std::string(1000, 'v'));
  pairs.addPair("next", "x");
  m.setContext(&pairs);
  const std::string text = m.decorate();
  EXPECT_EQ(text, "{name=value long=" + std::string(255 - 17, 'v'));
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
  target = StreamArray();  // the value form behaves the same
  EXPECT_TRUE(target.getConetxt_vector()->empty());
  EXPECT_FALSE(target.isBreakedDownArray());
  target = &target;  // the source's text is read before it grows
  EXPECT_EQ(target.toString(), "first;second;first;second;");
  StreamArray copy(source);
  copy.addText("+");  // a copy goes on writing at its end
  EXPECT_EQ(copy.toString() + "|" + source.toString(), "second;+|second;");
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
  other.setContext(&a);
  m = other;
  m.getContext()->addText("+");
  EXPECT_EQ(m.getContext()->toString() + "|" + other.getContext()->toString(), "A+|A");
  OCMessage& self = m;
  m = self;
  EXPECT_EQ(m.getContext()->toString(), "A+");
}

TEST(OCMessage, TracesValidationAndContextUnderItsOwnName) {
  TempDir dir;
  TraceEnvironment({{"PT_TRACE_ON", "1"}, {"PT_TRACE_LEVEL", "4"}, {"PT_TRACE_VERBOSE", "1"},
                    {"PT_TRACE_FILE", dir / "trace.txt"}});
  Tracer::getInstance();
  StreamArray pairs(true);
  pairs.addPair("a", "1");
  pairs.m_vContext.push_back("b");
  OCMessage m = ContextOnly(&pairs);
  m.setDescription("Cannot open {1}");
  EXPECT_EQ(m.decorate(), "{a=1 b= }");  // tracing changes no result
  EXPECT_TRUE(m.is_valid());

  const std::regex line("[0-9]{4} [0-9:.]{12} \\[4\\] TID:[0-9]+ \\(OCMessage:[0-9]+\\): (.*)");
  std::vector<std::string> texts;
  for (const std::string& l : Lines(ReadFile(dir / "trace.txt"))) {
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
}
