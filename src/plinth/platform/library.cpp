#include "plinth/platform/library.h"

#include <dlfcn.h>

#include <cstring>

namespace plinth::platform {
std::string plinth_directory() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&plinth_directory), &info) == 0 || !info.dli_fname)
    return {};
  const char* slash = std::strrchr(info.dli_fname, '/');
  if (!slash) return {};
  return std::string(info.dli_fname, slash);
}

void* library_load(const char* name) {
  if (!name || !*name) return nullptr;
  const int mode = RTLD_NOW | RTLD_LOCAL;
  if (!std::strchr(name, '/')) {
    const std::string dir = plinth_directory();
    if (!dir.empty()) {
      if (void* handle = dlopen((dir + "/" + name).c_str(), mode)) return handle;
    }
  }
  return dlopen(name, mode);
}

void* library_symbol(void* handle, const char* name) {
  if (!handle || !name) return nullptr;
  return dlsym(handle, name);
}

void library_release(void* handle) {
  if (handle) dlclose(handle);
}
}  // namespace plinth::platform
