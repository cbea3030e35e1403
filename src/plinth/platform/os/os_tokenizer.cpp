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
  each_token(text, [&tokens](std::string_view token) { tokens.emplace_back(token); });
  return tokens;
}
