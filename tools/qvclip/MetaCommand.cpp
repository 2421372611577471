#include "tools/qvclip/MetaCommand.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "clipmodel/CMBXAnalyzeSystemItemData.h"
#include "tools/qvclip/ClipOutput.h"
#include "tools/qvclip/MetadataJson.h"

namespace qvclip {

namespace {

std::string PlainText(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_array()) {
        std::string text = "[";
        for (const auto& item : value) {
            if (text.size() > 1) text.push_back(',');
            text.append(item.dump());
        }
        text.push_back(']');
        return text;
    }
    return value.dump();
}

}  // namespace

void MetaCommand::Register(CLI::App& parent) {
    app = parent.add_subcommand("meta", "Show each frame's timecode, date and camera metadata");
    clip.Register(*app);
    range.Register(*app);
}

int MetaCommand::Run() {
    ClipSession session = clip.Open();
    const FrameSpan frames = range.Resolve(session);
    for (uint64_t frame = frames.first; frame < frames.end; ++frame) {
        const FrameElements& elements = session.Read(frame, ClipElementSystem);
        CUSharedPtr<CUMemoryStream> stream =
            CUCreate<CUMemoryStream>(elements.system.data(), elements.system.size());
        CUSharedPtr<CMBXAnalyzeSystemItemData> analyser =
            stream ? CUCreate<CMBXAnalyzeSystemItemData>(stream) : nullptr;
        if (!analyser) throw ClipError(session.Name() + ": out of memory");

        Json row = {{"frame", frame}};
        // A frame whose system item says nothing keeps the nulls: the renderer delivers nothing
        // for it either.
        bool analysed;
        {
            ModuleOutputAside aside;
            analysed = analyser->Analyze();
        }
        row.update(
            AnalysisJson(analysed ? analyser.Get() : nullptr, HasUserStamp(elements.system)));
        if (clip.json) {
            PrintJsonLine(row);
            continue;
        }
        std::string line = "frame " + std::to_string(frame);
        line += "  " + (row["timecode"].is_null() ? std::string("--:--:--:--")
                                                  : row["timecode"].get<std::string>());
        if (row["dropFrame"].is_boolean() && row["dropFrame"].get<bool>()) line += " DF";
        if (row["recDateTime"].is_string()) line += "  " + row["recDateTime"].get<std::string>();
        for (const auto& [key, value] : row["metadata"].items())
            line += "  " + key + "=" + PlainText(value);
        std::printf("%s\n", line.c_str());
    }
    return 0;
}

}  // namespace qvclip
