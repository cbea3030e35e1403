// Run-time loading of shared libraries. Any thread may call these; a
// failure gives a null handle or symbol and produces no text.
#pragma once

#include "plinth/plinth_export.h"

#include <string>

namespace plinth::platform {
// The directory that holds libzlt-plinth-4.0.so, without a trailing "/";
// empty when the system cannot say.
PLINTH_API std::string plinth_directory();
// dlopen(RTLD_NOW | RTLD_LOCAL). A bare name is tried first in the
// directory of libzlt-plinth-4.0.so, then on the normal search path; a name
// with a "/" is loaded as given. Null when it can't be loaded.
PLINTH_API void* library_load(const char* name);
PLINTH_API void* library_symbol(void* handle, const char* name);
PLINTH_API void library_release(void* handle);
}  // namespace plinth::platform
