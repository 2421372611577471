// Every clip or argument that cannot be used ends qvclip with a non-zero exit and one line on
// stderr naming the file and what is wrong with it.
#include <gtest/gtest.h>

#include <algorithm>

#include "QvclipRun.h"

namespace {

TEST(ClipFailure, OneLineNamesTheFileAndTheReason) {
    qvtest::TempDirectory dir;
    const std::string good = qvtest::SmallClip(dir, "GOOD0001", 3).paths[0];
    const std::string none = dir.Native("NONE0001.MXF"), junk = dir.Native("JUNK0001.MXF");
    qvtest::WriteFile(junk, qvtest::Pattern(5000));
    // The company name is stored in UTF-16; one changed letter makes it another maker's file.
    std::vector<uint8_t> bytes = qvtest::ReadFile(good);
    const std::string name = std::string("\0Z\0O\0R\0E\0L", 10);
    const auto at = std::search(bytes.begin(), bytes.end(), name.begin(), name.end());
    ASSERT_NE(at, bytes.end());
    at[1] = 'X';
    const std::string other = dir.Native("OTHER001.MXF");
    qvtest::WriteFile(other, bytes);
    const std::string events = dir.Native("no/such/folder/e.jsonl");

    const struct {
        std::string arguments, file, says;
    } cases[] = {
        {"info " + none, none, "no such file"},
        {"frames --members " + good + " " + none, none, "no such file"},
        {"play " + none, none, "no such file"},
        {"meta " + junk, junk, "not an MXF file"},
        {"info " + other, other, "camera family"},
        {"frames --from 3 " + good, good, "beyond"},
        {"play --from 3 " + good, good, "beyond the clip"},
        {"play --events " + events + " " + good, events, "cannot write the event file"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arguments);
        const qvtest::QvclipResult run = qvtest::RunQvclip(dir, c.arguments);
        EXPECT_NE(run.exitCode, 0);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
        EXPECT_NE(run.err.find(c.file), std::string::npos) << run.err;
        EXPECT_NE(run.err.find(c.says), std::string::npos) << run.err;
        EXPECT_TRUE(run.out.empty()) << run.out;
    }
}

}  // namespace
