// plinth-levels: explains the diagnostics' levels file.
//
//   plinth-levels [--path DIR] [--name PROGRAM] [--logical NAME] [--file LEVELS_FILE] [SOURCE_FILE...]
//
// Without --file it lists the names that Initialize(logPath, DIR, NAME)
// tries for a program whose diagnostics' output name is PROGRAM (the name
// given to TDiagSetFileName, "general" if none), and reads the first that it
// finds. It then prints each line of the file that has no effect, with the
// reason, and the levels that the engine would give: the minimums, every
// source file and context the file names, each SOURCE_FILE asked for, and
// every other file and context.
//
// Exit status: 0 a file was read and every line does what it says; 1 no file
// was found, or it has lines that do nothing; 2 a bad command line.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <plinth/diag.h>

namespace {

void usage(std::FILE* to) {
  std::fprintf(to,
               "usage: plinth-levels [--path DIR] [--name PROGRAM] [--logical NAME] [--file LEVELS_FILE]\n"
               "                     [SOURCE_FILE...]\n"
               "  --path DIR       the INI path given to Initialize (default: none, the working directory)\n"
               "  --name PROGRAM   the diagnostics' output name (default: general)\n"
               "  --logical NAME   the logical name given to Initialize (default: none)\n"
               "  --file FILE      read this levels file instead of looking for one\n"
               "  SOURCE_FILE      also print the levels of these source files\n");
}

void Print(const char* what, const std::string& name, DiagLevelsFileReport::Levels levels) {
  std::printf("  %-8s %-28s debug %u, buffer %u\n", what, name.c_str(), levels.m_nDebug, levels.m_nBuffer);
}

}  // namespace

int main(int argc, char** argv) {
  std::string iniPath, program = "general", logicalName, file;
  std::vector<std::string> sources;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    if (arg == "--path" && hasValue) {
      iniPath = argv[++i];
    } else if (arg == "--name" && hasValue) {
      program = argv[++i];
    } else if (arg == "--logical" && hasValue) {
      logicalName = argv[++i];
    } else if (arg == "--file" && hasValue) {
      file = argv[++i];
    } else if (arg == "-h" || arg == "--help") {
      usage(stdout);
      return 0;
    } else if (arg.size() > 1 && arg[0] == '-') {
      std::fprintf(stderr, "plinth-levels: unknown argument '%s'\n", arg.c_str());
      usage(stderr);
      return 2;
    } else {
      sources.push_back(arg);
    }
  }

  if (file.empty()) {
    file = FindDiagLevelsFile(iniPath, program, logicalName);
    std::printf("Initialize looks for, in this order:\n");
    for (const std::string& name : DiagLevelsFileNames(iniPath, program, logicalName))
      std::printf("  %s%s\n", name.c_str(), name == file ? "   <- found, read" : "");
    if (file.empty()) {
      std::printf("none is found: every level stays at its default (0 0)\n");
      return 1;
    }
  }
  std::ifstream in(file, std::ios::in | std::ios::binary);
  if (!in.is_open()) {
    std::fprintf(stderr, "plinth-levels: %s can't be opened\n", file.c_str());
    return 1;
  }
  DiagLevelsFileReport report;
  report.Read(in);

  for (const DiagLevelsFileLine& line : report.m_vIgnored)
    std::printf("%s:%u: %s: %s\n", file.c_str(), line.m_nLine, line.m_sReason.c_str(), line.m_sText.c_str());

  std::printf("levels from %s%s:\n", file.c_str(),
              report.m_bIgnoreMinimum ? " (IgnoreMinimum: the minimum doesn't raise named files and contexts)" : "");
  Print("minimum", "", report.m_Minimum);
  for (const auto& [name, levels] : report.m_mFiles) Print("file", name, report.FileLevels(name));
  for (const std::string& source : sources) Print("file", source, report.FileLevels(source));
  for (const auto& [index, levels] : report.m_mContexts)
    Print("context", std::to_string(index) + " (mask " + std::to_string(1u << index) + ")", report.ContextLevels(index));
  Print("other", "files and contexts", report.m_Minimum);
  return report.m_vIgnored.empty() ? 0 : 1;
}
