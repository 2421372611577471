#include "tools/qvclip/PlayCommand.h"

#include <unistd.h>
#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "image/KernelData.h"
#include "platform/DisplayLuminance.h"
#include "platform/NamedMutex.h"
#include "platform/SoundDevices.h"
#include "tools/qvclip/ClipOutput.h"
#include "tools/qvclip/EventLog.h"
#include "tools/qvclip/PlaybackGraph.h"

namespace qvclip {

namespace {

constexpr uint32_t kMaxRole = 3;

std::vector<uint32_t> ParseRoles(const std::string& text, uint32_t channels,
                                 const std::string& clipName) {
    std::vector<uint32_t> roles;
    if (text.empty()) return roles;
    std::stringstream list(text);
    for (std::string item; std::getline(list, item, ',');) {
        if (item.size() != 1 || item[0] < '0' || item[0] > char('0' + kMaxRole))
            throw ClipError("--roles " + text +
                            ": each role is 0 (neither), 1 (left), 2 (right) "
                            "or 3 (both)");
        roles.push_back(uint32_t(item[0] - '0'));
    }
    if (roles.size() > channels)
        throw ClipError(clipName + ": --roles names " + std::to_string(roles.size()) +
                        " channels, the clip has " + std::to_string(channels));
    return roles;
}

SideMute ParseMute(const std::string& text) {
    if (text.empty()) return {};
    if (text == "left") return {true, false};
    if (text == "right") return {false, true};
    if (text == "both") return {true, true};
    throw ClipError("--mute " + text + ": say left, right or both");
}

// "[#####.....]  123/500 frames" on stderr, rewritten in place.
void ShowProgress(uint64_t done, uint64_t total) {
    constexpr int kWidth = 30;
    const int filled = total ? int(std::min<uint64_t>(done, total) * kWidth / total) : 0;
    std::fprintf(stderr, "\r[%s%s] %llu/%llu frames", std::string(filled, '#').c_str(),
                 std::string(kWidth - filled, '.').c_str(), (unsigned long long)done,
                 (unsigned long long)total);
    std::fflush(stderr);
}

}  // namespace

void PlayCommand::Register(CLI::App& parent) {
    app = parent.add_subcommand("play", "Play the clip through the filter graph");
    clip.Register(*app);
    range.Register(*app);
    app->add_flag("--realtime", realtime,
                  "Play against the clock, frames dropped when late (default: as fast as "
                  "possible)");
    app->add_option("--events", eventsPath,
                    "Write every rendered frame, quality message, frame jump, timecode, metadata "
                    "and level message as JSON lines");
    app->add_flag("--md5", md5, "Add the MD5 of each rendered picture to its frame event");
    CLI::Option* undecoded = app->add_flag(
        "--compressed", compressed,
        "Do not decode: the sink takes the compressed pictures (no sound, no timecode)");
    app->add_flag("--decode-only", decodeOnly,
                  "Only the pictures as the decoder gives them (\"YUY2\"): no conversion, sound or "
                  "timecode; what decoding alone costs")
        ->excludes(undecoded);
    app->add_option("--scale", scale, "Reduce the pictures: 0 full size, 1 half, 2 quarter")
        ->check(CLI::Range(0, 2));
    app->add_flag("--convert", convert,
                  "Convert to the display's gamma and gamut (the target conversion); else the "
                  "clip's own curve is shown in BT.709 or BT.2020 colours");
    app->add_option("--lut-dir", lutDir,
                    "A folder of 33-point .cube files N.cube that replace 3D LUT number N")
        ->check(CLI::ExistingDirectory);
    app->add_option("--display-nits", displayNits,
                    "The display's peak luminance, for the HDR tone curves (default 1000)")
        ->check(CLI::Range(1u, platform::kMaxDisplayNits));
    app->add_option("--frames-out", framesOut,
                    "Write pictures into this folder as frame-NNNNNN.png (made if missing)");
    app->add_option("--every", every, "With --frames-out: every Nth picture")
        ->check(CLI::PositiveNumber);
    app->add_flag("--raw", raw, "With --frames-out: raw 32-bit B, G, R, 0 bytes (.bgr)");
    app->add_option("--contact-sheet", contactSheet,
                    "Write thumbnails of frames spread over the range into this PNG file");
    app->add_option("--wav", wavPath,
                    "Write the stereo fold-down into this WAV file. 16-bit sound passes the "
                    "sound mixer (a 16-bit stereo gate); 24-bit sound goes round it and keeps all "
                    "24 bits, --mute then silences the side in the sink");
    app->add_option("--roles", roles,
                    "Channel roles as the splitter numbers channels, e.g. 1,2,1,2: 0 neither, "
                    "1 left, 2 right, 3 both (default: odd channels left, even right)");
    app->add_option("--mute", mute, "Silence a side: left, right or both");
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
    setup.firstFrame = static_cast<int64_t>(span.first);
    setup.endFrame = static_cast<int64_t>(span.end);
    setup.decode = !compressed;
    setup.decodeOnly = decodeOnly;
    setup.md5 = md5;
    setup.scale = scale;
    setup.convert = convert;
    setup.channels = session.Manager().GetAudioChannels();
    setup.soundBits = session.Manager().GetAudioBitDepth();
    setup.roles = ParseRoles(roles, setup.channels, session.Name());
    setup.mute = ParseMute(mute);
    setup.wavPath = wavPath;
    if (!wavPath.empty() && (compressed || decodeOnly || setup.channels == 0))
        throw ClipError(session.Name() + ": --wav needs sound, and the clip " +
                        (setup.channels == 0 ? "has none" : "is played without it"));
    if (!framesOut.empty()) {
        std::error_code error;
        std::filesystem::create_directories(framesOut, error);
        if (error) throw ClipError(framesOut + ": " + error.message());
        setup.pictures = {framesOut, every, raw};
    }
    std::unique_ptr<ContactSheet> sheet;
    if (!contactSheet.empty()) {
        sheet = std::make_unique<ContactSheet>(setup.firstFrame, setup.endFrame - setup.firstFrame);
        setup.sheet = sheet.get();
    }
    if (!lutDir.empty()) {
        std::string refusals;
        image::LoadCubeDirectory(lutDir, &refusals);
        if (!refusals.empty()) std::fprintf(stderr, "qvclip: %s\n", refusals.c_str());
    }
    if (displayNits) platform::SetDisplayPeakLuminance(displayNits);
    // The sound sink stands for the sound device, so the sound filters always have one.
    platform::SetSoundOutputDeviceOverride(true);

    // Each kind of pipeline worker runs once on a machine at a time; two plays that each held one
    // kind and waited for the other would wait for ever. Plays therefore take turns as a whole.
    CNamedMutex turn("qvclip-play");
    if (!compressed && turn.TryAcquire() == S_FALSE) {
        std::fprintf(stderr, "qvclip: waiting for another play on this machine to end\n");
        turn.Acquire(nullptr);
    }

    EventLog log(eventsPath);
    PlaybackGraph graph(setup, log);
    if (span.first > 0) graph.Seek(static_cast<int64_t>(span.first));
    const bool terminal = !clip.json && isatty(STDERR_FILENO);
    const uint64_t total = span.end - span.first;
    const auto begin = std::chrono::steady_clock::now();
    HRESULT hr;
    double seconds;
    {
        // The timecode renderer analyses system items on the graph's threads.
        ModuleOutputAside aside;
        hr = graph.Play([&] {
            if (terminal) ShowProgress(graph.Pictures().Rendered(), total);
        });
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
        graph.Stop();
    }
    if (terminal) std::fprintf(stderr, "\r%60s\r", "");
    if (!log.Close()) throw ClipError(eventsPath + ": the event file could not be written");
    if (FAILED(hr)) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", static_cast<uint32_t>(hr));
        throw ClipError(session.Name() + ": playback stopped with failure " + code);
    }
    const PictureSink& pictures = graph.Pictures();
    if (!pictures.WriteFailure().empty()) throw ClipError(pictures.WriteFailure());
    const std::string soundFailure = graph.Sound() ? graph.Sound()->Close() : std::string();
    if (!soundFailure.empty()) throw ClipError(soundFailure);
    std::string sheetError;
    if (sheet && !sheet->Write(contactSheet, &sheetError))
        throw ClipError(contactSheet + ": " + sheetError);

    const uint64_t rendered = pictures.Rendered();
    if (!compressed && rendered == 0 && span.end > span.first) {
        // A frame that cannot be read (a clip cut short) names its own reason.
        session.Read(span.first, ClipElementPicture);
        if (realtime)
            throw ClipError(session.Name() +
                            ": no picture was decoded in time (one decoder runs on a machine at "
                            "a time; another play may have held it)");
        throw ClipError(session.Name() +
                        ": no picture came out of the decoder (the kind of clip decides the "
                        "coding: a lone MXF file plays as HEVC, files given with --members as "
                        "H.264)");
    }
    const int64_t first = pictures.FirstFrame(), last = pictures.LastFrame();
    // Every frame of the range that was not shown was dropped (late, or not reached in time).
    const uint64_t dropped = total > rendered ? total - rendered : 0;
    const double fps = seconds > 0 ? static_cast<double>(rendered) / seconds : 0;
    const double soundSeconds = graph.Sound() ? graph.Sound()->Seconds() : 0;
    const HostMessages* messages = graph.Messages();
    const uint64_t timecodes = messages ? messages->Timecodes() : 0;
    const uint64_t metadata = messages ? messages->MetaData() : 0;
    const uint64_t levels = messages ? messages->Levels() : 0;
    if (clip.json) {
        PrintJsonLine(
            {{"rendered", rendered},
             {"dropped", dropped},
             {"first", rendered ? Json(first) : Json()},
             {"last", rendered ? Json(last) : Json()},
             {"soundSeconds", soundSeconds},
             {"messages", {{"timecode", timecodes}, {"metadata", metadata}, {"level", levels}}},
             {"picturesWritten", pictures.Written()},
             {"seconds", seconds},
             {"fps", fps}});
        return 0;
    }
    std::printf(
        "%s: %llu frames rendered (%lld to %lld), %llu dropped, %.2f s of sound, "
        "%llu timecode, %llu metadata and %llu level messages, %.3f s, %.1f frames/s\n",
        session.Name().c_str(), (unsigned long long)rendered, (long long)first, (long long)last,
        (unsigned long long)dropped, soundSeconds, (unsigned long long)timecodes,
        (unsigned long long)metadata, (unsigned long long)levels, seconds, fps);
    if (!framesOut.empty())
        std::printf("pictures: %llu in %s\n", (unsigned long long)pictures.Written(),
                    framesOut.c_str());
    if (sheet) std::printf("contact sheet: %s\n", contactSheet.c_str());
    if (!wavPath.empty()) std::printf("sound: %s\n", wavPath.c_str());
    if (!eventsPath.empty()) std::printf("events: %s\n", eventsPath.c_str());
    return 0;
}

}  // namespace qvclip
