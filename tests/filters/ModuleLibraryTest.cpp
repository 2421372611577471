// libqvflts.so as a host loads it: through dlopen, reaching nothing but its exports.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "filters/ClassFactory.h"
#include "filters/FilterIds.h"
#include "filters/ModuleRegistry.h"
#include "platform/BaseFilter.h"
#include "platform/WindowMessages.h"
#include "support/TestFiles.h"

namespace {

using ClassObjectFn = HRESULT (*)(REFCLSID, REFIID, void**);
using PlainFn = HRESULT (*)();
using CreateFn = CUnknown* (*)(REFCLSID, IUnknown*, HRESULT*);

class ModuleLibraryTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(library, nullptr) << dlerror();
        getClassObject = reinterpret_cast<ClassObjectFn>(dlsym(library, "DllGetClassObject"));
        canUnloadNow = reinterpret_cast<PlainFn>(dlsym(library, "DllCanUnloadNow"));
        registerServer = reinterpret_cast<PlainFn>(dlsym(library, "DllRegisterServer"));
        unregisterServer = reinterpret_cast<PlainFn>(dlsym(library, "DllUnregisterServer"));
        ASSERT_TRUE(getClassObject && canUnloadNow && registerServer && unregisterServer);
    }
    void TearDown() override {
        if (library) {
            EXPECT_EQ(dlclose(library), 0) << dlerror();
        }
    }

    void* library = dlopen(QVFLTS_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ClassObjectFn getClassObject = nullptr;
    PlainFn canUnloadNow = nullptr;
    PlainFn registerServer = nullptr;
    PlainFn unregisterServer = nullptr;
};

TEST_F(ModuleLibraryTest, ServesFiltersThroughItsExportsAndHidesTheRest) {
    EXPECT_NE(dlsym(library, "_Z21CreateFilterByClassIdRK4GUIDP8IUnknownPi"), nullptr);
    EXPECT_EQ(dlsym(library, "_ZN8CUnknown15LiveObjectCountEv"), nullptr);
    EXPECT_EQ(dlsym(library, "_Z16FactoryTemplatesv"), nullptr);

    EXPECT_EQ(canUnloadNow(), S_OK);
    void* out = nullptr;
    ASSERT_EQ(getClassObject(CLSID_MP4ParseFilter, IID_IClassFactory, &out), S_OK);
    auto* factory = static_cast<IClassFactory*>(out);
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, &out), S_OK);
    factory->Release();
    auto* filter = static_cast<IBaseFilter*>(out);
    FILTER_STATE state = State_Running;
    EXPECT_EQ(filter->GetState(0, &state), S_OK);
    EXPECT_EQ(state, State_Stopped);
    EXPECT_EQ(canUnloadNow(), S_FALSE);
    filter->Release();
    EXPECT_EQ(canUnloadNow(), S_OK);
}

TEST_F(ModuleLibraryTest, OffersTheHostsSideOfWindowMessages) {
    // The renderers post to windows registered with the library's own queues, and the host frees
    // a metadata message with the library's own allocator.
    using RegisterFn = HWND (*)();
    using PeekFn = bool (*)(HWND, MSG*);
    using FreeFn = void (*)(WPARAM, LPARAM);
    auto* registerWindow =
        reinterpret_cast<RegisterFn>(dlsym(library, "_ZN15CMessageWindows8RegisterEv"));
    auto* peek =
        reinterpret_cast<PeekFn>(dlsym(library, "_ZN15CMessageWindows11PeekMessageEP6HWND__P3MSG"));
    auto* freeMessage = reinterpret_cast<FreeFn>(dlsym(library, "_Z19FreeMetaDataMessageml"));
    ASSERT_TRUE(registerWindow && peek && freeMessage);
    ASSERT_NE(dlsym(library, "_ZN15CMessageWindows10UnregisterEP6HWND__"), nullptr);
    HWND window = registerWindow();
    ASSERT_NE(window, nullptr);
    MSG msg;
    EXPECT_FALSE(peek(window, &msg));
    // The test's own copy of the queues does not know the library's window.
    EXPECT_TRUE(CMessageWindows::Unregister(window).empty());
    EXPECT_FALSE(PostMessageW(window, 1, 0, 0));
    freeMessage(0, 0);
}

TEST_F(ModuleLibraryTest, RegistersTheLibrarysOwnPath) {
    qvtest::TempDirectory dir;
    const std::string manifestPath = dir.Native("registry.json");
    setenv("QVFLTS_REGISTRY", manifestPath.c_str(), 1);
    struct Unset {
        ~Unset() { unsetenv("QVFLTS_REGISTRY"); }
    } unset;
    ASSERT_EQ(registerServer(), S_OK);
    RegistryManifest manifest;
    ASSERT_EQ(ModuleRegistry::Read(manifestPath, &manifest), S_OK);
    ASSERT_EQ(manifest.classes.size(), 12u);
    EXPECT_EQ(manifest.classes.at(GuidToString(CLSID_ConvertFilter)).inprocServer,
              std::filesystem::canonical(QVFLTS_LIBRARY_PATH).string());
    EXPECT_EQ(unregisterServer(), S_OK);
    ASSERT_EQ(ModuleRegistry::Read(manifestPath, &manifest), S_OK);
    EXPECT_TRUE(manifest.classes.empty());
    EXPECT_TRUE(manifest.filters.empty());
}

}  // namespace
