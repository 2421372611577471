// qvclip extract writes the chosen element's bytes of the chosen frames, concatenated, as the
// synthesizer placed them in the file.
#include <gtest/gtest.h>

#include "QvclipRun.h"

namespace {

TEST(ExtractCommand, ConcatenatesPictureAndSoundBytes) {
    qvtest::TempDirectory dir;
    const synth::SynthResult clip = qvtest::SmallClip(dir, "EXTRACT1", 6);
    const std::vector<uint8_t> file = qvtest::ReadFile(clip.paths[0]);
    const std::string out = dir.Native("element.bin");
    for (const std::string element : {"picture", "sound --channel 1"}) {
        SCOPED_TRACE(element);
        std::vector<uint8_t> expected;
        for (uint64_t frame = 1; frame < 4; ++frame) {
            const synth::SynthPackage& p = clip.packages[frame];
            const synth::SynthElement& e = element == "picture" ? p.picture : p.sound[1];
            expected.insert(expected.end(), file.begin() + e.offset,
                            file.begin() + e.offset + e.size);
        }
        const auto run = qvtest::RunQvclip(dir, "extract " + clip.paths[0] + " --element " +
                                                    element + " --from 1 --count 3 --out " + out);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(qvtest::ReadFile(out), expected);
    }
}

}  // namespace
