#include "plinth/i18n/streambuf_helper.h"

#include <iostream>

#include "plinth/i18n/utf8_string.h"
#include "plinth/system/tracer.h"

namespace i18n_aux {

streambuf_helper::streambuf_helper(std::basic_streambuf<char>* target, char const* context)
    : m_pTarget(target) {
  set_context(context);
}

streambuf_helper::streambuf_helper(streambuf_helper const& other)
    : std::basic_streambuf<char>(), m_pTarget(other.m_pTarget), m_Context(other.m_Context) {}

streambuf_helper& streambuf_helper::operator=(streambuf_helper const& other) {
  m_pTarget = other.m_pTarget;
  m_Context = other.m_Context;
  return *this;
}

streambuf_helper::~streambuf_helper() = default;

void streambuf_helper::set_context(char const* context) {
  if (context == nullptr) {
    m_Context.clear();
    return;
  }
  m_Context = std::string("[") + context + "] ";
}

std::streamsize streambuf_helper::xsputn(char const* text, std::streamsize count) {
  if (!IsCJK_mode()) {
    m_pTarget->sputn(text, count);
    return count;
  }
  std::string const converted =
      Osl_UTF8String(std::string(text, static_cast<std::size_t>(count))).ToCurrentSystemEncoding();
  // The tracer may write to std::cout, which comes back here: trace once.
  static thread_local bool tracing = false;
  if (!tracing) {
    tracing = true;
    struct Reset {
      ~Reset() { tracing = false; }
    } const reset;
    PLINTH_TRACE_AS("streambuf_helper", 4, "streambuf_helper::xsputn sUTF8=" << converted);
  }
  m_pTarget->sputn(converted.data(), static_cast<std::streamsize>(converted.size()));
  return count;
}

int streambuf_helper::overflow(int ch) {
  // A stream asks overflow(eof) only to make room; there is nothing to write.
  if (traits_type::eq_int_type(ch, traits_type::eof())) return traits_type::not_eof(ch);
  if (traits_type::eq_int_type(m_pTarget->sputc(traits_type::to_char_type(ch)), traits_type::eof()))
    return traits_type::eof();
  return ch;
}

stream_helper_tie* stream_helper_tie::m_pTheObject = nullptr;

stream_helper_tie* stream_helper_tie::getInstance() {
  if (m_pTheObject == nullptr) m_pTheObject = new stream_helper_tie();
  return m_pTheObject;
}

void stream_helper_tie::set_utf_stream() {
  PLINTH_TRACE_AS("streambuf_helper", 4,
                  "set_utf_stream m_bIsInitialized=" << (m_bIsInitialized ? 1 : 0));
  if (m_bIsInitialized) return;
  m_pCoutBuf = std::cout.rdbuf();
  m_pCerrBuf = std::cerr.rdbuf();
  m_pCoutHelper = new streambuf_helper(m_pCoutBuf, nullptr);
  m_pCerrHelper = new streambuf_helper(m_pCerrBuf, nullptr);
  std::cout.rdbuf(m_pCoutHelper);
  std::cerr.rdbuf(m_pCerrHelper);
  m_bIsInitialized = true;
}

stream_helper_tie::~stream_helper_tie() {
  // A singleton that never tied the streams has nothing to give back.
  if (m_pCoutBuf != nullptr) std::cout.rdbuf(m_pCoutBuf);
  if (m_pCerrBuf != nullptr) std::cerr.rdbuf(m_pCerrBuf);
  delete m_pCoutHelper;
  delete m_pCerrHelper;
  m_pTheObject = nullptr;
}

stream_helper_tie& stream_helper_tie::operator=(stream_helper_tie const& other) {
  m_pCoutBuf = other.m_pCoutBuf;
  m_pCerrBuf = other.m_pCerrBuf;
  m_pCoutHelper = other.m_pCoutHelper;
  m_pCerrHelper = other.m_pCerrHelper;
  m_bIsInitialized = other.m_bIsInitialized;
  return *this;
}

stream_guard::stream_guard() { stream_helper_tie::getInstance()->set_utf_stream(); }

stream_guard::~stream_guard() {
  delete stream_helper_tie::m_pTheObject;
  stream_helper_tie::m_pTheObject = nullptr;
}

stream_guard& stream_guard::operator=(stream_guard const&) { return *this; }

}  // namespace i18n_aux
