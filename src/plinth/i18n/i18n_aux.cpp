#include "plinth/i18n/i18n_aux.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace i18n_aux {
namespace {

constexpr std::array<int, 256> make_upper() {
  std::array<int, 256> t{};
  for (int c = 0; c < 256; ++c) t[c] = c;
  for (int c = 0x61; c <= 0x7A; ++c) t[c] = c - 0x20;
  for (int c = 0xE0; c <= 0xF6; ++c) t[c] = c - 0x20;
  for (int c = 0xF8; c <= 0xFE; ++c) t[c] = c - 0x20;
  t[0x9A] = 0x8A;
  t[0x9C] = 0x8C;
  t[0x9E] = 0x8E;
  t[0xFF] = 0x9F;
  return t;
}

constexpr std::array<int, 256> make_lower() {
  const std::array<int, 256> upper = make_upper();
  std::array<int, 256> t{};
  for (int c = 0; c < 256; ++c) t[c] = c;
  for (int c = 0; c < 256; ++c)
    if (upper[c] != c) t[upper[c]] = c;
  return t;
}

constexpr std::array<int, 256> make_separators() {
  std::array<int, 256> t{};
  auto set = [&t](int from, int to) {
    for (int c = from; c <= to; ++c) t[c] = 1;
  };
  set(0x09, 0x0A);
  set(0x0D, 0x0D);
  set(0x20, 0x2F);
  set(0x3A, 0x40);
  set(0x5B, 0x60);
  set(0x7B, 0x7E);
  set(0xA0, 0xAC);  // 0xAD, the soft hyphen, joins words
  set(0xAE, 0xBF);
  set(0xD8, 0xD8);
  return t;
}

// A negative value is taken as a signed char holding a byte; -1 if the
// value is no byte at all.
inline int byte_index(int c) {
  if (c >= 0 && c < 256) return c;
  if (c >= -128 && c < 0) return c + 256;
  return -1;
}

void map_in_place(std::string& text, const std::array<int, 256>& table) {
  for (char& c : text) c = static_cast<char>(table[static_cast<unsigned char>(c)]);
}

}  // namespace

// Constant-initialised: they are ready before any static constructor runs.
constexpr std::array<int, 256> LowerCaseTable = make_lower();
constexpr std::array<int, 256> UpperCaseTable = make_upper();
constexpr std::array<int, 256> WordSeperatorTable = make_separators();

namespace {
inline int upper_of(char c) { return UpperCaseTable[static_cast<unsigned char>(c)]; }
}  // namespace

std::string ToLower(std::string const& text) {
  std::string copy(text);
  map_in_place(copy, LowerCaseTable);
  return copy;
}
std::string ToLowerL(std::string const& text) { return ToLower(text); }
void ToLower2(std::string& text) { map_in_place(text, LowerCaseTable); }
void ToLower2L(std::string& text) { map_in_place(text, LowerCaseTable); }

std::string ToUpper(std::string const& text) {
  std::string copy(text);
  map_in_place(copy, UpperCaseTable);
  return copy;
}
void ToUpper2(std::string& text) { map_in_place(text, UpperCaseTable); }

int ToLowerL(int c) {
  const int i = byte_index(c);
  return i < 0 ? 255 : LowerCaseTable[i];
}
int ToUpperL(int c) {
  const int i = byte_index(c);
  return i < 0 ? 255 : UpperCaseTable[i];
}

// Compares through the table byte by byte instead of mapping copies: the
// same order, without allocating.
int cmp_nocase(std::string const& a, std::string const& b) {
  const size_t n = std::min(a.size(), b.size());
  for (size_t i = 0; i < n; ++i) {
    const int x = upper_of(a[i]);
    const int y = upper_of(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

bool StrCmpI(std::string const& a, std::string const& b) {
  return a.size() == b.size() && cmp_nocase(a, b) == 0;
}

int IsWordSeperator(const char* c) {
  if (!c) return 0;
  return WordSeperatorTable[static_cast<unsigned char>(*c)];
}

int IsWordSeperatorL(int c) {
  const int i = byte_index(c);
  return i < 0 ? 0 : WordSeperatorTable[i];
}

void TrimBlanks(std::string& text) {
  static constexpr char kBlanks[] = "\t\n\r ";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) {
    text.clear();
    return;
  }
  text.erase(text.find_last_not_of(kBlanks) + 1);
  text.erase(0, first);
}

std::string ItoA(long value) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%ld", value);
  return buf;
}

unsigned int ReadLine(std::string const& text, unsigned int pos, std::string& line) {
  const size_t feed = text.find('\n', pos);
  if (feed == std::string::npos) {
    line.clear();
    return ReadLineEnd;
  }
  line.assign(text, pos, feed - pos);
  if (line.size() > 1 && line.back() == '\r') line.pop_back();
  return static_cast<unsigned int>(feed + 1);
}

int crt_strcoll(char const* a, char const* b) { return std::strcoll(a, b); }
unsigned int crt_strspn(char const* text, char const* accept) {
  return static_cast<unsigned int>(std::strspn(text, accept));
}

}  // namespace i18n_aux
