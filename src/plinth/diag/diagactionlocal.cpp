// The control surface inside the process, and the context names that the
// self-description prints.
#include <algorithm>

#include "plinth/diag/diag_action.h"
#include "plinth/diag/tdiag.h"

PLINTH_DIAG_FILE();

namespace {
TDiag& Engine() { return *TDiag::Instance(); }
}  // namespace

// ---- DiagActionLocal ----

void DiagActionLocal::Initialize() { Engine().Initialize("a", "b", ""); }

bool DiagActionLocal::IsInitialized() { return TDiag::IsInitialized(); }

void DiagActionLocal::SetContextsList(std::list<DiagContext>& contexts) {
  TDiag& diag = Engine();
  for (const DiagContext& context : contexts) {
    m_lContexts.push_back(context);
    diag.AddContext(context.m_sName, context.m_nID);
  }
}

void DiagActionLocal::GetContextsList(std::list<DiagContext>& contexts) { contexts = m_lContexts; }

void DiagActionLocal::GetFileVec(std::vector<std::string>& files) { Engine().GetFileVec(files); }

void DiagActionLocal::SetDiagFileLevel(char* file, unsigned level) {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::SetDiagFileLevel");
  diag.SetDiagBufferLevels(file, level, level);
}

void DiagActionLocal::SetDiagContextLevel(unsigned mask, unsigned level) {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::SetDiagContextLevel");
  diag.SetDiagBufferLevels(mask, level, level);
}

unsigned DiagActionLocal::GetDiagFileLevel(char* file, bool raw) {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::GetDiagFileLevel");
  return diag.GetFileDebugLevel(file, raw);
}

unsigned DiagActionLocal::GetDiagContextLevel(unsigned mask, bool raw) {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::GetDiagContextLevel");
  return diag.GetContextDebugLevel(mask, raw);
}

unsigned DiagActionLocal::GetMinimumDebugLevel() {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::GetMinimumDebugLevel");
  return diag.GetMinimumDebugLevel();
}

void DiagActionLocal::SetMinimumDebugLevel(unsigned level) {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::SetMinimumDebugLevel");
  diag.SetMinimumDebugLevel(level);
}

void DiagActionLocal::SetDiagEnabled(bool on) {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::SetDiagEnabled");
  diag.SetDiagEnabled(on);
}

bool DiagActionLocal::GetDiagEnabled() {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::GetDiagEnabled");
  return diag.GetDiagEnabled();
}

bool DiagActionLocal::IsCyclic() {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::IsCyclic");
  return diag.IsCyclic();
}

void DiagActionLocal::SetCyclic(bool on) { Engine().SetCyclic(on); }
bool DiagActionLocal::IsUsingFixedFileLevel() { return Engine().IsUsingFixedFileLevel(); }
void DiagActionLocal::UseFixedFileLevel(bool on) { Engine().UseFixedFileLevel(on); }
unsigned DiagActionLocal::GetNumberOfCyclic() { return Engine().GetNumberOfCyclic(); }
unsigned DiagActionLocal::GetNumberOfPrintInFile() { return Engine().GetNumberOfPrintInFile(); }
void DiagActionLocal::SetNumberOfCyclic(unsigned count) { Engine().SetNumberOfCyclic(count); }
void DiagActionLocal::SetNumberOfPrintInFile(unsigned count) { Engine().SetNumberOfPrintInFile(count); }

void DiagActionLocal::GetDiagLogFilename(char* buffer, bool withPath) {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::GetDiagLogFilename");
  diag.GetLogFile(buffer, withPath);
}

void DiagActionLocal::GetDiagINIFilename(char* buffer, bool withPath) {
  TDiag& diag = Engine();
  PLINTH_DIAG_FUNC("DiagActionLocal::GetDiagINIFilename");
  diag.GetINIFile(buffer, withPath);
}

bool DiagActionLocal::IsPIDUsed() { return Engine().IsPIDUsed(); }
bool DiagActionLocal::IsPrintLevelMaps() { return Engine().IsPrintLevelMaps(); }

// ---- DiagLocalContextMgr ----

DiagLocalContextMgr* DiagLocalContextMgr::m_pTheObject = nullptr;

DiagLocalContextMgr* DiagLocalContextMgr::Instance() {
  if (!m_pTheObject) m_pTheObject = new DiagLocalContextMgr;
  return m_pTheObject;
}

void DiagLocalContextMgr::Destroy() {
  if (!m_pTheObject) return;
  m_pTheObject->RemoveAll();
  delete m_pTheObject;
  m_pTheObject = nullptr;
}

void DiagLocalContextMgr::RemoveDiagContext(unsigned id) {
  m_lContexts.remove_if([id](const DiagContext& context) { return context.m_nID == id; });
}

void DiagLocalContextMgr::RemoveDiagContext(std::string name) {
  m_lContexts.remove_if([&name](const DiagContext& context) { return context.m_sName == name; });
}

namespace {
template <typename Match>
DiagContext* FirstOf(std::list<DiagContext>& contexts, Match match) {
  const auto found = std::find_if(contexts.begin(), contexts.end(), match);
  return found == contexts.end() ? nullptr : &*found;
}
}  // namespace

DiagContext* DiagLocalContextMgr::GetDiagContextByIdx(unsigned index) {
  return FirstOf(m_lContexts, [index](const DiagContext& context) { return context.m_nIndex == index; });
}

DiagContext* DiagLocalContextMgr::GetDiagContext(unsigned id) {
  return FirstOf(m_lContexts, [id](const DiagContext& context) { return context.m_nID == id; });
}

DiagContext* DiagLocalContextMgr::GetDiagContext(const std::string& name) {
  return FirstOf(m_lContexts, [&name](const DiagContext& context) { return context.m_sName == name; });
}
