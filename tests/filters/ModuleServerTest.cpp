// The module server through its entry points: the class table, class factories, unload
// bookkeeping and the registration manifest.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
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

struct ExpectedPin {
    const wchar_t* name;
    bool output;
    bool rendered;
    GUID major;
    GUID minor;
};

struct ExpectedRow {
    const char* label;
    const wchar_t* name;
    CLSID clsid;
    uint32_t merit;
    CLSID mapperId;            // the class id the row's setup data names
    const char* pendingClass;  // null for a filter that is built
    std::vector<ExpectedPin> pins;
};

const std::vector<ExpectedRow>& Rows() {
    const ExpectedPin audioIn{L"Input", false, false, MEDIATYPE_Audio, MEDIASUBTYPE_PCM};
    const ExpectedPin audioOut{L"output", true, false, MEDIATYPE_Audio, MEDIASUBTYPE_PCM};
    const ExpectedPin h264In{L"Input", false, false, MEDIATYPE_Video, MEDIASUBTYPE_H264};
    const ExpectedPin yv12Out{L"output", true, false, MEDIATYPE_Video, MEDIASUBTYPE_YV12};
    static const std::vector<ExpectedRow> rows = {
        {"MXFParser",
         L"Zorel QV Clip Parser 3",
         CLSID_MXFParseFilter,
         0x600000,
         CLSID_MXFParseFilter,
         nullptr,
         {{L"OutMxfMv", true, false, MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO},
          {L"OutMxfAd", true, false, MEDIATYPE_Audio, MEDIASUBTYPE_PCM},
          {L"OutMxfTc", true, false, MEDIATYPE_MXFTimecode, MEDIASUBTYPE_PrivateStream}}},
        {"TimecodeRenderer",
         L"Zorel QV Timecode Renderer 3",
         CLSID_TimecodeRenderer,
         0x600000,
         CLSID_TimecodeRenderer,
         "CTimecodeRenderer",
         {{L"Input", false, true, MEDIATYPE_MXFTimecode, MEDIASUBTYPE_PrivateStream}}},
        {"SoundMixer",
         L"Zorel QV Sound Mixer 3",
         CLSID_SoundMixerFilter,
         0x400000,
         CLSID_SoundMixerFilter,
         "CSoundMixerFilter",
         {audioIn, audioOut}},
        {"SoundSplitter",
         L"Zorel QV Sound Splitter 3",
         CLSID_SoundSplitterFilter,
         0x400000,
         CLSID_SoundSplitterFilter,
         "CSoundSplitterFilter",
         {audioIn, audioOut}},
        {"AudioLevelRenderer",
         L"Zorel QV AudioLevel Renderer 3",
         CLSID_AudioLevelRenderer,
         0x600000,
         CLSID_AudioLevelRenderer,
         "CAudioLevelRenderer",
         {{L"Input", false, true, MEDIATYPE_MXFAudioLevel, MEDIASUBTYPE_PrivateStream}}},
        {"MovieDecoder",
         L"Zorel QV Movie Decoder 3",
         CLSID_MovieDecodeFilter,
         0x400000,
         CLSID_MovieDecodeFilter,
         "CMovieDecodeFilter",
         {h264In, yv12Out}},
        {"MovieResize",
         L"Zorel QV Movie Resize 3",
         CLSID_MovieResizeFilter,
         0x400000,
         CLSID_MovieResizeFilter,
         "CMovieResizeFilter",
         {h264In, yv12Out}},
        {"Convert",
         L"Zorel QV Convert Filter 3",
         CLSID_ConvertFilter,
         0x400000,
         CLSID_ConvertFilter,
         "CConvertFilter",
         {{L"Input", false, false, MEDIATYPE_Video, MEDIASUBTYPE_YUY2},
          {L"output", true, false, MEDIATYPE_Video, MEDIASUBTYPE_YUY2}}},
        {"MP4Parser",
         L"Zorel MP4 Clip Parser 3",
         CLSID_MP4ParseFilter,
         0x600000,
         CLSID_MP4ParseFilter,
         nullptr,
         {{L"OutMp4Mv", true, false, MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO},
          {L"OutMp4Ad", true, false, MEDIATYPE_Audio, MEDIASUBTYPE_PCM},
          {L"OutMp4Tc", true, false, MEDIATYPE_MP4Timecode, MEDIASUBTYPE_PrivateStream}}},
        {"MP4AudioLevelRenderer",
         L"Zorel QV AudioLevel Renderer 3",
         CLSID_MP4AudioLevelRenderer,
         0x600000,
         CLSID_MP4AudioLevelRenderer,
         "CAudioLevelRenderer",
         {{L"Input", false, true, MEDIATYPE_MP4AudioLevel, MEDIASUBTYPE_PrivateStream}}},
        {"MP4TimecodeRenderer",
         L"Zorel QV Timecode Renderer 3",
         CLSID_MP4TimecodeRenderer,
         0x600000,
         CLSID_MP4TimecodeRenderer,
         "MP4TimecodeRenderer",
         {{L"Input", false, true, MEDIATYPE_MP4Timecode, MEDIASUBTYPE_PrivateStream}}},
        // The MP4 splitter shares the splitter's setup data, class id included.
        {"MP4SoundSplitter",
         L"Zorel QV Sound Splitter 3",
         CLSID_MP4SoundSplitterFilter,
         0x400000,
         CLSID_SoundSplitterFilter,
         "CSoundSplitterFilter",
         {audioIn, audioOut}},
    };
    return rows;
}

std::string RowName(const ::testing::TestParamInfo<int>& info) {
    return Rows()[static_cast<size_t>(info.param)].label;
}

// Sets or clears an environment variable for a scope.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name(name) {
        if (const char* old = getenv(name)) previous = old;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedEnv() {
        if (previous)
            setenv(name, previous->c_str(), 1);
        else
            unsetenv(name);
    }

private:
    const char* name;
    std::optional<std::string> previous;
};

IClassFactory* GetFactory(REFCLSID clsid) {
    void* out = nullptr;
    EXPECT_EQ(DllGetClassObject(clsid, IID_IClassFactory, &out), S_OK);
    return static_cast<IClassFactory*>(out);
}

// An outer object that only counts the references its inner one hands it.
class CountingOuter final : public IUnknown {
public:
    HRESULT QueryInterface(REFIID, void** ppv) override {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return static_cast<uint32_t>(++refs); }
    uint32_t Release() override { return static_cast<uint32_t>(--refs); }
    int refs = 1;
};

class ModuleServerTest : public ::testing::Test {
protected:
    // Every test releases what it made: nothing may keep the module loaded afterwards.
    void TearDown() override { EXPECT_EQ(DllCanUnloadNow(), S_OK); }
};

// ---- The class table --------------------------------------------------------------------------

class ClassTableRow : public ModuleServerTest, public ::testing::WithParamInterface<int> {
protected:
    const ExpectedRow& expected = Rows()[static_cast<size_t>(GetParam())];
    const CFactoryTemplate& row = FactoryTemplates()[static_cast<size_t>(GetParam())];
};

TEST_F(ModuleServerTest, TableHasTwelveRowsWithDistinctClassIds) {
    ASSERT_EQ(FactoryTemplates().size(), Rows().size());
    for (const CFactoryTemplate& row : FactoryTemplates())
        EXPECT_EQ(FindFactoryTemplate(*row.clsid), &row) << GuidToString(*row.clsid);
}

TEST_P(ClassTableRow, NameIdMeritAndPins) {
    EXPECT_STREQ(row.name, expected.name);
    EXPECT_EQ(*row.clsid, expected.clsid);
    EXPECT_EQ(row.loadRoutine, nullptr);
    ASSERT_NE(row.setup, nullptr);
    EXPECT_STREQ(row.setup->name, expected.name);
    EXPECT_EQ(*row.setup->clsid, expected.mapperId);
    EXPECT_EQ(row.setup->merit, expected.merit);
    ASSERT_EQ(row.setup->pins.size(), expected.pins.size());
    for (size_t i = 0; i < expected.pins.size(); ++i) {
        const FilterSetupPin& pin = row.setup->pins[i];
        const ExpectedPin& want = expected.pins[i];
        SCOPED_TRACE(i);
        EXPECT_STREQ(pin.name, want.name);
        EXPECT_EQ(pin.output, want.output);
        EXPECT_EQ(pin.rendered, want.rendered);
        EXPECT_FALSE(pin.zero);
        EXPECT_FALSE(pin.many);
        EXPECT_EQ(*pin.connectsToFilter, GUID_NULL);
        const bool parser = row.setup->pins.size() == 3;
        EXPECT_STREQ(pin.connectsToPin, !want.output ? L"Output" : parser ? L"Input" : L"input");
        ASSERT_EQ(pin.mediaTypes.size(), 1u);
        EXPECT_EQ(*pin.mediaTypes[0].majorType, want.major);
        EXPECT_EQ(*pin.mediaTypes[0].minorType, want.minor);
    }
}

// Built rows make a filter that reports the row's class id; the others decline honestly and say
// so in the log.
TEST_P(ClassTableRow, FactoryMakesTheRowsFilterOrDeclines) {
    qvtest::TempDirectory logDir;
    CULog::Install(CUCreate<CULog>(CUCreate<CUStringWin>(logDir.root.c_str()),
                                   CUCreate<CUStringWin>("qv"), CULogLevelWarning));
    IClassFactory* factory = GetFactory(expected.clsid);
    ASSERT_NE(factory, nullptr);
    void* out = reinterpret_cast<void*>(1);
    const HRESULT hr = factory->CreateInstance(nullptr, IID_IBaseFilter, &out);
    factory->Release();
    CULog::Install(nullptr);
    const std::vector<uint8_t> bytes = qvtest::ReadFile(logDir.Native("qv0.log"));
    const std::string log(bytes.begin(), bytes.end());

    if (expected.pendingClass) {
        EXPECT_EQ(hr, E_NOTIMPL);
        EXPECT_EQ(out, nullptr);
        EXPECT_NE(log.find("WARNING"), std::string::npos) << log;
        EXPECT_NE(log.find(std::string(expected.pendingClass) + " is not built yet"),
                  std::string::npos)
            << log;
        return;
    }
    ASSERT_EQ(hr, S_OK);
    auto* filter = dynamic_cast<CBaseFilter*>(static_cast<IBaseFilter*>(out));
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(filter->ClassId(), expected.clsid);
    EXPECT_EQ(filter->GetPinCount(), 3);
    filter->Release();
}

TEST_P(ClassTableRow, CreateFilterByClassIdFollowsTheFactory) {
    HRESULT hr = E_FAIL;
    CUnknown* object = CreateFilterByClassId(expected.clsid, nullptr, &hr);
    if (expected.pendingClass) {
        EXPECT_EQ(hr, E_NOTIMPL);
        EXPECT_EQ(object, nullptr);
        return;
    }
    ASSERT_EQ(hr, S_OK);
    ASSERT_NE(object, nullptr);
    object->NonDelegatingAddRef();
    EXPECT_EQ(dynamic_cast<CBaseFilter*>(object)->ClassId(), expected.clsid);
    object->NonDelegatingRelease();
}

INSTANTIATE_TEST_SUITE_P(Rows, ClassTableRow, ::testing::Range(0, 12), RowName);

// ---- DllGetClassObject ------------------------------------------------------------------------

struct ClassObjectCase {
    const char* label;
    CLSID clsid;
    IID iid;
    bool nullOut;
    HRESULT expected;
};

class DllGetClassObjectCase : public ModuleServerTest,
                              public ::testing::WithParamInterface<ClassObjectCase> {};

TEST_P(DllGetClassObjectCase, AnswersAndClearsTheOutPointer) {
    const ClassObjectCase& c = GetParam();
    void* out = reinterpret_cast<void*>(1);
    const HRESULT hr = DllGetClassObject(c.clsid, c.iid, c.nullOut ? nullptr : &out);
    EXPECT_EQ(hr, c.expected);
    if (c.nullOut) return;
    if (FAILED(hr)) {
        EXPECT_EQ(out, nullptr);
        return;
    }
    // Either face of the factory leads to the other.
    ASSERT_NE(out, nullptr);
    auto* unknown = static_cast<IUnknown*>(out);
    void* factory = nullptr;
    ASSERT_EQ(unknown->QueryInterface(IID_IClassFactory, &factory), S_OK);
    static_cast<IClassFactory*>(factory)->Release();
    unknown->Release();
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DllGetClassObjectCase,
    ::testing::Values(ClassObjectCase{"ClassFactory", CLSID_MP4SoundSplitterFilter,
                                      IID_IClassFactory, false, S_OK},
                      ClassObjectCase{"Unknown", CLSID_MXFParseFilter, IID_IUnknown, false, S_OK},
                      ClassObjectCase{"UnknownClass", IID_IBaseFilter, IID_IClassFactory, false,
                                      static_cast<HRESULT>(0x80040111)},
                      ClassObjectCase{"NullClass", GUID_NULL, IID_IUnknown, false,
                                      static_cast<HRESULT>(0x80040111)},
                      ClassObjectCase{"WrongInterface", CLSID_MXFParseFilter, IID_IBaseFilter,
                                      false, static_cast<HRESULT>(0x80004002)},
                      ClassObjectCase{"WrongInterfaceBeforeUnknownClass", GUID_NULL,
                                      IID_IBaseFilter, false, E_NOINTERFACE},
                      ClassObjectCase{"NullOut", CLSID_MXFParseFilter, IID_IClassFactory, true,
                                      E_POINTER}),
    [](const ::testing::TestParamInfo<ClassObjectCase>& info) { return info.param.label; });

// ---- CClassFactory ----------------------------------------------------------------------------

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
    // The interface's references are the outer object's.
    EXPECT_EQ(outer.refs, 2);
    static_cast<IBaseFilter*>(filter)->Release();
    EXPECT_EQ(outer.refs, 1);
    inner->Release();
    EXPECT_EQ(CUnknown::LiveObjectCount(), before);
    factory->Release();
}

int g_testObjects = 0;

class TestObject : public CUnknown {
public:
    TestObject() : CUnknown("TestObject") { ++g_testObjects; }
    ~TestObject() override { --g_testObjects; }
};

struct CreatorCase {
    const char* label;
    FilterCreator create;
    IID iid;
    HRESULT expected;
};

class FactoryCreatorCase : public ModuleServerTest,
                           public ::testing::WithParamInterface<CreatorCase> {};

TEST_P(FactoryCreatorCase, ResultAndNoObjectLeftBehindOnFailure) {
    const CreatorCase& c = GetParam();
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

INSTANTIATE_TEST_SUITE_P(
    Creators, FactoryCreatorCase,
    ::testing::Values(CreatorCase{"Made",
                                  [](IUnknown*, HRESULT*) -> CUnknown* { return new TestObject; },
                                  IID_IUnknown, S_OK},
                      CreatorCase{"MadeWithoutTheInterface",
                                  [](IUnknown*, HRESULT*) -> CUnknown* { return new TestObject; },
                                  IID_IBaseFilter, E_NOINTERFACE},
                      CreatorCase{"MadeButFailed",
                                  [](IUnknown*, HRESULT* phr) -> CUnknown* {
                                      *phr = E_ABORT;
                                      return new TestObject;
                                  },
                                  IID_IUnknown, E_ABORT},
                      CreatorCase{"NothingAndFailure",
                                  [](IUnknown*, HRESULT* phr) -> CUnknown* {
                                      *phr = E_NOTIMPL;
                                      return nullptr;
                                  },
                                  IID_IUnknown, E_NOTIMPL},
                      CreatorCase{"NothingWithoutFailure",
                                  [](IUnknown*, HRESULT*) -> CUnknown* { return nullptr; },
                                  IID_IUnknown, E_OUTOFMEMORY}),
    [](const ::testing::TestParamInfo<CreatorCase>& info) { return info.param.label; });

// ---- DllCanUnloadNow --------------------------------------------------------------------------

TEST_F(ModuleServerTest, PinOfAReleasedFilterKeepsTheModule) {
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
}

TEST_F(ModuleServerTest, ServerLockKeepsTheModule) {
    IClassFactory* factory = GetFactory(CLSID_ConvertFilter);
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);  // the factory is alive
    EXPECT_EQ(factory->LockServer(true), S_OK);
    factory->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    factory = GetFactory(CLSID_ConvertFilter);
    EXPECT_EQ(factory->LockServer(false), S_OK);
    factory->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

// ---- Registration -----------------------------------------------------------------------------

class RegistrationTest : public ModuleServerTest {
protected:
    RegistryManifest Manifest() {
        RegistryManifest manifest;
        EXPECT_EQ(ModuleRegistry::Read(path, &manifest), S_OK);
        return manifest;
    }
    std::string FileText() {
        const std::vector<uint8_t> bytes = qvtest::ReadFile(path);
        return std::string(bytes.begin(), bytes.end());
    }

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
    for (const ExpectedRow& row : Rows()) {
        SCOPED_TRACE(row.label);
        const std::string id = GuidToString(row.clsid);
        ASSERT_EQ(manifest.classes.count(id), 1u);
        const RegistryClass& entry = manifest.classes.at(id);
        EXPECT_EQ(entry.inprocServer, module);
        EXPECT_EQ(entry.threadingModel, "Both");
        EXPECT_EQ(manifest.filters.count(id), row.mapperId == row.clsid ? 1u : 0u);
        const RegistryFilter& filter = manifest.filters.at(GuidToString(row.mapperId));
        EXPECT_EQ(filter.merit, row.merit);
        EXPECT_EQ(filter.pins.size(), row.pins.size());
    }
    EXPECT_EQ(manifest.classes.at(GuidToString(CLSID_MP4ParseFilter)).name,
              "Zorel MP4 Clip Parser 3");

    const RegistryFilter& parser = manifest.filters.at(GuidToString(CLSID_MXFParseFilter));
    EXPECT_EQ(parser.name, "Zorel QV Clip Parser 3");
    const RegistryPin expectedTimecode{
        "OutMxfTc",
        true,
        false,
        false,
        false,
        GuidToString(GUID_NULL),
        "Input",
        {{GuidToString(MEDIATYPE_MXFTimecode), GuidToString(MEDIASUBTYPE_PrivateStream)}}};
    EXPECT_EQ(parser.pins.at(2), expectedTimecode);
    const RegistryPin& rendered =
        manifest.filters.at(GuidToString(CLSID_AudioLevelRenderer)).pins.at(0);
    EXPECT_TRUE(rendered.rendered);
    EXPECT_FALSE(rendered.output);
}

TEST_F(RegistrationTest, UnregisteringRemovesOurEntriesAndKeepsOthers) {
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

TEST_F(RegistrationTest, UnregisteringWithoutManifestWritesNothing) {
    EXPECT_EQ(DllUnregisterServer(), S_OK);
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(RegistrationTest, ForeignFileIsNeitherReadNorOverwritten) {
    std::filesystem::create_directories(dir.Native("nested"));
    const std::string text = "{\"classes\": [1, 2]}";
    qvtest::WriteFile(path, std::vector<uint8_t>(text.begin(), text.end()));
    EXPECT_EQ(DllRegisterServer(), E_FAIL);
    EXPECT_EQ(DllUnregisterServer(), E_FAIL);
    EXPECT_EQ(FileText(), text);
}

TEST_F(RegistrationTest, UnwritablePlaceAnswersTheSystemError) {
    qvtest::WriteFile(dir.Native("file"), {1});
    ScopedEnv blocked("QVFLTS_REGISTRY", dir.Native("file/registry.json").c_str());
    const HRESULT hr = DllRegisterServer();
    EXPECT_EQ(static_cast<uint32_t>(hr) & 0xFFFF0000u, 0x80070000u);
    EXPECT_NE(hr & 0xFFFF, 0);
    EXPECT_EQ(std::filesystem::directory_iterator(dir.root)->path().filename(), "file");
}

// Processes that update one manifest at once keep each other's entries.
TEST_F(RegistrationTest, UpdatesOfSeveralProcessesAreNotLost) {
    constexpr int kProcesses = 6;
    constexpr int kUpdates = 25;
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

struct LocationCase {
    const char* label;
    const char* registry;
    const char* xdg;
    const char* home;
    const char* expected;
};

class ManifestLocation : public ::testing::TestWithParam<LocationCase> {};

TEST_P(ManifestLocation, FollowsTheEnvironment) {
    const LocationCase& c = GetParam();
    ScopedEnv registry("QVFLTS_REGISTRY", c.registry);
    ScopedEnv xdg("XDG_DATA_HOME", c.xdg);
    ScopedEnv home("HOME", c.home);
    EXPECT_EQ(ModuleRegistry::ManifestPath(), c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Environments, ManifestLocation,
    ::testing::Values(LocationCase{"Override", "/tmp/r.json", "/x", "/h", "/tmp/r.json"},
                      LocationCase{"DataHome", nullptr, "/x", "/h", "/x/qvflts/registry.json"},
                      LocationCase{"EmptyOverrideAndDataHome", "", "", "/h",
                                   "/h/.local/share/qvflts/registry.json"},
                      LocationCase{"Home", nullptr, nullptr, "/h",
                                   "/h/.local/share/qvflts/registry.json"}),
    [](const ::testing::TestParamInfo<LocationCase>& info) { return info.param.label; });

// ---- The manifest's text ----------------------------------------------------------------------

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

class ModuleRegistryMalformed : public ::testing::TestWithParam<const char*> {};

TEST_P(ModuleRegistryMalformed, IsRefusedAndLeavesTheManifest) {
    RegistryManifest manifest;
    manifest.classes["{A}"] = {"kept", "", ""};
    const RegistryManifest before = manifest;
    EXPECT_EQ(ModuleRegistry::FromJson(GetParam(), &manifest), E_FAIL);
    EXPECT_EQ(manifest, before);
}

INSTANTIATE_TEST_SUITE_P(Texts, ModuleRegistryMalformed,
                         ::testing::Values("", "[]", "{", R"({"classes": []})",
                                           R"({"classes": {"a": {"name": 5}}})",
                                           R"({"filters": {"a": {"merit": -1}}})",
                                           R"({"filters": {"a": {"merit": 1.5}}})",
                                           R"({"filters": {"a": {"pins": [{"direction": "up"}]}}})",
                                           R"({"classes": {"a": {"name": "\x"}}})",
                                           R"({"classes": {"a": {"name": "\ud800"}}})", R"({} {})",
                                           "{\"classes\": {\"a\": {\"name\": \"raw\ncontrol\"}}}"));

}  // namespace
