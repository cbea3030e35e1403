#include "plinth/system/dynamic_library.h"

#include "plinth/platform/library.h"

namespace {
DynamicLibrary::Proc as_proc(void* symbol) { return reinterpret_cast<DynamicLibrary::Proc>(symbol); }
}  // namespace

DynamicLibrary::DynamicLibrary(char const* name) { Load(name, 0); }

DynamicLibrary::~DynamicLibrary() = default;

bool DynamicLibrary::Load(char const* name, int /*flags*/) {
  if (m_pHandle || !name || !*name) return IsLoaded();
  void* handle = plinth::platform::library_load(name);
  if (handle) m_pHandle.reset(handle, plinth::platform::library_release);
  return IsLoaded();
}

bool DynamicLibrary::Unload() {
  m_pHandle.reset();
  m_vCache.clear();
  return true;
}

DynamicLibrary::Proc DynamicLibrary::GetProcAddr(char const* name) const {
  if (!m_pHandle) return nullptr;
  return as_proc(plinth::platform::library_symbol(m_pHandle.get(), name));
}

DynamicLibrary::Proc DynamicLibrary::GetProcAddr(int /*ordinal*/) const { return nullptr; }

DynamicLibrary::CacheEntry* DynamicLibrary::Slot(unsigned slot) noexcept {
  try {
    if (slot >= m_vCache.size()) m_vCache.resize(static_cast<size_t>(slot) + 1);
  } catch (...) {
    return nullptr;  // a slot number far beyond any memory
  }
  return &m_vCache[slot];
}

DynamicLibrary::Proc DynamicLibrary::GetProcAddrCached(char const* name, unsigned slot) {
  if (!m_pHandle) return nullptr;
  CacheEntry* entry = Slot(slot);
  if (!entry) return nullptr;
  if (!entry->m_bLookedUp) {
    entry->m_bLookedUp = true;
    entry->m_pProc = GetProcAddr(name);
  }
  return entry->m_pProc;
}

DynamicLibrary::Proc DynamicLibrary::GetProcAddrCached(int ordinal) {
  if (!m_pHandle || ordinal < 0) return nullptr;
  CacheEntry* entry = Slot(static_cast<unsigned>(ordinal));
  if (!entry) return nullptr;
  if (!entry->m_bLookedUp) {
    entry->m_bLookedUp = true;
    entry->m_pProc = GetProcAddr(ordinal);
  }
  return entry->m_pProc;
}
