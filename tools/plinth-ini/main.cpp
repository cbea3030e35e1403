// plinth-ini: reads, checks and changes INI files with the library's own
// reader, so that operators see exactly what a program linked with plinth
// would read.
//
//   plinth-ini get [--expand] FILE GROUP KEY
//   plinth-ini set FILE GROUP KEY VALUE
//   plinth-ini list FILE [GROUP]
//   plinth-ini check FILE
//
// Exit status: 0 done, 1 bad or unreadable file, absent group or key, or a
// file not written; 2 bad command line.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <list>
#include <sstream>
#include <string>
#include <vector>

#include <plinth/config.h>
#include <plinth/errors.h>

namespace {

const char kUsage[] =
    "usage: plinth-ini get [--expand] FILE GROUP KEY\n"
    "       plinth-ini set FILE GROUP KEY VALUE\n"
    "       plinth-ini list FILE [GROUP]\n"
    "       plinth-ini check FILE\n"
    "\n"
    "get    prints the value of KEY in GROUP (names ignore case); with --expand,\n"
    "       %NAME% is replaced by the environment variable NAME where it is set.\n"
    "set    sets KEY in GROUP to VALUE and writes the file back, creating it\n"
    "       when it doesn't exist. The file is rewritten in sorted order:\n"
    "       comments and blank lines are not kept.\n"
    "list   prints the group names, or the KEY=VALUE lines of GROUP.\n"
    "check  reads the whole file; on the first bad line prints its line number,\n"
    "       the error number and the text of the error.\n"
    "\n"
    "Exit status: 0 done; 1 bad or unreadable file, absent group or key, file\n"
    "not written; 2 bad command line.\n";

int Usage() {
  std::fputs(kUsage, stderr);
  return 2;
}

// The line of the text that the reader refused: the reader reads one line
// at a time and refuses it at once, so the line just consumed is the bad one.
long BadLine(const std::string& text) {
  std::istringstream in(text);
  try {
    Ini again(in, true);
  } catch (const QLNError&) {
    in.clear();
    const std::streamoff end = in.tellg();
    if (end < 0) return 0;
    long line = 0;
    for (std::streamoff i = 0; i < end; ++i)
      if (text[static_cast<size_t>(i)] == '\n') ++line;
    if (end > 0 && text[static_cast<size_t>(end - 1)] != '\n') ++line;
    return line;
  }
  return 0;
}

void Report(const std::string& file, const QLNError& error) {
  long line = 0;
  // Errors 7 to 15 come from one line of the grammar.
  if (error.Code() >= 7 && error.Code() <= 15) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    line = BadLine(text.str());
  }
  if (line > 0)
    std::fprintf(stderr, "plinth-ini: %s:%ld: error %ld: %s\n", file.c_str(), line, error.Code(),
                 error.What().c_str());
  else
    std::fprintf(stderr, "plinth-ini: %s: error %ld: %s\n", file.c_str(), error.Code(),
                 error.What().c_str());
}

int Get(const std::vector<std::string>& args) {
  bool expand = false;
  std::vector<std::string> rest;
  for (const std::string& arg : args) {
    if (arg == "--expand") expand = true;
    else rest.push_back(arg);
  }
  if (rest.size() != 3) return Usage();
  Ini ini(rest[0], true);
  if (!ini.isGroupHasKey(rest[1], rest[2])) {
    std::fprintf(stderr, "plinth-ini: %s: no key '%s' in group [%s]\n", rest[0].c_str(),
                 rest[2].c_str(), rest[1].c_str());
    return 1;
  }
  std::printf("%s\n", ini.GetKeyValue(rest[1], rest[2], "", expand).c_str());
  return 0;
}

int Set(const std::vector<std::string>& args) {
  if (args.size() != 4) return Usage();
  std::error_code ec;
  const bool exists = std::filesystem::exists(args[0], ec);
  Ini ini(exists ? args[0] : std::string(), false);
  ini.SetKeyValue(args[1], args[2], args[3]);
  ini.FlushIniDataToFile(args[0]);
  return 0;
}

int List(const std::vector<std::string>& args) {
  if (args.empty() || args.size() > 2) return Usage();
  Ini ini(args[0], true);
  if (args.size() == 1) {
    std::list<std::string> names;
    ini.GetGroupNames(names);
    for (const std::string& name : names) std::printf("%s\n", name.c_str());
    return 0;
  }
  const Ini::KeyTable* keys = ini.GetGroupProperty(args[1]);
  if (!keys) {
    std::fprintf(stderr, "plinth-ini: %s: no group [%s]\n", args[0].c_str(), args[1].c_str());
    return 1;
  }
  for (const auto& [key, value] : *keys) std::printf("%s=%s\n", key.c_str(), value.c_str());
  return 0;
}

int Check(const std::vector<std::string>& args) {
  if (args.size() != 1) return Usage();
  Ini ini(args[0], true);
  std::list<std::string> names;
  ini.GetGroupNames(names);
  std::printf("%s: ok, %zu groups\n", args[0].c_str(), names.size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return Usage();
  const std::string command = argv[1];
  if (command == "-h" || command == "--help") {
    std::fputs(kUsage, stdout);
    return 0;
  }
  const std::vector<std::string> args(argv + 2, argv + argc);
  try {
    if (command == "get") return Get(args);
    if (command == "set") return Set(args);
    if (command == "list") return List(args);
    if (command == "check") return Check(args);
  } catch (const QLNError& error) {
    std::string file;
    for (const std::string& arg : args)
      if (arg != "--expand") {
        file = arg;
        break;
      }
    Report(file, error);
    return 1;
  }
  std::fprintf(stderr, "plinth-ini: unknown command '%s'\n", command.c_str());
  return Usage();
}
