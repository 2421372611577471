// The module server through its entry points: the class table, class factories, unload
// bookkeeping and the registration manifest.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "filters/ClassFactory.h"
#include "filters/FactoryTemplate.h"
#include "filters/FilterIds.h"
#include "filters/ModuleRegistry.h"
#include "filters/ModuleServer.h"
#include "foundation/CULog.h"
#include "platform/BaseFilter.h"
#include "platform/BasePin.h"
#include "support/TestFiles.h"

namespace {

// Sets or clears an environment variable for a scope.
struct ScopedEnv {
    ScopedEnv(const char* name, const char* value) : name(name) {
        if (const char* old = getenv(name)) previous = old;
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedEnv() { previous ? setenv(name, previous->c_str(), 1) : unsetenv(name); }
    const char* name;
    std::optional<std::string> previous;
};

std::string Narrow(std::wstring_view text) {
    return std::string(text.begin(), text.end());
}
std::string TextOf(const std::string& path) {
    const std::vector<uint8_t> bytes = qvtest::ReadFile(path);
    return std::string(bytes.begin(), bytes.end());
}

IClassFactory* GetFactory(REFCLSID clsid) {
    void* out = nullptr;
    EXPECT_EQ(DllGetClassObject(clsid, IID_IClassFactory, &out), S_OK);
    return static_cast<IClassFactory*>(out);
}

class ModuleServerTest : public ::testing::Test {
protected:
    // Every test releases what it made: nothing may keep the module loaded afterwards.
    void TearDown() override { EXPECT_EQ(DllCanUnloadNow(), S_OK); }
};

// Every row of the table: the table finds it by its class id, and it makes a filter of that class
// id through its factory and by class id alike, with nothing logged. The filter has the pins of
// the row's setup data, but for the splitters, whose outputs come when their input connects.
TEST_F(ModuleServerTest, EveryRowMakesAFilterOfItsClass) {
    qvtest::TempDirectory logDir;
    CULog::Install(CUCreate<CULog>(CUCreate<CUStringWin>(logDir.root.c_str()),
                                   CUCreate<CUStringWin>("qv"), CULogLevelWarning));
    std::set<std::string> ids;
    for (const CFactoryTemplate& row : FactoryTemplates()) {
        SCOPED_TRACE(Narrow(row.name));
        EXPECT_TRUE(ids.insert(GuidToString(*row.clsid)).second);
        EXPECT_EQ(FindFactoryTemplate(*row.clsid), &row);
        IClassFactory* factory = GetFactory(*row.clsid);
        ASSERT_NE(factory, nullptr);
        void* out = nullptr;
        ASSERT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, &out), S_OK);
        factory->Release();
        auto* filter = dynamic_cast<CBaseFilter*>(static_cast<IBaseFilter*>(out));
        ASSERT_NE(filter, nullptr);
        EXPECT_EQ(filter->ClassId(), *row.clsid);
        const bool splitter =
            *row.clsid == CLSID_SoundSplitterFilter || *row.clsid == CLSID_MP4SoundSplitterFilter;
        ASSERT_NE(row.setup, nullptr);
        EXPECT_EQ(filter->GetPinCount(), splitter ? 1 : static_cast<int>(row.setup->pins.size()));
        filter->Release();
        HRESULT hr = E_FAIL;
        CUnknown* byId = CreateFilterByClassId(*row.clsid, nullptr, &hr);
        ASSERT_EQ(hr, S_OK);
        byId->NonDelegatingAddRef();
        EXPECT_EQ(dynamic_cast<CBaseFilter*>(byId)->ClassId(), *row.clsid);
        byId->NonDelegatingRelease();
    }
    CULog::Install(nullptr);
    EXPECT_EQ(TextOf(logDir.Native("qv0.log")).find("WARNING"), std::string::npos);
}

// Each failure code, and the out pointer cleared; either face of a factory leads to the other.
TEST_F(ModuleServerTest, DllGetClassObjectAnswers) {
    const auto noClass = static_cast<HRESULT>(0x80040111), noInterface = E_NOINTERFACE;
    const struct {
        CLSID clsid;
        IID iid;
        bool nullOut;
        HRESULT expected;
    } cases[] = {{CLSID_MP4SoundSplitterFilter, IID_IClassFactory, false, S_OK},
                 {CLSID_MXFParseFilter, IID_IUnknown, false, S_OK},
                 {IID_IBaseFilter, IID_IClassFactory, false, noClass},
                 {GUID_NULL, IID_IUnknown, false, noClass},
                 {CLSID_MXFParseFilter, IID_IBaseFilter, false, static_cast<HRESULT>(0x80004002)},
                 {GUID_NULL, IID_IBaseFilter, false, noInterface},  // interface checked first
                 {CLSID_MXFParseFilter, IID_IClassFactory, true, E_POINTER}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        void* out = reinterpret_cast<void*>(1);
        const HRESULT hr = DllGetClassObject(c.clsid, c.iid, c.nullOut ? nullptr : &out);
        EXPECT_EQ(hr, c.expected);
        if (c.nullOut) continue;
        EXPECT_EQ(out == nullptr, FAILED(hr));
        if (FAILED(hr) || !out) continue;
        void* factory = nullptr;
        ASSERT_EQ(static_cast<IUnknown*>(out)->QueryInterface(IID_IClassFactory, &factory), S_OK);
        static_cast<IClassFactory*>(factory)->Release();
        static_cast<IUnknown*>(out)->Release();
    }
}

// An outer object that only counts the references its inner one hands it.
struct CountingOuter final : IUnknown {
    HRESULT QueryInterface(REFIID, void** ppv) override { return *ppv = nullptr, E_NOINTERFACE; }
    uint32_t AddRef() override { return static_cast<uint32_t>(++refs); }
    uint32_t Release() override { return static_cast<uint32_t>(--refs); }
    int refs = 1;
};

TEST_F(ModuleServerTest, AggregatedFilterDelegatesToItsOuterObject) {
    IClassFactory* factory = GetFactory(CLSID_MXFParseFilter);
    CountingOuter outer;
    const int64_t before = CUnknown::LiveObjectCount();
    void* out = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->CreateInstance(&outer, IID_IBaseFilter, &out), E_NOINTERFACE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(CUnknown::LiveObjectCount(), before);
    ASSERT_EQ(factory->CreateInstance(&outer, IID_IUnknown, &out), S_OK);
    auto* inner = static_cast<IUnknown*>(out);
    void* filter = nullptr;
    ASSERT_EQ(inner->QueryInterface(IID_IBaseFilter, &filter), S_OK);
    EXPECT_EQ(outer.refs, 2);  // the interface's references are the outer object's
    static_cast<IBaseFilter*>(filter)->Release();
    EXPECT_EQ(outer.refs, 1);
    inner->Release();
    EXPECT_EQ(CUnknown::LiveObjectCount(), before);
    factory->Release();
}

int g_testObjects = 0;
struct TestObject : CUnknown {
    TestObject() : CUnknown("TestObject") { ++g_testObjects; }
    ~TestObject() override { --g_testObjects; }
};

// The creator's result, and no object left behind when creation fails.
TEST_F(ModuleServerTest, FactoryFollowsItsCreator) {
    const struct {
        FilterCreator create;
        IID iid;
        HRESULT expected;
    } cases[] = {
        {[](IUnknown*, HRESULT*) -> CUnknown* { return new TestObject; }, IID_IUnknown, S_OK},
        {[](IUnknown*, HRESULT*) -> CUnknown* { return new TestObject; }, IID_IBaseFilter,
         E_NOINTERFACE},
        {[](IUnknown*, HRESULT* hr) -> CUnknown* { return *hr = E_ABORT, new TestObject; },
         IID_IUnknown, E_ABORT},
        {[](IUnknown*, HRESULT* hr) -> CUnknown* { return *hr = E_NOTIMPL, nullptr; }, IID_IUnknown,
         E_NOTIMPL},
        {[](IUnknown*, HRESULT*) -> CUnknown* { return nullptr; }, IID_IUnknown, E_OUTOFMEMORY}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const CFactoryTemplate row{L"Test", &GUID_NULL, c.create, nullptr, nullptr};
        auto* factory = new CClassFactory(&row);
        factory->NonDelegatingAddRef();
        void* out = reinterpret_cast<void*>(1);
        EXPECT_EQ(factory->CreateInstance(nullptr, c.iid, &out), c.expected);
        if (SUCCEEDED(c.expected)) {
            EXPECT_EQ(g_testObjects, 1);
            static_cast<IUnknown*>(out)->Release();
        } else {
            EXPECT_EQ(out, nullptr);
        }
        EXPECT_EQ(g_testObjects, 0);
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
        factory->NonDelegatingRelease();
    }
}

// A pin that outlives its filter, a live factory and a server lock each keep the module loaded.
TEST_F(ModuleServerTest, PinFactoryAndServerLockKeepTheModule) {
    IClassFactory* factory = GetFactory(CLSID_MP4ParseFilter);
    void* out = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IBaseFilter, &out), S_OK);
    factory->Release();
    auto* filter = dynamic_cast<CBaseFilter*>(static_cast<IBaseFilter*>(out));
    ASSERT_NE(filter, nullptr);
    CBasePin* pin = filter->GetPin(1);
    ASSERT_NE(pin, nullptr);
    pin->AddRef();
    filter->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    pin->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);

    factory = GetFactory(CLSID_ConvertFilter);
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    EXPECT_EQ(factory->LockServer(true), S_OK);
    factory->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    factory = GetFactory(CLSID_ConvertFilter);
    EXPECT_EQ(factory->LockServer(false), S_OK);
    factory->Release();
}

class RegistrationTest : public ModuleServerTest {
protected:
    RegistryManifest Manifest() {
        RegistryManifest manifest;
        EXPECT_EQ(ModuleRegistry::Read(path, &manifest), S_OK);
        return manifest;
    }
    std::string FileText() { return TextOf(path); }
    qvtest::TempDirectory dir;
    std::string path = dir.Native("nested/registry.json");
    ScopedEnv env{"QVFLTS_REGISTRY", path.c_str()};
};

// A class entry for every row and a mapper entry for every setup data, as the rows state them
// (each field's way through the manifest's text: ModuleRegistryText); registering again changes
// nothing.
TEST_F(RegistrationTest, RegisteringTwiceWritesEveryRowOnce) {
    ASSERT_EQ(DllRegisterServer(), S_OK);
    const std::string first = FileText();
    ASSERT_EQ(DllRegisterServer(), S_OK);
    EXPECT_EQ(FileText(), first);
    std::string module;
    ASSERT_EQ(GetModuleFilePath(&module), S_OK);
    EXPECT_FALSE(module.empty());
    const RegistryManifest manifest = Manifest();
    std::set<std::string> setups;
    for (const CFactoryTemplate& row : FactoryTemplates()) {
        SCOPED_TRACE(Narrow(row.name));
        const auto entry = manifest.classes.find(GuidToString(*row.clsid));
        ASSERT_NE(entry, manifest.classes.end());
        EXPECT_EQ(entry->second, (RegistryClass{Narrow(row.name), module, "Both"}));
        ASSERT_NE(row.setup, nullptr);
        const std::string setupId = GuidToString(*row.setup->clsid);
        setups.insert(setupId);
        ASSERT_EQ(manifest.filters.count(setupId), 1u);
        const RegistryFilter& filter = manifest.filters.at(setupId);
        EXPECT_EQ(filter.name, Narrow(row.setup->name));
        EXPECT_EQ(filter.merit, row.setup->merit);
        ASSERT_EQ(filter.pins.size(), row.setup->pins.size());
        for (size_t i = 0; i < filter.pins.size(); ++i)
            EXPECT_EQ(filter.pins[i].name, Narrow(row.setup->pins[i].name));
    }
    EXPECT_EQ(manifest.classes.size(), FactoryTemplates().size());
    EXPECT_EQ(manifest.filters.size(), setups.size());
}

TEST_F(RegistrationTest, UnregisteringRemovesOurEntriesAndKeepsOthers) {
    EXPECT_EQ(DllUnregisterServer(), S_OK);  // without a manifest: nothing is written
    EXPECT_FALSE(std::filesystem::exists(path));
    RegistryManifest foreign;
    foreign.classes["{00000001-0000-0000-0000-000000000000}"] = {"Other", "/lib/other.so", "Both"};
    foreign.filters["{00000001-0000-0000-0000-000000000000}"] = {"Other", 0x200000, {}};
    ASSERT_EQ(ModuleRegistry::Write(path, foreign), S_OK);
    ASSERT_EQ(DllRegisterServer(), S_OK);
    EXPECT_EQ(Manifest().classes.size(), 13u);
    ASSERT_EQ(DllUnregisterServer(), S_OK);
    EXPECT_EQ(Manifest(), foreign);
    EXPECT_EQ(DllUnregisterServer(), S_OK);
}

// A file not in the manifest's format is left as it is; a place that can't be written answers
// the system's error and leaves nothing behind.
TEST_F(RegistrationTest, RefusesForeignFilesAndUnwritablePlaces) {
    std::filesystem::create_directories(dir.Native("nested"));
    const std::string text = "{\"classes\": [1, 2]}";
    qvtest::WriteFile(path, std::vector<uint8_t>(text.begin(), text.end()));
    EXPECT_EQ(DllRegisterServer(), E_FAIL);
    EXPECT_EQ(DllUnregisterServer(), E_FAIL);
    EXPECT_EQ(FileText(), text);

    qvtest::WriteFile(dir.Native("file"), {1});
    ScopedEnv blocked("QVFLTS_REGISTRY", dir.Native("file/registry.json").c_str());
    const HRESULT hr = DllRegisterServer();
    EXPECT_EQ(static_cast<uint32_t>(hr) & 0xFFFF0000u, 0x80070000u);
    EXPECT_NE(hr & 0xFFFF, 0);
    std::set<std::string> left;  // no temporary file stays behind
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir.root))
        left.insert(entry.path().lexically_relative(dir.root).string());
    EXPECT_EQ(left, (std::set<std::string>{"file", "nested", "nested/registry.json"}));
}

// Processes that update one manifest at once keep each other's entries.
TEST_F(RegistrationTest, UpdatesOfSeveralProcessesAreNotLost) {
    constexpr int kProcesses = 6, kUpdates = 25;
    std::vector<pid_t> children;
    for (int p = 0; p < kProcesses; ++p) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            bool ok = true;
            for (int u = 0; u < kUpdates; ++u) {
                ok = ok && SUCCEEDED(ModuleRegistry::Update(path, true, [&](RegistryManifest& m) {
                         m.classes[std::to_string(p) + "-" + std::to_string(u)] = {"x", "", ""};
                     }));
            }
            _exit(ok ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    EXPECT_EQ(Manifest().classes.size(), static_cast<size_t>(kProcesses * kUpdates));
}

TEST(ModuleRegistryLocation, FollowsTheEnvironment) {
    const char* const home = "/h/.local/share/qvflts/registry.json";
    const struct {
        const char *registry, *xdg, *expected;
    } cases[] = {{"/tmp/r.json", "/x", "/tmp/r.json"},
                 {nullptr, "/x", "/x/qvflts/registry.json"},
                 {"", "", home},
                 {nullptr, nullptr, home}};
    ScopedEnv homeEnv("HOME", "/h");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expected);
        ScopedEnv registry("QVFLTS_REGISTRY", c.registry);
        ScopedEnv xdg("XDG_DATA_HOME", c.xdg);
        EXPECT_EQ(ModuleRegistry::ManifestPath(), c.expected);
    }
}

TEST(ModuleRegistryText, RoundTripsEscapesAndIsStable) {
    RegistryManifest manifest;
    manifest.classes["{B}"] = {"Quote \" back \\ tab \t caf\xC3\xA9", "/p/a b.so", "Both"};
    manifest.classes["{A}"] = {"", "", ""};
    manifest.filters["{A}"] = {
        "f", 0xFFFFFFFF, {{"p", true, true, true, true, "{N}", "q", {{"{M}", "{S}"}, {"", ""}}}}};
    const std::string text = ModuleRegistry::ToJson(manifest);
    RegistryManifest read;
    ASSERT_EQ(ModuleRegistry::FromJson(text, &read), S_OK);
    EXPECT_EQ(read, manifest);
    EXPECT_EQ(ModuleRegistry::ToJson(read), text);
    EXPECT_LT(text.find("\"{A}\""), text.find("\"{B}\""));
    // Escapes another writer may use.
    ASSERT_EQ(
        ModuleRegistry::FromJson(
            R"({"classes": {"x": {"name": "\u00e9\ud83d\ude00\/\n"}}, "other": [null]})", &read),
        S_OK);
    EXPECT_EQ(read.classes.at("x").name, "\xC3\xA9\xF0\x9F\x98\x80/\n");
}

TEST(ModuleRegistryText, MalformedIsRefusedAndLeavesTheManifest) {
    for (const char* text :
         {"", "[]", "{", R"({"classes": []})", R"({"classes": {"a": {"name": 5}}})",
          R"({"filters": {"a": {"merit": -1}}})", R"({"filters": {"a": {"merit": 1.5}}})",
          R"({"filters": {"a": {"pins": [{"direction": "up"}]}}})",
          R"({"classes": {"a": {"name": "\x"}}})", R"({"classes": {"a": {"name": "\ud800"}}})",
          R"({} {})", "{\"classes\": {\"a\": {\"name\": \"raw\ncontrol\"}}}"}) {
        SCOPED_TRACE(text);
        RegistryManifest manifest;
        manifest.classes["{A}"] = {"kept", "", ""};
        const RegistryManifest before = manifest;
        EXPECT_EQ(ModuleRegistry::FromJson(text, &manifest), E_FAIL);
        EXPECT_EQ(manifest, before);
    }
}

}  // namespace
