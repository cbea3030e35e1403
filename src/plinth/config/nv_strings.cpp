#include "plinth/config/nv_strings.h"

#include <istream>
#include <ostream>

namespace {
bool IsSpecial(char c) { return c == '\\' || c == '<' || c == '>'; }

// Where an encoded name or value that starts at pos ends, and how many
// characters it decodes to. It ends at an unescaped < or >, or at the zero;
// a \ right before the zero is dropped, and the end is then the zero.
struct EncodedRun {
  int end;
  unsigned length;
};

EncodedRun ScanEncoded(const char* text, int pos) {
  unsigned length = 0;
  int i = pos;
  for (;;) {
    const char c = text[i];
    if (c == '\0' || c == '<' || c == '>') break;
    if (c == '\\') {
      if (text[i + 1] == '\0') {
        ++i;
        break;
      }
      ++i;
    }
    ++length;
    ++i;
  }
  return {i, length};
}

// Writes the decoded run that ScanEncoded measured, and its zero.
void CopyDecoded(const char* text, int pos, const EncodedRun& run, char* out) {
  unsigned n = 0;
  for (int i = pos; n < run.length; ++i) {
    if (text[i] == '\\') ++i;
    out[n++] = text[i];
  }
  out[n] = '\0';
}

// Steps shared by both pair readers: the '<' at pos and a name that ends in
// '>'. Gives the name's run, or end -1 for bad input.
EncodedRun ScanName(const char* text, int pos) {
  if (pos < 0 || text[pos] != '<') return {-1, 0};
  const EncodedRun name = ScanEncoded(text, pos + 1);
  if (text[name.end] != '>') return {-1, 0};
  return name;
}
}  // namespace

void NVUtil::EncodeToStream(std::ostream& stream, const std::string& text) {
  // Runs without special characters go out in one write.
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!IsSpecial(text[i])) continue;
    stream.write(text.data() + start, static_cast<std::streamsize>(i - start));
    const char escaped[2] = {'\\', text[i]};
    stream.write(escaped, 2);
    start = i + 1;
  }
  stream.write(text.data() + start, static_cast<std::streamsize>(text.size() - start));
}

void NVUtil::DecodeFromStream(std::istream& stream, std::string& out, char stop) {
  using traits = std::istream::traits_type;
  out.clear();
  if (stream.bad()) return;
  // One sentry for the whole value instead of one per character, as get()
  // would: it checks the state (failing as get() does) and flushes a tied
  // stream once.
  const std::istream::sentry ready(stream, true);
  if (!ready) return;
  std::streambuf* in = stream.rdbuf();
  bool escaped = false;
  try {
    for (;;) {
      const traits::int_type got = in->sbumpc();
      if (traits::eq_int_type(got, traits::eof())) {
        stream.setstate(std::ios_base::eofbit | std::ios_base::failbit);
        return;
      }
      const char c = traits::to_char_type(got);
      if (!escaped && c == '\\') {
        escaped = true;
        continue;
      }
      if (!escaped && c == stop) {
        if (traits::eq_int_type(in->sputbackc(c), traits::eof())) stream.setstate(std::ios_base::badbit);
        return;
      }
      out += c;
      escaped = false;
    }
  } catch (const std::ios_base::failure&) {
    throw;
  } catch (...) {
    // A failing buffer marks the stream bad, as an unformatted read does.
    stream.setstate(std::ios_base::badbit);
  }
}

void NVUtil::WriteToStream(std::ostream& stream, const char* name) {
  if (!name) return;
  WriteToStream(stream, std::string(name));
}

void NVUtil::WriteToStream(std::ostream& stream, const std::string& name) {
  stream.put('<');
  EncodeToStream(stream, name);
  stream.put('>');
}

void NVUtil::WriteToStream(std::ostream& stream, const char* name, const char* value) {
  if (!name || !value) return;
  WriteToStream(stream, std::string(name), std::string(value));
}

void NVUtil::WriteToStream(std::ostream& stream, const std::string& name, const std::string& value) {
  WriteToStream(stream, name);
  EncodeToStream(stream, value);
}

bool NVUtil::ReadFromStream(std::istream& stream, std::string& name, std::string& value) {
  name.clear();
  value.clear();
  char c = 0;
  if (!(stream >> c) || c != '<') return false;
  DecodeFromStream(stream, name, '>');
  if (!(stream >> c) || c != '>') return false;
  DecodeFromStream(stream, value, '<');
  return true;
}

void NVStrings::WriteToStream(std::ostream& stream) const { NVUtil::WriteToStream(stream, m_sName, m_sValue); }
bool NVStrings::ReadFromStream(std::istream& stream) { return NVUtil::ReadFromStream(stream, m_sName, m_sValue); }
void NVStringsRef::WriteToStream(std::ostream& stream) const { NVUtil::WriteToStream(stream, m_sName, m_sValue); }
bool NVStringsRef::ReadFromStream(std::istream& stream) {
  return NVUtil::ReadFromStream(stream, m_sName, m_sValue);
}

std::ostream& operator<<(std::ostream& stream, const NVStrings& pair) {
  pair.WriteToStream(stream);
  return stream;
}

std::ostream& operator<<(std::ostream& stream, const NVStringsRef& pair) {
  pair.WriteToStream(stream);
  return stream;
}

std::istream& operator>>(std::istream& stream, NVStrings& pair) {
  pair.ReadFromStream(stream);
  return stream;
}

std::istream& operator>>(std::istream& stream, NVStringsRef& pair) {
  pair.ReadFromStream(stream);
  return stream;
}

int nv_read_namevalue(const char* text, int pos, char* name, unsigned nameSize, char* value,
                      unsigned valueSize) {
  if (!text || !name || !value) return -1;
  const EncodedRun nameRun = ScanName(text, pos);
  if (nameRun.end < 0) return -1;
  const int valuePos = nameRun.end + 1;
  // Unlike the stream reader, the value stops at a plain '>' as well.
  const EncodedRun valueRun = ScanEncoded(text, valuePos);
  if (nameRun.length > nameSize || valueRun.length > valueSize) return -2;
  CopyDecoded(text, pos + 1, nameRun, name);
  CopyDecoded(text, valuePos, valueRun, value);
  return valueRun.end;
}

int nv_read_val_with_sep(const char* text, const char* sep, int pos, char* out, unsigned outSize) {
  if (!text || !out || pos < 0) return -1;
  const char separator = sep ? sep[0] : '\0';
  unsigned n = 0;
  bool escaped = false;
  for (int i = pos;; ++i) {
    const char c = text[i];
    if (c == '\0') {
      out[n] = '\0';
      return i;
    }
    if (!escaped && c == '\\') {
      escaped = true;
      continue;
    }
    if (!escaped && (c == '<' || c == '>')) {
      out[n] = '\0';
      return i;
    }
    if (!escaped && separator != '\0' && c == separator) {
      out[n] = '\0';
      return i + 1;
    }
    if (n == outSize) {
      // The last character kept gives way to the zero; with no room for
      // any character, the zero goes where the first would have been.
      out[n == 0 ? 0 : n - 1] = '\0';
      return -2;
    }
    out[n++] = c;
    escaped = false;
  }
}

int nv_read_namevalue_with_sep(const char* text, const char* sep, int pos, char* name, unsigned nameSize,
                               char* value, unsigned valueSize) {
  if (!text || !name || !value) return -1;
  const EncodedRun nameRun = ScanName(text, pos);
  if (nameRun.end < 0) return -1;
  const int result = nv_read_val_with_sep(text, sep, nameRun.end + 1, value, valueSize);
  if (result < 0) return result;
  if (nameRun.length > nameSize) return -2;
  CopyDecoded(text, pos + 1, nameRun, name);
  return result;
}
