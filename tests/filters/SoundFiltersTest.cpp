// The sound filters on our graph runtime, between a source the test pushes from and sinks that
// record what arrives: the mixer's gate and types, the splitter's roles, refusals, stream events
// and stop, the level renderer's flavours and its first sample in pause, the device override.
// (The fold-down, the levels and their messages over a whole clip: qvclip's sound oracle tests.)
#include <gtest/gtest.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "filters/AudioLevelOutputPin.h"
#include "filters/AudioLevelRenderer.h"
#include "filters/AudioOutputPins.h"
#include "filters/SoundMixerFilter.h"
#include "filters/SoundSplitterFilter.h"
#include "filters/WaveFormat.h"
#include "foundation/CUManualResetEvent.h"
#include "platform/BaseInputPin.h"
#include "platform/BaseOutputPin.h"
#include "platform/MediaEvent.h"
#include "platform/SoundDevices.h"

namespace {

constexpr auto kPatience = std::chrono::seconds(30);
using Bytes = std::vector<uint8_t>;

CMediaType PCMType(uint16_t channels, uint16_t bits, uint32_t rate = 48000) {
    CMediaType type;
    type.SetType(&MEDIATYPE_Audio);
    type.SetSubtype(&MEDIASUBTYPE_PCM);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    wave_format::WaveFormat format;
    format.channels = channels;
    format.bitsPerSample = bits;
    format.samplesPerSec = rate;
    format.blockAlign = static_cast<uint16_t>(channels * bits / 8);
    format.avgBytesPerSec = rate * format.blockAlign;
    wave_format::Write(&type, format);
    return type;
}

CMediaType LevelType(const GUID& major) {
    CMediaType type;
    type.SetType(&major);
    type.SetSubtype(&MEDIASUBTYPE_PrivateStream);
    type.SetFormatType(&FORMAT_None);
    return type;
}

// channels, rate, bytes a second, block align, bits; empty when the block cannot be read.
std::vector<uint32_t> Fields(const CMediaType& type) {
    wave_format::WaveFormat f;
    if (!wave_format::Read(type, &f)) return {};
    return {f.channels, f.samplesPerSec, f.avgBytesPerSec, f.blockAlign, f.bitsPerSample};
}

Bytes Levels(const std::vector<int16_t>& levels) {
    Bytes bytes(levels.size() * 2);
    std::memcpy(bytes.data(), levels.data(), bytes.size());
    return bytes;
}

// Offers one type and sends what the test pushes, on the test's thread.
class PushPin : public CBaseOutputPin {
public:
    PushPin(CBaseFilter* filter, CURecursiveLock* lock, CMediaType type)
        : CBaseOutputPin("push pin", filter, lock, &hr, L"Out"), type(std::move(type)) {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT GetMediaType(int i, CMediaType* out) override {
        if (i != 0) return i < 0 ? E_INVALIDARG : VFW_S_NO_MORE_ITEMS;
        *out = type;
        return S_OK;
    }
    HRESULT DecideBufferSize(IMemAllocator* alloc, ALLOCATOR_PROPERTIES* props) override {
        props->cBuffers = 4;
        props->cbBuffer = kBufferSize;
        ALLOCATOR_PROPERTIES actual;
        return alloc->SetProperties(props, &actual);
    }
    static constexpr int32_t kBufferSize = 4096;
    HRESULT hr = S_OK;
    CMediaType type;
};

class PushSource : public CBaseFilter {
public:
    explicit PushSource(CMediaType type)
        : CBaseFilter("push source", nullptr, &lock, GUID_NULL), pin(this, &lock, type) {}
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? &pin : nullptr; }

    // Times 10 * n .. 10 * n + 10 for the n-th push, a sync point.
    HRESULT Push(const Bytes& bytes, uint32_t streamId = AM_STREAM_MEDIA) {
        IMediaSample* sample = nullptr;
        HRESULT hr = pin.GetDeliveryBuffer(&sample, nullptr, nullptr, 0);
        if (FAILED(hr)) return hr;
        uint8_t* data = nullptr;
        sample->GetPointer(&data);
        if (!bytes.empty()) std::memcpy(data, bytes.data(), bytes.size());
        AM_SAMPLE2_PROPERTIES props;
        constexpr uint32_t kSize = offsetof(AM_SAMPLE2_PROPERTIES, pMediaType);
        static_cast<IMediaSample2*>(sample)->GetProperties(kSize,
                                                           reinterpret_cast<uint8_t*>(&props));
        props.lActual = static_cast<int32_t>(bytes.size());
        props.tStart = 10 * pushed, props.tStop = 10 * pushed + 10;
        props.dwSampleFlags = AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID | AM_SAMPLE_SPLICEPOINT;
        props.dwStreamId = streamId;
        static_cast<IMediaSample2*>(sample)->SetProperties(kSize,
                                                           reinterpret_cast<uint8_t*>(&props));
        ++pushed;
        delivering.Set();
        hr = pin.Deliver(sample);
        sample->Release();
        return hr;
    }

    CURecursiveLock lock;
    PushPin pin;
    int pushed = 0;
    CUManualResetEvent delivering;  // set as a sample goes downstream
};

struct Received {
    Bytes bytes;
    REFERENCE_TIME start = 0, stop = 0;
};

// Records every sample it receives, of any type.
class CapturePin : public CBaseInputPin {
public:
    CapturePin(CBaseFilter* filter, CURecursiveLock* lock)
        : CBaseInputPin("capture pin", filter, lock, &hr, L"In") {}
    HRESULT CheckMediaType(const CMediaType*) override { return S_OK; }
    HRESULT Receive(IMediaSample* sample) override {
        const HRESULT hr = CBaseInputPin::Receive(sample);
        if (hr != S_OK) return hr;
        Received r;
        uint8_t* data = nullptr;
        sample->GetPointer(&data);
        r.bytes.assign(data, data + sample->GetActualDataLength());
        sample->GetTime(&r.start, &r.stop);
        std::lock_guard<std::mutex> guard(mutex);
        if (hold) sample->AddRef(), held.push_back(sample);
        samples.push_back(std::move(r));
        log.push_back("sample");
        changed.notify_all();
        return S_OK;
    }
    HRESULT EndOfStream() override { return Note("eos"), S_OK; }
    HRESULT BeginFlush() override { return Note("flush"), CBaseInputPin::BeginFlush(); }
    HRESULT EndFlush() override { return Note("endflush"), CBaseInputPin::EndFlush(); }
    // Samples and stream events in the order they came, once there are `n`.
    std::vector<std::string> WaitForLog(size_t n) {
        std::unique_lock<std::mutex> guard(mutex);
        changed.wait_for(guard, kPatience, [&] { return log.size() >= n; });
        return log;
    }
    std::vector<Received> WaitFor(size_t n) {
        std::unique_lock<std::mutex> guard(mutex);
        changed.wait_for(guard, kPatience, [&] { return samples.size() >= n; });
        return samples;
    }
    std::vector<Received> Samples() {
        std::lock_guard<std::mutex> guard(mutex);
        return samples;
    }

    void ReleaseHeld() {
        std::lock_guard<std::mutex> guard(mutex);
        for (IMediaSample* sample : held) sample->Release();
        held.clear();
    }

    HRESULT hr = S_OK;
    bool hold = false;  // set before streaming: keep every sample, so the pool runs dry

private:
    void Note(const char* event) {
        std::lock_guard<std::mutex> guard(mutex);
        log.push_back(event);
        changed.notify_all();
    }

    std::mutex mutex;
    std::condition_variable changed;  // with `mutex`
    std::vector<Received> samples;    // guarded by `mutex`
    std::vector<std::string> log;     // guarded by `mutex`
    std::vector<IMediaSample*> held;  // guarded by `mutex`
};

class CaptureSink : public CBaseFilter {
public:
    CaptureSink() : CBaseFilter("capture sink", nullptr, &lock, GUID_NULL), pin(this, &lock) {}
    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int n) override { return n == 0 ? &pin : nullptr; }
    CURecursiveLock lock;
    CapturePin pin;
};

// Filters held by reference, in one event queue, stopped (downstream first), disconnected and
// released at the end. A sound output device is there unless a test says otherwise.
class Graph : public testing::Test {
protected:
    void SetUp() override { platform::SetSoundOutputDeviceOverride(true); }
    void TearDown() override {
        for (CBaseFilter* filter : filters) filter->Stop();
        for (CBaseFilter* filter : filters) {
            for (int i = 0; i < filter->GetPinCount(); ++i) filter->GetPin(i)->Disconnect();
        }
        for (CBaseFilter* filter : filters) filter->Release();
        platform::SetSoundOutputDeviceOverride(std::nullopt);
    }
    template <class T>
    T* Add(T* filter) {
        filter->AddRef();
        filter->JoinFilterGraph(&events);
        filters.insert(filters.begin(), filter);  // downstream filters are added later
        return filter;
    }
    void PauseAll() {
        for (CBaseFilter* filter : filters) ASSERT_EQ(filter->Pause(), S_OK);
    }
    std::vector<std::vector<LONG_PTR>> Events() {
        std::vector<std::vector<LONG_PTR>> all;
        long code = 0;
        LONG_PTR p1 = 0, p2 = 0;
        while (events.GetEvent(&code, &p1, &p2, 0) == S_OK) all.push_back({code, p1, p2});
        return all;
    }

    CMediaEventQueue events;
    std::vector<CBaseFilter*> filters;
};

// ---- Sound mixer and splitter ----

// A source into the mixer or the splitter, whose sound goes to `sound` and (the splitter's, when
// asked) levels to `levels`.
class SoundTest : public Graph {
protected:
    void BuildMixer(const CMediaType& type = PCMType(2, 16)) {
        source = Add(new PushSource(type));
        mixer = Add(new CSoundMixerFilter(nullptr, nullptr, CLSID_SoundMixerFilter));
        sound = Add(new CaptureSink());
        ASSERT_EQ(source->pin.Connect(mixer->GetPin(0), nullptr), S_OK);
        ASSERT_EQ(static_cast<IPin*>(mixer->GetPin(1))->Connect(&sound->pin, nullptr), S_OK);
        PauseAll();
    }
    void BuildSplitter(const CMediaType& type, bool mp4 = false, bool levelSink = true) {
        source = Add(new PushSource(type));
        splitter = Add(new CSoundSplitterFilter(
            nullptr, nullptr, mp4 ? CLSID_MP4SoundSplitterFilter : CLSID_SoundSplitterFilter, mp4));
        sound = Add(new CaptureSink());
        ASSERT_EQ(splitter->GetPinCount(), 1);
        ASSERT_EQ(source->pin.Connect(splitter->GetPin(0), nullptr), S_OK);
        ASSERT_EQ(splitter->GetPinCount(), 3);
        ASSERT_EQ(static_cast<IPin*>(splitter->GetPin(1))->Connect(&sound->pin, nullptr), S_OK);
        if (levelSink) {
            levels = Add(new CaptureSink());
            ASSERT_EQ(static_cast<IPin*>(splitter->GetPin(2))->Connect(&levels->pin, nullptr),
                      S_OK);
        }
        PauseAll();
    }
    PushSource* source = nullptr;
    CSoundMixerFilter* mixer = nullptr;
    CSoundSplitterFilter* splitter = nullptr;
    CaptureSink* sound = nullptr;
    CaptureSink* levels = nullptr;
};

struct GateCase {
    const char* name;
    uint32_t left, right;
    Bytes in, out;
    uint32_t streamId = AM_STREAM_MEDIA;
};

class MixerGate : public SoundTest, public testing::WithParamInterface<GateCase> {};

TEST_P(MixerGate, PassesOnlyChannelsSetToOne) {
    BuildMixer();
    const GateCase& c = GetParam();
    ASSERT_EQ(mixer->SetChannelEnable(0, c.left), S_OK);
    ASSERT_EQ(mixer->SetChannelEnable(1, c.right), S_OK);
    ASSERT_EQ(source->Push(c.in, c.streamId), S_OK);
    const std::vector<Received> got = sound->pin.Samples();
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].bytes, c.out);
    EXPECT_EQ(got[0].start, 0);
    EXPECT_EQ(got[0].stop, 10);
}

INSTANTIATE_TEST_SUITE_P(
    Sound, MixerGate,
    testing::Values(
        // The trailing partial frame becomes zero.
        GateCase{"BothOn", 1, 1, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {1, 2, 3, 4, 5, 6, 7, 8, 0, 0}},
        GateCase{"BothOff", 0, 0, {1, 2, 3, 4, 5, 6, 7, 8}, {0, 0, 0, 0, 0, 0, 0, 0}},
        GateCase{"TwoIsOff", 2, 1, {1, 2, 3, 4, 5, 6, 7, 8}, {0, 0, 3, 4, 0, 0, 7, 8}},
        GateCase{"RightOff", 1, 0, {1, 2, 3, 4}, {1, 2, 0, 0}},
        GateCase{"TwoBytesGiveTwoZeros", 1, 1, {1, 2}, {0, 0}},
        GateCase{"OtherStreamsPassUntouched", 0, 0, {1, 2, 3, 4}, {1, 2, 3, 4}, 1}),
    [](const testing::TestParamInfo<GateCase>& info) { return std::string(info.param.name); });

// Whatever the input says, the output is 48 kHz stereo 16-bit; other types, a channel past the
// second and a null out pointer are refused.
TEST_F(SoundTest, MixerTypesAndRefusals) {
    BuildMixer(PCMType(6, 24, 96000));
    EXPECT_EQ(Fields(sound->pin.CurrentMediaType()),
              (std::vector<uint32_t>{2, 48000, 192000, 4, 16}));
    CMediaType video = PCMType(2, 16);
    video.SetType(&MEDIATYPE_Video);
    CMediaType other = PCMType(2, 16);
    other.SetFormatType(&FORMAT_None);
    for (const CMediaType* refused : {&video, &other}) {
        EXPECT_EQ(mixer->CheckInputType(refused), VFW_E_TYPE_NOT_ACCEPTED);
        EXPECT_EQ(mixer->CheckTransform(&sound->pin.CurrentMediaType(), refused),
                  VFW_E_TYPE_NOT_ACCEPTED);
    }
    uint32_t value = 0;
    EXPECT_EQ(mixer->SetChannelEnable(2, 0), E_INVALIDARG);
    EXPECT_EQ(mixer->GetChannelEnable(2, &value), E_INVALIDARG);
    EXPECT_EQ(mixer->GetChannelEnable(0, nullptr), E_POINTER);
}

TEST_F(SoundTest, SplitterRolesOutsideTheChannelsAndTypeChecksReset) {
    // The parsers' default type: the 40-byte extensible format, stereo 16-bit.
    CMediaType parser;
    ASSERT_EQ(audio_format::Build(nullptr, &parser), S_OK);
    BuildSplitter(parser, true);
    EXPECT_EQ(*levels->pin.CurrentMediaType().Type(), MEDIATYPE_MP4AudioLevel);
    splitter->SetChannelRole(0, 3);
    splitter->SetChannelRole(1, 0);
    splitter->SetChannelRole(2, 1);   // index == count
    splitter->SetChannelRole(-1, 1);  // negative
    ASSERT_EQ(source->Push({5, 0, 9, 0}), S_OK);
    // A second check with a format block puts every channel back to role 0: silence.
    ASSERT_EQ(splitter->GetPin(0)->QueryAccept(&parser), S_OK);
    ASSERT_EQ(source->Push({5, 0, 9, 0}), S_OK);
    const std::vector<Received> got = sound->pin.WaitFor(2);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].bytes, (Bytes{5, 0, 5, 0}));
    EXPECT_EQ(got[1].bytes, (Bytes{0, 0, 0, 0}));
    EXPECT_EQ(levels->pin.WaitFor(2).size(), 2u);
}

// Input types: what is refused leaves the format as it was; what is accepted takes it over.
struct InputType {
    const char* name;
    uint16_t channels, bits;
    int blockLength;  // -1: the written block, 0: none, else the written block cut short
    HRESULT result;
    uint32_t channelCount;  // after the check
};

class SplitterInput : public testing::TestWithParam<InputType> {};

TEST_P(SplitterInput, ChecksTheFormat) {
    const InputType& t = GetParam();
    CSoundSplitterFilter splitter(nullptr, nullptr, CLSID_SoundSplitterFilter, false);
    splitter.NonDelegatingAddRef();  // lives on the stack
    CMediaType type = PCMType(t.channels, t.bits);
    if (t.blockLength >= 0) {
        const Bytes block(type.Format(), type.Format() + t.blockLength);
        t.blockLength ? (void)type.SetFormat(block.data(), t.blockLength)
                      : type.ResetFormatBuffer();
    }
    EXPECT_EQ(splitter.GetPin(0)->CheckMediaType(&type), t.result);
    EXPECT_EQ(splitter.GetChannelCount(), t.channelCount);
}

constexpr HRESULT kRefused = VFW_E_TYPE_NOT_ACCEPTED;

INSTANTIATE_TEST_SUITE_P(
    Sound, SplitterInput,
    testing::Values(InputType{"EightBits", 2, 8, -1, kRefused, 0},
                    InputType{"ThirtyTwoBits", 2, 32, -1, kRefused, 0},
                    InputType{"TwelveBits", 2, 12, -1, kRefused, 0},
                    InputType{"NoChannels", 0, 16, -1, kRefused, 0},
                    InputType{"MoreChannelsThanLevels", 257, 16, -1, kRefused, 0},
                    InputType{"ShortBlock", 2, 16, 14, kRefused, 0},
                    InputType{"NoBlockChangesNothing", 2, 16, 0, S_OK, 0},
                    InputType{"Mono16", 1, 16, -1, S_OK, 1},
                    InputType{"AsManyChannelsAsLevels24", 256, 24, -1, S_OK, 256}),
    [](const testing::TestParamInfo<InputType>& info) { return std::string(info.param.name); });

TEST_F(SoundTest, SplitterWithItsLevelPinUnconnectedFailsEverySample) {
    BuildSplitter(PCMType(2, 16), false, false);
    EXPECT_EQ(source->Push({1, 0, 2, 0}), E_FAIL);
    EXPECT_EQ(source->Push({1, 0, 2, 0}), E_FAIL);
}

// Without a sound device each sample is dropped with an abort event; nothing is queued, so when a
// device comes back the next sample is the first to arrive.
class NoDevice : public SoundTest, public testing::WithParamInterface<bool> {};

TEST_P(NoDevice, DropsEverySampleAndTellsTheGraph) {
    GetParam() ? BuildSplitter(PCMType(2, 16)) : BuildMixer();
    platform::SetSoundOutputDeviceOverride(false);
    EXPECT_EQ(source->Push({1, 0, 2, 0}), S_OK);
    EXPECT_EQ(source->Push({1, 0, 2, 0}), S_OK);
    EXPECT_TRUE(sound->pin.Samples().empty());
    const std::vector<LONG_PTR> abort{EC_ERRORABORT, AUDCLNT_E_DEVICE_INVALIDATED, 0};
    EXPECT_EQ(Events(), (std::vector<std::vector<LONG_PTR>>{abort, abort}));
    platform::SetSoundOutputDeviceOverride(true);
    EXPECT_EQ(source->Push({7, 0, 8, 0}), S_OK);
    if (levels) {
        EXPECT_EQ(levels->pin.WaitFor(1).size(), 1u);
    }
    const std::vector<Received> got = sound->pin.WaitFor(1);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].start, 20);
}

INSTANTIATE_TEST_SUITE_P(Sound, NoDevice, testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Splitter" : "Mixer"; });

// Flushes and the end of the stream reach both outputs; a sample while flushing is refused.
TEST_F(SoundTest, SplitterStreamEventsReachBothPins) {
    BuildSplitter(PCMType(2, 16));
    IPin* input = splitter->GetPin(0);
    ASSERT_EQ(input->BeginFlush(), S_OK);
    EXPECT_EQ(source->Push({1, 0, 2, 0}), S_FALSE);
    ASSERT_EQ(input->EndFlush(), S_OK);
    ASSERT_EQ(source->Push({1, 0, 2, 0}), S_OK);
    ASSERT_EQ(input->EndOfStream(), S_OK);
    const std::vector<std::string> expected{"flush", "endflush", "sample", "eos"};
    EXPECT_EQ(sound->pin.WaitForLog(4), expected);
    EXPECT_EQ(levels->pin.WaitForLog(4), expected);
}

// A Receive waiting for a level buffer (all of them held downstream), or about to, comes back
// when the splitter stops, and Stop returns: the sound pin, which stops first, needs the receive
// lock that the waiting Receive holds.
TEST_F(SoundTest, SplitterStopReleasesASampleWaitingForABuffer) {
    BuildSplitter(PCMType(2, 16));
    levels->pin.hold = true;
    for (int i = 0; i < CAudioLevelOutputPin::kBuffers; ++i)
        ASSERT_EQ(source->Push({1, 0, 2, 0}), S_OK);
    ASSERT_EQ(levels->pin.WaitFor(CAudioLevelOutputPin::kBuffers).size(),
              size_t{CAudioLevelOutputPin::kBuffers});
    ASSERT_EQ(sound->pin.WaitFor(CAudioLevelOutputPin::kBuffers).size(),
              size_t{CAudioLevelOutputPin::kBuffers});
    HRESULT waited = S_OK;
    source->delivering.Reset();
    std::thread streaming([&] { waited = source->Push({1, 0, 2, 0}); });
    source->delivering.Wait();
    EXPECT_EQ(splitter->Stop(), S_OK);
    streaming.join();
    // Refused, without a sound buffer, or skipped without a level buffer: never delivered.
    EXPECT_TRUE(waited == VFW_E_WRONG_STATE || waited == VFW_E_NOT_COMMITTED || waited == S_OK)
        << std::hex << waited;
    EXPECT_EQ(sound->pin.Samples().size(), size_t{CAudioLevelOutputPin::kBuffers});
    levels->pin.ReleaseHeld();
}

// ---- Audio level renderer ----

class RendererTest : public Graph {
protected:
    void SetUp() override {
        Graph::SetUp();
        window = RegisterMessageWindow();
    }
    void TearDown() override {
        Graph::TearDown();
        UnregisterMessageWindow(window);
    }
    // A level source of `major` into a renderer of `flavour`.
    HRESULT Build(const GUID& major, bool mp4Flavour) {
        source = Add(new PushSource(LevelType(major)));
        renderer = Add(new CAudioLevelRenderer(
            nullptr, nullptr, mp4Flavour ? CLSID_MP4AudioLevelRenderer : CLSID_AudioLevelRenderer,
            mp4Flavour));
        renderer->SetLevelWindow(window, kMessage);
        return source->pin.Connect(renderer->GetPin(0), nullptr);
    }
    std::vector<MSG> Messages() {
        std::vector<MSG> all;
        MSG msg;
        while (CMessageWindows::PeekMessage(window, &msg)) all.push_back(msg);
        return all;
    }

    static constexpr UINT kMessage = 0x8123;
    HWND window = nullptr;
    PushSource* source = nullptr;
    CAudioLevelRenderer* renderer = nullptr;
};

TEST_F(RendererTest, EachFlavourRefusesTheOther) {
    EXPECT_NE(Build(MEDIATYPE_MP4AudioLevel, false), S_OK);
    CMediaType mxf = LevelType(MEDIATYPE_MXFAudioLevel), mp4 = LevelType(MEDIATYPE_MP4AudioLevel);
    EXPECT_EQ(renderer->CheckMediaType(&mp4), E_INVALIDARG);
    EXPECT_EQ(renderer->CheckMediaType(&mxf), S_OK);
    CAudioLevelRenderer row9(nullptr, nullptr, CLSID_MP4AudioLevelRenderer, true);
    row9.NonDelegatingAddRef();
    EXPECT_EQ(row9.CheckMediaType(&mxf), E_INVALIDARG);
    EXPECT_EQ(row9.CheckMediaType(&mp4), S_OK);
}

TEST_F(RendererTest, FirstSampleInPauseIsShownOnce) {
    ASSERT_EQ(Build(MEDIATYPE_MP4AudioLevel, true), S_OK);
    ASSERT_EQ(renderer->Pause(), S_OK);
    ASSERT_EQ(source->Pause(), S_OK);
    HRESULT pushed = E_FAIL;
    std::thread streaming([&] { pushed = source->Push(Levels({-10, -20})); });  // held in pause
    MSG msg;
    ASSERT_TRUE(CMessageWindows::GetMessage(window, &msg, kPatience));
    EXPECT_EQ(msg.wParam, 0xFFECFFF6u);
    ASSERT_EQ(renderer->Run(0), S_OK);  // renders the held sample: no second message
    streaming.join();
    EXPECT_EQ(pushed, S_OK);
    ASSERT_EQ(source->Push(Levels({-30, -40})), S_OK);
    const std::vector<MSG> got = Messages();
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].wParam, 0xFFD8FFE2u);
}

}  // namespace
