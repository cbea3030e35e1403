#include "plinth/message/message_mgr.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "plinth/platform/numbers.h"
#include "plinth/message/catalogue_file.h"
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
  // Lines of the file, counted for the trace.
  unsigned lineFeeds = 0;
  while (!in.eof() && !in.bad()) {
    CatalogueSkipSpace(in, lineFeeds);
    const unsigned lineNumber = lineFeeds + 1;
    buffer[0] = '\0';
    in.getline(buffer, kLineBuffer);
    if (in.bad()) break;
    if (in.fail() && !in.eof()) {
      // An over-long line: keep its first 1,023 characters, drop the rest.
      in.clear();
      in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    // The line's own feed, taken by the read.
    if (!in.eof()) ++lineFeeds;
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
      if (!set_attribute_order(line)) {
        OCMESSAGEMGR_TRACE(m_sFullPath << " line " << lineNumber << ": " << CatalogueOrderProblem(line)
                                       << "; no message is read");
        break;
      }
      continue;
    }
    if (!add_message(line)) {
      OCMESSAGEMGR_TRACE(m_sFullPath << " line " << lineNumber << ": " << CatalogueRecordProblem(line, m_nOrder)
                                     << "; the load ends");
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
  const std::string name = message->m_sLogical_name;
  const auto [entry, inserted] = m_Messages.try_emplace(id, std::move(message));
  if (!inserted)
    OCMESSAGEMGR_TRACE("number " << id << " is taken by " << entry->second->m_sLogical_name << "; " << name
                                 << " is not entered");
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

// ---- the message file for tools and the trace ----

void CatalogueSkipSpace(std::istream& in, unsigned& lineFeeds) {
  for (;;) {
    const int c = in.peek();
    if (c == std::char_traits<char>::eof() || !std::isspace(c)) return;
    if (c == '\n') ++lineFeeds;
    in.get();
  }
}

bool SplitCatalogueRecord(const std::string& line, std::vector<std::string>& fields) {
  fields.clear();
  return SplitRecord(line, fields);
}

std::string CatalogueOrderProblem(const std::string& line) {
  os_tokenizer tokenizer;
  tokenizer.separators(" \t");
  tokenizer.no_separators(false);
  tokenizer.terminals("[]");
  const std::vector<std::string> tokens = tokenizer.tokenize(line);
  if (tokens.empty() || tokens[0] != "@@ORDER")
    return "the first line that is no comment must be the order line, \"@@ORDER\" and nine column numbers";
  if (tokens.size() != 10)
    return "the order line has " + std::to_string(tokens.size() - 1) + " column numbers, not nine";
  return {};
}

std::string CatalogueRecordProblem(const std::string& line, const int order[9]) {
  static const char* const kNames[9] = {"prefix", "number", "severity", "logical name", "title",
                                        "source", "description", "box width", "box height"};
  std::vector<std::string> fields;
  if (!SplitRecord(line, fields)) {
    size_t quotes = 0;
    for (size_t pos = line.find('"'); pos != std::string::npos && line.find('[') > pos; pos = line.find('"', pos + 1))
      ++quotes;
    if (quotes % 2) return "a double quote is not closed";
    if (!line.empty() && line.back() == '[') return "the description's \"[\" is the last character of the line";
    return "no description: a record ends in \"[\", the description and \"]\"";
  }
  for (int a = 0; a < 9; ++a)
    if (order[a] < 0 || static_cast<size_t>(order[a]) >= fields.size())
      return std::string("the order line puts the ") + kNames[a] + " in column " + std::to_string(order[a]) +
             ", but the record has " + std::to_string(fields.size()) + " columns (the description counted)";
  for (int a : {kPrefix, kSeverity, kTitle, kSource, kDescription, kLogicalName})
    if (fields[static_cast<size_t>(order[a])].empty()) return std::string("the ") + kNames[a] + " is empty";
  const std::string& name = fields[static_cast<size_t>(order[kLogicalName])];
  if (name.find('=') != std::string::npos && name.find("ENTRY") == std::string::npos)
    return "the logical name \"" + name + "\" holds \"=\" but not \"ENTRY\"";
  return {};
}
