// Quick start: diagnostics of one source file, tuned by a levels file.
//   quickstart_diag DIR   writes DIR/quickstart_DiagLvls.ini, then its diagnostics to DIR
#include <plinth/plinth.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

PLINTH_DIAG_FILE();                                   // registers this file as "diag"
static const TDiagSetFileName g_name("quickstart");  // files are quickstart_diag.<host>.txt

static int Add(int a, int b) {
  PLINTH_DIAG_FUNC("Add");  // "Enter" at level 6, "Exit" at level 7
  PLINTH_DIAG(4, "adding " << a << " and " << b);
  return a + b;
}

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? argv[1] : ".";
  // Initialize looks for <iniPath>/quickstart_DiagLvls.ini (and two other names;
  // `plinth-levels --path DIR --name quickstart` lists them).
  std::ofstream(dir + "/quickstart_DiagLvls.ini") << "# this source file up to level 4\ndiag 4\n";
  TDiag::Instance()->Initialize(dir, dir, "");  // log directory, levels file directory, logical name
  Add(2, 3);
  exit_diag();

  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    if (entry.path().filename().string().rfind("quickstart_diag.", 0) != 0) continue;
    std::stringstream text;
    text << std::ifstream(entry.path()).rdbuf();
    if (text.str().find("adding 2 and 3") != std::string::npos && text.str().find("Enter") == std::string::npos) {
      std::cout << "diagnostics in " << entry.path().string() << '\n';
      return 0;
    }
  }
  std::cerr << "no diagnostic line in " << dir << '\n';
  return 1;
}
