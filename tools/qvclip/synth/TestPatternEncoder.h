// TestPatternEncoder: the pictures of a test clip, TestPattern encoded through libavcodec with
// libx264, libx265 or mpeg2video. Encoders run on one thread with fixed settings (constant
// quality, or with grain a camera's average bitrate; closed GOPs of the plan's length, two B
// pictures between references when the GOP allows), so that the same plan always gives the same
// bytes. Parameter sets travel in-band
// with every key picture. Sets libavcodec's log level to errors only, for the whole process.
// Construction throws std::runtime_error when the encoder cannot be had or opened.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "tools/qvclip/synth/ClipPlan.h"

namespace synth {

struct CodedPicture {
    std::vector<uint8_t> bytes;
    uint64_t number = 0;  // in display order
    bool key = false;     // decoding can start here
};

class TestPatternEncoder {
public:
    explicit TestPatternEncoder(const ClipPlan& plan);
    ~TestPatternEncoder();
    TestPatternEncoder(const TestPatternEncoder&) = delete;
    TestPatternEncoder& operator=(const TestPatternEncoder&) = delete;

    // Every picture of the clip, in coded order. Throws std::runtime_error when encoding fails.
    std::vector<CodedPicture> EncodeAll();

private:
    struct Codec;
    const ClipPlan& plan;
    std::unique_ptr<Codec> codec;
};

}  // namespace synth
