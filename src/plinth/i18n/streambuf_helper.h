// Ties std::cout and std::cerr to the current encoding: in Unicode mode the
// program's UTF-8 strings are converted on their way to the console. No lock
// anywhere: tie the streams at the start of the process and untie them at
// its end, while one thread runs. Writes never report a short write;
// conversion failures reach the writing stream as exceptions, which it turns
// into its bad bit.
#pragma once

#include <streambuf>
#include <string>

#include "plinth/plinth_export.h"

namespace i18n_aux {

// A stream buffer without a put area, so that every write reaches xsputn
// (strings, converted in Unicode mode) or overflow (single bytes, never
// converted). The mode is read at each write. sync isn't forwarded: the
// target flushes by its own rules.
class PLINTH_API streambuf_helper : public std::basic_streambuf<char> {
public:
  // target isn't owned.
  streambuf_helper(std::basic_streambuf<char>* target, char const* context);
  streambuf_helper(streambuf_helper const& other);
  streambuf_helper& operator=(streambuf_helper const& other);
  ~streambuf_helper() override;

  // Null empties the context, else it becomes "[" + context + "] ". It is
  // kept and copied but never written.
  void set_context(char const* context);

  std::basic_streambuf<char>* m_pTarget;
  std::string m_Context;

protected:
  // Always answers count, whatever the target took and however long the
  // converted text is, so the stream never sees a short write.
  std::streamsize xsputn(char const* text, std::streamsize count) override;
  int overflow(int ch) override;
};

// The singleton that holds the saved buffers of std::cout and std::cerr
// while they are tied.
class PLINTH_API stream_helper_tie {
public:
  static stream_helper_tie* getInstance();
  // Ties the two streams; a call while tied changes nothing.
  void set_utf_stream();
  // Unties: gives the streams their saved buffers back.
  ~stream_helper_tie();
  stream_helper_tie& operator=(stream_helper_tie const& other);

  std::basic_streambuf<char>* m_pCoutBuf = nullptr;
  std::basic_streambuf<char>* m_pCerrBuf = nullptr;
  streambuf_helper* m_pCoutHelper = nullptr;  // owned
  streambuf_helper* m_pCerrHelper = nullptr;  // owned
  bool m_bIsInitialized = false;

  static stream_helper_tie* m_pTheObject;

private:
  stream_helper_tie() = default;
};

// Ties the streams for a scope. Guards aren't counted: the first guard to
// end unties the streams for every other guard too.
class PLINTH_API stream_guard {
public:
  stream_guard();
  ~stream_guard();
  stream_guard& operator=(stream_guard const& other);
};

}  // namespace i18n_aux
