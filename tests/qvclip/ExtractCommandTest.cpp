// qvclip extract writes the chosen element's bytes of the chosen frames, concatenated, as the
// synthesizer placed them in the file.
#include <gtest/gtest.h>

#include "QvclipRun.h"

namespace {

TEST(ExtractCommand, ConcatenatesPictureAndSoundBytes) {
    qvtest::TempDirectory dir;
    const synth::SynthResult clip = qvtest::SmallClip(dir, "EXTRACT1", 6);
    const std::vector<uint8_t> file = qvtest::ReadFile(clip.paths[0]);
    auto expected = [&](auto element) {
        std::vector<uint8_t> bytes;
        for (uint64_t frame = 1; frame < 4; ++frame) {
            const synth::SynthElement& e = element(clip.packages[frame]);
            bytes.insert(bytes.end(), file.begin() + e.offset, file.begin() + e.offset + e.size);
        }
        return bytes;
    };

    const std::string out = dir.Native("picture.bin");
    auto run = qvtest::RunQvclip(
        dir, "extract " + clip.paths[0] + " --element picture --from 1 --count 3 --out " + out);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(qvtest::ReadFile(out),
              expected([](const synth::SynthPackage& p) -> auto& { return p.picture; }));

    run =
        qvtest::RunQvclip(dir, "extract " + clip.paths[0] +
                                   " --element sound --channel 1 --from 1 --count 3 --out " + out);
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(qvtest::ReadFile(out),
              expected([](const synth::SynthPackage& p) -> auto& { return p.sound[1]; }));
}

}  // namespace
