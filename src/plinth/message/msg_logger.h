// The asynchronous message logger: numbered operator messages, read from a
// message file at start-up, pass a per-number filter, are formatted in the
// caller's thread and written to one destination by a reader thread.
//
// Threads: any thread may write, load contexts and objects once Init has
// returned; the reader thread alone calls the Logger. Results are codes
// (Init: 100, 200, 300, 400, 500) and bools; nothing here throws but
// std::bad_alloc.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "plinth/plinth_export.h"
#include "plinth/logger/destination.h"
#include "plinth/logger/logger.h"
#include "plinth/logger/logger_types.h"
#include "plinth/platform/os/os_critical_section.h"
#include "plinth/platform/os/os_thread.h"
#include "plinth/system/dynamic_library.h"

// Numbers run from 0 to this bound, in every entry point.
constexpr int kOCMsgMaxID = 99999;

// A context and its level, as a host passes them in.
struct PLINTH_API StringIntPair {
  char name[104];
  int32_t value;
};

// An object's name and value, as a host passes them in.
struct PLINTH_API StringPair {
  char key[101];
  char value[256];
};

// One byte per message number: whether the number passes the filter. Read
// without a lock on every write, so that a suppressed message costs one
// bound check and one byte.
extern PLINTH_API unsigned char gFilterVec[kOCMsgMaxID + 1];

class OCMsgObjects;

// An exit routine may veto a message (false) or look at it.
using OCMsgExitFunc = bool (*)(int id, OCMsgObjects* objects, int count, char** args);
// The one export of the exits library, looked up as the unmangled symbol
// "GetExitFunc": declare it extern "C" in the library.
using OCMsgGetExitFunc = OCMsgExitFunc (*)(const std::string& name);

class PLINTH_API OCMsgMessage {
public:
  virtual ~OCMsgMessage() = default;

  OCMsgExitFunc m_pExit = nullptr;
  int32_t m_nID = 0;
  std::vector<std::string> m_vContexts;
  std::vector<LoggerBaseDestination*> m_vDests;  // entries may be null
  int32_t m_nLevel = 0;
  std::string m_sSeverity;
  std::string m_sFormat;  // printf-style, %s only, ends in a line feed
};

// One item of the queue: a finished line.
class PLINTH_API OCMsgToLog {
public:
  OCMsgToLog() = default;
  OCMsgToLog(std::string text, std::vector<LoggerBaseDestination*> dests)
      : m_sText(std::move(text)), m_vDests(std::move(dests)) {}
  virtual ~OCMsgToLog() = default;

  std::string m_sText;
  std::vector<LoggerBaseDestination*> m_vDests;  // not filled: lines go to the logger's one destination
};

class PLINTH_API OCMsgObjects : public LoggerNameValue {
public:
  std::string Get(const std::string& name) override;

  std::map<std::string, std::string> m_mValues;
};

class PLINTH_API OCMsgFormat {
public:
  virtual ~OCMsgFormat() = default;
  virtual void Format(const OCMsgMessage* message, const std::string& tag, const std::string& module,
                      char** args, int count, std::string& out) = 0;
};

// The line: tag, module, date, time to hundredths, code, number, severity,
// then the message's format expanded with ten strings ("?" for missing ones).
class PLINTH_API OCMsgDefFormat : public OCMsgFormat {
public:
  // The expansion of a format is cut to this many bytes (its line feed kept).
  static constexpr size_t kWorkBufferSize = 1024;

  void Format(const OCMsgMessage* message, const std::string& tag, const std::string& module, char** args,
              int count, std::string& out) override;

  std::string m_sCode;
};

// A bounded queue of lines. In drop mode a full queue loses the new item; in
// blocking mode Put waits for room. Any thread may put; one thread takes.
class PLINTH_API OCMsgQueue {
public:
  OCMsgQueue(unsigned capacity, bool dropWhenFull);
  virtual ~OCMsgQueue();
  OCMsgQueue(const OCMsgQueue&) = delete;
  OCMsgQueue& operator=(const OCMsgQueue&) = delete;

  // Takes ownership of item (a full queue in drop mode recycles it at once).
  // Gives back a written item to fill next, or null: items go round between
  // writers and the reader instead of being freed by one thread and
  // allocated by another, which makes the two contend in the allocator.
  OCMsgToLog* Put(OCMsgToLog* item);
  // Keeps a few written items for reuse (frees the others) and
  // empties the vector.
  void Recycle(std::vector<OCMsgToLog*>& items);
  // Moves every item, oldest first, to the end of out; the number moved.
  // The reader takes what has gathered in one go, so that it meets the
  // writers on the lock once per batch rather than once per line.
  size_t GetAll(std::vector<OCMsgToLog*>& out);
  size_t Size();
  // Waits for n items to be announced (or for Wake).
  void WaitForItems(unsigned n) { m_Items.lock(n); }
  // Lets a reader that waits for an item go on, to see that it should end.
  void Wake() { m_Items.unlock(1); }
  // Gives n places back after items were taken, in blocking mode.
  void Release(unsigned n) {
    if (!m_bDropWhenFull) m_Slots.unlock(n);
  }

  os_counting_semaphore m_Items{0};
  os_counting_semaphore m_Slots;
  os_critical_section m_Lock;
  std::deque<OCMsgToLog*> m_Deque;
  std::vector<OCMsgToLog*> m_vSpare;  // written items, for reuse
  uint32_t m_nCapacity;
  bool m_bDropWhenFull;
  // Items that a full queue in drop mode lost since it was made.
  std::atomic<uint64_t> m_nDropped{0};
};

class PLINTH_API OCMsgLogger {
public:
  static OCMsgLogger& GetInstance();
  virtual ~OCMsgLogger();
  OCMsgLogger(const OCMsgLogger&) = delete;
  OCMsgLogger& operator=(const OCMsgLogger&) = delete;

  int Init(const char* msgFile, const char* tag, const char* module, StringIntPair* contexts, unsigned nContexts,
           StringPair* objects, unsigned nObjects, DestinationData* dests, int nDests, int queueSize,
           bool dropWhenFull, const char* logPath);
  bool IsInitialized();
  // Waits until every accepted message is written, then ends the reader
  // thread. No message is to be sent after this call.
  void InstanceWrapUp();

  // Variable lists of const char*, ended by a null pointer; the first ten
  // strings count, each cut to 199 bytes.
  bool WriteToLog(int id, const char* first, ...);
  bool FormatMsg(int id, const char* first, ...);
  bool FormatAndQ(int id, int count, char** args);
  bool FilterByContext(int id);
  void LoadContexts(StringIntPair* contexts, unsigned n);
  void LoadObjects(StringPair* objects, unsigned n);
  static void ResetFilterVec();
  // Losses that the results don't show: messages that a full queue in drop
  // mode turned away, and lines that the reader had no destination for
  // (none could be created, or it was removed). Both only grow.
  uint64_t DroppedCount() const;
  uint64_t UndeliveredCount() const { return m_nUndelivered.load(std::memory_order_relaxed); }

  std::atomic<bool> m_bInitialized{false};
  std::atomic<bool> m_bWrapUp{false};
  std::string m_sTag;
  std::string m_sModule;
  os_thread* m_pThread = nullptr;
  os_critical_section m_Lock;  // re-entrant; before the queue's lock
  std::pair<OCMsgLogger*, void (OCMsgLogger::*)()>* m_pThreadArg = nullptr;
  OCMsgQueue* m_pQueue = nullptr;
  OCMsgMessage* m_Messages[kOCMsgMaxID + 1] = {};
  OCMsgObjects m_Objects;
  std::map<std::string, int32_t> m_Contexts;
  int32_t m_nDefaultLevel = 0;
  std::string m_sDestName;
  Logger* m_pLogger = nullptr;
  DynamicLibrary m_ExitLibrary;
  std::atomic<uint64_t> m_nUndelivered{0};

private:
  OCMsgLogger();

  bool LoadMsgs(const char* msgFile);
  bool CreateDetinations(DestinationData* dests, int nDests);
  void BuildFilterVec();
  void ReadQueue();
  // Formats a line of message into an item and queues it.
  bool FormatAndPut(const OCMsgMessage* message, int count, char** args);
  // Ends the reader thread once the queue is drained, and joins it.
  void StopReader();
  // Counts lines the reader could not hand to a destination, and traces.
  void NoteUndelivered(uint64_t lines);
  // Tells the trace what Init's result leaves unsaid.
  void TraceInitProblems(int result, const DestinationData* dests, int nDests);
};

// The same services for callers that don't use the class.
PLINTH_API int Init(const char* msgFile, const char* tag, const char* module, StringIntPair* contexts, unsigned nContexts,
         StringPair* objects, unsigned nObjects, DestinationData* dests, int nDests, int queueSize,
         int dropWhenFull, const char* logPath);
PLINTH_API bool FormatMsg(int id, const char* first, ...);
PLINTH_API bool WriteToLog(int id, const char* first, ...);
PLINTH_API bool FilterByContext(int id);
PLINTH_API bool IsInitialized();
PLINTH_API void LoadContexts(StringIntPair* contexts, unsigned n);
PLINTH_API void LoadObjects(StringPair* objects, unsigned n);
PLINTH_API void WaitForThread();
// OCMsgLogger::DroppedCount and UndeliveredCount.
PLINTH_API unsigned long long GetDroppedMessageCount();
PLINTH_API unsigned long long GetUndeliveredMessageCount();
