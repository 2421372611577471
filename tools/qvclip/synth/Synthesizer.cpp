#include "tools/qvclip/synth/Synthesizer.h"

extern "C" {
#include <libavutil/md5.h>
}

#include <algorithm>

#include "tools/qvclip/synth/ClipPlan.h"
#include "tools/qvclip/synth/SoundTone.h"
#include "tools/qvclip/synth/SystemItemWriter.h"
#include "tools/qvclip/synth/TestPatternEncoder.h"

namespace synth {

namespace {

// Edit unit flags of the index: random access with a sequence header, or the kind of prediction.
constexpr uint8_t FlagsKey = 0xC0, FlagsForward = 0x20, FlagsBidirectional = 0x30;

std::string MD5(const std::vector<uint8_t>& bytes) {
    uint8_t digest[16];
    av_md5_sum(digest, bytes.data(), bytes.size());
    static constexpr char Hex[] = "0123456789abcdef";
    std::string text;
    for (uint8_t b : digest) {
        text += Hex[b >> 4];
        text += Hex[b & 15];
    }
    return text;
}

SynthElement Element(const ValuePlace& place, const std::vector<uint8_t>& bytes) {
    return {place.offset, place.size, MD5(bytes)};
}

}  // namespace

SynthResult Synthesize(const SynthOptions& options) {
    const ClipPlan plan(options);
    std::vector<CodedPicture> pictures = TestPatternEncoder(plan).EncodeAll();
    const uint64_t frames = pictures.size();

    // Index facts: a picture displayed before one coded earlier is predicted from both sides.
    std::vector<PackageContent> packages(frames);
    std::vector<uint64_t> storedAt(frames);
    uint64_t lastKey = 0, highest = 0;
    for (uint64_t s = 0; s < frames; ++s) {
        const CodedPicture& p = pictures[s];
        storedAt[p.number] = s;
        if (p.key) lastKey = s;
        IndexEntry& entry = packages[s].entry;
        entry.flags =
            p.key ? FlagsKey : (s > 0 && p.number < highest ? FlagsBidirectional : FlagsForward);
        entry.keyFrameOffset =
            static_cast<int8_t>(static_cast<int64_t>(lastKey) - static_cast<int64_t>(s));
        highest = std::max(highest, p.number);
    }
    for (uint64_t d = 0; d < frames; ++d)
        packages[d].entry.temporalOffset =
            static_cast<int8_t>(static_cast<int64_t>(storedAt[d]) - static_cast<int64_t>(d));

    const SystemItemWriter systemItems(plan);
    std::vector<SystemItem> items;
    std::vector<SoundTone> tones;
    for (uint32_t c = 0; c < options.channels; ++c)
        tones.emplace_back(c, options.soundBits, ClipPlan::SampleRate);
    for (uint64_t s = 0; s < frames; ++s) {
        PackageContent& p = packages[s];
        items.push_back(systemItems.Write(s, pictures[s].bytes));
        p.systemItem = items.back().KLVs();
        p.picture = std::move(pictures[s].bytes);
        for (const SoundTone& tone : tones)
            p.sound.push_back(tone.Samples(plan.SoundSampleStart(s), plan.SoundSamples(s)));
    }

    UIDMaker uids(plan.Seed());
    const ClipLayout layout = MXFClipWriter(plan, uids).Write(packages);

    SynthResult result;
    result.paths.push_back(plan.Path());
    result.partitions = layout.partitions;
    result.framesPerSegment = layout.framesPerSegment;
    result.sliceCount = layout.sliceCount;
    result.fileSize = layout.fileSize;
    for (uint64_t s = 0; s < frames; ++s) {
        const PackageContent& p = packages[s];
        const PackagePlace& place = layout.packages[s];
        SynthPackage out;
        out.pictureNumber = pictures[s].number;
        out.key = pictures[s].key;
        out.entry = p.entry;
        out.systemItem = std::move(items[s].pack);
        out.systemItem.insert(out.systemItem.end(), items[s].set.begin(), items[s].set.end());
        out.systemOffset = place.systemOffset;
        out.picture = Element(place.picture, p.picture);
        for (size_t c = 0; c < p.sound.size(); ++c)
            out.sound.push_back(Element(place.sound[c], p.sound[c]));
        result.packages.push_back(std::move(out));
    }
    return result;
}

}  // namespace synth
