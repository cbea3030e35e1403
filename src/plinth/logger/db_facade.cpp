#include "plinth/logger/db_facade.h"

#include "plinth/logger/logger.h"
#include "plinth/system/dynamic_library.h"
#include "plinth/system/tracer.h"

const char kDBDestLibrary[] = "libzlt-plinth-db-4.0.so";
const char kDBDestSymbol[] = "CreateDBDest";

DynamicLibrary* Logger::GetLibraryLoader() {
  // Never deleted: destinations that the library made may still be alive in
  // the Logger when static destructors run, and the Logger deletes them only
  // at the library's detach, which comes later. The process's end unmaps it.
  static DynamicLibrary* loader = new DynamicLibrary;
  return loader;
}

LoggerBaseDestination* LoggerDBDestinationFacade::Create(LoggerParams& params) {
  DynamicLibrary* loader = Logger::GetLibraryLoader();
  if (!loader->IsLoaded() && !loader->Load(kDBDestLibrary, 8)) {
    PLINTH_TRACE(4, "LoggerDBDestinationFacade: cannot load " << kDBDestLibrary);
    return nullptr;
  }
  auto create = reinterpret_cast<CreateDBDestFunc>(loader->GetProcAddr(kDBDestSymbol));
  if (!create) {
    PLINTH_TRACE(4, "LoggerDBDestinationFacade: no " << kDBDestSymbol << " in " << kDBDestLibrary);
    return nullptr;
  }
  LoggerParams copy(params);
  return create(copy);
}
