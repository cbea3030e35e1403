#include "plinth/message/message_mgr.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "plinth/platform/numbers.h"
#include "plinth/platform/os/os_file.h"
#include "plinth/platform/os/os_stream.h"
#include "plinth/platform/os/os_tokenizer.h"
#include "plinth/system/tracer.h"

#define OCMESSAGEMGR_TRACE(message_expr) PLINTH_TRACE_AS("OCMessageMgr", 4, message_expr)

const char* const OCMessageMgr::DefaultPattern =
    "${PRFX}-${ID}${SEV}:\t${SRC} - ${TITLE}.${endl}${DESC}${endl}${CTXT}";
const char* const OCMessageMgr::EntryPattern =
    "${PRFX}-${ID}${SEV}:\t${SRC} - ${TITLE}.${endl}${DESC}.${endl}${CTXT}.";

std::atomic<OCMessageMgr*> OCMessageMgr::m_pTheObject{nullptr};

namespace {

// One line of the file holds at most this many characters; the buffer adds
// the terminating zero.
constexpr std::streamsize kLineBuffer = 1024;

const char* const kContextPair = "%s=%s ";
const char* const kContextFrame = "{%s}";

enum Attribute { kPrefix, kNumber, kSeverity, kLogicalName, kTitle, kSource, kDescription, kWidth, kHeight };

std::unique_ptr<OCMessage> MakeDefaultEntry() {
  auto entry = std::make_unique<OCMessage>(0, "OC", "I", "General", "SYS", "Could not find message description",
                                           "default_ENTRY", nullptr, OCMessageMgr::EntryPattern, kContextPair,
                                           kContextFrame);
  entry->setMessageBoxSize(390, 170);
  return entry;
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Cuts a record into its fields, the description last. False when the line
// is no record: a quote left open, or no `[` that starts a description with
// at least its closing character.
bool SplitRecord(const std::string& line, std::vector<std::string>& fields) {
  const size_t n = line.size();
  size_t pos = 0;
  while (pos < n && IsBlank(line[pos])) ++pos;
  while (pos < n) {
    if (line[pos] == '[') {
      const size_t start = pos + 1;
      if (start >= n) return false;
      // The last character (a well-formed record's `]`) is dropped.
      std::string description = line.substr(start, n - start - 1);
      description += '\n';
      fields.push_back(std::move(description));
      return true;
    }
    if (line[pos] == '"') {
      const size_t close = line.find('"', pos + 1);
      if (close == std::string::npos) return false;
      fields.emplace_back(line, pos + 1, close - pos - 1);
      pos = close + 1;
    } else {
      const size_t start = pos;
      while (pos < n && !IsBlank(line[pos])) ++pos;
      fields.emplace_back(line, start, pos - start);
    }
    while (pos < n && IsBlank(line[pos])) ++pos;
  }
  return false;
}

}  // namespace

OCMessageMgr* OCMessageMgr::getInstance() {
  OCMessageMgr* mgr = m_pTheObject.load(std::memory_order_acquire);
  if (mgr) return mgr;
  // Two first callers may race: one instance wins, the other is freed.
  OCMessageMgr* fresh = new OCMessageMgr;
  if (m_pTheObject.compare_exchange_strong(mgr, fresh, std::memory_order_acq_rel)) return fresh;
  delete fresh;
  return mgr;
}

OCMessageMgr::OCMessageMgr() : m_sPattern(DefaultPattern) { insert_default_entry(); }

OCMessageMgr::~OCMessageMgr() = default;

void OCMessageMgr::insert_default_entry() { m_Messages.emplace(0, MakeDefaultEntry()); }

bool OCMessageMgr::load_messages(std::string& error) { return iterate_records(error); }

bool OCMessageMgr::iterate_records(std::string& error) {
  OCMESSAGEMGR_TRACE("OCMessageMgr::load_messages");
  if (m_bLoaded.load(std::memory_order_acquire)) return true;
  // The time toolkit needs no set-up on this platform.
  os_lock_guard guard(m_Lock);
  if (m_bLoaded.load(std::memory_order_relaxed)) return true;

  m_sFullPath = m_sRootDir + "/" + m_sFile;
  os_ifstream in;
  // A directory opens for reading on Linux and then fails every read.
  if (!os_file_system::is_directory(m_sFullPath)) in.open(m_sFullPath);
  if (!in.is_open()) {
    error = "failed to open message file" + m_sFullPath;
    return false;
  }

  if (!m_bExpectOrder) {
    // An earlier load failed part-way: read the file again from the top.
    m_Messages.clear();
    insert_default_entry();
    m_HeaderStream.str("");
    m_HeaderStream.clear();
    m_bExpectOrder = true;
  }

  int nMsgLine_count = 0;
  int nCommentLine_count = 0;
  bool ok = true;
  std::string failedLine;
  char buffer[kLineBuffer];
  std::string line;
  while (!in.eof() && !in.bad()) {
    in >> std::ws;
    buffer[0] = '\0';
    in.getline(buffer, kLineBuffer);
    if (in.bad()) break;
    if (in.fail() && !in.eof()) {
      // An over-long line: keep its first 1,023 characters, drop the rest.
      in.clear();
      in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    // Bytes after a zero are not part of the line.
    size_t len = std::strlen(buffer);
    if (len > 0 && buffer[len - 1] == '\r') --len;
    line.assign(buffer, len);

    if (line.empty() || line[0] == '-' || line[0] == '#') {
      ++nCommentLine_count;
      continue;
    }
    OCMESSAGEMGR_TRACE("constructing message=" << line);
    if (m_bExpectOrder) {
      if (!set_attribute_order(line)) break;
      continue;
    }
    if (!add_message(line)) {
      ok = false;
      failedLine = line;
      break;
    }
    ++nMsgLine_count;
  }

  m_bLoaded.store(ok, std::memory_order_release);
  auto summary = [&](bool loaded, const std::string& record) {
    return "load_messages has resulted with rc=" + std::to_string(loaded ? 1 : 0) +
           ", nMsgLine_count=" + std::to_string(nMsgLine_count) +
           ", nCommentLine_count=" + std::to_string(nCommentLine_count) +
           ", total parsed lines=" + std::to_string(nMsgLine_count + nCommentLine_count) +
           ", last parsed record=" + record;
  };
  OCMESSAGEMGR_TRACE(summary(ok, failedLine));
  error = ok ? std::string() : summary(false, failedLine);
  return ok;
}

bool OCMessageMgr::set_attribute_order(const std::string& line) {
  os_tokenizer tokenizer;
  tokenizer.separators(" \t");
  tokenizer.no_separators(false);
  tokenizer.terminals("[]");
  const std::vector<std::string> tokens = tokenizer.tokenize(line);
  if (tokens.size() != 10 || tokens[0] != "@@ORDER") return false;
  for (int i = 0; i < 9; ++i) m_nOrder[i] = plinth::platform::read_int(tokens[i + 1]);
  m_bExpectOrder = false;
  return true;
}

bool OCMessageMgr::add_message(const std::string& line) {
  std::vector<std::string> fields;
  if (!SplitRecord(line, fields)) return false;
  for (int index : m_nOrder)
    if (index < 0 || static_cast<size_t>(index) >= fields.size()) return false;
  auto field = [&](Attribute a) -> const std::string& { return fields[static_cast<size_t>(m_nOrder[a])]; };

  auto message = std::make_unique<OCMessage>(plinth::platform::read_int(field(kNumber)), field(kPrefix), field(kSeverity),
                                             field(kTitle), field(kSource), field(kDescription),
                                             field(kLogicalName), nullptr, EntryPattern, kContextPair,
                                             kContextFrame);
  if (!message->is_valid()) return false;
  message->setMessageBoxSize(plinth::platform::read_int(field(kWidth)), plinth::platform::read_int(field(kHeight)));
  m_HeaderStream << message->m_sLogical_name << ",\n";
  const int id = message->m_nID;
  m_Messages.try_emplace(id, std::move(message));
  return true;
}

std::string OCMessageMgr::generate_msg_header(std::string& error) {
  load_messages(error);
  std::string text = m_HeaderStream.str();
  const size_t comma = text.rfind(',');
  if (comma != std::string::npos) text.erase(comma, 1);
  return text;
}

OCMessage OCMessageMgr::locateAndSetMessage(int id, StreamArray* context, OCMessageType type) const {
  auto it = m_Messages.find(id);
  if (it == m_Messages.end()) {
    OCMESSAGEMGR_TRACE("couldn't locate message id=" << id);
    it = m_Messages.find(0);
  }
  // The default entry is public and could have been erased by a caller.
  OCMessage copy = it != m_Messages.end() ? *it->second : *MakeDefaultEntry();
  copy.m_eType = type;
  if (context) copy.m_Context = context;
  return copy;
}

OCMessage::OCMessage(int id, StreamArray* context)
    : OCMessage(OCMessageMgr::getInstance()->locateAndSetMessage(id, nullptr, eMsgTypePlain)) {
  m_eType = eMsgTypePlain;
  if (context) m_Context = context;
}

void exit_messagemgr() { delete OCMessageMgr::m_pTheObject.exchange(nullptr); }

bool InitOCMessageMgr(const std::string& rootDir, const std::string& file, const std::string& pattern,
                      std::string& error) {
  OCMessageMgr* mgr;
  try {
    mgr = OCMessageMgr::getInstance();
  } catch (const std::bad_alloc&) {
    return false;
  }
  mgr->setRootDir(rootDir);
  mgr->setFile(file);
  mgr->setPattern(pattern);
  return mgr->load_messages(error);
}
