// Byte-level regular expressions (Perl syntax) for file names and similar
// short texts. Construction throws os_toolkit_error on a bad pattern;
// searching never throws. One object may be searched from several threads.
#pragma once

#include "plinth/plinth_export.h"

#include <memory>
#include <string>
#include <utility>

class PLINTH_API os_regexp {
public:
  static constexpr unsigned npos = static_cast<unsigned>(-1);

  // ignoreCase: case-insensitive matching. extended: blanks and # comments
  // in the pattern are ignored.
  os_regexp(const std::string& pattern, bool ignoreCase = false, bool extended = false);
  ~os_regexp();
  os_regexp(os_regexp&&) noexcept;
  os_regexp& operator=(os_regexp&&) noexcept;

  // First match inside text[start, end): the positions of its first byte and
  // one past its last, or {npos, npos}.
  std::pair<unsigned, unsigned> search(const char* text, unsigned start, unsigned end) const;
  // The same on a string; an end behind the text (npos) means its end.
  std::pair<unsigned, unsigned> search(const std::string& text, unsigned start,
                                       unsigned end = npos) const;
  // The range search gives when nothing matches.
  static std::pair<unsigned, unsigned> not_found() { return {npos, npos}; }
  // Replaces the first match inside text[start, end), or every match with
  // all, by replacement taken literally ($ and \ have no meaning in it).
  // Text that a replacement brings in is not searched again. Returns the
  // number of replacements.
  unsigned replace(std::string& text, unsigned start, unsigned end,
                   const std::string& replacement, bool all) const;
  // Whether the first match covers the whole text.
  bool matches_whole(const std::string& text) const;

  // The text with every pattern metacharacter escaped.
  static std::string quote(const std::string& text);

private:
  struct Impl;
  std::unique_ptr<Impl> m_pImpl;
};
