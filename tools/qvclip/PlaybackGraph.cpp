#include "tools/qvclip/PlaybackGraph.h"

#include <chrono>
#include <cstdio>
#include <new>

#include "filters/AudioLevelRenderer.h"
#include "filters/ConvertFilter.h"
#include "filters/FilterIds.h"
#include "filters/ModuleServer.h"
#include "filters/ParserInterfaces.h"
#include "filters/ParserOutputPin.h"
#include "filters/SoundMixerFilter.h"
#include "filters/SoundSplitterFilter.h"
#include "foundation/CUTextCodec.h"
#include "tools/qvclip/ClipSession.h"
#include "tools/qvclip/HostClip.h"
#include "tools/qvclip/RangeGate.h"

namespace qvclip {

namespace {

constexpr uint32_t kRoleLeft = 1, kRoleRight = 2;
constexpr long kProgressMs = 100;
constexpr long kClockStepMs = 20;  // how often a real-time play looks at the clock
constexpr long kCueStepMs = 5;  // how often a cueing graph looks at the sink
// A player waits briefly for the first picture, never long: a clip whose first picture takes
// longer (a 2160p long-GOP clip on a small machine) starts late pictures, as it would play on.
constexpr auto kCueLimit = std::chrono::milliseconds(500);

std::string Hex(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<uint32_t>(hr));
    return text;
}

bool IsMP4Family(const std::string& path) {
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos) return false;
    std::string extension = path.substr(dot + 1);
    for (char& c : extension) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
    return extension == "MP4" || extension == "MOV";
}

}  // namespace

CBaseFilter* PlaybackGraph::MakeFilter(const CLSID& clsid, const char* what) {
    HRESULT hr = S_OK;
    CUnknown* object = CreateFilterByClassId(clsid, nullptr, &hr);
    auto* filter = dynamic_cast<CBaseFilter*>(object);
    if (!filter || FAILED(hr)) {
        delete object;
        throw ClipError(std::string("the ") + what + " could not be made (" + Hex(hr) + ")");
    }
    return Adopt(filter, S_OK, what);
}

template <class Filter>
Filter* PlaybackGraph::Adopt(Filter* filter, HRESULT hr, const char* what) {
    if (!filter || FAILED(hr)) {
        delete filter;
        throw ClipError(std::string("the ") + what + " could not be made");
    }
    filter->NonDelegatingAddRef();
    filters.push_back(filter);
    graph.AddFilter(filter, L"filter");
    return filter;
}

void PlaybackGraph::Connect(IPin* from, IPin* to, const std::string& what) {
    const HRESULT hr = from && to ? graph.ConnectDirect(from, to, nullptr) : E_POINTER;
    if (FAILED(hr)) throw ClipError(name + ": " + what + " did not connect (" + Hex(hr) + ")");
}

template <class Interface>
Interface* PlaybackGraph::Query(CBaseFilter* filter, REFIID iid, const char* what) {
    void* object = nullptr;
    if (FAILED(filter->NonDelegatingQueryInterface(iid, &object)) || !object)
        throw ClipError(std::string("the ") + what + " lacks its interface");
    auto* result = static_cast<Interface*>(object);
    result->Release();  // the graph holds the filter; the interface lives as long
    return result;
}

PlaybackGraph::PlaybackGraph(const PlaybackSetup& setup, EventLog& log)
    : setup(setup), log(log), name(setup.path) {
    const bool mp4 = IsMP4Family(setup.path);
    parser = dynamic_cast<CParseFilter*>(
        MakeFilter(mp4 ? CLSID_MP4ParseFilter : CLSID_MXFParseFilter, "parser filter"));
    if (!parser) throw ClipError("the parser filter is not a parser");
    const std::wstring widePath = cu_text::EncodeWide(cu_text::DecodeUTF8(setup.path));
    CUSharedPtr<CMBXClip> clip = setup.members.empty() ? CUCreate<HostClip>(setup.path)
                                                       : CUCreate<HostClip>(setup.members);
    if (parser->Load(widePath.c_str(), clip) != S_OK)
        throw ClipError(setup.path + ": the parser filter did not load the clip");

    BuildPictures(setup);
    if (setup.decode && !setup.decodeOnly) {
        BuildTimecode(setup);
        if (setup.channels > 0) BuildSound(setup);
    }
}

void PlaybackGraph::BuildPictures(const PlaybackSetup& setup) {
    const bool mp4 = IsMP4Family(setup.path);
    if (setup.scale > 0) {
        if (mp4) {
            Query<IMP4ParserFilter>(parser, IID_IMP4ParserFilter, "parser")
                ->SetPictureScale(setup.scale);
        } else {
            Query<IMXFParserFilter>(parser, IID_IMXFParserFilter, "parser")
                ->SetPictureScale(setup.scale);
        }
    }
    HRESULT hr = S_OK;
    pictureSink = Adopt(new (std::nothrow) PictureSink(setup.realtime, setup.rate,
                                                       setup.frameCount, setup.endFrame, setup.md5,
                                                       log, setup.pictures, setup.sheet, &hr),
                        hr, "picture sink");
    IPin* pictures = parser->VideoPin();
    if (setup.decode) {
        CBaseFilter* decoder = MakeFilter(CLSID_MovieDecodeFilter, "movie decode filter");
        Connect(pictures, decoder->GetPin(0), "the video pin and the decoder");
        pictures = decoder->GetPin(1);
        if (setup.scale > 0) {
            CBaseFilter* resize = MakeFilter(CLSID_MovieResizeFilter, "movie resize filter");
            Connect(pictures, resize->GetPin(0), "the decoder and the resize filter");
            pictures = resize->GetPin(1);
        }
        if (!setup.decodeOnly) {
            CBaseFilter* convert = MakeFilter(CLSID_ConvertFilter, "convert filter");
            Connect(pictures, convert->GetPin(0), "the pictures and the convert filter");
            if (setup.convert)
                Query<IConvertFilter>(convert, IID_IConvertFilter, "convert filter")
                    ->SetTargetConversion(1, 0);
            pictures = convert->GetPin(1);
        }
    }
    Connect(pictures, pictureSink->InputPin(), "the pictures and the sink");
}

void PlaybackGraph::BuildTimecode(const PlaybackSetup& setup) {
    const bool mp4 = IsMP4Family(setup.path);
    auto* gate = Adopt(new (std::nothrow) RangeGate(setup.rate, setup.firstFrame, setup.endFrame),
                       S_OK, "timecode gate");
    Connect(parser->TimecodePin(), gate->GetPin(0), "the timecode pin");
    timecodeRenderer =
        MakeFilter(mp4 ? CLSID_MP4TimecodeRenderer : CLSID_TimecodeRenderer, "timecode renderer");
    Connect(gate->GetPin(1), timecodeRenderer->GetPin(0), "the timecode renderer");
    if (!setup.realtime) {
        step = new StepClock;
        step->NonDelegatingAddRef();
    }
    messages = std::make_unique<HostMessages>(
        log,
        Query<IMSFRealtimeMetaDataRenderer>(timecodeRenderer, IID_IMSFRealtimeMetaDataRenderer,
                                            "timecode renderer"),
        mp4, setup.channels, setup.rate, step);
    Query<IMSFTimecodeRenderer>(timecodeRenderer, IID_IMSFTimecodeRenderer, "timecode renderer")
        ->SetTimecodeWindow(messages->Window(), HostMessages::kTimecodeMessage);
    Query<IMSFRealtimeMetaDataRenderer>(timecodeRenderer, IID_IMSFRealtimeMetaDataRenderer,
                                        "timecode renderer")
        ->SetMetaDataWindow(messages->Window(), HostMessages::kMetaDataMessage);
}

void PlaybackGraph::BuildSound(const PlaybackSetup& setup) {
    const bool mp4 = IsMP4Family(setup.path);
    auto* gate = Adopt(new (std::nothrow) RangeGate(setup.rate, setup.firstFrame, setup.endFrame),
                       S_OK, "sound gate");
    Connect(parser->AudioPin(), gate->GetPin(0), "the audio pin");
    CBaseFilter* splitter =
        MakeFilter(mp4 ? CLSID_MP4SoundSplitterFilter : CLSID_SoundSplitterFilter,
                   "sound splitter");
    Connect(gate->GetPin(1), splitter->GetPin(0), "the sound splitter");
    auto* roles = Query<IMSFSoundSplitterFilter>(splitter, IID_IMSFSoundSplitterFilter,
                                                 "sound splitter");
    for (uint32_t c = 0; c < roles->GetChannelCount(); ++c)
        roles->SetChannelRole(static_cast<int32_t>(c),
                              c < setup.roles.size() ? setup.roles[c]
                              : setup.roles.empty()  ? (c % 2 ? kRoleRight : kRoleLeft)
                                                     : 0);

    // The mixer's gate takes 16-bit stereo; wider sound goes round it and is gated in the sink.
    const bool mixed = setup.soundBits == 16;
    HRESULT hr = S_OK;
    soundSink = Adopt(new (std::nothrow) SoundSink(setup.realtime, setup.wavPath,
                                                   mixed ? SideMute{} : setup.mute, &hr),
                      hr, "sound sink");
    IPin* sound = splitter->GetPin(1);
    if (mixed) {
        CBaseFilter* mixer = MakeFilter(CLSID_SoundMixerFilter, "sound mixer");
        Connect(sound, mixer->GetPin(0), "the splitter and the mixer");
        auto* gateSides = Query<IMSFSoundMixerFilter>(mixer, IID_IMSFSoundMixerFilter, "mixer");
        gateSides->SetChannelEnable(0, setup.mute.left ? 0 : 1);
        gateSides->SetChannelEnable(1, setup.mute.right ? 0 : 1);
        sound = mixer->GetPin(1);
    }
    Connect(sound, soundSink->InputPin(), "the sound and its sink");

    levelRenderer = MakeFilter(mp4 ? CLSID_MP4AudioLevelRenderer : CLSID_AudioLevelRenderer,
                               "audio level renderer");
    Connect(splitter->GetPin(2), levelRenderer->GetPin(0), "the level pin");
    if (messages)
        Query<IMSFAudioLevelRenderer>(levelRenderer, IID_IMSFAudioLevelRenderer, "level renderer")
            ->SetLevelWindow(messages->Window(), HostMessages::kLevelMessage);
}

PlaybackGraph::~PlaybackGraph() {
    Stop();
    if (step) step->NonDelegatingRelease();
    // The graph lets go of its filters when it goes; our own references go first.
    for (auto it = filters.rbegin(); it != filters.rend(); ++it) (*it)->NonDelegatingRelease();
}

void PlaybackGraph::Stop() {
    if (step) step->Open();  // nothing waits on it any more
    graph.Stop();
    if (messages) messages->Stop();
}

void PlaybackGraph::Seek(int64_t frame) {
    void* object = nullptr;
    CParserOutputPin* video = parser->VideoPin();
    if (FAILED(video->NonDelegatingQueryInterface(IID_IMediaSeeking, &object)))
        throw ClipError("the video pin does not seek");
    auto* seeking = static_cast<IMediaSeeking*>(object);
    seeking->SetTimeFormat(&TIME_FORMAT_FRAME);
    const HRESULT hr =
        seeking->SetPositions(&frame, AM_SEEKING_AbsolutePositioning, nullptr, 0);
    seeking->Release();
    if (FAILED(hr)) throw ClipError("the seek to frame " + std::to_string(frame) + " failed");
    // Stopped, the parser moves its seeking pin alone; the other pins start where it starts, as
    // they would after a seek while running.
    for (CParserOutputPin* pin : {parser->AudioPin(), parser->TimecodePin()})
        if (pin && pin->IsConnected()) pin->SetStartAndPreroll(frame, video->PrerollStart());
}

HRESULT PlaybackGraph::Play(const std::function<void()>& progress) {
    HRESULT hr = graph.Pause();
    if (FAILED(hr)) return hr;
    if (!setup.realtime) {
        // As fast as possible: timecode in step with the host's reading of it, levels at once.
        if (timecodeRenderer) timecodeRenderer->SetSyncSource(step);
        if (levelRenderer) levelRenderer->SetSyncSource(nullptr);
    }
    int renderers = 1 + (soundSink ? 2 : 0) + (timecodeRenderer ? 1 : 0);
    bool running = false;
    uint64_t metadataSeen = UINT64_MAX;  // metadata messages taken at the last quiet wait
    const auto cueEnd = std::chrono::steady_clock::now() + kCueLimit;
    for (;;) {
        // Paused until the first picture is at the sink (or kCueLimit passed), as a player cues
        // a clip: the clock starts when there is something to show.
        if (!running && (pictureSink->Cued() || std::chrono::steady_clock::now() >= cueEnd)) {
            hr = graph.Run();
            if (FAILED(hr)) return hr;
            running = true;
        }
        // Against the clock the range lasts its own time: when the clock has passed its last
        // frame, pictures that are still on their way are late, and dropped with the rest.
        REFERENCE_TIME now = 0;
        if (running && setup.realtime && SUCCEEDED(graph.StreamTime(&now)) &&
            now >= frame_time::FromFrames(setup.endFrame - setup.firstFrame, setup.rate))
            return S_OK;
        long code = 0;
        LONG_PTR param1 = 0, param2 = 0;
        const long wait = !running ? kCueStepMs : setup.realtime ? kClockStepMs : kProgressMs;
        if (graph.GetEvent(&code, &param1, &param2, wait) != S_OK) {
            // Once the pictures are through, a frame whose timecode never came must not hold the
            // step clock for ever. Opening it while messages still come would let the renderer
            // replace a frame's analysis before the host read it, so it opens only after two
            // quiet waits in a row without a metadata message.
            if (step && messages && pictureSink->Finished()) {
                const uint64_t taken = messages->MetaData();
                if (taken == metadataSeen) step->Open();
                metadataSeen = taken;
            }
            if (progress && running) progress();
            continue;
        }
        if (code == EC_COMPLETE && --renderers == 0) return S_OK;
        if (code == EC_ERRORABORT)
            return FAILED(static_cast<HRESULT>(param1)) ? static_cast<HRESULT>(param1) : E_FAIL;
        if (code == EC_QV_FRAME_JUMP && log.Enabled())
            log.Write({{"event", "jump"}, {"from", param1}, {"to", param2}});
    }
}

}  // namespace qvclip
