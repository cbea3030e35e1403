#include "plinth/platform/sys_string.h"

#include <cwchar>
#include <new>

namespace plinth::platform {
// The length sits in one wchar_t in front of the text.
static_assert(sizeof(wchar_t) >= sizeof(unsigned int));

wchar_t* SysAllocStringLen(const wchar_t* text, unsigned int length) {
  wchar_t* block = new wchar_t[static_cast<size_t>(length) + 2];
  block[0] = static_cast<wchar_t>(length);
  wchar_t* chars = block + 1;
  if (text) {
    std::wmemcpy(chars, text, length);
  } else {
    std::wmemset(chars, 0, length);
  }
  chars[length] = 0;
  return chars;
}

wchar_t* SysAllocString(const wchar_t* text) {
  if (!text) return nullptr;
  return SysAllocStringLen(text, static_cast<unsigned int>(std::wcslen(text)));
}

unsigned int SysStringLen(const wchar_t* text) {
  if (!text) return 0;
  return static_cast<unsigned int>(text[-1]);
}

void SysFreeString(wchar_t* text) {
  if (text) delete[] (text - 1);
}
}  // namespace plinth::platform
