#include "tools/qvclip/PlaybackGraph.h"

#include <cstdio>
#include <new>

#include "filters/FilterIds.h"
#include "filters/ModuleServer.h"
#include "filters/ParserOutputPin.h"
#include "foundation/CUTextCodec.h"
#include "tools/qvclip/ClipSession.h"
#include "tools/qvclip/HostClip.h"

namespace qvclip {

namespace {

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
    filter->NonDelegatingAddRef();
    graph.AddFilter(filter, L"filter");
    return filter;
}

PlaybackGraph::PlaybackGraph(const PlaybackSetup& setup, EventLog& log) : log(log) {
    const CLSID& clsid = IsMP4Family(setup.path) ? CLSID_MP4ParseFilter : CLSID_MXFParseFilter;
    CBaseFilter* filter = MakeFilter(clsid, "parser filter");
    parser = dynamic_cast<CParseFilter*>(filter);
    if (!parser) {
        filter->NonDelegatingRelease();
        throw ClipError("the parser filter is not a parser");
    }

    const std::wstring widePath = cu_text::EncodeWide(cu_text::DecodeUTF8(setup.path));
    CUSharedPtr<CMBXClip> clip = setup.members.empty() ? CUCreate<HostClip>(setup.path)
                                                       : CUCreate<HostClip>(setup.members);
    if (parser->Load(widePath.c_str(), clip) != S_OK)
        throw ClipError(setup.path + ": the parser filter did not load the clip");

    HRESULT hr = S_OK;
    sink = new (std::nothrow) PictureSink(setup.realtime, setup.rate, setup.frameCount,
                                          setup.endFrame, setup.md5, log, &hr);
    if (!sink || FAILED(hr)) {
        delete sink;
        sink = nullptr;
        throw ClipError("the picture sink could not be made");
    }
    sink->NonDelegatingAddRef();
    graph.AddFilter(sink, L"picture sink");
    IPin* pictures = parser->VideoPin();
    if (setup.decode) {
        decoder = MakeFilter(CLSID_MovieDecodeFilter, "movie decode filter");
        hr = graph.ConnectDirect(pictures, decoder->GetPin(0), nullptr);
        if (FAILED(hr))
            throw ClipError(setup.path + ": the video pin did not connect to the decoder (" +
                            Hex(hr) + ")");
        pictures = decoder->GetPin(1);
    }
    hr = graph.ConnectDirect(pictures, sink->InputPin(), nullptr);
    if (FAILED(hr))
        throw ClipError(setup.path + ": the pictures did not reach the sink (" + Hex(hr) + ")");
}

PlaybackGraph::~PlaybackGraph() {
    // The graph stops and lets go of its filters when it goes; our own references go first.
    graph.Stop();
    if (sink) sink->NonDelegatingRelease();
    if (decoder) decoder->NonDelegatingRelease();
    if (parser) parser->NonDelegatingRelease();
}

void PlaybackGraph::Seek(int64_t frame) {
    void* object = nullptr;
    if (FAILED(parser->VideoPin()->NonDelegatingQueryInterface(IID_IMediaSeeking, &object)))
        throw ClipError("the video pin does not seek");
    auto* seeking = static_cast<IMediaSeeking*>(object);
    seeking->SetTimeFormat(&TIME_FORMAT_FRAME);
    const HRESULT hr =
        seeking->SetPositions(&frame, AM_SEEKING_AbsolutePositioning, nullptr, 0);
    seeking->Release();
    if (FAILED(hr)) throw ClipError("the seek to frame " + std::to_string(frame) + " failed");
}

HRESULT PlaybackGraph::Play() {
    HRESULT hr = graph.Run();
    if (FAILED(hr)) return hr;
    for (;;) {
        long code = 0;
        LONG_PTR param1 = 0, param2 = 0;
        if (graph.GetEvent(&code, &param1, &param2, -1) != S_OK) continue;
        if (code == EC_COMPLETE || code == EC_QV_RANGE_PLAYED) return S_OK;
        if (code == EC_ERRORABORT) return FAILED(static_cast<HRESULT>(param1))
                                              ? static_cast<HRESULT>(param1)
                                              : E_FAIL;
        if (code == EC_QV_FRAME_JUMP && log.Enabled())
            log.Write({{"event", "jump"}, {"from", param1}, {"to", param2}});
    }
}

}  // namespace qvclip
