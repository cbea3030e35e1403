// Internal to the library: where Ini meets files and the environment. Kept
// in one place so that Ini's grammar, look-ups and writer see only streams
// and strings.
#pragma once

#include <istream>
#include <memory>
#include <ostream>
#include <string>

namespace plinth_config_detail {

// A stream on the file, ready for the reader. It is failed when the file
// can't be opened or its first read fails (a directory, say); an empty file
// gives a good stream at its end.
std::unique_ptr<std::istream> OpenIniForReading(const std::string& file);
// Skips a byte-order signature at the stream's position.
int SkipIniSignature(std::istream& in);
// A stream that replaces the file's content; failed when it can't be opened.
std::unique_ptr<std::ostream> OpenIniForWriting(const std::string& file);
// Flushes and closes a stream of OpenIniForWriting; false when any write failed.
bool CloseIniAfterWriting(std::ostream& out);
// The variable's value; false when it isn't set. The form of the lookup
// follows the text mode.
bool ReadIniVariable(const std::string& name, std::string& value);

}  // namespace plinth_config_detail
