#include "plinth/message/msg_file.h"

namespace msg_file {
namespace {
bool IsSpace(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }
bool IsBlank(char c) { return c == ' ' || c == '\t'; }
}  // namespace

bool ReadRecordLine(FILE* file, std::string& line, unsigned* lineNumber) {
  // Line feeds consumed so far: a returned line's own feed is consumed with
  // it, so the count then equals its number, and goes on from there.
  unsigned scratch = 0;
  unsigned& feeds = lineNumber ? *lineNumber : scratch;
  for (;;) {
    int c;
    do {
      c = std::getc(file);
      if (c == '\n') ++feeds;
    } while (c != EOF && IsSpace(c));
    if (c == EOF) return false;

    line.clear();
    while (c != EOF && c != '\n') {
      if (line.size() < kMaxLineLength) line.push_back(static_cast<char>(c));
      c = std::getc(file);
    }
    // The last line of a file may end without a feed; it still has a number.
    ++feeds;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line[0] != '#' && line[0] != '-') return true;
  }
}

void SplitRecord(const std::string& line, RecordFields& out) {
  size_t pos = 0;
  for (std::string& field : out.field) {
    const size_t start = pos;
    while (pos < line.size() && !IsBlank(line[pos])) ++pos;
    field.assign(line, start, pos - start);
    while (pos < line.size() && IsBlank(line[pos])) ++pos;
  }
  out.format.assign(line, pos, std::string::npos);
}

}  // namespace msg_file
