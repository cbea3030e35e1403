// Any bytes as the message logger's message file: every record line is cut
// to its limit, splits into fields without blanks, and its format expands
// into a bounded line that ends in a line feed.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "plinth/message.h"
#include "plinth/message/msg_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  FILE* file = fmemopen(const_cast<uint8_t*>(data), size, "r");
  if (!file) return 0;
  std::string line;
  msg_file::RecordFields fields;
  char a0[] = "first", a1[] = "second";
  char* args[] = {a0, a1};
  OCMsgDefFormat format;
  format.m_sCode = "ORB";
  while (msg_file::ReadRecordLine(file, line)) {
    if (line.empty() || line.size() > msg_file::kMaxLineLength || line.find('\n') != std::string::npos)
      __builtin_trap();
    msg_file::SplitRecord(line, fields);
    for (const std::string& field : fields.field)
      if (field.find_first_of(" \t") != std::string::npos) __builtin_trap();
    OCMsgMessage message;
    message.m_nID = 1;
    message.m_sFormat = fields.format + "\n";
    std::string out;
    format.Format(&message, "TAG", "module              ", args, 2, out);
    if (out.size() > 200 + OCMsgDefFormat::kWorkBufferSize || out.back() != '\n') __builtin_trap();
  }
  std::fclose(file);
  return 0;
}
