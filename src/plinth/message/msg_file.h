// Reading the message logger's message file: record lines and their fields.
// Pure text handling with no state of its own, so any thread may use it;
// malformed text is never an error here (the caller judges the record).
#pragma once

#include <cstdio>
#include <string>

namespace msg_file {

// A record line is cut to this many characters; the rest of it is dropped.
constexpr size_t kMaxLineLength = 1023;
constexpr int kFieldCount = 7;

// The next record line of a file: white space before it is skipped across
// line ends, comment lines ("#" or "-" first) are passed over, a carriage
// return before the line feed is dropped. False at the end of the file.
// lineNumber, if given, counts the file's lines: it holds the number of the
// returned line, given the lines read before (start it at 0).
bool ReadRecordLine(FILE* file, std::string& line, unsigned* lineNumber = nullptr);

struct RecordFields {
  std::string field[kFieldCount];  // code and number, severity, level, contexts, destinations, exit, unused
  std::string format;              // the rest of the line, raw
};

// Splits a record line at blanks and tabs; fields that are missing are empty.
void SplitRecord(const std::string& line, RecordFields& out);

}  // namespace msg_file
