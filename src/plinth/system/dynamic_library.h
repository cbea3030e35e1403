// A library loaded at run time, with a cache of function addresses kept in
// slots that the caller numbers. Failures give false or null, with no text.
// An object has no lock: one thread at a time uses it (GetProcAddrCached
// changes the cache). Copies share the loaded library, which is released
// when the last copy unloads or goes away.
#pragma once

#include "plinth/plinth_export.h"

#include <memory>
#include <vector>

class PLINTH_API DynamicLibrary {
public:
  using Proc = void (*)();

  DynamicLibrary() = default;
  // Loads as Load does; a null or empty name leaves it unloaded.
  explicit DynamicLibrary(char const* name);
  DynamicLibrary(DynamicLibrary const& other) = default;
  DynamicLibrary& operator=(DynamicLibrary const& other) = default;
  virtual ~DynamicLibrary();

  bool IsLoaded() const { return m_pHandle != nullptr; }
  // Loads name if nothing is loaded yet: a bare name from the directory of
  // libzlt-plinth-4.0.so first, then from the normal search path. flags is
  // ignored. Gives whether a library is loaded now, so a second Load keeps
  // the first library and gives true.
  bool Load(char const* name, int flags = 0);
  // Releases this object's share of the library and empties the cache.
  // Always true.
  bool Unload();

  Proc GetProcAddr(char const* name) const;
  // Shared objects have no ordinals: always null.
  Proc GetProcAddr(int ordinal) const;
  // The address in slot, looked up by name on the slot's first use. A failed
  // look-up is not repeated, and a slot keeps what its first name found.
  Proc GetProcAddrCached(char const* name, unsigned slot);
  // The ordinal is the slot. Shared objects have no ordinals, so the first
  // use marks the slot as looked up and gives null, and so does every later
  // use of that slot, by ordinal or by name. A negative ordinal names no
  // slot: null, and the cache is left alone.
  Proc GetProcAddrCached(int ordinal);

  struct CacheEntry {
    Proc m_pProc = nullptr;
    bool m_bLookedUp = false;
  };

private:
  // The slot's entry, the cache grown to hold it; null for a slot that
  // can't be held.
  CacheEntry* Slot(unsigned slot) noexcept;

  std::shared_ptr<void> m_pHandle;
  std::vector<CacheEntry> m_vCache;
};
