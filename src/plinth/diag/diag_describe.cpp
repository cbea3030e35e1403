// The engine describes itself in its file: its parameters, the registered
// source files and contexts, and the component versions of the process.
// Each list is written under the engine lock, straight to the destination,
// without time stamp or level, so that its lines stand together.
#include <cstdarg>
#include <cstdio>
#include <sstream>
#include <string>

#include "plinth/config/version_registry.h"
#include "plinth/diag/diag_action.h"
#include "plinth/diag/tdiag.h"
#include "plinth/logger/logger.h"

namespace {
const char* const kParametersHead =
    "\n------------ Diagnostic Parameters "
    "-------------------------------------------------------------------------------------------------\n";
const char* const kFilesHead = "----------------- List of all registered source files ------------------\n";
const char* const kContextsHead = "------------------ List of all registered contexts ---------------------\n";
const char* const kVersionsHead = "------------------ List of all component versions ---------------------\n";
const char* const kListEnd = "------------------------------------------------------------------------\n";
constexpr int kNameColumns = 35;
// A row of the file list is cut to this many characters.
constexpr size_t kFileRowMax = 94;

// The registry is printed at most once in a process.
bool g_bVersionsPrinted = false;

const char* TrueFalse(bool value) { return value ? "TRUE" : "FALSE"; }

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* format, ...) {
  va_list args, again;
  va_start(args, format);
  va_copy(again, args);
  const int needed = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  std::string text(needed > 0 ? static_cast<size_t>(needed) : 0, '\0');
  if (needed > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  return text;
}
}  // namespace

void TDiag::printDiagnosticParameters() {
  os_lock_guard guard(m_CritSect);
  if (m_sDestName.empty()) return;
  auto write = [this](const std::string& text) { m_pLogger->writeDest(m_sDestName, text, 0, 0); };
  write(kParametersHead);
  write(Format("Diagnostic device is a kind of '%s', it prints out into #%u file(s), file capacity is #%u messages\n",
               m_bIsCyclic ? "Cyclic" : "Sequential", m_nNumOfCyclic, m_nPrintsPerFile));
  write(Format("DefaulDebugLevel=%u, DefaultBufferLevel=%u, file pattern IsPIDUsed=%s, logger mode UseFileLevel=%s.\n",
               GetMinimumDebugLevel(), GetMinimumBufferLevel(), TrueFalse(m_bIsPIDUsed),
               IsUsingFixedFileLevel() ? "TRUE" : "FALSE "));
  write(Format("Cleanup settings are: ApplyCleanup=%s, RetainDays=%u\n", TrueFalse(m_bApplyCleanup), m_nRetainDays));
  write(std::string(133, '-') + "\n\n");
}

namespace {
// The two maps without their state test; the caller holds the engine lock.
void WriteFilesMap(TDiag& diag) {
  if (diag.m_sDestName.empty()) return;
  diag.m_pLogger->writeDest(diag.m_sDestName, kFilesHead, 0, 0);
  char format[96];
  std::snprintf(format, sizeof format, "%%3d) file:     %%-%d.%ds   Diag level: %%d   Buffer level: %%d\n",
                kNameColumns, kNameColumns);
  int number = 0;
  for (const auto& [name, levels] : diag.m_mFiles) {
    const int debug = levels ? static_cast<int>(DbgLevelLoad(levels->m_nDebugLevel)) : 0;
    const int buffer = levels ? static_cast<int>(DbgLevelLoad(levels->m_nBufferLevel)) : 0;
    char row[kFileRowMax + 1];
    std::snprintf(row, sizeof row, format, ++number, name.c_str(), debug, buffer);
    diag.m_pLogger->writeDest(diag.m_sDestName, row, 0, 0);
  }
}

void WriteContextsMap(TDiag& diag) {
  if (diag.m_sDestName.empty()) return;
  diag.m_pLogger->writeDest(diag.m_sDestName, kContextsHead, 0, 0);
  char format[96];
  std::snprintf(format, sizeof format, "%%3d) context:  %%-%ds   Diag level: %%u   Buffer level: %%u\n", kNameColumns);
  DiagLocalContextMgr* names = DiagLocalContextMgr::Instance();
  for (unsigned index = 0; index < TDiag::kContextCount; ++index) {
    const DiagContext* context = names->GetDiagContextByIdx(index);
    const std::string name = context ? context->m_sName : std::to_string(index);
    const DbgLevels levels = index < diag.m_vContextLevels.size() ? diag.m_vContextLevels[index] : DbgLevels{};
    diag.m_pLogger->writeDest(diag.m_sDestName,
                              Format(format, static_cast<int>(index + 1), name.c_str(),
                                     DbgLevelLoad(levels.m_nDebugLevel), DbgLevelLoad(levels.m_nBufferLevel)),
                              0, 0);
  }
  diag.m_pLogger->writeDest(diag.m_sDestName, kListEnd, 0, 0);
}
}  // namespace

void TDiag::PrintFilesMap() {
  if (!GetDiagEnabled()) return;
  os_lock_guard guard(m_CritSect);
  WriteFilesMap(*this);
}

void TDiag::PrintContextsMap() {
  if (!GetDiagEnabled()) return;
  os_lock_guard guard(m_CritSect);
  WriteContextsMap(*this);
}

void TDiag::PrintVersionRegistry() {
  os_lock_guard guard(m_CritSect);
  if (m_sDestName.empty()) return;
  m_pLogger->writeDest(m_sDestName, kVersionsHead, 0, 0);
  std::ostringstream list;
  OcVersionRegister::Instance().Print(list);
  m_pLogger->writeDest(m_sDestName, list.str(), 0, 0);
  m_pLogger->writeDest(m_sDestName, kListEnd, 0, 0);
}

void TDiag::DescribeAtInitialize() {
  if (m_bPrintLevelMaps) {
    printDiagnosticParameters();
    // The first Initialize comes here before the engine's state says it is
    // initialised; PrintLevelMaps asks for the maps now, so only the
    // enabled flag is tested.
    if (m_bEnabled.load(std::memory_order_relaxed)) {
      os_lock_guard guard(m_CritSect);
      WriteFilesMap(*this);
      WriteContextsMap(*this);
    }
  }
  if ((m_bPrintLevelMaps || m_bPrintVersions) && !g_bVersionsPrinted) {
    PrintVersionRegistry();
    g_bVersionsPrinted = true;
  }
}
