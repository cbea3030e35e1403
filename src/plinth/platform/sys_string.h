// The library's own wide strings of UTF-16 code units, handed between the
// library and code that fills them in (_bstr_helper). Each wchar_t holds
// one code unit. The length is stored in front of the text, so a string may
// hold zeros. Any thread may call these; allocation failure throws
// std::bad_alloc.
#pragma once

#include "plinth/plinth_export.h"

#include <cstddef>

namespace plinth::platform {
// A copy of length code units of text (zeros if text is null), followed by
// a terminating 0.
PLINTH_API wchar_t* SysAllocStringLen(const wchar_t* text, unsigned int length);
// A copy of a zero-terminated text; null for a null text.
PLINTH_API wchar_t* SysAllocString(const wchar_t* text);
// Code units, not counting the terminator; 0 for null.
PLINTH_API unsigned int SysStringLen(const wchar_t* text);
// Releases a string from SysAllocString(Len); null is ignored.
PLINTH_API void SysFreeString(wchar_t* text);
}  // namespace plinth::platform
