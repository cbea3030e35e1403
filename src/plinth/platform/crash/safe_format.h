// A printf subset for crash paths: formats into the caller's buffer with no
// allocation, no locale and no stdio, so a signal handler may use it. Any
// thread may call it. Output that doesn't fit is cut (and terminated); the
// result is the length written.
//
// Conversions: d i u x X s c p f %, flags '0' '-', width, precision
// (".N" cuts a string, sets the digits of %f), lengths h l ll z. %p prints
// the full pointer width in upper-case hex, as the crash report shows it.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace plinth::platform {
size_t safe_vformat(char* buffer, size_t size, const char* format, va_list args) noexcept;
size_t safe_format(char* buffer, size_t size, const char* format, ...) noexcept
    __attribute__((format(printf, 3, 4)));
}  // namespace plinth::platform
