#include "tools/qvclip/InfoCommand.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "tools/qvclip/ClipOutput.h"

namespace qvclip {

namespace {

std::string CodeText(uint32_t code) {
    return code == ClipCodeUnknown ? "none" : std::to_string(code);
}

const char* ClipVersionText(uint32_t version) {
    switch (version) {
        case ClipVersionNone:
            return "lone MXF file or MP4 clip";
        case ClipVersionFileList:
            return "MXF files listed by the host";
        case ClipVersionCIF1:
            return "clip information version 1";
        case ClipVersionCIF2:
            return "clip information version 2";
        case ClipVersionCIF3:
            return "clip information version 3";
        case ClipVersionCIF3AVC:
            return "clip information version 3, AVC";
        default:
            return "unknown";
    }
}

const char* ChromaText(uint32_t code) {
    switch (code) {
        case ClipChromaRGB:
            return "RGB";
        case ClipChroma422:
            return "4:2:2";
        case ClipChroma420:
            return "4:2:0";
        default:
            return "unknown";
    }
}

const char* BitDepthText(uint32_t code) {
    switch (code) {
        case ClipBitDepth12:
            return "12 bits";
        case ClipBitDepth10:
            return "10 bits";
        case ClipBitDepth8:
            return "8 bits";
        default:
            return "unknown";
    }
}

}  // namespace

void InfoCommand::Register(CLI::App& parent) {
    app = parent.add_subcommand("info", "Show the facts of a clip");
    clip.Register(*app);
}

int InfoCommand::Run() {
    const ClipSession session = clip.Open();
    StreamManager& m = session.Manager();
    std::pair<uint32_t, uint32_t> rate;
    m.GetFrameRate(rate);
    const std::vector<std::string> files = session.Files();
    Json facts = {
        {"frameCount", m.GetFrameCount(-1)},
        {"width", m.GetWidth()},
        {"height", m.GetHeight()},
        {"frameRate", {rate.first, rate.second}},
        {"colorGamut", m.GetColorGamut()},
        {"gammaType", m.GetGammaType()},
        {"hlgColor", m.GetHLGColor()},
        {"lookType", m.GetLookType()},
        {"audioChannels", m.GetAudioChannels()},
        {"audioSampleRate", m.GetAudioSampleRate()},
        {"audioBitDepth", m.GetAudioBitDepth()},
        {"intraCoded", m.IsIntraCoded()},
        {"containerType", m.GetContainerType()},
        {"codecTag", m.GetCodecTag()},
        {"clipVersion", m.clipVersion},
        {"chromaFormat", m.GetChromaFormat()},
        {"bitDepthCode", m.GetBitDepthCode()},
        {"files", files},
    };
    if (clip.json) {
        PrintJsonLine(facts);
        return 0;
    }
    const uint32_t container = facts["containerType"];
    const uint32_t chroma = facts["chromaFormat"], depth = facts["bitDepthCode"];
    std::printf("Frames          %llu\n",
                static_cast<unsigned long long>(facts["frameCount"].get<uint64_t>()));
    std::printf("Picture         %ux%u, %s, %s\n", m.GetWidth(), m.GetHeight(), ChromaText(chroma),
                BitDepthText(depth));
    std::printf("Frame rate      %u/%u", rate.first, rate.second);
    if (rate.second) std::printf(" (%.3f fps)", static_cast<double>(rate.first) / rate.second);
    std::printf("\nIntra coded     %s\n", m.IsIntraCoded() ? "yes" : "no");
    std::printf("Colour gamut    %s\n", CodeText(m.GetColorGamut()).c_str());
    std::printf("Gamma type      %s\n", CodeText(m.GetGammaType()).c_str());
    std::printf("HLG colour      %s\n", CodeText(m.GetHLGColor()).c_str());
    std::printf("Look type       %s\n", CodeText(m.GetLookType()).c_str());
    std::printf("Sound           %u channels, %u Hz, %u bits\n", m.GetAudioChannels(),
                m.GetAudioSampleRate(), m.GetAudioBitDepth());
    std::printf("Container       %u (%s), codec tag %u\n", container,
                container == ClipContainerMXF   ? "MXF"
                : container == ClipContainerMP4 ? "MP4"
                                                : "unknown",
                m.GetCodecTag());
    std::printf("Clip version    %u (%s)\n", m.clipVersion, ClipVersionText(m.clipVersion));
    std::printf("Chroma format   %s\n", CodeText(chroma).c_str());
    std::printf("Bit depth code  %s\n", CodeText(depth).c_str());
    for (size_t i = 0; i < files.size(); ++i)
        std::printf("%s%s\n", i ? "                " : "Files           ", files[i].c_str());
    return 0;
}

}  // namespace qvclip
