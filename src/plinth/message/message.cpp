#include "plinth/message/message.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "plinth/message/string_format.h"
#include "plinth/platform/os/os_tokenizer.h"
#include "plinth/system/tracer.h"

// The message's trace goes out under the class name, not the file name.
#define OCMESSAGE_TRACE(message_expr) PLINTH_TRACE_AS("OCMessage", 4, message_expr)

namespace {

// The tokenizers are configured once; tokenize() only reads them.
const os_tokenizer& SimpleTokenizer() {
  static const os_tokenizer t = [] {
    os_tokenizer tok;
    tok.no_separators(true);
    tok.terminals("%s");
    return tok;
  }();
  return t;
}

const os_tokenizer& VectorTokenizer() {
  static const os_tokenizer t = [] {
    os_tokenizer tok;
    tok.separators(";");
    tok.no_separators(false);
    tok.terminals("$~^");
    return tok;
  }();
  return t;
}

const os_tokenizer& DescriptionTokenizer() {
  static const os_tokenizer t = [] {
    os_tokenizer tok;
    tok.separators("{}");
    tok.no_separators(false);
    tok.terminals("$~^");
    return tok;
  }();
  return t;
}

const os_tokenizer& PatternTokenizer() {
  static const os_tokenizer t = [] {
    os_tokenizer tok;
    tok.separators("{}");
    tok.no_separators(false);
    tok.terminals("$");
    return tok;
  }();
  return t;
}

// A bounded text buffer: appends stop at the capacity, the zero always fits.
class FixedBuffer {
public:
  FixedBuffer(char* data, size_t capacity) : m_pData(data), m_nCapacity(capacity) { m_pData[0] = '\0'; }
  void put(char c) {
    if (m_nSize + 1 < m_nCapacity) m_pData[m_nSize++] = c;
    m_pData[m_nSize] = '\0';
  }
  void put(const char* text, size_t size) {
    const size_t room = m_nCapacity - 1 - m_nSize;
    if (size > room) size = room;
    std::memcpy(m_pData + m_nSize, text, size);
    m_nSize += size;
    m_pData[m_nSize] = '\0';
  }
  const char* c_str() const { return m_pData; }

private:
  char* m_pData;
  size_t m_nCapacity;
  size_t m_nSize = 0;
};

// The context formats come from users: expand them with strings only.
void FormatStrings(FixedBuffer& out, const std::string& format, std::initializer_list<const char*> args) {
  std::string text;
  msg_aux::FormatStrings(text, format, args.begin(), args.size(), "", 1 << 16);
  out.put(text.data(), text.size());
}

}  // namespace

// ---- StreamArray ----

StreamArray::StreamArray(const StreamArray& other)
    : m_vContext(other.m_vContext), m_bBreakedDown(other.m_bBreakedDown), m_Stream(other.m_Stream.str()) {
  m_Stream.seekp(0, std::ios_base::end);
}

StreamArray& StreamArray::operator=(StreamArray* other) {
  // Read the source's text first: the source may be this object.
  const std::string text = other->m_Stream.str();
  m_Stream << text;
  m_vContext = other->m_vContext;
  m_bBreakedDown = other->m_bBreakedDown;
  return *this;
}

StreamArray& StreamArray::operator=(StreamArray other) { return *this = &other; }

void StreamArray::addText(const std::string& text) { m_Stream << text; }

void StreamArray::addPair(const std::string& name, const std::string& value) {
  m_vContext.push_back(name);
  m_vContext.push_back(value);
}

// ---- OCMessage ----

OCMessage::OCMessage(int id, const std::string& prefix, const std::string& severity, const std::string& title,
                     const std::string& source, const std::string& description,
                     const std::string& logical_name, StreamArray* context, const std::string& pattern,
                     const std::string& contextPair, const std::string& contextFrame)
    : m_nID(id),
      m_sPrefix(prefix),
      m_sSeverity(severity),
      m_sTitle(title),
      m_sSource(source),
      m_sDescription(description),
      m_sPattern(pattern),
      m_sContextPair(contextPair),
      m_sContextFrame(contextFrame),
      m_sLogical_name(logical_name) {
  if (context) m_Context = context;
}

OCMessage::OCMessage(const OCMessage& other) = default;

OCMessage& OCMessage::operator=(const OCMessage& other) {
  if (this == &other) return *this;
  m_nBoxWidth = other.m_nBoxWidth;
  m_nBoxHeight = other.m_nBoxHeight;
  m_nID = other.m_nID;
  m_sPrefix = other.m_sPrefix;
  m_sSeverity = other.m_sSeverity;
  m_sTitle = other.m_sTitle;
  m_sSource = other.m_sSource;
  m_sDescription = other.m_sDescription;
  m_Context.m_vContext = other.m_Context.m_vContext;
  m_Context.m_bBreakedDown = other.m_Context.m_bBreakedDown;
  m_Context.m_Stream.str(other.m_Context.m_Stream.str());
  m_Context.m_Stream.seekp(0, std::ios_base::end);
  m_sPattern = other.m_sPattern;
  m_sContextPair = other.m_sContextPair;
  m_sContextFrame = other.m_sContextFrame;
  m_sLogical_name = other.m_sLogical_name;
  m_vArgs = other.m_vArgs;
  m_eType = other.m_eType;
  return *this;
}

void OCMessage::setContextPattern(const std::string& frame, const std::string& pair) {
  m_sContextFrame = frame;
  m_sContextPair = pair;
}

void OCMessage::setMessageBoxSize(int width, int height) {
  m_nBoxWidth = width;
  m_nBoxHeight = height;
}

std::string OCMessage::getStrID() const {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%05d", m_nID);
  return buf;
}

bool OCMessage::is_valid() const {
  OCMESSAGE_TRACE("OCMessage::isValid_record");
  OCMESSAGE_TRACE("[OCMessage::isValid] validating meessage details:"
                  << "m_nID=" << m_nID << ", m_sPrefix=" << m_sPrefix << ", m_sSeverity=" << m_sSeverity
                  << ", m_sLogical_name=" << m_sLogical_name << ", m_sTitle=" << m_sTitle
                  << ", m_sSource=" << m_sSource << ", m_sDescription=" << m_sDescription);
  if (m_sPrefix.empty() || m_sSeverity.empty() || m_sTitle.empty() || m_sSource.empty() ||
      m_sDescription.empty() || m_sLogical_name.empty())
    return false;
  return m_sLogical_name.find('=') == std::string::npos || m_sLogical_name.find("ENTRY") != std::string::npos;
}

std::string OCMessage::toString() const {
  const std::vector<std::string> tokens = SimpleTokenizer().tokenize(m_sDescription);
  std::string out;
  out.reserve(m_sDescription.size());
  auto arg = m_vArgs.begin();
  for (size_t i = 0; i < tokens.size(); ++i) {
    if (tokens[i] == "%" && arg != m_vArgs.end() && i + 1 < tokens.size() && tokens[i + 1] == "s") {
      out += *arg++;
      ++i;
      continue;
    }
    out += tokens[i];
  }
  return out;
}

std::vector<std::string> OCMessage::toString_vec() const { return VectorTokenizer().tokenize(m_sDescription); }

std::string OCMessage::toString_n() const {
  std::string out;
  out.reserve(m_sDescription.size() + 64);
  bool tilde = false, caret = false, lastBlank = false;
  auto arg = m_vArgs.begin();
  DescriptionTokenizer().each_token(m_sDescription, [&](std::string_view token) {
    if (token == "~") {
      tilde = true;
      return;
    }
    if (token == "^") {
      caret = true;
      return;
    }
    if (token == "$") return;
    if (token == "endl") {
      out += '\n';
      return;
    }

    // The three rules are tried in this order; only the one that applies
    // clears its flags, so a mark that doesn't fit the type stays set.
    bool skip = false;
    if (tilde && m_eType == eMsgTypeNoTilde) {
      skip = true;
      tilde = false;
    } else if (caret && m_eType == eMsgTypeNoCaret) {
      skip = true;
      caret = false;
    } else if ((tilde || caret) && m_eType == eMsgTypePlain) {
      skip = true;
      tilde = caret = false;
    }

    if (token.size() == 1 && token[0] >= '1' && token[0] <= '9') {
      const size_t n = static_cast<size_t>(token[0] - '0');
      if (!skip && n <= m_vArgs.size()) out += m_vArgs[n - 1];
      return;
    }
    if (token == "%s") {
      if (arg == m_vArgs.end()) return;
      if (!skip) out += *arg;
      ++arg;
      return;
    }
    if (skip) return;
    const bool blank = token == " ";
    if (blank && lastBlank) return;
    out += token;
    lastBlank = blank;
  });
  return out;
}

std::string OCMessage::decorate() const {
  std::string out;
  out.reserve(m_sPattern.size() + m_sDescription.size() + 128);
  PatternTokenizer().each_token(m_sPattern, [&](std::string_view token) {
    if (token == "$") return;
    if (token == "PRFX")
      out += m_sPrefix;
    else if (token == "ID")
      out += std::to_string(m_nID);
    else if (token == "SEV")
      out += m_sSeverity;
    else if (token == "TITLE")
      out += m_sTitle;
    else if (token == "SRC")
      out += m_sSource;
    else if (token == "DESC")
      out += toString_n();
    else if (token == "CTXT")
      out += formatMsgContext();
    else if (token == "endl")
      out += '\n';
    else
      out += token;
  });
  return out;
}

std::string OCMessage::formatMsgContext() const {
  const std::vector<std::string>& list = m_Context.m_vContext;
  if (!m_Context.m_bBreakedDown || list.empty()) return m_Context.toString();

  OCMESSAGE_TRACE("[formatting context] context long=" << list.size());
  char work[kContextBufferSize];
  FixedBuffer pairs(work, sizeof work);
  for (size_t i = 0; i < list.size(); i += 2) {
    const std::string& name = list[i];
    const std::string empty;
    const std::string& value = i + 1 < list.size() ? list[i + 1] : empty;
    OCMESSAGE_TRACE("[formatting context] pair: name=" << name << ", value=" << value);
    FormatStrings(pairs, m_sContextPair, {name.c_str(), value.c_str()});
  }
  char result[kContextBufferSize];
  FixedBuffer framed(result, sizeof result);
  FormatStrings(framed, m_sContextFrame, {work});
  return result;
}
