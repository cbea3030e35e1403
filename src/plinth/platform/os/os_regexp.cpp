#define PCRE2_CODE_UNIT_WIDTH 8
#include "plinth/platform/os/os_regexp.h"

#include <pcre2.h>

#include <string_view>

#include "plinth/platform/os/os_error.h"

struct os_regexp::Impl {
  pcre2_code* code = nullptr;
  bool jit = false;
  ~Impl() { pcre2_code_free(code); }
};

os_regexp::os_regexp(const std::string& pattern, bool ignoreCase, bool extended)
    : m_pImpl(std::make_unique<Impl>()) {
  uint32_t options = 0;
  if (ignoreCase) options |= PCRE2_CASELESS;
  if (extended) options |= PCRE2_EXTENDED;
  int err = 0;
  PCRE2_SIZE offset = 0;
  m_pImpl->code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                options, &err, &offset, nullptr);
  if (!m_pImpl->code) {
    PCRE2_UCHAR msg[256];
    pcre2_get_error_message(err, msg, sizeof msg);
    throw os_toolkit_error(err, "bad pattern '" + pattern + "' at " + std::to_string(offset) +
                                    ": " + reinterpret_cast<const char*>(msg));
  }
  // The JIT is an optimisation only; without it matching still works.
  m_pImpl->jit = pcre2_jit_compile(m_pImpl->code, PCRE2_JIT_COMPLETE) == 0;
}

os_regexp::~os_regexp() = default;
os_regexp::os_regexp(os_regexp&&) noexcept = default;
os_regexp& os_regexp::operator=(os_regexp&&) noexcept = default;

namespace {

// Only the whole match is read, so one pair of offsets serves every
// pattern: the match data is made once a thread instead of once a search,
// which cost as much as the match itself on short texts.
pcre2_match_data* ThreadMatchData() {
  // The pointer is read on every search: initial-exec spares the lookup of
  // a shared library's thread data; the holder frees it at thread exit.
  [[gnu::tls_model("initial-exec")]] static thread_local pcre2_match_data* data = nullptr;
  if (data) return data;
  struct Holder {
    ~Holder() {
      pcre2_match_data_free(data);
      data = nullptr;
    }
  };
  static thread_local Holder holder;
  data = pcre2_match_data_create(1, nullptr);
  (void)holder;
  return data;
}

}  // namespace

std::pair<unsigned, unsigned> os_regexp::search(const char* text, unsigned start,
                                                unsigned end) const {
  const std::pair<unsigned, unsigned> none{npos, npos};
  if (!text || start > end) return none;
  pcre2_match_data* md = ThreadMatchData();
  if (!md) return none;
  // A result of 0 says the groups didn't fit; the whole match is there.
  // pcre2_match would reach the JIT too, after checks that cost as much as
  // matching a file name.
  const auto subject = reinterpret_cast<PCRE2_SPTR>(text);
  int rc = m_pImpl->jit ? pcre2_jit_match(m_pImpl->code, subject, end, start, 0, md, nullptr)
                        : pcre2_match(m_pImpl->code, subject, end, start, 0, md, nullptr);
  // The JIT keeps its backtracking on a small fixed stack; a long repeated
  // group (thousands of adjacent items) can exhaust it. The interpreter
  // keeps the same state on the heap, so it finds the match the JIT gave up on.
  if (rc == PCRE2_ERROR_JIT_STACKLIMIT)
    rc = pcre2_match(m_pImpl->code, subject, end, start, PCRE2_NO_JIT, md, nullptr);
  if (rc < 0) return none;
  const PCRE2_SIZE* ov = pcre2_get_ovector_pointer(md);
  return {static_cast<unsigned>(ov[0]), static_cast<unsigned>(ov[1])};
}

std::pair<unsigned, unsigned> os_regexp::search(const std::string& text, unsigned start,
                                                unsigned end) const {
  const unsigned size = static_cast<unsigned>(text.size());
  return search(text.c_str(), start, end > size ? size : end);
}

unsigned os_regexp::replace(std::string& text, unsigned start, unsigned end,
                            const std::string& replacement, bool all) const {
  if (end > text.size()) end = static_cast<unsigned>(text.size());
  std::string out;
  unsigned count = 0;
  unsigned pos = start;
  while (pos <= end) {
    const std::pair<unsigned, unsigned> m = search(text.c_str(), pos, end);
    if (m.first == npos) break;
    if (count == 0) out.assign(text, 0, m.first);
    else out.append(text, pos, m.first - pos);
    out += replacement;
    ++count;
    // An empty match must not hold the search in one place.
    if (m.second == m.first) {
      pos = m.second;
      if (pos >= end) break;
      out += text[pos++];
    } else {
      pos = m.second;
    }
    if (!all) break;
  }
  if (count == 0) return 0;
  if (pos < text.size()) out.append(text, pos, std::string::npos);
  text.swap(out);
  return count;
}

bool os_regexp::matches_whole(const std::string& text) const {
  auto r = search(text.c_str(), 0, static_cast<unsigned>(text.size()));
  return r.first == 0 && r.second == text.size();
}

std::string os_regexp::quote(const std::string& text) {
  std::string out;
  out.reserve(text.size() * 2);
  for (char c : text) {
    if (std::string_view("\\^$.|?*+()[]{}-/#").find(c) != std::string_view::npos) out += '\\';
    out += c;
  }
  return out;
}
