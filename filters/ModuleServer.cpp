#include "filters/ModuleServer.h"

#include <dlfcn.h>
#include <link.h>

#include <cerrno>
#include <filesystem>
#include <mutex>
#include <new>

#include "filters/ClassFactory.h"
#include "filters/FactoryTemplate.h"
#include "filters/ModuleRegistry.h"
#include "foundation/CUTextCodec.h"
#include "platform/SystemInfo.h"

namespace {

constexpr const char* kThreadingModel = "Both";

// Registration of this process, one at a time: each reads, changes and writes the whole manifest.
std::mutex& RegistrationLock() {
    static std::mutex lock;
    return lock;
}

std::string ToUtf8(const wchar_t* text) {
    return text ? cu_text::EncodeUTF8(cu_text::DecodeWide(text)) : std::string();
}

RegistryFilter MapperEntry(const FilterSetup& setup) {
    RegistryFilter filter;
    filter.name = ToUtf8(setup.name);
    filter.merit = setup.merit;
    for (const FilterSetupPin& pin : setup.pins) {
        RegistryPin& entry = filter.pins.emplace_back();
        entry.name = ToUtf8(pin.name);
        entry.output = pin.output;
        entry.rendered = pin.rendered;
        entry.zero = pin.zero;
        entry.many = pin.many;
        entry.connectsToFilter =
            GuidToString(pin.connectsToFilter ? *pin.connectsToFilter : GUID_NULL);
        entry.connectsToPin = ToUtf8(pin.connectsToPin);
        for (const FilterSetupMediaType& type : pin.mediaTypes)
            entry.mediaTypes.push_back(
                {GuidToString(*type.majorType), GuidToString(*type.minorType)});
    }
    return filter;
}

}  // namespace

HRESULT GetModuleFilePath(std::string* path) {
    if (!path) return E_POINTER;
    Dl_info info{};
    link_map* object = nullptr;
    if (dladdr1(reinterpret_cast<void*>(&DllGetClassObject), &info,
                reinterpret_cast<void**>(&object), RTLD_DL_LINKMAP) == 0 ||
        !object)
        return ModuleRegistry::FromErrno(ENOENT);
    // The program itself has an empty name in the loader's list: a static build.
    if (object->l_name && object->l_name[0] != '\0') {
        std::error_code error;
        const auto absolute = std::filesystem::canonical(object->l_name, error);
        if (error) return ModuleRegistry::FromErrno(error.value());
        *path = absolute.string();
        return S_OK;
    }
    errno = 0;
    std::string program = CSystemInfo::ModulePath();
    if (program.empty()) return ModuleRegistry::FromErrno(errno ? errno : ENOENT);
    *path = std::move(program);
    return S_OK;
}

CUnknown* CreateFilterByClassId(REFCLSID clsid, IUnknown* outer, HRESULT* phr) {
    HRESULT ignored = S_OK;
    if (!phr) phr = &ignored;
    const CFactoryTemplate* row = FindFactoryTemplate(clsid);
    if (!row) {
        *phr = CLASS_E_CLASSNOTAVAILABLE;
        return nullptr;
    }
    *phr = S_OK;
    CUnknown* object = row->create(outer, phr);
    if (object && FAILED(*phr)) {
        delete object;
        return nullptr;
    }
    if (!object && SUCCEEDED(*phr)) *phr = E_OUTOFMEMORY;
    return object;
}

extern "C" HRESULT DllGetClassObject(REFCLSID clsid, REFIID iid, void** out) {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IClassFactory) return E_NOINTERFACE;
    const CFactoryTemplate* row = FindFactoryTemplate(clsid);
    if (!row) return CLASS_E_CLASSNOTAVAILABLE;
    auto* factory = new (std::nothrow) CClassFactory(row);
    if (!factory) return E_OUTOFMEMORY;
    factory->NonDelegatingAddRef();
    const HRESULT hr = factory->NonDelegatingQueryInterface(iid, out);
    factory->NonDelegatingRelease();
    return hr;
}

extern "C" HRESULT DllCanUnloadNow() {
    return CanUnloadNow();
}

extern "C" HRESULT DllRegisterServer() {
    std::string modulePath;
    const HRESULT hr = GetModuleFilePath(&modulePath);
    if (FAILED(hr)) return hr;
    std::lock_guard guard(RegistrationLock());
    return ModuleRegistry::Update(ModuleRegistry::ManifestPath(), true,
                                  [&](RegistryManifest& manifest) {
                                      for (const CFactoryTemplate& row : FactoryTemplates()) {
                                          manifest.classes[GuidToString(*row.clsid)] = {
                                              ToUtf8(row.name), modulePath, kThreadingModel};
                                      }
                                      // Rows that share setup data write the same mapper entry
                                      // again.
                                      for (const CFactoryTemplate& row : FactoryTemplates()) {
                                          if (!row.setup) continue;
                                          const std::string id = GuidToString(*row.setup->clsid);
                                          manifest.filters.erase(id);
                                          manifest.filters[id] = MapperEntry(*row.setup);
                                      }
                                  });
}

extern "C" HRESULT DllUnregisterServer() {
    std::lock_guard guard(RegistrationLock());
    return ModuleRegistry::Update(
        ModuleRegistry::ManifestPath(), false, [](RegistryManifest& manifest) {
            for (const CFactoryTemplate& row : FactoryTemplates()) {
                if (row.setup) manifest.filters.erase(GuidToString(*row.setup->clsid));
            }
            for (const CFactoryTemplate& row : FactoryTemplates())
                manifest.classes.erase(GuidToString(*row.clsid));
        });
}
