// The shared library's load and unload. Unload destroys the process-wide block cache manager
// under the module-wide cache lock before anything else of the module goes; a module that never
// made one does nothing. The entry points live in qv_filters (ModuleServer.cpp); the table below
// keeps the linker from dropping them, and the version script makes them the only exports.
#include "filters/ModuleServer.h"
#include "mxf/MBXMemoryCacheManager.h"

namespace {

[[gnu::used]] void* const kEntryPoints[] = {
    reinterpret_cast<void*>(&DllGetClassObject),     reinterpret_cast<void*>(&DllCanUnloadNow),
    reinterpret_cast<void*>(&DllRegisterServer),     reinterpret_cast<void*>(&DllUnregisterServer),
    reinterpret_cast<void*>(&CreateFilterByClassId),
};

// Runs from the library's finalisers, on dlclose or at process exit. Shutdown takes the cache
// lock, destroys the manager and its caches if there is one, clears the instance and lets the
// lock go.
[[gnu::destructor]] void DetachModule() {
    MBXMemoryCacheManager::Shutdown();
}

}  // namespace
