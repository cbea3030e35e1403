// One numbered message as a value (OCMessage), its context (StreamArray) and the two template languages
// that format it. An object belongs to one thread at a time; a message nobody writes to may be formatted by
// several threads at once. Nothing throws of its own accord; the only failure reported is is_valid() false.
#pragma once

#include "plinth/plinth_export.h"

#include <sstream>
#include <string>
#include <vector>

// Which marked parts of a description are shown: `~` marks a part that type 1
// leaves out, `^` one that type 0 leaves out; type 2 leaves out both.
enum OCMessageType {
  eMsgTypeNoCaret = 0,
  eMsgTypeNoTilde = 1,
  eMsgTypePlain = 2,
};

// The context of a message: either free text (m_Stream) or, when
// m_bBreakedDown is set, a list of name, value, name, value...
class PLINTH_API StreamArray {
public:
  StreamArray() = default;
  explicit StreamArray(bool breakedDown) : m_bBreakedDown(breakedDown) {}
  StreamArray(const StreamArray& other);
  // Both assignments append the source's text to this stream (the text
  // already here stays) and replace the list and the flag. The pointer form
  // needs a non-null source.
  StreamArray& operator=(StreamArray* other);
  StreamArray& operator=(StreamArray other);
  ~StreamArray() = default;

  bool isBreakedDownArray() const { return m_bBreakedDown; }
  std::string toString() const { return m_Stream.str(); }
  const std::vector<std::string>* getConetxt_vector() const { return &m_vContext; }

  // Appends free text to m_Stream.
  void addText(const std::string& text);
  // Appends one pair to m_vContext. The flag is left alone: a context is
  // read as pairs only when it was made with StreamArray(true).
  void addPair(const std::string& name, const std::string& value);

  std::vector<std::string> m_vContext;
  bool m_bBreakedDown = false;
  std::stringstream m_Stream;
};

class PLINTH_API OCMessage {
public:
  OCMessage(int id, const std::string& prefix, const std::string& severity, const std::string& title,
            const std::string& source, const std::string& description, const std::string& logical_name,
            StreamArray* context, const std::string& pattern, const std::string& contextPair,
            const std::string& contextFrame);
  // A copy of catalogue entry `id` (or of its default entry), with `context`
  // assigned when it is not null. Creates the catalogue if there is none.
  OCMessage(int id, StreamArray* context);
  OCMessage(const OCMessage& other);
  // A true copy: the context's text is replaced, not appended to.
  OCMessage& operator=(const OCMessage& other);
  ~OCMessage() = default;

  int getID() const { return m_nID; }
  std::string getTitle() const { return m_sTitle; }
  std::string getSource() const { return m_sSource; }
  std::string getPrefix() const { return m_sPrefix; }
  std::string getSeverity() const { return m_sSeverity; }
  std::string getDescription() const { return m_sDescription; }
  std::string getPattern() const { return m_sPattern; }
  std::string getLogical_name() const { return m_sLogical_name; }
  StreamArray* getContext() { return &m_Context; }

  void setID(int id) { m_nID = id; }
  void setTitle(const std::string& title) { m_sTitle = title; }
  void setSource(const std::string& source) { m_sSource = source; }
  void setPrefix(const std::string& prefix) { m_sPrefix = prefix; }
  void setSeverity(const std::string& severity) { m_sSeverity = severity; }
  void setDescription(const std::string& description) { m_sDescription = description; }
  void setPattern(const std::string& pattern) { m_sPattern = pattern; }
  void setLogical_name(const std::string& name) { m_sLogical_name = name; }
  // Appends the context's text to the message's (see StreamArray).
  void setContext(StreamArray* context) { m_Context = context; }
  void setContextPattern(const std::string& frame, const std::string& pair);
  void setMessageType(OCMessageType type) { m_eType = type; }
  void setMessageBoxSize(int width, int height);
  // Appends one argument for the description's parameters.
  void addArg(const std::string& arg) { m_vArgs.push_back(arg); }

  // The number zero-filled to at least five digits.
  std::string getStrID() const;
  // All texts set, and a logical name that holds no `=` unless it holds
  // "ENTRY" (a name that starts an enumeration at a value).
  bool is_valid() const;
  // The description with `%s` replaced by the arguments and nothing else.
  std::string toString() const;
  // The description cut at `;`, with `$`, `~` and `^` as tokens of their own.
  std::vector<std::string> toString_vec() const;
  // The description in the full description language.
  std::string toString_n() const;
  // The whole message laid out by m_sPattern.
  std::string decorate() const;

  int m_nBoxWidth = 0;
  int m_nBoxHeight = 0;
  int m_nID = 0;
  std::string m_sPrefix;
  std::string m_sSeverity;
  std::string m_sTitle;
  std::string m_sSource;
  std::string m_sDescription;
  StreamArray m_Context;
  std::string m_sPattern;
  std::string m_sContextPair;
  std::string m_sContextFrame;
  std::string m_sLogical_name;
  std::vector<std::string> m_vArgs;
  OCMessageType m_eType = eMsgTypePlain;

private:
  // Both formats are applied through fixed buffers of this size (terminating
  // zero included); longer text is cut.
  static constexpr size_t kContextBufferSize = 256;
  std::string formatMsgContext() const;
};
