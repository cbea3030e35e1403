// printf restricted to string arguments, for formats that come from users
// and files: such a format can never read an argument that isn't there.
// Pure function; any thread.
#pragma once

#include <cstddef>
#include <string>

namespace msg_aux {

// Appends format, expanded, to out, and at most limit bytes of it.
// `%s` with the flag `-`, a width, a precision and an `n$` position takes a
// string of args (the next one without a position); a string beyond count
// reads as missing. `%%` is a percent sign; any other conversion is written
// as it stands.
void FormatStrings(std::string& out, const std::string& format, const char* const* args, size_t count,
                   const char* missing, size_t limit);

}  // namespace msg_aux
