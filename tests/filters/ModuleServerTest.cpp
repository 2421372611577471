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

struct Pin {
    std::wstring name;
    bool output, rendered;
    GUID major, minor;
};
struct Row {
    const char* label;
    const wchar_t* name;
    CLSID clsid;
    uint32_t merit;
    int pinsMade;  // pins of a new filter; -1: those of the setup data
    std::vector<Pin> pins;
    CLSID mapperId = clsid;  // the class id the row's setup data names
};

std::vector<Pin> ParserPins(const std::wstring& prefix, const GUID& timecode) {
    return {{prefix + L"Mv", true, false, MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO},
            {prefix + L"Ad", true, false, MEDIATYPE_Audio, MEDIASUBTYPE_PCM},
            {prefix + L"Tc", true, false, timecode, MEDIASUBTYPE_PrivateStream}};
}
std::vector<Pin> Rendered(const GUID& major) {
    return {{L"Input", false, true, major, MEDIASUBTYPE_PrivateStream}};
}
std::vector<Pin> Transform(const GUID& major, const GUID& in, const GUID& out) {
    return {{L"Input", false, false, major, in}, {L"output", true, false, major, out}};
}

const std::vector<Row>& Rows() {
    const auto pcm = Transform(MEDIATYPE_Audio, MEDIASUBTYPE_PCM, MEDIASUBTYPE_PCM);
    const auto h264 = Transform(MEDIATYPE_Video, MEDIASUBTYPE_H264, MEDIASUBTYPE_YV12);
    const uint32_t normal = 0x600000, unlikely = 0x400000;
    static const std::vector<Row> rows = {
        {"MXFParser", L"Zorel QV Clip Parser 3", CLSID_MXFParseFilter, normal, -1,
         ParserPins(L"OutMxf", MEDIATYPE_MXFTimecode)},
        {"TimecodeRenderer", L"Zorel QV Timecode Renderer 3", CLSID_TimecodeRenderer, normal,
         -1, Rendered(MEDIATYPE_MXFTimecode)},
        {"SoundMixer", L"Zorel QV Sound Mixer 3", CLSID_SoundMixerFilter, unlikely,
         -1, pcm},
        {"SoundSplitter", L"Zorel QV Sound Splitter 3", CLSID_SoundSplitterFilter, unlikely,
         1, pcm},
        {"AudioLevelRenderer", L"Zorel QV AudioLevel Renderer 3", CLSID_AudioLevelRenderer, normal,
         -1, Rendered(MEDIATYPE_MXFAudioLevel)},
        {"MovieDecoder", L"Zorel QV Movie Decoder 3", CLSID_MovieDecodeFilter, unlikely, -1,
         h264},
        {"MovieResize", L"Zorel QV Movie Resize 3", CLSID_MovieResizeFilter, unlikely,
         -1, h264},
        {"Convert", L"Zorel QV Convert Filter 3", CLSID_ConvertFilter, unlikely, -1,
         Transform(MEDIATYPE_Video, MEDIASUBTYPE_YUY2, MEDIASUBTYPE_YUY2)},
        {"MP4Parser", L"Zorel MP4 Clip Parser 3", CLSID_MP4ParseFilter, normal, -1,
         ParserPins(L"OutMp4", MEDIATYPE_MP4Timecode)},
        {"MP4AudioLevelRenderer", L"Zorel QV AudioLevel Renderer 3", CLSID_MP4AudioLevelRenderer,
         normal, -1, Rendered(MEDIATYPE_MP4AudioLevel)},
        {"MP4TimecodeRenderer", L"Zorel QV Timecode Renderer 3", CLSID_MP4TimecodeRenderer, normal,
         -1, Rendered(MEDIATYPE_MP4Timecode)},
        // The MP4 splitter shares the splitter's setup data, class id included.
        {"MP4SoundSplitter", L"Zorel QV Sound Splitter 3", CLSID_MP4SoundSplitterFilter, unlikely,
         1, pcm, CLSID_SoundSplitterFilter},
    };
    return rows;
}

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

// The pin the mapper connects a pin to: parsers feed "Input", transforms "input".
std::string PeerPin(const Row& row, const Pin& pin) {
    return !pin.output ? "Output" : row.pins.size() == 3 ? "Input" : "input";
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

class ClassTableRow : public ModuleServerTest, public ::testing::WithParamInterface<int> {};

// The row's place; each row makes a filter of the row's class id, through the factory and by
// class id alike, and nothing is logged. (Names, merits and pins of the setup data: through the
// manifest.)
TEST_P(ClassTableRow, PlaceAndCreation) {
    const Row& want = Rows()[static_cast<size_t>(GetParam())];
    ASSERT_EQ(FactoryTemplates().size(), Rows().size());
    const CFactoryTemplate& row = FactoryTemplates()[static_cast<size_t>(GetParam())];
    EXPECT_EQ(FindFactoryTemplate(want.clsid), &row);
    EXPECT_EQ(*row.clsid, want.clsid);
    EXPECT_EQ(row.loadRoutine, nullptr);

    qvtest::TempDirectory logDir;
    CULog::Install(CUCreate<CULog>(CUCreate<CUStringWin>(logDir.root.c_str()),
                                   CUCreate<CUStringWin>("qv"), CULogLevelWarning));
    IClassFactory* factory = GetFactory(want.clsid);
    ASSERT_NE(factory, nullptr);
    void* out = reinterpret_cast<void*>(1);
    const HRESULT hr = factory->CreateInstance(nullptr, IID_IBaseFilter, &out);
    factory->Release();
    CULog::Install(nullptr);
    EXPECT_EQ(TextOf(logDir.Native("qv0.log")).find("WARNING"), std::string::npos);
    HRESULT byIdHr = E_FAIL;
    CUnknown* byId = CreateFilterByClassId(want.clsid, nullptr, &byIdHr);
    ASSERT_EQ(hr, S_OK);
    auto* filter = dynamic_cast<CBaseFilter*>(static_cast<IBaseFilter*>(out));
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(filter->ClassId(), want.clsid);
    EXPECT_EQ(filter->GetPinCount(),
              want.pinsMade < 0 ? static_cast<int>(want.pins.size()) : want.pinsMade);
    filter->Release();
    ASSERT_EQ(byIdHr, S_OK);
    ASSERT_NE(byId, nullptr);
    byId->NonDelegatingAddRef();
    EXPECT_EQ(dynamic_cast<CBaseFilter*>(byId)->ClassId(), want.clsid);
    byId->NonDelegatingRelease();
}

INSTANTIATE_TEST_SUITE_P(Rows, ClassTableRow, ::testing::Range(0, 12),
                         [](const auto& info) { return Rows()[size_t(info.param)].label; });

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

TEST_F(RegistrationTest, RegisteringTwiceWritesTwelveClassesAndElevenMapperEntries) {
    ASSERT_EQ(DllRegisterServer(), S_OK);
    const std::string first = FileText();
    ASSERT_EQ(DllRegisterServer(), S_OK);
    EXPECT_EQ(FileText(), first);
    std::string module;
    ASSERT_EQ(GetModuleFilePath(&module), S_OK);
    EXPECT_FALSE(module.empty());
    const RegistryManifest manifest = Manifest();
    ASSERT_EQ(manifest.classes.size(), 12u);
    EXPECT_EQ(manifest.filters.size(), 11u);
    for (const Row& row : Rows()) {
        SCOPED_TRACE(row.label);
        const std::string id = GuidToString(row.clsid);
        ASSERT_EQ(manifest.classes.count(id), 1u);
        EXPECT_EQ(manifest.classes.at(id).inprocServer, module);
        EXPECT_EQ(manifest.classes.at(id).threadingModel, "Both");
        EXPECT_EQ(manifest.filters.count(id), row.mapperId == row.clsid ? 1u : 0u);
        EXPECT_EQ(manifest.classes.at(id).name, Narrow(row.name));
        RegistryFilter expected{Narrow(row.name), row.merit, {}};
        for (const Pin& pin : row.pins)
            expected.pins.push_back({Narrow(pin.name),
                                     pin.output,
                                     pin.rendered,
                                     false,
                                     false,
                                     GuidToString(GUID_NULL),
                                     PeerPin(row, pin),
                                     {{GuidToString(pin.major), GuidToString(pin.minor)}}});
        EXPECT_EQ(manifest.filters.at(GuidToString(row.mapperId)), expected);
    }
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
