#include "tools/qvclip/ExtractCommand.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "tools/qvclip/ClipOutput.h"

namespace qvclip {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const {
        if (file && file != stdout) std::fclose(file);
    }
};

std::string WriteFailure(const std::string& path) {
    return (path == "-" ? std::string("standard output") : path) +
           ": cannot write: " + std::strerror(errno);
}

}  // namespace

void ExtractCommand::Register(CLI::App& parent) {
    app = parent.add_subcommand("extract", "Write the raw bytes of one element of each frame");
    clip.Register(*app);
    range.Register(*app);
    app->add_option("--element", element, "Element to take")
        ->check(CLI::IsMember({"picture", "sound", "system", "ancillary"}))
        ->required();
    app->add_option("--channel", channel, "Sound element, from 0")->capture_default_str();
    app->add_option("--out", out, "File to write (\"-\": standard output)")->required();
}

int ExtractCommand::Run() {
    ClipSession session = clip.Open();
    const FrameSpan frames = range.Resolve(session);
    const bool sound = element == "sound";
    if (sound && channel >= session.SoundElements())
        throw ClipError(session.Name() + ": --channel " + std::to_string(channel) +
                        " is not there: the clip has " + std::to_string(session.SoundElements()) +
                        " sound elements");
    const uint32_t wanted = element == "picture" ? ClipElementPicture
                            : sound              ? ClipElementSound
                                                 : ClipElementSystem;

    std::unique_ptr<std::FILE, FileCloser> file(out == "-" ? stdout
                                                           : std::fopen(out.c_str(), "wb"));
    if (!file) throw std::runtime_error(WriteFailure(out));
    uint64_t written = 0;
    for (uint64_t frame = frames.first; frame < frames.end; ++frame) {
        const FrameElements& elements = session.Read(frame, wanted);
        const std::span<const uint8_t> bytes = element == "picture"  ? elements.picture
                                               : sound               ? elements.sound[channel]
                                               : element == "system" ? elements.system
                                                                     : elements.ancillary;
        if (std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size())
            throw std::runtime_error(WriteFailure(out));
        written += bytes.size();
    }
    if (std::fflush(file.get()) != 0) throw std::runtime_error(WriteFailure(out));
    if (out != "-" && std::fclose(file.release()) != 0) throw std::runtime_error(WriteFailure(out));
    if (out == "-") return 0;
    const uint64_t count = frames.end - frames.first;
    if (clip.json)
        PrintJsonLine({{"out", out},
                       {"element", element},
                       {"from", frames.first},
                       {"count", count},
                       {"bytes", written}});
    else
        std::printf("%s: %llu bytes of %s from %llu frames\n", out.c_str(),
                    static_cast<unsigned long long>(written), element.c_str(),
                    static_cast<unsigned long long>(count));
    return 0;
}

}  // namespace qvclip
