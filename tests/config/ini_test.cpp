// Ini: the grammar and its numbered errors, loading files, look-ups with
// expansion, changes and the writer.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <sstream>
#include <vector>

#include "common/temp_dir.h"
#include "plinth/config/ini.h"
#include "plinth/errors/qln_error.h"

using plinth_test::ReadFile;
using plinth_test::TempDir;
using plinth_test::WriteFile;

namespace {

// "[g]k=v,k=v;[g]..." in table order, through the iterator.
std::string Dump(Ini& ini) {
  std::string out;
  for (IniGroupIterator it = ini.begin(); it != ini.end(); ++it) {
    const Group g = *it;
    out += "[" + g.m_sGroupName + "]";
    std::string sep;
    for (const auto& [k, v] : *g.m_pKeys) out += sep + k + "=" + v, sep = ",";
    out += ";";
  }
  return out;
}

// The error number a text gives (0 when it loads), and what it loaded.
int Parse(const std::string& text, std::string* dump = nullptr, std::string* where = nullptr) {
  std::istringstream in(text);
  try {
    Ini ini(in, true);
    if (dump) *dump = Dump(ini);
    return 0;
  } catch (const QLNError& e) {
    EXPECT_EQ(e.What(), Ini::ExceptionNumberToString(e.Code()));
    EXPECT_EQ(e.Severity(), 12);
    if (where) *where = e.Where();
    return static_cast<int>(e.Code());
  }
}

int ErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const QLNError& e) {
    return static_cast<int>(e.Code());
  }
  return 0;
}

}  // namespace

TEST(Ini, GrammarAndErrors) {
  // Texts refused, with the number of the first bad line's error.
  const std::pair<const char*, int> refused[] = {
      {"", 5}, {" ; note\n\r\n\t\n;[a]\n", 5}, {"a=b\n", 7}, {"[a]\n[abc\n", 7}, {"[abc]x\n", 11},
      {"[abc]\t; comment\n", 11}, {"[abc] x\n", 11}, {"[ ]\n", 9}, {"[;a]\n", 13}, {"[a;b]\n", 13},
      {"[abc\n", 10}, {"[a]\n[b;]\n", 13}, {"[a]\nk;x=1\n", 14}, {"[a]\nk x=1\n", 8}, {"[a]\nk\n", 8}};
  for (auto [text, error] : refused) EXPECT_EQ(Parse(text), error) << text;
  // Texts loaded, with what they hold.
  const std::pair<const char*, const char*> loaded[] = {
      {"[abc]", ""}, {"[abc]\n", "[abc];"}, {"[a]\nk=v\n[b]", "[a]k=v;"}, {"[a]\nk=v", "[a]k=v;"},
      {"\xEF\xBB\xBF[a]\nk=v\n", "[a]k=v;"}, {"[ abc ] ; c\n", "[abc ];"}, {"[a]\nk  \t=1\n", "[a]k=1;"},
      {"[a]\nk = v ; comment\nl = ; c\nm=\n=x=1\nn =a = b \n", "[a]=x=1,k=v,l=,m=,n=a = b;"},
      {"[a]\nk=1\nK=2\n[A]\nj=3\n[b]\n", "[a]k=1;[b];"}, {"[a]\n  [x] \nk=1\n", "[a];[x]k=1;"}};
  for (auto [text, held] : loaded) {
    std::string dump;
    EXPECT_EQ(Parse(text, &dump), 0) << text;
    EXPECT_EQ(dump, held) << text;
  }
  // The protected steps report 12 on an empty line, and 15 on a line the
  // reader never gives them.
  struct Steps : Ini {
    Steps() : Ini(std::string(), false) {}
    int Header(std::string line) { return ErrorOf([&] { GetGroupName(line); }); }
    int Key(std::string line, std::string key = "") { return ErrorOf([&] { GetKey(line, key); }); }
  } steps;
  EXPECT_EQ(steps.Header(" \t"), 12);
  EXPECT_EQ(steps.Key(""), 12);
  EXPECT_EQ(steps.Key(";k=1"), 15);
  // Each rule throws from its own place.
  std::string headerPlace, keyPlace;
  EXPECT_EQ(Parse("xyz\n", nullptr, &headerPlace), 7);
  EXPECT_EQ(Parse("[a]\n[x\n", nullptr, &keyPlace), 7);
  EXPECT_EQ(headerPlace.substr(0, 4) + keyPlace.substr(0, 4), "ini ini ");
  EXPECT_NE(headerPlace, keyPlace);
}

TEST(Ini, ErrorTexts) {
  const char* texts[] = {"", "Error opening file", "File was opened for input only",
      "Failure to open file before flushing", "Group name is expected", "Ini file is empty",
      "Unexpected blank space , tab or ;", "Unexpected  [", " = Expected", "No group name",
      "No ] sign ", " ] sign doesn't end line ", "Empty line",
      "; sign is not allowed inside group name", "; sign is not allowed here",
      "Sign ; is not extpected"};
  for (int i = 0; i < 16; ++i) EXPECT_EQ(Ini::ExceptionNumberToString(i), texts[i]) << i;
  for (int i : {-1, 16, 1000}) EXPECT_EQ(Ini::ExceptionNumberToString(i), "") << i;
  EXPECT_EQ(&Ini::ExceptionNumberToString(3), &Ini::ExceptionNumberToString(3));
}

TEST(Ini, LoadingFiles) {
  TempDir dir;
  WriteFile(dir / "one.ini", "[Main]\nk=1\n[x]\na=1\n");
  WriteFile(dir / "two.ini", "[MAIN]\nk=2\nj=2\n[y]\nb=2\n");
  WriteFile(dir / "bad.ini", "[z]\nc=3\n[w]\nbad line\n[v]\nd=4\n");
  Ini ini(dir / "one.ini", true);
  ini.LoadAdd(dir / "two.ini", true);
  EXPECT_EQ(Dump(ini), "[Main]k=1;[x]a=1;[y]b=2;");
  // A failed load keeps the groups before the failing one.
  EXPECT_EQ(ErrorOf([&] { ini.LoadAdd(dir / "bad.ini", false); }), 8);
  EXPECT_EQ(Dump(ini), "[Main]k=1;[x]a=1;[y]b=2;[z]c=3;");
  // ... and the name and the flag of that call: the flush goes to bad.ini.
  ini.FlushIniDataToFile("");
  EXPECT_EQ(ReadFile(dir / "bad.ini"), "[Main]\nk=1\n\n[x]\na=1\n\n[y]\nb=2\n\n[z]\nc=3\n\n");
  ini.Load(dir / "two.ini", true);
  EXPECT_EQ(Dump(ini), "[MAIN]j=2,k=2;[y]b=2;");

  mkdir((dir / "sub").c_str(), 0700);
  for (const std::string& name : {dir / "missing.ini", dir / "sub", dir / "one.ini/x"})
    EXPECT_EQ(ErrorOf([&] { Ini failed(name, false); }), 1) << name;
  EXPECT_EQ(ErrorOf([&] { ini.Load(dir / "sub", false); }), 1);
  EXPECT_EQ(Dump(ini), "");
  WriteFile(dir / "empty.ini", "");
  EXPECT_EQ(ErrorOf([&] { Ini failed(dir / "empty.ini", false); }), 5);
  std::istringstream failed("[a]\n");
  failed.setstate(std::ios::failbit);
  EXPECT_EQ(ErrorOf([&] { Ini fromFailed(failed, false); }), 1);

  Ini none(std::string(), false);
  EXPECT_EQ(Dump(none), "");
  EXPECT_EQ(ErrorOf([&] { none.FlushIniDataToFile(""); }), 3);
}

TEST(Ini, LookUpsAndExpansion) {
  setenv("PLINTH_T_EMPTY", "", 1);
  setenv("PLINTH_T_A", "%PLINTH_T_B%", 1);
  setenv("PLINTH_T_B", "$1\\0", 1);
  setenv("PLINTH_T_.*", "dot", 1);
  unsetenv("PLINTH_T_UNSET");
  struct Case {
    const char* key;
    const char* raw;
    const char* expanded;
  } cases[] = {
      {"plain", "a$1\\b", "a$1\\b"},
      {"unset", "%PLINTH_T_UNSET%x", "%PLINTH_T_UNSET%x"},
      {"empty", "a%PLINTH_T_EMPTY%b", "ab"},
      {"odd", "%%x%PLINTH_T_EMPTY", "%%x%PLINTH_T_EMPTY"},
      // Signs pair from the left: the sign that closes one name opens none.
      {"pair", "%PLINTH_T_UNSET%PLINTH_T_EMPTY%", "%PLINTH_T_UNSET%PLINTH_T_EMPTY%"},
      // Names in byte order: A brings in %PLINTH_T_B%, which B then replaces.
      {"chain", "%PLINTH_T_B%%PLINTH_T_A%", "$1\\0$1\\0"},
      // Text brought in is not scanned for names of its own.
      {"one", "%PLINTH_T_A%", "%PLINTH_T_B%"},
      {"meta", "<%PLINTH_T_.*%>", "<dot>"},
  };
  std::string text = "[g]\n";
  for (const Case& c : cases) text += std::string(c.key) + "=" + c.raw + "\n";
  std::istringstream in(text);
  Ini ini(in, false);
  for (const Case& c : cases) {
    EXPECT_EQ(ini.GetKeyValue("G", c.key, "d", false), c.raw) << c.key;
    EXPECT_EQ(ini.GetKeyValue("g", c.key, "d", true), c.expanded) << c.key;
  }
  bool found = true;
  EXPECT_EQ(ini.GetString("g", "nokey", "%PLINTH_T_A%", &found), "%PLINTH_T_A%");
  EXPECT_FALSE(found);
  EXPECT_EQ(ini.GetString("nogroup", "x", "%PLINTH_T_A%", nullptr), "%PLINTH_T_A%");
  EXPECT_EQ(ini.GetString("g", "EMPTY", "", &found), "ab");
  EXPECT_TRUE(found);
  EXPECT_TRUE(ini.isGroupExist("G") && !ini.isGroupExist("h"));
  EXPECT_TRUE(ini.isGroupHasKey("g", "PLAIN") && !ini.isGroupHasKey("g", "plai") && !ini.isGroupHasKey("h", "plain"));
  EXPECT_EQ(ini.GetGroupProperty("g")->size(), 8u);
  EXPECT_EQ(ini.GetGroupProperty("h"), nullptr);
}

TEST(Ini, ChangesIterationAndWriting) {
  TempDir dir;
  std::istringstream in("[b]\nk=1\n[a]\n");
  Ini ini(in, false);
  // Whether the key, or the group, existed before; the last spelling stays.
  const bool existed[] = {ini.SetKeyValue("B", "new", "2"), ini.SetKeyValue("b", "K", "3"),
                          ini.SetKeyValue("c", "x", "4"), ini.InsertNewGroup("d"), ini.InsertNewGroup("C")};
  EXPECT_EQ(std::vector<bool>(existed, existed + 5), (std::vector<bool>{false, true, true, false, true}));
  ini.EraseGroup("nothing");
  ini.EraseKey("nothing", "k");
  ini.EraseKey("b", "NEW");
  EXPECT_EQ(Dump(ini), "[a];[b]K=3;[C];[d];");
  std::list<std::string> names{"stale"};
  ini.GetGroupNames(names);
  EXPECT_EQ(names, (std::list<std::string>{"a", "b", "C", "d"}));

  IniGroupIterator it = ini.begin();
  IniGroupIterator copy = it++;
  EXPECT_EQ((*copy).m_sGroupName + (*it).m_sGroupName, "ab");
  ++it, ++it, ++it;
  EXPECT_TRUE(it == ini.end() && (*it).m_pKeys == nullptr && (*it).m_sGroupName.empty());
  ini.EraseGroup("d");

  Ini copied(ini);
  copied.SetKeyValue("a", "only", "copy");
  ini = ini;
  Ini assigned(std::string(), true);
  assigned = copied;
  EXPECT_EQ(Dump(ini), "[a];[b]K=3;[C];");
  EXPECT_EQ(Dump(assigned), "[a]only=copy;[b]K=3;[C];");
  EXPECT_TRUE(copied.begin() != ini.begin());

  ini.SetKeyValue("a", "v", " padded ; x");
  ini.SetKeyValue(" e ", "k", "");
  ini.FlushIniDataToFile(dir / "out.ini");
  EXPECT_EQ(ReadFile(dir / "out.ini"), "[ e ]\nk=\n\n[a]\nv= padded ; x\n\n[b]\nK=3\n\n[C]\n\n");
  Ini back(dir / "out.ini", true);
  EXPECT_EQ(Dump(back), "[a]v=padded;[b]K=3;[C];[e ]k=;");
  EXPECT_EQ(ErrorOf([&] { back.FlushIniDataToFile(dir / "x.ini"); }), 2);
  // A full disk is a failed flush, not a written file.
  ASSERT_EQ(symlink("/dev/full", (dir / "full.ini").c_str()), 0);
  for (const std::string& bad : {dir / "no/such/dir.ini", dir.path(), dir / "full.ini"})
    EXPECT_EQ(ErrorOf([&] { ini.FlushIniDataToFile(bad); }), 3) << bad;
}
