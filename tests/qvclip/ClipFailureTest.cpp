// Every clip that cannot be read ends qvclip with a non-zero exit and one line on stderr naming
// the file and what is wrong with it.
#include <gtest/gtest.h>

#include <algorithm>

#include "QvclipRun.h"

namespace {

void ExpectOneLineFailure(const qvtest::QvclipResult& run, const std::string& file,
                          const std::string& why) {
    EXPECT_NE(run.exitCode, 0);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_NE(run.err.find(file), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(why), std::string::npos) << run.err;
    EXPECT_TRUE(run.out.empty()) << run.out;
}

class ClipFailure : public testing::Test {
protected:
    qvtest::TempDirectory dir;
    std::string good = qvtest::SmallClip(dir, "GOOD0001", 3).paths[0];
};

TEST_F(ClipFailure, MissingFile) {
    const std::string path = dir.Native("NONE0001.MXF");
    ExpectOneLineFailure(qvtest::RunQvclip(dir, "info " + path), path, "no such file");
    ExpectOneLineFailure(qvtest::RunQvclip(dir, "frames --members " + good + " " + path), path,
                         "no such file");
}

TEST_F(ClipFailure, GarbageFile) {
    const std::string path = dir.Native("JUNK0001.MXF");
    qvtest::WriteFile(path, qvtest::Pattern(5000));
    ExpectOneLineFailure(qvtest::RunQvclip(dir, "meta " + path), path, "not an MXF file");
}

TEST_F(ClipFailure, MXFOfAnotherMaker) {
    // The company name is stored in UTF-16; one changed letter makes it another maker's file.
    std::vector<uint8_t> bytes = qvtest::ReadFile(good);
    const std::string name = std::string("\0Z\0O\0R\0E\0L", 10);
    const auto at = std::search(bytes.begin(), bytes.end(), name.begin(), name.end());
    ASSERT_NE(at, bytes.end());
    at[1] = 'X';
    const std::string path = dir.Native("OTHER001.MXF");
    qvtest::WriteFile(path, bytes);
    ExpectOneLineFailure(qvtest::RunQvclip(dir, "info " + path), path, "camera family");
}

TEST_F(ClipFailure, FrameBeyondTheClip) {
    ExpectOneLineFailure(qvtest::RunQvclip(dir, "frames --from 3 " + good), good, "beyond");
}

}  // namespace
