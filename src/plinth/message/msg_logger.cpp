#include "plinth/message/msg_logger.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>

#include "plinth/message/msg_file.h"
#include "plinth/message/string_format.h"
#include "plinth/platform/os/os_time.h"
#include "plinth/platform/numbers.h"
#include "plinth/system/tracer.h"

unsigned char gFilterVec[kOCMsgMaxID + 1];

namespace {

constexpr int kMaxArgs = 10;
constexpr size_t kSpareItems = 256;
constexpr size_t kArgBufferSize = 200;
const char* const kExitsLibrary = "libzlt-loggerexits.so";
const char* const kDefaultContext = "*default";

// The filter bytes are read by writers on any thread while LoadContexts
// rewrites them.
unsigned char FilterByte(int id) {
  return std::atomic_ref<unsigned char>(gFilterVec[id]).load(std::memory_order_relaxed);
}
void SetFilterByte(int id, bool on) {
  std::atomic_ref<unsigned char>(gFilterVec[id]).store(on ? 1 : 0, std::memory_order_relaxed);
}

bool InRange(int id) { return id >= 0 && id <= kOCMsgMaxID; }

// The strings of a call, copied into ten buffers of 200 bytes, each ending
// in a zero byte whatever the caller passed.
struct ArgBuffers {
  char text[kMaxArgs][kArgBufferSize];
  char* args[kMaxArgs];
  int count = 0;

  void Collect(const char* first, va_list list) {
    for (int i = 0; i < kMaxArgs; ++i) args[i] = text[i];
    for (const char* s = first; s && count < kMaxArgs; s = va_arg(list, const char*)) {
      const size_t n = strnlen(s, kArgBufferSize - 1);
      std::memcpy(text[count], s, n);
      text[count][n] = '\0';
      ++count;
    }
  }
};

// Appends a fixed-width copy of text: cut at width, filled with blanks.
void AppendColumn(std::string& out, const char* text, size_t width) {
  const size_t n = text ? strnlen(text, width) : 0;
  out.append(text ? text : "", n);
  out.append(width - n, ' ');
}

// "%04d" without the cost of printf: the number is on every line.
int FormatNumber(int value, char* out) {
  if (value < 0 || value > 999999999) return std::snprintf(out, 24, "%04d", value);
  char digits[12];
  int n = 0;
  do {
    digits[n++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value);
  int len = 0;
  for (int pad = n; pad < 4; ++pad) out[len++] = '0';
  while (n) out[len++] = digits[--n];
  return len;
}

// "dd/mm/yyyy HH:MM:SS" of the current second, rebuilt when the second
// changes: reading the local time is the dearest step of a line.
struct TimeText {
  int64_t second = INT64_MIN;
  std::string text;
};

}  // namespace

// ---- OCMsgObjects ----

std::string OCMsgObjects::Get(const std::string& name) {
  auto it = m_mValues.find(name);
  return it == m_mValues.end() ? std::string() : it->second;
}

// ---- OCMsgDefFormat ----

void OCMsgDefFormat::Format(const OCMsgMessage* message, const std::string& tag, const std::string& module,
                            char** args, int count, std::string& out) {
  thread_local TimeText cache;
  const int64_t us = os_clock::now_us();
  const int64_t second = us >= 0 ? us / 1000000 : (us - 999999) / 1000000;
  if (second != cache.second) {
    cache.second = second;
    cache.text = os_time_and_date::from_us(second * 1000000).to_string("%d/%m/%Y %H:%M:%S");
  }
  // "%02ld" of the microseconds, cut to two characters: 123456 gives 12,
  // 5000 gives 50, 7 gives 07.
  const long micro = static_cast<long>(us - second * 1000000);
  long lead = micro;
  while (lead >= 100) lead /= 10;
  const char fraction[2] = {static_cast<char>(micro < 10 ? '0' : '0' + lead / 10),
                            static_cast<char>('0' + (micro < 10 ? micro : lead % 10))};
  char number[24];
  const int nlen = FormatNumber(message->m_nID, number);

  out.reserve(out.size() + 96 + message->m_sFormat.size());
  out += tag;
  out += ' ';
  out += module;
  out += ' ';
  out += cache.text;
  out += '.';
  out.append(fraction, 2);
  out += "  ";
  out += m_sCode;
  out.append(number, nlen);
  out += message->m_sSeverity;
  out += ' ';
  msg_aux::FormatStrings(out, message->m_sFormat, args, static_cast<size_t>(std::clamp(count, 0, kMaxArgs)), "?",
                         kWorkBufferSize - 1);
  // A line cut short still ends as a line.
  if (!message->m_sFormat.empty() && out.back() != '\n') out.back() = '\n';
}

// ---- OCMsgQueue ----

namespace {
// The trace names the first loss and then every doubling of the count, so
// that a flood of losses costs a flood of nothing.
void NoteDropped(uint64_t count, uint32_t capacity) {
  if ((count & (count - 1)) == 0)
    PLINTH_TRACE_AS("OCMsgLogger", 4, "OCMsgQueue: queue full (capacity " << capacity << "), " << count
                                          << " message(s) dropped so far");
}
}  // namespace

OCMsgQueue::OCMsgQueue(unsigned capacity, bool dropWhenFull)
    : m_Slots(capacity), m_nCapacity(capacity), m_bDropWhenFull(dropWhenFull) {}

OCMsgQueue::~OCMsgQueue() {
  for (OCMsgToLog* item : m_Deque) delete item;
  for (OCMsgToLog* item : m_vSpare) delete item;
}

size_t OCMsgQueue::Size() {
  os_lock_guard guard(m_Lock);
  return m_Deque.size();
}

OCMsgToLog* OCMsgQueue::Put(OCMsgToLog* item) {
  OCMsgToLog* spare = nullptr;
  if (m_bDropWhenFull) {
    os_lock_guard guard(m_Lock);
    if (m_Deque.size() >= m_nCapacity) {
      NoteDropped(m_nDropped.fetch_add(1, std::memory_order_relaxed) + 1, m_nCapacity);
      return item;  // lost: the item is the next one to fill
    }
    m_Deque.push_back(item);
    if (!m_vSpare.empty()) {
      spare = m_vSpare.back();
      m_vSpare.pop_back();
    }
  } else {
    m_Slots.lock(1);
    os_lock_guard guard(m_Lock);
    m_Deque.push_back(item);
    if (!m_vSpare.empty()) {
      spare = m_vSpare.back();
      m_vSpare.pop_back();
    }
  }
  m_Items.unlock(1);
  return spare;
}

void OCMsgQueue::Recycle(std::vector<OCMsgToLog*>& items) {
  size_t kept = 0;
  {
    os_lock_guard guard(m_Lock);
    // A few items are enough to go round; keeping more would hold the lock
    // longer than a writer should wait on it.
    const size_t limit = std::min<size_t>(m_nCapacity, kSpareItems);
    while (kept < items.size() && m_vSpare.size() < limit) m_vSpare.push_back(items[kept++]);
  }
  for (size_t i = kept; i < items.size(); ++i) delete items[i];
  items.clear();
}

size_t OCMsgQueue::GetAll(std::vector<OCMsgToLog*>& out) {
  // The items leave in one swap, so writers wait on the lock for a few
  // words, not for a copy of a long queue.
  std::deque<OCMsgToLog*> taken;
  {
    os_lock_guard guard(m_Lock);
    taken.swap(m_Deque);
  }
  out.insert(out.end(), taken.begin(), taken.end());
  return taken.size();
}

// ---- OCMsgLogger ----

namespace {
void* RunReader(void* arg) {
  auto* call = static_cast<std::pair<OCMsgLogger*, void (OCMsgLogger::*)()>*>(arg);
  (call->first->*call->second)();
  return nullptr;
}

// atoi without its undefined overflow: out-of-range text gives a value out
// of every range that a caller accepts.
long ReadNumber(const std::string& text) { return plinth::platform::read_int(text); }

// Why a record of the message file is no good, for the trace.
std::string RecordProblem(const msg_file::RecordFields& fields, const OCMsgMessage& message) {
  if (fields.field[0].size() < 4) return "the code \"" + fields.field[0] + "\" has no number after its three letters";
  if (message.m_nID == 0)
    return "the number of \"" + fields.field[0] + "\" is not from 1 to " + std::to_string(kOCMsgMaxID);
  if (message.m_nLevel < 0) return "the level \"" + fields.field[2] + "\" is not from 0 to 7";
  if (message.m_vContexts.empty()) return "no context is named";
  return "no destination is named";
}

// Comma-separated names, empty ones left out.
template <class Fn>
void ForEachName(const std::string& list, Fn fn) {
  size_t start = 0;
  while (start <= list.size()) {
    size_t comma = list.find(',', start);
    if (comma == std::string::npos) comma = list.size();
    if (comma > start) fn(list.substr(start, comma - start));
    start = comma + 1;
  }
}
}  // namespace

OCMsgLogger& OCMsgLogger::GetInstance() {
  static OCMsgLogger instance;
  return instance;
}

OCMsgLogger::OCMsgLogger() { ResetFilterVec(); }

OCMsgLogger::~OCMsgLogger() {
  StopReader();
  delete m_pThreadArg;
  m_pThreadArg = nullptr;
  delete m_pThread;
  m_pThread = nullptr;
  for (OCMsgMessage*& message : m_Messages) {
    delete message;
    message = nullptr;
  }
  delete m_pQueue;
  m_pQueue = nullptr;
  m_ExitLibrary.Unload();
}

void OCMsgLogger::ResetFilterVec() {
  for (int id = 0; id <= kOCMsgMaxID; ++id) SetFilterByte(id, false);
}

int OCMsgLogger::Init(const char* msgFile, const char* tag, const char* module, StringIntPair* contexts,
                      unsigned nContexts, StringPair* objects, unsigned nObjects, DestinationData* dests,
                      int nDests, int queueSize, bool dropWhenFull, const char* logPath) {
  os_lock_guard guard(m_Lock);
  int result = 100;
  if (m_bInitialized) return result;

  m_pLogger = Logger::GetInstance();
  Logger::InitParams init;
  init.InsertString("path", logPath ? logPath : "");
  m_pLogger->initLogger(init, nullptr);

  // A queue without room would block its first writer for ever.
  if (!m_pQueue) m_pQueue = new OCMsgQueue(queueSize > 0 ? static_cast<unsigned>(queueSize) : 1, dropWhenFull);

  if (!m_ExitLibrary.IsLoaded() && !m_ExitLibrary.Load(kExitsLibrary, 0)) result = 500;

  if (!CreateDetinations(dests, nDests)) return 200;
  TraceInitProblems(result, dests, nDests);
  if (!LoadMsgs(msgFile)) return 300;
  LoadContexts(contexts, nContexts);
  LoadObjects(objects, nObjects);
  BuildFilterVec();

  m_sTag.clear();
  AppendColumn(m_sTag, tag, 3);
  m_sModule.clear();
  AppendColumn(m_sModule, module, 20);

  if (!m_pThread) {
    delete m_pThreadArg;
    m_pThreadArg = new std::pair<OCMsgLogger*, void (OCMsgLogger::*)()>(this, &OCMsgLogger::ReadQueue);
    try {
      m_pThread = new os_thread(RunReader, m_pThreadArg, 0, false);
    } catch (const os_thread_toolkit_error&) {
      std::cout << "OCMsgLogger::Init: Failed to create thread" << std::endl;
      return 400;
    }
    os_this_thread::yield();
  }
  m_bInitialized = true;
  return result;
}

void OCMsgLogger::TraceInitProblems(int result, const DestinationData* dests, int nDests) {
  if (!Tracer::TraceEnabled.load(std::memory_order_relaxed)) return;
  if (result == 500)
    PLINTH_TRACE_AS("OCMsgLogger", 4, "OCMsgLogger::Init: no exits library " << kExitsLibrary
                                          << " was loaded; messages have no exits");
  if (m_sDestName.empty()) {
    PLINTH_TRACE_AS("OCMsgLogger", 4, "OCMsgLogger::Init: none of the " << (nDests > 0 ? nDests : 0)
                                          << " destination(s) could be created; every line will be lost "
                                             "(see the Logger's emergency file)");
    return;
  }
  for (int i = 0; i < nDests; ++i)
    if (dests[i].m_nType != eCyclicFile && dests[i].m_nType != eSequentialFile)
      PLINTH_TRACE_AS("OCMsgLogger", 4, "OCMsgLogger::Init: destination " << i << " has type " << dests[i].m_nType
                                            << ", which is no file type; skipped");
}

bool OCMsgLogger::IsInitialized() {
  os_lock_guard guard(m_Lock);
  return m_bInitialized;
}

bool OCMsgLogger::CreateDetinations(DestinationData* dests, int nDests) {
  if (!dests) return false;
  for (int i = 0; i < nDests; ++i) {
    const DestinationData& d = dests[i];
    if (d.m_nType != eCyclicFile && d.m_nType != eSequentialFile) continue;
    // The names are fixed fields that a caller may have filled to the brim.
    const std::string name(d.m_sName, strnlen(d.m_sName, sizeof d.m_sName));
    const std::string logicalName(d.m_sLogicalName, strnlen(d.m_sLogicalName, sizeof d.m_sLogicalName));
    LoggerParams params;
    params.InsertInt("mode", d.m_nType == eCyclicFile ? 0x88 : 0x84);
    params.InsertInt("type", d.m_nType);
    params.InsertString("name", name);
    params.InsertString("logical_name", logicalName);
    if (d.m_nType == eCyclicFile) {
      params.InsertInt("file_num", d.m_nNumOfFiles);
      params.InsertInt("message_num", d.m_nMsgsPerFile);
    }
    if (m_pLogger->createDest(params) == 0) m_sDestName = logicalName;
  }
  if (!m_pLogger->getDest(m_sDestName)) return true;
  return m_pLogger->openDest(m_sDestName) != 0;
}

bool OCMsgLogger::LoadMsgs(const char* msgFile) {
  if (!msgFile) return false;
  FILE* file = std::fopen(msgFile, "re");
  if (!file) {
    PLINTH_TRACE_AS("OCMsgLogger", 4, "OCMsgLogger::Init: message file " << msgFile << " can't be opened: "
                                          << std::strerror(errno));
    return false;
  }
  OCMsgGetExitFunc getExit = nullptr;
  if (m_ExitLibrary.IsLoaded())
    getExit = reinterpret_cast<OCMsgGetExitFunc>(m_ExitLibrary.GetProcAddr("GetExitFunc"));

  bool good = true;
  std::string line;
  msg_file::RecordFields fields;
  unsigned lineNumber = 0;
  while (good && msg_file::ReadRecordLine(file, line, &lineNumber)) {
    msg_file::SplitRecord(line, fields);
    auto* message = new OCMsgMessage;
    // The code's first three characters are letters; the number follows.
    const std::string& code = fields.field[0];
    const long id = code.size() >= 3 ? ReadNumber(code.substr(3)) : 0;
    const long level = ReadNumber(fields.field[2]);
    message->m_nID = (id >= 1 && id <= kOCMsgMaxID) ? static_cast<int32_t>(id) : 0;
    message->m_nLevel = (level >= 0 && level <= 7) ? static_cast<int32_t>(level) : -1;
    message->m_sSeverity = fields.field[1];
    ForEachName(fields.field[3], [&](const std::string& name) { message->m_vContexts.push_back(name); });
    ForEachName(fields.field[4], [&](const std::string& name) { message->m_vDests.push_back(m_pLogger->getDest(name)); });
    if (fields.field[5] != "*" && getExit) message->m_pExit = getExit(fields.field[5]);
    message->m_sFormat = fields.format + "\n";

    good = message->m_nID != 0 && message->m_nLevel >= 0 && !message->m_vContexts.empty() &&
           !message->m_vDests.empty();
    if (!good) {
      PLINTH_TRACE_AS("OCMsgLogger", 4, "OCMsgLogger::Init: message file " << msgFile << " line " << lineNumber
                                            << ": " << RecordProblem(fields, *message) << "; the file is refused");
      delete message;
      break;
    }
    delete m_Messages[message->m_nID];
    m_Messages[message->m_nID] = message;
  }
  // A directory opens on Linux, and fails only at the first read.
  if (std::ferror(file)) {
    PLINTH_TRACE_AS("OCMsgLogger", 4, "OCMsgLogger::Init: message file " << msgFile << " can't be read: "
                                          << std::strerror(errno));
    good = false;
  }
  std::fclose(file);
  return good;
}

void OCMsgLogger::LoadContexts(StringIntPair* contexts, unsigned n) {
  if (!contexts) {
    ResetFilterVec();
    return;
  }
  os_lock_guard guard(m_Lock);
  m_Contexts.clear();
  for (unsigned i = 0; i < n; ++i) {
    const std::string name(contexts[i].name, strnlen(contexts[i].name, sizeof contexts[i].name));
    if (name == kDefaultContext)
      m_nDefaultLevel = contexts[i].value;
    else
      m_Contexts.emplace(name, contexts[i].value);
  }
  BuildFilterVec();
}

void OCMsgLogger::LoadObjects(StringPair* objects, unsigned n) {
  os_lock_guard guard(m_Lock);
  m_Objects.m_mValues.clear();
  if (!objects) return;
  for (unsigned i = 0; i < n; ++i)
    m_Objects.m_mValues.emplace(std::string(objects[i].key, strnlen(objects[i].key, sizeof objects[i].key)),
                                std::string(objects[i].value, strnlen(objects[i].value, sizeof objects[i].value)));
}

void OCMsgLogger::BuildFilterVec() {
  os_lock_guard guard(m_Lock);
  for (int id = 0; id <= kOCMsgMaxID; ++id)
    if (m_Messages[id]) SetFilterByte(id, FilterByContext(id));
}

bool OCMsgLogger::FilterByContext(int id) {
  if (!InRange(id)) return false;
  os_lock_guard guard(m_Lock);
  const OCMsgMessage* message = m_Messages[id];
  if (!message) return false;
  for (const std::string& context : message->m_vContexts) {
    // An unknown context is remembered at level 0.
    const int32_t level = m_Contexts.emplace(context, 0).first->second;
    if (message->m_nLevel <= level || message->m_nLevel <= m_nDefaultLevel) return true;
  }
  return false;
}

bool OCMsgLogger::WriteToLog(int id, const char* first, ...) {
  if (!InRange(id)) return false;
  ArgBuffers buffers;
  va_list list;
  va_start(list, first);
  buffers.Collect(first, list);
  va_end(list);
  os_lock_guard guard(m_Lock);
  if (!FilterByte(id)) return false;
  FormatAndQ(id, buffers.count, buffers.args);
  return true;
}

bool OCMsgLogger::FormatMsg(int id, const char* first, ...) {
  if (!InRange(id)) return true;
  ArgBuffers buffers;
  va_list list;
  va_start(list, first);
  buffers.Collect(first, list);
  va_end(list);
  FormatAndQ(id, buffers.count, buffers.args);
  return true;
}

namespace {
// The item a thread fills next: written items go round between the writers
// and the reader instead of being freed by one thread and allocated by
// another, which makes the two contend in the allocator.
thread_local std::unique_ptr<OCMsgToLog> t_spareItem;
}  // namespace

bool OCMsgLogger::FormatAndQ(int id, int count, char** args) {
  if (!InRange(id)) return true;
  if (count > kMaxArgs) count = kMaxArgs;
  const OCMsgMessage* message;
  {
    os_lock_guard guard(m_Lock);
    message = m_Messages[id];
    if (!message) return true;
    if (message->m_pExit && !message->m_pExit(id, &m_Objects, count, args)) return false;
    // Before Init there is no queue, and nothing to write to.
    if (!m_pQueue) return true;
    // Until Init has finished, a repeated Init may still replace the
    // message: it is formatted and queued under the lock.
    if (!m_bInitialized.load(std::memory_order_acquire)) return FormatAndPut(message, count, args);
  }
  // Once Init has finished, the table, the tag and the module stay as they
  // are until the destructor: writers format in parallel and meet only on
  // the queue's lock.
  return FormatAndPut(message, count, args);
}

bool OCMsgLogger::FormatAndPut(const OCMsgMessage* message, int count, char** args) {
  std::unique_ptr<OCMsgToLog> item = std::move(t_spareItem);
  if (!item) item = std::make_unique<OCMsgToLog>();
  item->m_sText.clear();
  OCMsgDefFormat format;
  format.m_sCode = "ORB";
  format.Format(message, m_sTag, m_sModule, args, count, item->m_sText);
  // m_vDests stays empty: every line goes to m_sDestName, and a copy of the
  // list per line would cost an allocation that nothing reads.
  t_spareItem.reset(m_pQueue->Put(item.release()));
  return true;
}

void OCMsgLogger::ReadQueue() {
  if (!m_pQueue) return;
  std::vector<OCMsgToLog*> batch;
  for (;;) {
    if (m_pQueue->Size() == 0 && m_bWrapUp.load()) return;
    m_pQueue->WaitForItems(1);
    const size_t n = m_pQueue->GetAll(batch);
    if (n == 0) continue;  // woken to look at m_bWrapUp
    // One unit stood for the first item; every other item's unit is given
    // right after it went in, so waiting for them is short.
    if (n > 1) m_pQueue->WaitForItems(static_cast<unsigned>(n - 1));
    m_pQueue->Release(static_cast<unsigned>(n));
    // The host may have ended the Logger before this object: write only to
    // the one that lives. Ended while a batch is written, it loses the rest
    // of the batch (its memory is never freed).
    Logger* logger = Logger::m_theObject.load();
    uint64_t undelivered = 0;
    for (OCMsgToLog* item : batch)
      // writeDest is true only when it found no destination.
      if (!logger || logger->writeDest(m_sDestName, item->m_sText, 0, 0)) ++undelivered;
    if (undelivered) NoteUndelivered(undelivered);
    m_pQueue->Recycle(batch);
  }
}

void OCMsgLogger::InstanceWrapUp() {
  StopReader();
  PLINTH_TRACE_AS("OCMsgLogger", 4, "OCMsgLogger::InstanceWrapUp: " << DroppedCount() << " message(s) dropped, "
                                        << UndeliveredCount() << " line(s) without a destination");
}

uint64_t OCMsgLogger::DroppedCount() const {
  return m_pQueue ? m_pQueue->m_nDropped.load(std::memory_order_relaxed) : 0;
}

void OCMsgLogger::NoteUndelivered(uint64_t lines) {
  const uint64_t before = m_nUndelivered.fetch_add(lines, std::memory_order_relaxed);
  // The first loss and each doubling, as for the queue.
  if (std::bit_width(before) != std::bit_width(before + lines))
    PLINTH_TRACE_AS("OCMsgLogger", 4, "OCMsgLogger: no destination \"" << m_sDestName << "\" in the Logger, "
                                          << before + lines << " line(s) lost so far");
}

void OCMsgLogger::StopReader() {
  m_bWrapUp.store(true);
  if (!m_pThread) return;
  // The reader drains the queue before it looks at m_bWrapUp again; the
  // extra unit frees it if it already waits on an empty queue.
  m_pQueue->Wake();
  m_pThread->join();
}

// ---- the plain functions ----

int Init(const char* msgFile, const char* tag, const char* module, StringIntPair* contexts, unsigned nContexts,
         StringPair* objects, unsigned nObjects, DestinationData* dests, int nDests, int queueSize,
         int dropWhenFull, const char* logPath) {
  return OCMsgLogger::GetInstance().Init(msgFile, tag, module, contexts, nContexts, objects, nObjects, dests,
                                          nDests, queueSize, dropWhenFull != 0, logPath);
}

namespace {
// The plain entry points: the suppressed path is one bound check and one
// byte, before anything else.
bool QueueIfPassing(int id, const char* first, va_list list) {
  if (!InRange(id) || !FilterByte(id)) return false;
  ArgBuffers buffers;
  buffers.Collect(first, list);
  return OCMsgLogger::GetInstance().FormatAndQ(id, buffers.count, buffers.args);
}
}  // namespace

bool FormatMsg(int id, const char* first, ...) {
  va_list list;
  va_start(list, first);
  const bool queued = QueueIfPassing(id, first, list);
  va_end(list);
  return queued;
}

bool WriteToLog(int id, const char* first, ...) {
  va_list list;
  va_start(list, first);
  const bool queued = QueueIfPassing(id, first, list);
  va_end(list);
  return queued;
}

bool FilterByContext(int id) { return OCMsgLogger::GetInstance().FilterByContext(id); }
bool IsInitialized() { return OCMsgLogger::GetInstance().IsInitialized(); }
void LoadContexts(StringIntPair* contexts, unsigned n) { OCMsgLogger::GetInstance().LoadContexts(contexts, n); }
void LoadObjects(StringPair* objects, unsigned n) { OCMsgLogger::GetInstance().LoadObjects(objects, n); }
void WaitForThread() { OCMsgLogger::GetInstance().InstanceWrapUp(); }
unsigned long long GetDroppedMessageCount() { return OCMsgLogger::GetInstance().DroppedCount(); }
unsigned long long GetUndeliveredMessageCount() { return OCMsgLogger::GetInstance().UndeliveredCount(); }
