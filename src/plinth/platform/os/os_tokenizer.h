// Cuts a text into tokens at separator characters (dropped) and terminal
// characters (each kept as a token of its own). A configured tokenizer may be
// used from several threads at once; it never fails.
#pragma once

#include "plinth/plinth_export.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

class PLINTH_API os_tokenizer {
public:
  os_tokenizer() = default;

  // Characters that split the text and are dropped. Empty by default: blanks
  // and tabs are ordinary characters unless they are named here.
  void separators(const std::string& chars);
  // Characters that split the text and each come back as a one-character
  // token. A character named in both sets counts as a terminal.
  void terminals(const std::string& chars);
  // In no-separators mode only the terminals split; the separator set is
  // kept but ignored until the mode is switched off again.
  void no_separators(bool on) { m_bNoSeparators = on; }
  bool no_separators() const { return m_bNoSeparators; }

  // The tokens in order. Two separators in a row (or one at either end)
  // yield no empty token: every token has at least one character.
  std::vector<std::string> tokenize(const std::string& text) const;
  // The same tokens handed to fn(std::string_view) one by one, without a copy;
  // they point into `text`.
  template <class Fn>
  void each_token(std::string_view text, Fn&& fn) const;

private:
  std::array<bool, 256> m_bSeparator{};
  std::array<bool, 256> m_bTerminal{};
  bool m_bNoSeparators = false;
};

template <class Fn>
void os_tokenizer::each_token(std::string_view text, Fn&& fn) const {
  const char* data = text.data();
  const size_t size = text.size();
  size_t start = 0;
  for (size_t i = 0; i < size; ++i) {
    const unsigned char c = static_cast<unsigned char>(data[i]);
    const bool terminal = m_bTerminal[c];
    if (!terminal && (m_bNoSeparators || !m_bSeparator[c])) continue;
    if (i > start) fn(std::string_view(data + start, i - start));
    if (terminal) fn(std::string_view(data + i, 1));
    start = i + 1;
  }
  if (size > start) fn(std::string_view(data + start, size - start));
}
