// Opening the file of a standard file stream buffer close-on-exec. A stream
// belongs to one thread at a time. Failure is the result.
#pragma once

#include <fstream>

namespace plinth::platform {
// Opens as buffer.open(name, mode) does, then marks the descriptor
// close-on-exec. Null when the file can't be opened.
std::filebuf* open_close_on_exec(std::filebuf& buffer, char const* name, std::ios_base::openmode mode);
}  // namespace plinth::platform
