#include "plinth/platform/os/os_tokenizer.h"

void os_tokenizer::separators(const std::string& chars) {
  m_bSeparator.fill(false);
  for (unsigned char c : chars) m_bSeparator[c] = true;
}

void os_tokenizer::terminals(const std::string& chars) {
  m_bTerminal.fill(false);
  for (unsigned char c : chars) m_bTerminal[c] = true;
}

std::vector<std::string> os_tokenizer::tokenize(const std::string& text) const {
  std::vector<std::string> tokens;
  const char* data = text.data();
  const size_t size = text.size();
  size_t start = 0;
  for (size_t i = 0; i < size; ++i) {
    const unsigned char c = static_cast<unsigned char>(data[i]);
    const bool terminal = m_bTerminal[c];
    if (!terminal && (m_bNoSeparators || !m_bSeparator[c])) continue;
    if (i > start) tokens.emplace_back(data + start, i - start);
    if (terminal) tokens.emplace_back(1, data[i]);
    start = i + 1;
  }
  if (size > start) tokens.emplace_back(data + start, size - start);
  return tokens;
}
