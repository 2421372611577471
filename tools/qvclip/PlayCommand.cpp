#include "tools/qvclip/PlayCommand.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>

#include "tools/qvclip/ClipOutput.h"
#include "tools/qvclip/EventLog.h"
#include "tools/qvclip/PlaybackGraph.h"

namespace qvclip {

void PlayCommand::Register(CLI::App& parent) {
    app = parent.add_subcommand("play", "Play the clip through the filter graph");
    clip.Register(*app);
    range.Register(*app);
    app->add_flag("--realtime", realtime, "Play against the clock (default: as fast as possible)");
    app->add_option("--events", eventsPath,
                    "Write every rendered frame, quality message and frame jump as JSON lines");
    app->add_flag("--md5", md5, "Add the MD5 of each rendered picture to its frame event");
    app->add_flag("--compressed", compressed,
                  "Do not decode: the sink takes the compressed pictures");
}

int PlayCommand::Run() {
    // The clip is opened once here as well: a clip that does not open is named with its reason.
    ClipSession session = clip.Open();
    const FrameSpan span = range.Resolve(session);
    PlaybackSetup setup;
    setup.path = clip.members.empty() ? clip.path : clip.members.front();
    setup.members = clip.members;
    setup.realtime = realtime;
    session.Manager().GetFrameRate(setup.rate);
    setup.frameCount = static_cast<int64_t>(session.FrameCount());
    setup.endFrame = static_cast<int64_t>(span.end);
    setup.decode = !compressed;
    setup.md5 = md5;

    EventLog log(eventsPath);
    PlaybackGraph graph(setup, log);
    if (span.first > 0) graph.Seek(static_cast<int64_t>(span.first));
    const auto begin = std::chrono::steady_clock::now();
    const HRESULT hr = graph.Play();
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    graph.Stop();
    if (!log.Close()) throw ClipError(eventsPath + ": the event file could not be written");
    if (FAILED(hr)) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", static_cast<uint32_t>(hr));
        throw ClipError(session.Name() + ": playback stopped with failure " + code);
    }

    const PictureSink& sink = graph.Sink();
    const uint64_t rendered = sink.Rendered();
    if (!compressed && rendered == 0 && span.end > span.first)
        throw ClipError(session.Name() +
                        ": no picture came out of the decoder (the kind of clip decides the "
                        "coding: a lone MXF file plays as HEVC, files given with --members as "
                        "H.264)");
    const int64_t first = sink.FirstFrame(), last = sink.LastFrame();
    const uint64_t covered = rendered > 0 ? static_cast<uint64_t>(last - first + 1) : 0;
    const uint64_t dropped = covered > rendered ? covered - rendered : 0;
    const double fps = seconds > 0 ? static_cast<double>(rendered) / seconds : 0;
    if (clip.json) {
        PrintJsonLine({{"rendered", rendered},
                       {"dropped", dropped},
                       {"first", rendered ? Json(first) : Json()},
                       {"last", rendered ? Json(last) : Json()},
                       {"seconds", seconds},
                       {"fps", fps}});
    } else {
        std::printf("%s: %llu frames rendered (%lld to %lld), %llu dropped, %.3f s, %.1f frames/s\n",
                    session.Name().c_str(), static_cast<unsigned long long>(rendered),
                    static_cast<long long>(first), static_cast<long long>(last),
                    static_cast<unsigned long long>(dropped), seconds, fps);
    }
    return 0;
}

}  // namespace qvclip
