// The control surface of the diagnostics: DiagAction reads and changes the
// settings of the engine, DiagActionLocal does so inside the process, and
// DiagContext and DiagLocalContextMgr give the 32 context indexes names.
// Threads: the actions take no lock of their own and follow the rules of the
// engine's setters; DiagLocalContextMgr has no lock, and its first Instance
// must not race. Failures: none are reported; once the engine is destroyed
// every action throws the engine's plain character string.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "plinth/plinth_export.h"

// The name of one entry of the context table.
struct PLINTH_API DiagContext {
  DiagContext() = default;
  DiagContext(unsigned index, unsigned id, const std::string& name) : m_nIndex(index), m_nID(id), m_sName(name) {}
  DiagContext(const DiagContext&) = default;
  DiagContext& operator=(const DiagContext&) = default;
  virtual ~DiagContext() = default;

  unsigned m_nIndex = 0;  // 0 to 31
  unsigned m_nID = 0;     // the context's bit mask
  std::string m_sName;
};

class PLINTH_API DiagAction {
public:
  DiagAction() = default;
  DiagAction(const DiagAction&) = default;
  DiagAction& operator=(const DiagAction&) = default;
  virtual ~DiagAction() = default;

  virtual void Initialize() = 0;
  virtual bool IsInitialized() = 0;
  virtual void SetContextsList(std::list<DiagContext>& contexts) = 0;
  virtual void GetContextsList(std::list<DiagContext>& contexts) = 0;
  virtual void GetFileVec(std::vector<std::string>& files) = 0;
  virtual void SetDiagFileLevel(char* file, unsigned level) = 0;
  virtual void SetDiagContextLevel(unsigned mask, unsigned level) = 0;
  virtual unsigned GetDiagFileLevel(char* file, bool raw) = 0;
  virtual unsigned GetDiagContextLevel(unsigned mask, bool raw) = 0;
  virtual unsigned GetMinimumDebugLevel() = 0;
  virtual void SetMinimumDebugLevel(unsigned level) = 0;
  virtual void SetDiagEnabled(bool on) = 0;
  virtual bool GetDiagEnabled() = 0;
  virtual bool IsCyclic() = 0;
  virtual void SetCyclic(bool on) = 0;
  virtual bool IsUsingFixedFileLevel() = 0;
  virtual void UseFixedFileLevel(bool on) = 0;
  virtual unsigned GetNumberOfCyclic() = 0;
  virtual unsigned GetNumberOfPrintInFile() = 0;
  virtual void SetNumberOfCyclic(unsigned count) = 0;
  virtual void SetNumberOfPrintInFile(unsigned count) = 0;
  virtual void GetDiagLogFilename(char* buffer, bool withPath) = 0;
  virtual void GetDiagINIFilename(char* buffer, bool withPath) = 0;
  virtual bool IsPIDUsed() = 0;
  virtual bool IsPrintLevelMaps() = 0;
};

// The actions on this process's own engine. Cyclic files, fixed levels and
// the two counts reach the file only when its destination is made after
// the change.
class PLINTH_API DiagActionLocal : public DiagAction {
public:
  DiagActionLocal() = default;
  DiagActionLocal(const DiagActionLocal&) = default;
  DiagActionLocal& operator=(const DiagActionLocal&) = default;
  ~DiagActionLocal() override = default;

  // Initialises the engine with the log path "a" and the INI path "b"; a
  // host that wants other paths calls TDiag::Initialize itself.
  void Initialize() override;
  bool IsInitialized() override;
  // Appends copies to the own list and names each id in the engine, where
  // an id keeps its first name.
  void SetContextsList(std::list<DiagContext>& contexts) override;
  void GetContextsList(std::list<DiagContext>& contexts) override;
  void GetFileVec(std::vector<std::string>& files) override;
  void SetDiagFileLevel(char* file, unsigned level) override;
  void SetDiagContextLevel(unsigned mask, unsigned level) override;
  unsigned GetDiagFileLevel(char* file, bool raw) override;
  unsigned GetDiagContextLevel(unsigned mask, bool raw) override;
  unsigned GetMinimumDebugLevel() override;
  // The minimum debug level alone; no file's level changes.
  void SetMinimumDebugLevel(unsigned level) override;
  void SetDiagEnabled(bool on) override;
  bool GetDiagEnabled() override;
  bool IsCyclic() override;
  void SetCyclic(bool on) override;
  bool IsUsingFixedFileLevel() override;
  void UseFixedFileLevel(bool on) override;
  unsigned GetNumberOfCyclic() override;
  unsigned GetNumberOfPrintInFile() override;
  void SetNumberOfCyclic(unsigned count) override;
  void SetNumberOfPrintInFile(unsigned count) override;
  void GetDiagLogFilename(char* buffer, bool withPath) override;
  void GetDiagINIFilename(char* buffer, bool withPath) override;
  bool IsPIDUsed() override;
  bool IsPrintLevelMaps() override;

  std::list<DiagContext> m_lContexts;
};

// The names of contexts that the self-description prints, in order of
// insertion. Separate from the engine's own context names.
class PLINTH_API DiagLocalContextMgr {
public:
  static DiagLocalContextMgr* Instance();
  // Empties and deletes the singleton; the next Instance makes a new one.
  static void Destroy();

  DiagLocalContextMgr(const DiagLocalContextMgr&) = default;
  DiagLocalContextMgr& operator=(const DiagLocalContextMgr&) = default;

  void AddDiagContext(DiagContext& context) { m_lContexts.push_back(context); }
  // Remove every entry with that id, or with exactly that name.
  void RemoveDiagContext(unsigned id);
  void RemoveDiagContext(std::string name);
  void RemoveAll() { m_lContexts.clear(); }
  // The first entry that matches, or null.
  DiagContext* GetDiagContextByIdx(unsigned index);
  DiagContext* GetDiagContext(unsigned id);
  DiagContext* GetDiagContext(const std::string& name);
  std::list<DiagContext>& GetContextsList() { return m_lContexts; }

  std::list<DiagContext> m_lContexts;

private:
  DiagLocalContextMgr() = default;
  ~DiagLocalContextMgr() = default;

  static DiagLocalContextMgr* m_pTheObject;
};
