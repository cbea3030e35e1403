// Name-value pairs as text: "<name>value", with \, < and > escaped by a
// backslash. Classes write and read pairs on standard streams; three plain
// functions read them from a zero-terminated buffer into fixed buffers.
// No shared state: safe from any thread on objects and streams it owns.
// Streams report through their state and the bool of ReadFromStream; the
// buffer functions give -1 for bad input and -2 for a buffer too small.
#pragma once

#include <iosfwd>
#include <string>

#include "plinth/plinth_export.h"

class PLINTH_API NVUtil {
public:
  // Writes the text with \, < and > escaped.
  static void EncodeToStream(std::ostream& stream, const std::string& text);
  // Reads unformatted into out up to an unescaped stop character, which is
  // left in the stream, or to the end of the stream. A \ takes the next
  // character as it is; a \ at the very end vanishes.
  static void DecodeFromStream(std::istream& stream, std::string& out, char stop);
  // "<name>": a pair with an empty value. A null name writes nothing.
  static void WriteToStream(std::ostream& stream, const char* name);
  static void WriteToStream(std::ostream& stream, const std::string& name);
  // "<name>value". A null name or value writes nothing.
  static void WriteToStream(std::ostream& stream, const char* name, const char* value);
  static void WriteToStream(std::ostream& stream, const std::string& name, const std::string& value);
  // Reads one pair. White space before the '<' is skipped if the stream
  // skips it; white space inside name and value is kept. False when no '<'
  // comes first or the name has no closing '>' (name keeps what it read).
  static bool ReadFromStream(std::istream& stream, std::string& name, std::string& value);
};

class PLINTH_API NVStrings {
public:
  NVStrings() = default;
  NVStrings(const std::string& name, const std::string& value) : m_sName(name), m_sValue(value) {}

  const std::string& GetName() const { return m_sName; }
  const std::string& GetValue() const { return m_sValue; }
  void SetName(const std::string& name) { m_sName = name; }
  void SetValue(const std::string& value) { m_sValue = value; }

  void WriteToStream(std::ostream& stream) const;
  bool ReadFromStream(std::istream& stream);

  std::string m_sName;
  std::string m_sValue;
};

// A pair over two strings of the caller, which must outlive it.
class PLINTH_API NVStringsRef {
public:
  NVStringsRef(std::string& name, std::string& value) : m_sName(name), m_sValue(value) {}

  const std::string& GetName() const { return m_sName; }
  const std::string& GetValue() const { return m_sValue; }
  void SetName(const std::string& name) { m_sName = name; }
  void SetValue(const std::string& value) { m_sValue = value; }

  void WriteToStream(std::ostream& stream) const;
  bool ReadFromStream(std::istream& stream);

  std::string& m_sName;
  std::string& m_sValue;
};

PLINTH_API std::ostream& operator<<(std::ostream& stream, const NVStrings& pair);
PLINTH_API std::ostream& operator<<(std::ostream& stream, const NVStringsRef& pair);
// Read a pair; whether one was read shows only in the stream's state.
PLINTH_API std::istream& operator>>(std::istream& stream, NVStrings& pair);
PLINTH_API std::istream& operator>>(std::istream& stream, NVStringsRef& pair);

// The buffer readers. text is zero-terminated and pos an index into it
// (never past its zero). A buffer of size n holds n characters and the
// zero, so it must have n + 1 bytes.
//
// Reads "<name>value" at pos. The name and the value each end at the first
// unescaped < or > or at the end of the text. Gives the index where the
// value ended (the next pair or the zero), -1 when pos holds no '<' or the
// name doesn't end in '>', -2 when either doesn't fit; the buffers are
// written only on success.
PLINTH_API int nv_read_namevalue(const char* text, int pos, char* name, unsigned nameSize, char* value,
                                 unsigned valueSize);
// As nv_read_namevalue, but the value is read by nv_read_val_with_sep and
// also ends at the separator. The value may be written even when the name
// then turns out too long (-2).
PLINTH_API int nv_read_namevalue_with_sep(const char* text, const char* sep, int pos, char* name,
                                          unsigned nameSize, char* value, unsigned valueSize);
// Reads a value from pos up to the end, an unescaped < or > (index of that
// character given back) or the first character of sep (index after it
// given back). When more than outSize characters come, out keeps the first
// outSize - 1 and a zero, and the result is -2.
PLINTH_API int nv_read_val_with_sep(const char* text, const char* sep, int pos, char* out,
                                    unsigned outSize);
