// The one reader of decimal numbers in text, for every area: what atoi and
// atol read (leading white space, a sign, digits; anything else ends the
// number), except that a number too large for its type is held at the
// type's limit instead of overflowing. Internal; any thread may call;
// nothing here fails or throws.
#pragma once

#include <string_view>

namespace plinth::platform {
// False when no digit follows the blanks and the sign; value is then 0.
bool read_integer(std::string_view text, long long& value) noexcept;
// The same, held within int.
int read_int(std::string_view text) noexcept;
}  // namespace plinth::platform
