#include "plinth/platform/os/os_tls.h"

#include <pthread.h>

namespace os_tls {
long alloc(ThreadExitHook onThreadExit) noexcept {
  pthread_key_t key;
  if (pthread_key_create(&key, onThreadExit) != 0) return -1;
  return static_cast<long>(key);
}

void free(long slot) noexcept {
  if (slot >= 0) pthread_key_delete(static_cast<pthread_key_t>(slot));
}

void* get(long slot) noexcept {
  return slot >= 0 ? pthread_getspecific(static_cast<pthread_key_t>(slot)) : nullptr;
}

bool set(long slot, void* value) noexcept {
  return slot >= 0 && pthread_setspecific(static_cast<pthread_key_t>(slot), value) == 0;
}
}  // namespace os_tls
