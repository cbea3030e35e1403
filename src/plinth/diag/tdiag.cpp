#include "plinth/diag/tdiag.h"

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <cstdio>

#include "plinth/diag/diag_action.h"
#include "plinth/diag/levels_file.h"
#include "plinth/diag/line_builder.h"
#include "plinth/logger/logger.h"
#include "plinth/platform/os/os_thread.h"
#include "plinth/system/tracer.h"

using plinth::diag::LineBuilder;

std::atomic<TDiag*> TDiag::m_pTheObject{nullptr};
std::atomic<TDiag::LifeCycle> TDiag::m_eState{TDiag::eNotCreated};
std::atomic<unsigned> TDiag::m_nMinimumCeiling{0};

namespace {
constexpr int kDefaultPoolSize = 40;
// Room for a normalised source file name in a composed line.
constexpr size_t kMaxFileName = 255;

// The base name without extension, in lower case. Both separators count:
// __FILE__ is a POSIX path here, and callers may still pass Windows paths.
size_t NormalizeInto(const char* file, char* out, size_t capacity) {
  if (!file) file = "";
  const char* base = file;
  for (const char* p = file; *p; ++p)
    if (*p == '/' || *p == '\\') base = p + 1;
  const char* end = std::strrchr(base, '.');
  if (!end) end = base + std::strlen(base);
  size_t n = 0;
  for (const char* p = base; p < end && n < capacity; ++p) {
    const char c = *p;
    out[n++] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return n;
}

// "dd/mm/yyyy<tab>hh:mm:ss.mmm", 23 characters. All but the milliseconds
// stay the same for a second, so each thread keeps them ready.
void AppendTimeStamp(LineBuilder& line, const _SYSTEMTIME& t) {
  struct Cached {
    _SYSTEMTIME fields{};
    char text[20];
    bool valid = false;
  };
  thread_local Cached cached;
  const size_t secondBytes = offsetof(_SYSTEMTIME, wMilliseconds);
  if (!cached.valid || std::memcmp(&cached.fields, &t, secondBytes) != 0) {
    LineBuilder second(cached.text, sizeof cached.text);
    second.Unsigned(t.wDay, 2);
    second.Char('/');
    second.Unsigned(t.wMonth, 2);
    second.Char('/');
    second.Unsigned(t.wYear, 4);
    second.Char('\t');
    second.Unsigned(t.wHour, 2);
    second.Char(':');
    second.Unsigned(t.wMinute, 2);
    second.Char(':');
    second.Unsigned(t.wSecond, 2);
    second.Char('.');
    cached.valid = second.size() == sizeof cached.text;
    cached.fields = t;
  }
  line.Text(cached.text, sizeof cached.text);
  line.Unsigned(t.wMilliseconds, 3);
}

// Level, file, function with the thread behind it off the main thread, and
// the text; the line end always stands, also behind a cut text.
void AppendLineBody(LineBuilder& line, unsigned level, const char* file, const char* function,
                    bool mainThread, const char* text) {
  char name[kMaxFileName];
  const size_t nameLength = NormalizeInto(file, name, sizeof name);
  line.Text("\t[");
  line.Unsigned(level);
  line.Text("]\t");
  line.Text(name, nameLength);
  line.Char('\t');
  line.Text(function);
  if (!mainThread) {
    line.Text("(thread ");
    line.Unsigned(os_this_thread::id());
    line.Char(')');
  }
  line.Char('\t');
  line.Text(text);
}

// The composed line handed to the Logger; one per thread, so that steady
// printing allocates nothing. A host's thread_local object made before the
// thread's first line is destroyed after this buffer, and may still print:
// the flag, which needs no destructor, says when the buffer is gone.
thread_local bool t_lineBufferGone = false;

struct LineBufferHolder {
  std::string line;
  ~LineBufferHolder() { t_lineBufferGone = true; }
};

std::string* ThreadLineBuffer() {
  if (t_lineBufferGone) return nullptr;
  thread_local LineBufferHolder holder;
  return &holder.line;
}
}  // namespace

// ---- life cycle ----

TDiag* TDiag::Instance() {
  TDiag* diag = m_pTheObject.load(std::memory_order_acquire);
  const LifeCycle state = m_eState.load(std::memory_order_relaxed);
  if (diag && state != eNotCreated) return diag;
  if (state == eDestroyed) throw "what are you doing man, don't call me after Destroy!!!";
  if (diag) return diag;
  diag = new TDiag;
  m_pTheObject.store(diag, std::memory_order_release);
  m_eState.store(eCreated, std::memory_order_relaxed);
  return diag;
}

namespace {
// Engines that Destroy retired. Threads that passed a level test just before
// exit_diag may still be writing through the engine, so its memory stays
// until the process ends; held here, it is no leak to the sanitizers.
std::atomic<TDiag*> g_retiredEngines[8];
}  // namespace

void TDiag::Destroy() {
  m_eState.store(eDestroyed, std::memory_order_relaxed);
  TDiag* diag = m_pTheObject.exchange(nullptr);
  if (!diag) return;
  diag->Retire();
  for (std::atomic<TDiag*>& slot : g_retiredEngines) {
    TDiag* empty = nullptr;
    if (slot.compare_exchange_strong(empty, diag)) break;
  }
}

void TDiag::Retire() {
  // The control listener is joined before the engine lock is taken: it takes
  // that lock itself for every command it carries out.
  DetachSpy();
  // Under the engine lock, so a line being written finishes first; lines
  // after it find no destination and no buffer.
  os_lock_guard guard(m_CritSect);
  m_bEnabled.store(false, std::memory_order_relaxed);
  m_bBufferWanted.store(false, std::memory_order_relaxed);
  m_sDestName.clear();
  m_MemBuffer.Destroy();
}

FormatObj* TDiag::CurrentFormatObj() {
  if (TDiag* diag = m_pTheObject.load(std::memory_order_acquire)) return diag->GetFormatObj();
  return SpareFormatObj();
}

FormatObj* TDiag::SpareFormatObj() {
  // Never freed, so a line that raced exit_diag can still take it.
  static FormatObj* const spare = new FormatObj;
  return spare;
}

void exit_diag() {
  DiagLocalContextMgr::Destroy();
  TDiag::Destroy();
}

TDiag::TDiag() : m_pLogger(Logger::GetInstance()), m_nMainThreadId(os_this_thread::id()) {}

TDiag::~TDiag() {
  DetachSpy();
  ClearFormattingObjects();
  m_mFiles.clear();
  m_mContextNames.clear();
  m_vFormatPool.shrink_to_fit();
  m_MemBuffer.Destroy();
  m_vContextLevels.clear();
}

TDiag& TDiag::GetObjectAndVerifyMainThread(const char* file, const char* function) {
  TDiag* diag = Instance();
  FormatObj* first = diag->m_vFormatPool.empty() ? &diag->m_EarlyFormatObj : diag->m_vFormatPool.front();
  first->SetLocalData(file, function, 0, -1, true, diag->IsBufferEnabled());
  return *diag;
}

namespace {
// Every name Initialize tries, and the one it reads, or that it reads none.
void TraceLevelsFileLookUp(const std::string& iniPath, const char* outputName, const std::string& logicalName) {
  if (!Tracer::TraceEnabled.load(std::memory_order_relaxed)) return;
  const std::string output = outputName ? outputName : "";
  std::string tried;
  for (const std::string& name : DiagLevelsFileNames(iniPath, output, logicalName))
    tried += (tried.empty() ? "" : ", ") + name;
  const std::string found = FindDiagLevelsFile(iniPath, output, logicalName);
  if (found.empty())
    PLINTH_TRACE_AS("TDiag", 4, "TDiag::Initialize: no levels file found (tried " << tried
                                    << "); every level stays at its default");
  else
    PLINTH_TRACE_AS("TDiag", 4, "TDiag::Initialize: levels file " << found << " (tried " << tried << ")");
}
}  // namespace

void TDiag::Initialize(const std::string& logPath, const std::string& iniPath, const std::string& logicalName) {
  m_sLogPath = logPath;
  m_sIniPath = iniPath;
  m_sLogicalName = logicalName;
  // The table is made once: printing threads read it without a lock, so a
  // further call must not move it.
  if (m_vContextLevels.size() < kContextCount) {
    const DbgLevels minimum{m_nMinimumDbgLvl.load(std::memory_order_relaxed),
                            m_nMinimumBufLvl.load(std::memory_order_relaxed)};
    m_vContextLevels.insert(m_vContextLevels.end(), kContextCount, minimum);
  }

  const bool firstCall = m_eState.load(std::memory_order_relaxed) != eInitialized;
  if (firstCall) {
    if (!m_Stacks.IsEnabled()) m_Stacks.Enable();
    m_Stacks.handleStacks(false);
    // Keywords first, so that the minimums and IgnoreMinimum are known when
    // every file gets its defaults; then the tokens land on top of them.
    TraceLevelsFileLookUp(m_sIniPath, m_pOutputFileName, m_sLogicalName);
    ReadLevelsFile(true);
    SetDefaultLevelForAll();
    ReadLevelsFile(false);
    SetOCSpyHwnd();
  } else {
    TraceLevelsFileLookUp(m_sIniPath, m_pOutputFileName, m_sLogicalName);
    ReadAnotherLevelsFile();
  }

  m_pLogger = Logger::GetInstance();
  Logger::InitParams params;
  if (!logPath.empty()) params.InsertString("path", logPath);
  m_pLogger->initLogger(params, nullptr);
  if (!m_pLogger->isValid()) return;

  CreateDestinations();
  if (m_bApplyCleanup && m_bIsPIDUsed) m_pLogger->cleanupAllDests(static_cast<int>(m_nRetainDays));
  DescribeAtInitialize();

  // A further call leaves a live buffer and its text alone: its state and
  // size only change through CreateBuffer, ResetBufferSize and DestroyBuffer.
  if (firstCall && InitializeBuffer() == DbgBuffer::kNoMemory)
    SayToFile("TDiag::Initialize", "Cannot allocate memory for DIAG buffer. DIAG buffer is turned to OFF");
  InitFormattingObjects();
  m_eState.store(eInitialized, std::memory_order_relaxed);
}

void TDiag::InitFormattingObjects() {
  if (m_nPoolSize == 0) m_nPoolSize = kDefaultPoolSize;
  // Other threads may already be taking objects from the pool, so a further
  // Initialize keeps it rather than moving it.
  if (!m_vFormatPool.empty()) return;
  m_vFormatPool.reserve(static_cast<size_t>(m_nPoolSize));
  for (int i = 0; i < m_nPoolSize; ++i) m_vFormatPool.push_back(new FormatObj);
}

void TDiag::ClearFormattingObjects() {
  for (FormatObj* object : m_vFormatPool) delete object;
  m_vFormatPool.clear();
}

// ---- registration ----

std::string TDiag::NormalizeFileName(const char* file) {
  char name[kMaxFileName];
  return std::string(name, NormalizeInto(file, name, sizeof name));
}

void TDiag::RegisterFile(const char* file, DbgLevels* levels) {
  std::string name = NormalizeFileName(file);
  if (m_mFiles.count(name)) return;
  if (levels) {
    DbgLevelStore(levels->m_nDebugLevel, m_nMinimumDbgLvl.load(std::memory_order_relaxed));
    DbgLevelStore(levels->m_nBufferLevel, m_nMinimumBufLvl.load(std::memory_order_relaxed));
  }
  m_mFiles.emplace(std::move(name), levels);
}

// ---- formatting objects ----

FormatObj* TDiag::GetFormatObj() {
  if (DiagTlsObj* own = m_Stacks.GetThreadTlsObj()) return own->m_pFormatObj;
  return GetFormatObjFromPool();
}

FormatObj* TDiag::GetFormatObjFromPool() {
  const size_t size = m_vFormatPool.size();
  if (size == 0) return &m_EarlyFormatObj;
  if (size == 1 || IsMainThread()) return m_vFormatPool[0];
  return m_vFormatPool[os_this_thread::id() % (size - 1) + 1];
}

bool TDiag::IsMainThread() const { return os_this_thread::id() == m_nMainThreadId; }

// ---- printing ----

void TDiag::Printf(DiagLocalData* data, const char* format, ...) {
  if (!data) return;
  char text[kPrintfBuffer];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  Println(*data, text);
}

void TDiag::flush(FormatObj* object) {
  std::string text = std::move(object->m_Stream).str();
  if (text.size() > kMaxFlushText) text.resize(kMaxFlushText);
  Println(object->m_LocalData, text.c_str());
  // Hand the storage back, so the stream's next line needn't allocate.
  text.clear();
  object->m_Stream.str(std::move(text));
}

void TDiag::Println(const DiagLocalData& data, const char* text) {
  _SYSTEMTIME now;
  plinth::platform::get_local_time(now);
  char buffer[kMaxPrintlnLine];
  // Two bytes stay for the line end and the terminator.
  LineBuilder line(buffer, sizeof buffer - 2);
  AppendTimeStamp(line, now);
  AppendLineBody(line, data.m_nLevel, data.m_pFile, data.m_pFunction, IsMainThread(), text);
  buffer[line.size()] = '\n';
  WriteLine(buffer, line.size() + 1, data, now, text);
}

void TDiag::PrintMsg(const std::string& text, const char* file, const char* function, int level, int context,
                     bool toLog, bool toBuffer) {
  char stamp[24];
  _SYSTEMTIME now;
  FormatTime(stamp, sizeof stamp, now);
  char buffer[kMaxPrintMsgLine];
  // The line end counts towards the limit: a cut line has none, and the next
  // line follows it directly. A cut line stays out of the buffer.
  LineBuilder line(buffer, kMaxPrintMsgLine);
  line.Text(stamp);
  AppendLineBody(line, static_cast<unsigned>(level), file, function, IsMainThread(), text.c_str());
  line.Char('\n');
  const DiagLocalData data{file, function, static_cast<unsigned>(level), context, toLog, toBuffer && !line.overflowed()};
  WriteLine(buffer, line.size(), data, now, text.c_str());
}

void TDiag::WriteLine(const char* composed, size_t length, const DiagLocalData& data, const _SYSTEMTIME& time,
                      const char* text) {
  const bool toLog = data.m_bToLog, toBuffer = data.m_bToBuffer;
  // A line for the buffer alone is never copied.
  std::string* line = nullptr;
  std::string late;  // for lines printed while the thread ends
  if (toLog) {
    line = ThreadLineBuffer();
    if (!line) line = &late;
    line->assign(composed, length);
  }
  os_lock_guard guard(m_CritSect);
  if (toBuffer) m_MemBuffer.WriteMsg(composed, static_cast<unsigned>(length));
  if (line && !m_sDestName.empty()) m_pLogger->writeDest(m_sDestName, *line, 0, 0);
  // Whichever of the two the line reached, the viewer sees it.
  if (m_hSpyWindow)
    SendResultToOCSpy(data.m_nContext, data.m_pFile, data.m_nLevel, data.m_pFunction, os_this_thread::id(), time, text);
}

void TDiag::SayToFile(const char* function, const char* text) {
  PrintMsg(text, __FILE__, function, 2, -1, m_bEnabled.load(std::memory_order_relaxed), false);
}

void TDiag::PrintDirectly(const char* text) {
  if (!text) return;
  os_lock_guard guard(m_CritSect);
  if (!m_sDestName.empty()) m_pLogger->writeDest(m_sDestName, text, 0, 0);
}

int TDiag::FlushDiagLog() {
  os_lock_guard guard(m_CritSect);
  if (m_sDestName.empty()) return 1;
  return static_cast<int>(m_pLogger->flushDest(m_sDestName));
}

void TDiag::FormatTime(char* buffer, int size) {
  _SYSTEMTIME now;
  FormatTime(buffer, size, now);
}

void TDiag::FormatTime(char* buffer, int size, _SYSTEMTIME& time) {
  if (!buffer || size < 24) return;
  plinth::platform::get_local_time(time);
  LineBuilder line(buffer, 23);
  AppendTimeStamp(line, time);
  line.Terminate();
}

// ---- settings ----

void TDiag::SetDiagEnabled(bool enable) {
  os_lock_guard guard(m_CritSect);
  if (!enable) {
    CloseLogFile();
    m_bEnabled.store(false, std::memory_order_relaxed);
    return;
  }
  if (!m_bEnabled.load(std::memory_order_relaxed)) {
    if (!OpenLogFile()) return;
    m_bEnabled.store(true, std::memory_order_relaxed);
  }
  SetOCSpyHwnd();
}

std::string TDiag::DumpAppInfoIntoDiag(void* diag) {
  auto* self = static_cast<TDiag*>(diag);
  if (!self || !self->m_pAppInfoProvider) return std::string();
  return self->m_pAppInfoProvider(self->m_pAppInfoArgument);
}

// ---- thread call stacks ----

bool TDiag::EnableStacks(StacksMode mode) {
  switch (mode) {
    case eStacksThreadObjects:
      m_Stacks.Enable();
      m_Stacks.handleStacks(false);
      return true;
    case eStacksRecording:
      m_Stacks.Enable();
      m_Stacks.handleStacks(true);
      return true;
    default:
      return false;
  }
}

void TDiag::DisableStacks(StacksMode mode) {
  switch (mode) {
    case eStacksNone:
      m_Stacks.Disable();
      m_Stacks.handleStacks(false);
      break;
    case eStacksThreadObjects:
      m_Stacks.handleStacks(true);
      break;
    default:
      break;
  }
}

// ---- TDiagFunc ----

TDiagFunc::TDiagFunc(const char* file, DbgLevels* levels, const char* function)
    : m_pFile(file), m_pFunction(function), m_pLevels(levels) {
  if (DiagStacks::m_SystemNotEnable.load(std::memory_order_relaxed)) return;
  if (TDiag* diag = TDiag::m_pTheObject.load(std::memory_order_relaxed))
    m_pTlsObj = diag->GetStacks().EnterFunction(function);
}

TDiagFunc::~TDiagFunc() {
  TDiag* diag = TDiag::m_pTheObject.load(std::memory_order_relaxed);
  if (!diag) return;
  diag->GetStacks().LeaveFunction(m_pTlsObj);
  if (!m_pLevels) return;
  const bool toLog = diag->m_bEnabled.load(std::memory_order_relaxed) &&
                     diag->GetFixedDebugLevel(DbgLevelLoad(m_pLevels->m_nDebugLevel)) >= 7;
  const bool toBuffer =
      diag->m_bBufferWanted.load(std::memory_order_relaxed) && diag->GetFixedBufferLevel(DbgLevelLoad(m_pLevels->m_nBufferLevel)) >= 7;
  if (toLog || toBuffer) diag->PrintMsg("Exit", m_pFile, m_pFunction, 7, -1, toLog, toBuffer);
}

FormatObj* TDiagFunc::GetThreadFormatObj() {
  if (m_pTlsObj) return m_pTlsObj->m_pFormatObj;
  TDiag* diag = TDiag::m_pTheObject.load(std::memory_order_acquire);
  return diag ? diag->GetFormatObjFromPool() : TDiag::SpareFormatObj();
}
