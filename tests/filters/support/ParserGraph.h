// A test host for the parser filters: a synthesized MXF clip, an MXFParseFilter in a CFilterGraph,
// and recording renderers on its pins. A recording renderer keeps what each sample carried (times,
// marks, the MD5 of its bytes, the segment it came in) and can be slow on purpose: it then keeps a
// virtual clock that advances by a fixed cost per rendered sample and tells upstream how late each
// sample is against it, exactly as a renderer that needs that long would. Against the graph's
// real clock only when asked (`realtime`); otherwise it renders as fast as samples come.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "filters/FrameTime.h"
#include "filters/MXFParseFilter.h"
#include "filters/MovieDecodeFilter.h"
#include "filters/ParserEvents.h"
#include "filters/ParserOutputPin.h"
#include "platform/BaseRenderer.h"
#include "platform/FilterGraph.h"
#include "support/Md5.h"
#include "support/TestFiles.h"
#include "tools/qvclip/synth/Synthesizer.h"

namespace qvtest {

// The host's clip object: a lone file, or a list of member files that the host knows (the clip
// then plays as the H.264 family; a lone file as the HEVC family).
class TestClip : public CMBXClip {
public:
    TestClip(std::string path, bool fileList) : path(std::move(path)), fileList(fileList) {}
    bool IsFileListClip() override { return fileList; }
    void GetMediaFilePaths(CUSharedPtr<CUArray>* out) override {
        if (!out) return;
        CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
        array->AddObject(CUCreate<CUStringWin>(path.c_str()));
        *out = array;
    }

private:
    const std::string path;
    const bool fileList;
};

struct Delivered {
    int segment = 0;  // count of new segments before it
    bool timed = false;
    REFERENCE_TIME start = 0, stop = 0;
    bool preroll = false, sync = false, discontinuity = false;
    uint32_t typeFlags = 0;  // dwTypeSpecificFlags
    std::string md5;
    std::vector<uint8_t> bytes;  // only from a renderer that keeps them
};

struct Segment {
    REFERENCE_TIME start = 0, stop = 0;
};

class RecordingRenderer : public CBaseRenderer {
public:
    RecordingRenderer(const GUID& major, bool realtime)
        : CBaseRenderer(GUID_NULL, "recording renderer", nullptr, &hr),
          major(major),
          realtime(realtime) {}

    HRESULT CheckMediaType(const CMediaType* pmt) override {
        return pmt && *pmt->Type() == major ? S_OK : E_FAIL;
    }
    // Without `realtime` the renderer has no clock: every sample renders when it comes.
    HRESULT SetSyncSource(IReferenceClock* clock) override {
        return CBaseRenderer::SetSyncSource(realtime ? clock : nullptr);
    }
    HRESULT OnNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double) override {
        std::lock_guard<std::mutex> guard(lock);
        segments.push_back({start, stop});
        virtualNow = 0;
        return S_OK;
    }
    HRESULT PrepareReceive(IMediaSample* sample) override {
        Delivered d;
        REFERENCE_TIME start = 0, stop = 0;
        d.timed = SUCCEEDED(sample->GetTime(&start, &stop));
        d.start = start;
        d.stop = stop;
        d.preroll = sample->IsPreroll() == S_OK;
        d.sync = sample->IsSyncPoint() == S_OK;
        d.discontinuity = sample->IsDiscontinuity() == S_OK;
        AM_SAMPLE2_PROPERTIES properties{};
        void* sample2 = nullptr;
        if (SUCCEEDED(sample->QueryInterface(IID_IMediaSample2, &sample2))) {
            static_cast<IMediaSample2*>(sample2)->GetProperties(
                sizeof properties, reinterpret_cast<uint8_t*>(&properties));
            static_cast<IMediaSample2*>(sample2)->Release();
        }
        d.typeFlags = properties.dwTypeSpecificFlags;
        uint8_t* data = nullptr;
        sample->GetPointer(&data);
        const auto length = static_cast<size_t>(sample->GetActualDataLength());
        d.md5 = Md5Hex(data, length);
        if (keepBytes) d.bytes.assign(data, data + length);
        {
            std::lock_guard<std::mutex> guard(lock);
            d.segment = static_cast<int>(segments.size());
            samples.push_back(d);
        }
        changed.notify_all();
        if (gate) gate(d);
        if (renderCost > 0 && d.timed && !d.preroll) {
            // Slow on purpose: this sample is shown once the previous one took its time.
            virtualNow = std::max(virtualNow, d.start) + renderCost;
            Quality q;
            q.Late = virtualNow - d.start - renderCost;
            q.Type = q.Late > 0 ? Flood : Famine;
            q.TimeStamp = d.start;
            m_pInputPin->PassNotify(q);
        }
        return S_OK;
    }
    HRESULT DoRenderSample(IMediaSample*) override { return S_OK; }
    HRESULT EndOfStream() override {
        {
            std::lock_guard<std::mutex> guard(lock);
            ++ends;
        }
        changed.notify_all();
        return CBaseRenderer::EndOfStream();
    }

    // Waits until `n` ends of stream arrived; false after `patience`.
    bool WaitForEnds(int n, std::chrono::seconds patience) {
        std::unique_lock<std::mutex> guard(lock);
        return changed.wait_for(guard, patience, [&] { return ends >= n; });
    }
    std::vector<Delivered> Samples() {
        std::lock_guard<std::mutex> guard(lock);
        return samples;
    }
    std::vector<Segment> Segments() {
        std::lock_guard<std::mutex> guard(lock);
        return segments;
    }
    int Ends() {
        std::lock_guard<std::mutex> guard(lock);
        return ends;
    }
    void Clear() {
        std::lock_guard<std::mutex> guard(lock);
        samples.clear();
        segments.clear();
        ends = 0;
    }

    HRESULT hr = S_OK;
    REFERENCE_TIME renderCost = 0;               // set before running; 0: not slow
    bool keepBytes = false;                      // set before running
    std::function<void(const Delivered&)> gate;  // called on the streaming thread, may block

private:
    const GUID major;
    const bool realtime;
    REFERENCE_TIME virtualNow = 0;  // streaming thread only
    std::mutex lock;
    std::condition_variable changed;
    std::vector<Delivered> samples;  // guarded by `lock`
    std::vector<Segment> segments;   // guarded by `lock`
    int ends = 0;                    // guarded by `lock`
};

// Which parser pins a test connects, and whether the pictures go through the movie decoder.
struct PinChoice {
    bool video = true, audio = false, timecode = false;
    bool decode = false;
    // Set: the opened clip is taken as this kind of clip before the pins connect. Clips of
    // information-file version 1 are where MPEG-2 pictures come from; until the test media has
    // such clips, an MXF file stands in for one this way.
    int64_t clipVersion = -1;
};

// A 128 x 72 clip of `frames` frames at 25 fps, a key frame every `gop`, `channels` sound tracks.
inline synth::SynthOptions SmallClip(const std::string& dir, std::string name, uint32_t frames,
                                     uint32_t gop, uint32_t channels) {
    synth::SynthOptions o;
    o.outDir = dir, o.name = std::move(name), o.frames = frames, o.gop = gop;
    o.channels = channels, o.width = 128, o.height = 72;
    return o;
}

class ParserGraph {
public:
    ParserGraph(const synth::SynthOptions& options, PinChoice pins, bool realtime = false,
                bool fileList = true)
        : ParserGraph(synth::Synthesize(options), {options.rateNumerator, options.rateDenominator},
                      pins, realtime, fileList) {}
    // A clip written before, perhaps changed since (its first path is the file that loads).
    ParserGraph(synth::SynthResult written, frame_time::Rate rate, PinChoice pins,
                bool realtime = false, bool fileList = true)
        : clip(std::move(written)), rate(rate) {
        HRESULT hr = S_OK;
        filter = new MXFParseFilter(nullptr, &hr);
        filter->NonDelegatingAddRef();
        graph.AddFilter(filter, L"parser");
        const std::wstring path(clip.paths.at(0).begin(), clip.paths.at(0).end());
        loaded = filter->Load(path.c_str(), CUCreate<TestClip>(clip.paths.at(0), fileList));
        if (FAILED(loaded)) return;
        for (size_t i = 0; i < clip.packages.size(); ++i)
            frameOfMd5[clip.packages[i].picture.md5] = static_cast<int64_t>(i);
        if (pins.clipVersion >= 0)
            filter->GetStreamManager()->clipVersion = static_cast<uint32_t>(pins.clipVersion);
        IPin* pictures = filter->VideoPin();
        if (pins.decode) {
            HRESULT made = S_OK;
            decoder = new CMovieDecodeFilter(nullptr, &made, CLSID_MovieDecodeFilter);
            decoder->NonDelegatingAddRef();
            graph.AddFilter(decoder, L"decoder");
            connected = SUCCEEDED(made) &&
                        SUCCEEDED(graph.ConnectDirect(pictures, decoder->GetPin(0), nullptr));
            pictures = decoder->GetPin(1);
        }
        auto attach = [&](bool wanted, IPin* pin, const GUID& major) {
            if (!wanted) return static_cast<RecordingRenderer*>(nullptr);
            auto* renderer = new RecordingRenderer(major, realtime);
            renderer->NonDelegatingAddRef();
            renderers.push_back(renderer);
            graph.AddFilter(renderer, L"renderer");
            connected =
                connected && SUCCEEDED(graph.ConnectDirect(pin, renderer->InputPin(), nullptr));
            return renderer;
        };
        video = attach(pins.video, pictures, MEDIATYPE_Video);
        audio = attach(pins.audio, filter->AudioPin(), MEDIATYPE_Audio);
        timecode = attach(pins.timecode, filter->TimecodePin(), MEDIATYPE_MXFTimecode);
    }
    // The graph stops and lets go of the filters when it goes; the test's own references go first.
    ~ParserGraph() {
        graph.Stop();
        for (auto* r : renderers) r->NonDelegatingRelease();
        if (decoder) decoder->NonDelegatingRelease();
        filter->NonDelegatingRelease();
    }

    // Runs to the end of the stream (two minutes at most) and stops; the first failure, if any.
    HRESULT Play() {
        HRESULT hr = graph.Run();
        if (SUCCEEDED(hr)) hr = graph.WaitForCompletion(120000);
        graph.Stop();
        return hr;
    }
    IMediaSeeking* Seeking() {
        void* seeking = nullptr;
        filter->VideoPin()->NonDelegatingQueryInterface(IID_IMediaSeeking, &seeking);
        auto* s = static_cast<IMediaSeeking*>(seeking);
        if (s) s->Release();  // the pin lives as long as the filter
        return s;
    }
    // Clip frame of a delivered picture, by its bytes; -1 when it is no picture of the clip.
    int64_t FrameOf(const Delivered& d) const {
        auto it = frameOfMd5.find(d.md5);
        return it == frameOfMd5.end() ? -1 : it->second;
    }
    REFERENCE_TIME TimeOf(int64_t frames) const { return frame_time::FromFrames(frames, rate); }

    synth::SynthResult clip;
    const frame_time::Rate rate;
    CFilterGraph graph;
    MXFParseFilter* filter = nullptr;
    CMovieDecodeFilter* decoder = nullptr;  // with PinChoice::decode
    HRESULT loaded = E_FAIL;
    bool connected = true;
    RecordingRenderer* video = nullptr;
    RecordingRenderer* audio = nullptr;
    RecordingRenderer* timecode = nullptr;

private:
    std::vector<RecordingRenderer*> renderers;
    std::map<std::string, int64_t> frameOfMd5;
};

}  // namespace qvtest
