#include "plinth/system/unique_key.h"

unsigned UniqueKey::key = 1;
os_critical_section* UniqueKey::cs = nullptr;

void UniqueKey::Set() {
  if (!cs) cs = new os_critical_section;  // lives to process exit
}

unsigned UniqueKey::GetUniqueKey() {
  os_lock_guard guard(*cs);
  return key++;
}

unsigned UniqueKey::QueryNextUniqueKey() {
  os_lock_guard guard(*cs);
  return key;
}

namespace {
// Set is protected: the library's start-up reaches it as a derived class.
struct UniqueKeyStartUp : UniqueKey {
  UniqueKeyStartUp() { Set(); }
} g_uniqueKeyStartUp;
}  // namespace
