#include "tools/qvclip/FramesCommand.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "tools/qvclip/ClipOutput.h"

namespace qvclip {

namespace {

// The index's offsets are signed bytes: a key frame lies behind, a picture may be shown earlier.
int Signed(uint8_t offset) {
    return static_cast<int8_t>(offset);
}

std::string Joined(const Json& list) {
    std::string text;
    for (const auto& item : list) {
        if (!text.empty()) text += ',';
        text += item.is_string() ? item.get<std::string>() : item.dump();
    }
    return text.empty() ? "-" : text;
}

}  // namespace

void FramesCommand::Register(CLI::App& parent) {
    app = parent.add_subcommand("frames", "List frames: index entry, key frames, element sizes");
    clip.Register(*app);
    range.Register(*app);
    app->add_flag("--md5", md5, "Add the MD5 of the picture and of each sound element");
}

int FramesCommand::Run() {
    ClipSession session = clip.Open();
    StreamManager& m = session.Manager();
    const FrameSpan frames = range.Resolve(session);
    if (!clip.json)
        std::printf("%8s %5s %5s %5s %8s %10s %10s %9s %6s %5s %s%s\n", "frame", "tOff", "kOff",
                    "flags", "key", "decodable", "random", "picture", "system", "anc", "sound",
                    md5 ? "  md5 (picture; sound)" : "");
    for (uint64_t frame = frames.first; frame < frames.end; ++frame) {
        uint8_t temporalOffset = 0, keyFrameOffset = 0, flags = 0;
        // An entry that cannot be had leaves the zeros; reading the frame says what is wrong.
        m.GetIndexEntry(static_cast<uint32_t>(frame), &temporalOffset, &keyFrameOffset, &flags);
        uint64_t decodable = 0, randomAccess = 0;
        const bool hasDecodable = m.FindDecodableFrame(frame, false, &decodable);
        const bool hasRandomAccess = m.FindRandomAccessFrame(frame, &randomAccess);
        const FrameElements& elements =
            session.Read(frame, ClipElementPicture | ClipElementSound | ClipElementSystem);

        Json row = {
            {"frame", frame},
            {"temporalOffset", Signed(temporalOffset)},
            {"keyFrameOffset", Signed(keyFrameOffset)},
            {"flags", flags},
            {"keyFrame", m.GetKeyFrame(frame)},
            {"nextDecodable", hasDecodable ? Json(decodable) : Json()},
            {"nextRandomAccess", hasRandomAccess ? Json(randomAccess) : Json()},
        };
        Json soundSizes = Json::array(), soundDigests = Json::array();
        for (const auto& sound : elements.sound) {
            soundSizes.push_back(sound.size());
            if (md5) soundDigests.push_back(Md5Hex(sound));
        }
        row["sizes"] = {{"picture", elements.picture.size()},
                        {"sound", soundSizes},
                        {"system", elements.system.size()},
                        {"ancillary", elements.ancillary.size()}};
        if (md5) row["md5"] = {{"picture", Md5Hex(elements.picture)}, {"sound", soundDigests}};

        if (clip.json) {
            PrintJsonLine(row);
            continue;
        }
        const std::string decodableText = hasDecodable ? std::to_string(decodable) : "-";
        const std::string randomText = hasRandomAccess ? std::to_string(randomAccess) : "-";
        std::printf("%8llu %5d %5d  0x%02x %8llu %10s %10s %9zu %6zu %5zu %s",
                    static_cast<unsigned long long>(frame), Signed(temporalOffset),
                    Signed(keyFrameOffset), flags,
                    static_cast<unsigned long long>(row["keyFrame"].get<uint64_t>()),
                    decodableText.c_str(), randomText.c_str(), elements.picture.size(),
                    elements.system.size(), elements.ancillary.size(), Joined(soundSizes).c_str());
        if (md5)
            std::printf("  %s; %s", row["md5"]["picture"].get<std::string>().c_str(),
                        Joined(soundDigests).c_str());
        std::printf("\n");
    }
    return 0;
}

}  // namespace qvclip
