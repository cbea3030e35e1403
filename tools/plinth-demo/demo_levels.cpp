// Diagnostic levels and the memory buffer: the demo writes its sample levels
// file before the diagnostics start, then changes levels while it runs and
// prints and dumps the memory buffer.
#include <cstdio>
#include <fstream>
#include <string>

#include <plinth/plinth.h>

#include "demo.h"

extern const char* const kSampleDiagLvls;

namespace {

PLINTH_DIAG_FILE();

// The name the diagnostics section's Initialize looks for first.
std::string LevelsFileName(const DemoContext& ctx) { return ctx.logDir + "/plinth-demo.demo_DiagLvls.ini"; }

int CountLinesWith(const std::string& file, const std::string& text) {
  std::ifstream in(file);
  int count = 0;
  for (std::string line; std::getline(in, line);)
    if (line.find(text) != std::string::npos) ++count;
  return count;
}

int demo_levels_file(const DemoContext& ctx) {
  const std::string path = LevelsFileName(ctx);
  std::ofstream out(path, std::ios::trunc);
  out << kSampleDiagLvls;
  if (!out) {
    std::fprintf(stderr, "plinth-demo: cannot write %s\n", path.c_str());
    return 1;
  }
  std::printf("plinth-demo: wrote the sample levels file %s\n", path.c_str());
  return 0;
}

int demo_levels(const DemoContext& ctx) {
  TDiag* diag = TDiag::Instance();
  if (!TDiag::IsInitialized()) {
    std::fprintf(stderr, "plinth-demo: the diagnostics section did not start the engine\n");
    return 1;
  }
  std::string diagFile;
  if (auto* dest = dynamic_cast<LoggerFileDest*>(Logger::GetInstance()->getDest(diag->m_sDestName)))
    dest->GetFileName(diagFile);

  std::printf("plinth-demo: from the levels file, demo_levels is at file level %u, buffer level %u; "
              "the buffer holds %u bytes\n",
              diag->GetFileDebugLevel(__FILE__, true), diag->GetFileBufferLevel(__FILE__), diag->GetBufferSize());
  PLINTH_DIAG_AT("demo_levels", 2, "level 2: to the file and the buffer");
  PLINTH_DIAG_AT("demo_levels", 5, "level 5 before the change: to the buffer only");

  // A live change, as a control tool would make it.
  diag->SetDiagBufferLevels(__FILE__, 5, 6);
  PLINTH_DIAG_AT("demo_levels", 5, "level 5 after the change: to the file as well");
  diag->SetDebugLevel(1u << 3 | 1u << 4, 6);
  std::printf("plinth-demo: after SetDiagBufferLevels, demo_levels is at %u; contexts 3 and 4 at %u\n",
              diag->GetFileDebugLevel(__FILE__, true), diag->GetContextDebugLevel(1u << 3 | 1u << 4, true));
  diag->FlushDiagLog();
  std::printf("plinth-demo: %d of the three demo_levels lines reached %s\n",
              CountLinesWith(diagFile, "\tdemo_levels\t"), diagFile.c_str());

  // The buffer kept all three; printing appends them to the diagnostic file.
  diag->PrintDirectly("------ memory buffer ------\n");
  if (diag->PrintBuffer(diagFile.c_str()) != 1) return 1;
  std::string dumpFile;
  diag->GetFileName4Buffer(dumpFile);
  if (diag->DumpBuffer(dumpFile.c_str()) != 1) return 1;
  std::printf("plinth-demo: printed the buffer into the diagnostic file (%d demo_levels lines now), "
              "dumped it to %s\n",
              CountLinesWith(diagFile, "\tdemo_levels\t"), dumpFile.c_str());
  (void)ctx;
  return 0;
}

}  // namespace

PLINTH_DEMO_SECTION(19, "levels file", demo_levels_file);
PLINTH_DEMO_SECTION(21, "levels and memory buffer", demo_levels);
