// The diagnostic engine: the process-wide TDiag through which every
// registered source file writes levelled lines to its diagnostic file, the
// scope object TDiagFunc, and the helpers that make the level test inline.
// Levels come from a levels file read at Initialize and from the setters
// below at run time; recent lines can also go to a memory buffer.
//
// Threads: any thread may test levels and print; lines never mix. Instance
// takes no lock, so its first call must come while the process is single
// threaded (static registration sees to that), and Initialize is called
// before threads print. Failures are results and quiet drops; the only
// throw is Instance after Destroy, which throws a plain character string.
#pragma once

#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "plinth/diag/dbg_buffer.h"
#include "plinth/diag/diagstacks.h"
#include "plinth/diag/format_obj.h"
#include "plinth/platform/local_time.h"
#include "plinth/platform/os/os_critical_section.h"

class Logger;

class TDiag {
public:
  enum LifeCycle { eNotCreated = 0, eCreated = 1, eInitialized = 2, eDestroyed = 3 };
  // What EnableStacks and DisableStacks are asked to change.
  enum StacksMode { eStacksNone = 0, eStacksThreadObjects = 1, eStacksRecording = 2 };

  // Line limits: the text of a line through flush, the buffer of Printf, the
  // composed line of Println (terminator included) and of PrintMsg.
  static constexpr size_t kMaxFlushText = 1789;
  static constexpr size_t kPrintfBuffer = 1800;
  static constexpr size_t kMaxPrintlnLine = 1988;
  static constexpr size_t kMaxPrintMsgLine = 1999;
  // Context ids are masks over this many entries of the context table.
  static constexpr unsigned kContextCount = 32;

  // ---- life cycle ----
  static TDiag* Instance();
  static void Destroy();
  static bool IsAlive() {
    const LifeCycle s = m_eState.load(std::memory_order_relaxed);
    return s == eCreated || s == eInitialized;
  }
  static bool IsInitialized() { return m_eState.load(std::memory_order_relaxed) == eInitialized; }
  bool isValid() const { return IsInitialized(); }
  static TDiag& GetObjectAndVerifyMainThread(const char* file, const char* function);
  void Initialize(const std::string& logPath, const std::string& iniPath, const std::string& logicalName);

  // ---- registration ----
  void Register(const char* file, DbgLevels* levels) { RegisterFile(file, levels); }
  // The name under which a source file registers: its base name without
  // extension, in lower case; "/" and "\" both separate directories.
  static std::string NormalizeFileName(const char* file);

  // ---- the level decision, made by the caller before any other work ----
  bool GetDiagEnabled() const {
    return m_eState.load(std::memory_order_relaxed) == eInitialized && m_bEnabled.load(std::memory_order_relaxed);
  }
  unsigned GetFixedDebugLevel(unsigned level) const {
    if (m_bIgnoreMinimum.load(std::memory_order_relaxed)) return level;
    const unsigned minimum = m_nMinimumDbgLvl.load(std::memory_order_relaxed);
    return level > minimum ? level : minimum;
  }
  unsigned GetFixedBufferLevel(unsigned level) const {
    if (m_bIgnoreMinimum.load(std::memory_order_relaxed)) return level;
    const unsigned minimum = m_nMinimumBufLvl.load(std::memory_order_relaxed);
    return level > minimum ? level : minimum;
  }
  bool IsBufferEnabled() const { return m_MemBuffer.IsEnabled(); }
  // Both tests for a line of level N from a file with the given levels: a few
  // relaxed reads, no lock, no call. True when either passes.
  // Both tests for a line of level N from a file with the given levels: a few
  // relaxed reads, no lock, no call. True when either passes. A line that
  // neither the file's levels nor any minimum reach, the common case, is
  // turned away after four reads.
  static bool TestLevels(const DbgLevels& levels, unsigned level, bool& toLog, bool& toBuffer) {
    TDiag* diag = m_pTheObject.load(std::memory_order_relaxed);
    if (!diag || (level > DbgLevelLoad(levels.m_nDebugLevel) && level > DbgLevelLoad(levels.m_nBufferLevel) &&
                  level > diag->m_nMinimumCeiling.load(std::memory_order_relaxed)))
      return toLog = toBuffer = false;
    toLog = diag->GetDiagEnabled() && diag->GetFixedDebugLevel(DbgLevelLoad(levels.m_nDebugLevel)) >= level;
    toBuffer = diag->IsBufferEnabled() && diag->GetFixedBufferLevel(DbgLevelLoad(levels.m_nBufferLevel)) >= level;
    return toLog || toBuffer;
  }

  // ---- printing ----
  void Printf(DiagLocalData* data, const char* format, ...) __attribute__((format(printf, 3, 4)));
  void Println(const DiagLocalData& data, const char* text);
  void PrintMsg(const std::string& text, const char* file, const char* function, int level, int context,
                bool toLog, bool toBuffer);
  void PrintDirectly(const char* text);
  void flush(FormatObj* object);
  void flush() { flush(GetFormatObj()); }
  int FlushDiagLog();
  static void FormatTime(char* buffer, int size);
  static void FormatTime(char* buffer, int size, _SYSTEMTIME& time);

  // ---- formatting objects ----
  FormatObj* GetFormatObj();
  FormatObj* GetFormatObjFromPool();
  void StartCritSect() { m_CritSect.lock(); }
  void EndCritSect() { m_CritSect.unlock(); }

  // ---- settings ----
  void SetDiagEnabled(bool enable);
  unsigned GetMinimumDebugLevel() const { return m_nMinimumDbgLvl.load(std::memory_order_relaxed); }
  void SetMinimumDebugLevel(unsigned level) { SetMinimumLevels(level, GetMinimumBufferLevel()); }
  // Both minimums, and the ceiling that the quick test of a line reads.
  void SetMinimumLevels(unsigned debugLevel, unsigned bufferLevel) {
    m_nMinimumDbgLvl.store(debugLevel, std::memory_order_relaxed);
    m_nMinimumBufLvl.store(bufferLevel, std::memory_order_relaxed);
    m_nMinimumCeiling.store(debugLevel > bufferLevel ? debugLevel : bufferLevel, std::memory_order_relaxed);
  }
  bool IsCyclic() const { return m_bIsCyclic; }
  void SetCyclic(bool on) { m_bIsCyclic = on; }
  unsigned GetNumberOfCyclic() const { return m_nNumOfCyclic; }
  void SetNumberOfCyclic(unsigned count) { m_nNumOfCyclic = count; }
  unsigned GetNumberOfPrintInFile() const { return m_nPrintsPerFile; }
  void SetNumberOfPrintInFile(unsigned count) { m_nPrintsPerFile = count; }
  unsigned GetRetainDays() const { return m_nRetainDays; }
  void SetRetainDays(unsigned days) { m_nRetainDays = days; }
  bool IsUsingFixedFileLevel() const { return m_bIgnoreMinimum.load(std::memory_order_relaxed); }
  void UseFixedFileLevel(bool on) { m_bIgnoreMinimum.store(on, std::memory_order_relaxed); }
  bool IsPIDUsed() const { return m_bIsPIDUsed; }
  bool IsPrintLevelMaps() const { return m_bPrintLevelMaps; }
  const char* GetOutputFileName() const { return m_pOutputFileName; }
  // The text must live as long as the engine.
  void SetOutputFileName(const char* name) { m_pOutputFileName = name; }
  const std::string& getLogicalName() const { return m_sLogicalName; }
  void setLogicalName(const std::string& name) { m_sLogicalName = name; }
  void SetAppInfoProvider(std::string (*provider)(void*), void* argument) {
    m_pAppInfoProvider = provider;
    m_pAppInfoArgument = argument;
  }

  // ---- levels of files and contexts (any thread; plain words, no lock) ----
  // "3 5": debug level 3, buffer level 5; one number gives both. A text with
  // no digit from 0 to 7 leaves both outputs as they were.
  void Str2DbgLevels(const std::string& text, unsigned* debugLevel, unsigned* bufferLevel);
  unsigned GetFileDebugLevel(const char* file, bool raw) const;
  unsigned GetFileBufferLevel(const char* file) const;
  unsigned GetContextDebugLevel(unsigned mask, bool raw) const;
  unsigned GetContextBufferLevel(unsigned mask) const;
  void SetDebugLevel(const char* file, unsigned level) { SetDiagBufferLevels(file, level, level); }
  // "MinimumDbgLvl" and "*default" name the minimums; anything else a file.
  void SetDiagBufferLevels(const char* file, unsigned debugLevel, unsigned bufferLevel);
  void SetFileDiagBufferLevels(const char* file, unsigned debugLevel, unsigned bufferLevel);
  void SetDebugLevel(unsigned mask, unsigned level) { SetDiagBufferLevels(mask, level, level); }
  void SetDiagBufferLevels(unsigned mask, unsigned debugLevel, unsigned bufferLevel);
  void GetFileVec(std::vector<std::string>& files) const;
  // Names for the viewer; no part of any level test. An id keeps its first name.
  void AddContext(const std::string& name, unsigned id) { m_mContextNames.emplace(id, name); }
  void ClearContextMap() { m_mContextNames.clear(); }
  unsigned GetMinimumBufferLevel() const { return m_nMinimumBufLvl.load(std::memory_order_relaxed); }
  // Reads levels-file text from any stream by the rules of the levels file,
  // applying its keywords, its tokens or both. Bad lines are skipped.
  void ReadLevelsStream(std::istream& in, bool applyKeywords, bool applyTokens);

  // ---- memory buffer ----
  int InitializeBuffer();
  int CreateBuffer();
  int ResetBufferSize(unsigned sizeKB);
  int DestroyBuffer();
  int PrintBuffer(const char* file);
  // Holds the engine lock only while it copies the block.
  int QuickPrintBuffer(const char* file);
  // No lock. A null file means the name GetFileName4Buffer gives.
  int DumpBuffer(const char* file);
  // No lock, no allocation: for crash paths. A time of 0 means now.
  int DumpBufferSafe(int64_t time);
  // The caller holds the engine lock.
  void WriteToBuffer(const char* text, unsigned length) { m_MemBuffer.WriteMsg(text, length); }
  DbgBuffer* GetMemBuffer() { return &m_MemBuffer; }
  unsigned GetBufferSize() const { return m_MemBuffer.GetSize(); }

  // ---- output files ----
  void GetLogFile(char* buffer, bool withPath);
  void GetINIFile(char* buffer, bool withPath);
  void BuildFileName4Type(const char* type, std::string& name) const;
  // Allocates nothing: safe on a crash path once Initialize has run.
  void BuildFileName4TypeSafe(const char* type, int64_t time, char* buffer, int size) const;
  void GetFileName4Buffer(std::string& name) const { BuildFileName4Type("_membuffer", name); }
  void GetFileName4Stack(std::string& name) const { BuildFileName4Type("_stack", name); }

  // ---- thread call stacks ----
  bool EnableStacks(StacksMode mode);
  void DisableStacks(StacksMode mode);
  bool IsStacksEnabled() const { return m_Stacks.IsEnabled(); }
  void PrintStacks() { m_Stacks.Print(); }
  void PrintCurrentThreadStack() { m_Stacks.PrintStack(); }
  void PrintStacksSafe(int64_t time, const char* header) const { m_Stacks.PrintAsyncSigalSafe(time, header); }
  void RemoveThisThread(void* object) { m_Stacks.RemoveThisThread(object); }
  DiagStacks& GetStacks() { return m_Stacks; }
  unsigned long GetMainThreadId() const { return m_nMainThreadId; }

  // ---- self-description: lists written straight into the file ----
  void printDiagnosticParameters();
  void PrintFilesMap();
  void PrintContextsMap();
  void PrintVersionRegistry();

  static std::atomic<TDiag*> m_pTheObject;
  static std::atomic<LifeCycle> m_eState;

  // Fields in the order of the engine's data model.
  os_critical_section m_CritSect;  // the engine lock: after a FormatObj's lock
  std::atomic<bool> m_bEnabled{true};
  const char* m_pOutputFileName = "general";
  std::atomic<unsigned> m_nMinimumDbgLvl{0};
  std::atomic<unsigned> m_nMinimumBufLvl{0};
  std::atomic<unsigned> m_nMinimumCeiling{0};  // the larger minimum; set only with them
  std::atomic<bool> m_bIgnoreMinimum{false};
  bool m_bIsCyclic = false;
  unsigned m_nNumOfCyclic = 3;
  unsigned m_nPrintsPerFile = 200;
  Logger* m_pLogger = nullptr;
  unsigned long m_nMainThreadId = 0;
  DiagStacks m_Stacks;
  // Not locked: files register while a module loads.
  std::map<std::string, DbgLevels*> m_mFiles;
  std::map<unsigned, std::string> m_mContextNames;
  std::vector<DbgLevels> m_vContextLevels;
  bool m_bPrintLevelMaps = false;
  bool m_bIsPIDUsed = false;
  unsigned m_nFlushFlags = 0;
  long m_nFlushSize = 0;
  std::string m_sLogPath;
  std::string m_sIniPath;
  std::string m_sLogicalName;
  std::string m_sDestName;  // "cyclic_files" or "sequential_files" once created
  unsigned m_nRetainDays = 3;
  bool m_bApplyCleanup = true;
  void* m_hSpyWindow = nullptr;  // the viewer's window: under the engine lock
  DbgBuffer m_MemBuffer;
  // Read without a lock by every scope that ends.
  std::atomic<bool> m_bBufferWanted{false};
  unsigned m_nBufferSizeKB = 0;
  std::vector<FormatObj*> m_vFormatPool;  // owning
  int m_nPoolSize = 0;
  std::string (*m_pAppInfoProvider)(void*) = nullptr;
  void* m_pAppInfoArgument = nullptr;
  // PrintVersions was read: the version registry is wanted once per process.
  bool m_bPrintVersions = false;

protected:
  TDiag();
  virtual ~TDiag();
  TDiag(const TDiag&) = delete;
  TDiag& operator=(const TDiag&) = delete;

  void RegisterFile(const char* file, DbgLevels* levels);
  void InitFormattingObjects();
  void ClearFormattingObjects();
  bool CreateDestinations();
  // The same operation under the other spelling some callers know.
  bool CreateDetinations() { return CreateDestinations(); }
  bool OpenLogFile();
  void CloseLogFile();
  void SetOutPutBufferingMode(long size);

  bool OpenLvlsFile(std::ifstream& file);
  bool ReadLevelsFile(bool keywordsOnly);
  bool ReadAnotherLevelsFile();
  bool IsKeyword(const std::string& key) const;
  void ProcessKeyword(std::string& key, std::string& value);
  void ProcessToken(std::string& key, std::string& value);
  void SetDefaultLevelForAll();
  void SetFileDebugLevel(const char* file, unsigned level) { SetFileDiagBufferLevels(file, level, level); }

  // The viewer: its windows are looked for at Initialize and at
  // SetDiagEnabled(true); a failed send forgets them. Sends never wait.
  void SetOCSpyHwnd();
  void SendModuleAndSpyVersion();
  void SendFiles();
  void SendContexts();
  bool SendResultToOCSpy(int context, const char* file, unsigned level, const char* function,
                         unsigned long threadId, _SYSTEMTIME time, const char* text);

  friend void exit_diag();
  friend class TDiagRegister;

private:
  static std::string DumpAppInfoIntoDiag(void* diag);
  bool IsMainThread() const;
  // Writes a composed line under the engine lock to where data says.
  // data says where it goes; the viewer gets the text and the time apart.
  void WriteLine(const char* line, size_t length, const DiagLocalData& data, const _SYSTEMTIME& time,
                 const char* text);
  // Sends one record to the known window, forgetting it when the send fails.
  bool SendSpyRecord(unsigned kind, const void* payload, size_t size);
  bool SendSpyPieces(unsigned kind, const void* pieces, size_t count);
  // Stops the control listener and lets the window go.
  void DetachSpy();
  // Step 10 of Initialize: the parameters, maps and version registry.
  void DescribeAtInitialize();
  // A line of the engine's own about its set-up, to the file only.
  void SayToFile(const char* function, const char* text);

  // Lines printed before Initialize filled the pool share this object.
  FormatObj m_EarlyFormatObj;
};

// Registers a source file and its levels while the module loads.
class TDiagRegister {
public:
  TDiagRegister(const char* file, DbgLevels* levels) { TDiag::Instance()->RegisterFile(file, levels); }
};

// Sets the base name of the process's diagnostic files; the text must live
// as long as the engine.
class TDiagSetFileName {
public:
  explicit TDiagSetFileName(const char* name) { TDiag::Instance()->SetOutputFileName(name); }
};

// The scope of one traced function call: enters the name in the thread's
// call chain and prints "Exit" at level 7 when it ends.
class TDiagFunc {
public:
  TDiagFunc(const char* file, DbgLevels* levels, const char* function);
  ~TDiagFunc();
  TDiagFunc(const TDiagFunc&) = default;
  TDiagFunc& operator=(const TDiagFunc&) = default;

  FormatObj* GetThreadFormatObj();

  DiagTlsObj* m_pTlsObj = nullptr;  // null while thread objects are off
  const char* m_pFile;
  const char* m_pFunction;
  DbgLevels* m_pLevels;
};

// Destroys the engine; Instance throws from then on.
void exit_diag();

// Holds a FormatObj locked while one line is written to its stream. A line
// whose text throws is thrown away, not half printed.
class TDiagLine {
public:
  TDiagLine(FormatObj* object, const char* file, const char* function, unsigned level, bool toLog,
            bool toBuffer)
      : m_pObject(object) {
    m_pObject->LockFormatObject();
    m_pObject->SetLocalData(file, function, level, -1, toLog, toBuffer);
  }
  ~TDiagLine() {
    if (!m_bFlushed) m_pObject->Clear();
    m_pObject->UnlockFormatObject();
  }
  TDiagLine(const TDiagLine&) = delete;
  TDiagLine& operator=(const TDiagLine&) = delete;

  std::ostream& stream() { return m_pObject->m_Stream; }
  void flush() {
    TDiag::m_pTheObject.load(std::memory_order_relaxed)->flush(m_pObject);
    m_bFlushed = true;
  }

private:
  FormatObj* m_pObject;
  bool m_bFlushed = false;
};

// ---- helpers for host source files ----
//
//   PLINTH_DIAG_FILE();                       // once, at namespace scope
//   void Foo() {
//     PLINTH_DIAG_FUNC("Foo");                // scope and "Enter" at level 6
//     PLINTH_DIAG(4, "value " << v);          // a line of level 4
//   }
//   void Bar() { PLINTH_DIAG_AT("Bar", 2, "no scope here"); }
//
// A line that neither test passes evaluates none of its arguments.

#define PLINTH_DIAG_FILE()                 \
  static DbgLevels plinth_diag_levels_;    \
  static TDiagRegister plinth_diag_register_(__FILE__, &plinth_diag_levels_)

#define PLINTH_DIAG_WRITE(levels, file, function, level, format_obj_expr, message_expr)          \
  do {                                                                                           \
    bool plinth_diag_log_, plinth_diag_buf_;                                                     \
    if (::TDiag::TestLevels((levels), (level), plinth_diag_log_, plinth_diag_buf_)) {            \
      ::TDiagLine plinth_diag_line_((format_obj_expr), (file), (function), (level),              \
                                    plinth_diag_log_, plinth_diag_buf_);                         \
      plinth_diag_line_.stream() << message_expr;                                                \
      plinth_diag_line_.flush();                                                                 \
    }                                                                                            \
  } while (0)

#define PLINTH_DIAG_FUNC(function)                                               \
  TDiagFunc plinth_diag_func_(__FILE__, &plinth_diag_levels_, (function));       \
  PLINTH_DIAG(6, "Enter")

#define PLINTH_DIAG(level, message_expr)                                                        \
  PLINTH_DIAG_WRITE(plinth_diag_levels_, plinth_diag_func_.m_pFile, plinth_diag_func_.m_pFunction, \
                    (level), plinth_diag_func_.GetThreadFormatObj(), message_expr)

#define PLINTH_DIAG_AT(function, level, message_expr)                                     \
  PLINTH_DIAG_WRITE(plinth_diag_levels_, __FILE__, (function), (level),                    \
                    ::TDiag::m_pTheObject.load(std::memory_order_relaxed)->GetFormatObj(), \
                    message_expr)
