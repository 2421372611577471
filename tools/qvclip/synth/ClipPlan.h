// ClipPlan: the options of a test clip, checked, and what follows from them: timecode base and
// drop frame, the start timecode, the recording date, the labels of the picture and the keys of
// the essence elements, and how many sound samples each frame carries.
// Construction throws std::invalid_argument with a message for people when an option cannot be
// written; after that the plan is constant and may be shared.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mxf/MXFLabels.h"
#include "tools/qvclip/synth/SynthOptions.h"
#include "tools/qvclip/synth/Timecode.h"

namespace synth {

struct ClipDate {
    uint32_t year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};

class ClipPlan {
public:
    static constexpr uint32_t SampleRate = 48000;
    static constexpr uint32_t MaxChannels = 8;
    // A key-frame offset is a signed byte of the index entry.
    static constexpr uint32_t MaxGOP = 120;
    static constexpr uint32_t MaxGrain = 64;

    explicit ClipPlan(const SynthOptions& options);

    bool Intra() const { return options.gop == 1; }
    // Samples of sound in frame `frame`: 48 kHz shared out over the frames with rounding, so
    // that 30000/1001 gives 1602, 1601, 1602, 1601, 1602.
    uint32_t SoundSamples(uint64_t frame) const;
    uint64_t SoundSampleStart(uint64_t frame) const;
    // A number drawn from every option but the output folder: it seeds the identifiers, so that
    // the same options give the same bytes wherever the clip is written.
    uint64_t Seed() const;
    std::string Path() const;

    SynthOptions options;
    uint32_t timecodeBase = 0;
    bool dropFrame = false;
    uint64_t startTimecode = 0;  // frames since midnight
    ClipDate date;
    mxf_label::Label pictureContainer{}, pictureCoding{}, transfer{}, primaries{};
    mxf_label::Label pictureElement{};
    std::vector<mxf_label::Label> soundElements;
};

}  // namespace synth
