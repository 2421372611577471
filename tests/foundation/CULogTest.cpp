#include <gtest/gtest.h>

#include <barrier>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "foundation/CULog.h"
#include "support/TestFiles.h"

namespace fs = std::filesystem;

namespace {

// "[YYYY/MM/DD hh:mm:ss]\t[LEVEL]\t" in front of the message; gives the message with its ending,
// or "" when the stamp is malformed.
std::string MessageOf(const std::string& line, const std::string& level) {
    const std::string mask = "[dddd/dd/dd dd:dd:dd]\t[" + level + "]\t";
    if (line.size() < mask.size()) return "";
    for (size_t i = 0; i < mask.size(); ++i) {
        const bool ok = mask[i] == 'd' && i < 21 ? std::isdigit(static_cast<unsigned char>(line[i]))
                                                 : line[i] == mask[i];
        if (!ok) return "";
    }
    return line.substr(mask.size());
}

class CULogTest : public ::testing::Test {
protected:
    void TearDown() override { CULog::Install(nullptr); }
    CUSharedPtr<CULog> Make(uint32_t threshold, uint32_t start = 0) {
        return CUCreate<CULog>(CUCreate<CUStringWin>(dir.root.c_str()), CUCreate<CUStringWin>("qv"),
                               threshold, start);
    }
    std::string File(int index) const { return dir.Native("qv" + std::to_string(index) + ".log"); }
    std::string Read(int index) const {
        const std::vector<uint8_t> bytes = qvtest::ReadFile(File(index));
        return std::string(bytes.begin(), bytes.end());
    }
    static void Fill(const std::string& path, uintmax_t bytes, char c = 'x') {
        qvtest::WriteFile(path, std::vector<uint8_t>(bytes, static_cast<uint8_t>(c)));
    }
    bool Empty() const { return fs::is_empty(dir.root); }

    qvtest::TempDirectory dir;
};

// Off until installed, after removal, and without a folder or a name; an unwritable folder
// fails silently.
TEST_F(CULogTest, SilentUnlessInstalledWithAFolderAndAName) {
    Log(CULogLevelError, "nothing %d", 1);
    EXPECT_TRUE(Empty());
    CULog::Install(Make(4));
    Log(CULogLevelError, "written %d", 1);
    EXPECT_FALSE(Empty());
    CULog::Install(nullptr);
    fs::remove(File(0));
    Log(CULogLevelError, "nothing %d", 2);
    CULog::Install(CUCreate<CULog>(nullptr, CUCreate<CUStringWin>("qv"), 4));
    Log(CULogLevelError, "x");
    CULog::Install(CUCreate<CULog>(CUCreate<CUStringWin>(dir.root.c_str()), nullptr, 4));
    Log(CULogLevelError, "x");
    EXPECT_TRUE(Empty());
    CULog::Install(CUCreate<CULog>(dir.Path("missing"), CUCreate<CUStringWin>("qv"), 4));
    EXPECT_NO_THROW(Log(CULogLevelError, "x"));
}

TEST_F(CULogTest, LineFormatAndPercentInArgumentIsHarmless) {
    CULog::Install(Make(3));
    Log(CULogLevelWarning, "clip %hs has %d frames, 100%% read %s", "A001", 25, u"\u00e9");
    Log(CULogLevelInfo, "%hs", "%s%n%d");
    const std::string text = Read(0);
    const size_t second = text.find("\r\n") + 2;
    EXPECT_EQ(MessageOf(text.substr(0, second), "WARNING"),
              "clip A001 has 25 frames, 100% read \xC3\xA9\r\n");
    EXPECT_EQ(MessageOf(text.substr(second), "INFO"), "%s%n%d\r\n");
}

TEST_F(CULogTest, WritesLevelsUpToThreshold) {
    const struct {
        uint32_t threshold, level;
        const char* text;  // null: dropped
    } cases[] = {{2, 1, "ERROR"}, {2, 2, "WARNING"}, {2, 3, nullptr}, {4, 3, "INFO"},
                 {4, 4, "DEBUG"}, {6, 7, nullptr},   {7, 7, "DEBUG"}, {0, 1, nullptr}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "threshold " << c.threshold << " level " << c.level);
        fs::remove(File(0));
        CULog::Install(Make(c.threshold));
        Log(c.level, "m");
        EXPECT_EQ(fs::exists(File(0)), c.text != nullptr);
        if (c.text) {
            EXPECT_EQ(MessageOf(Read(0), c.text), "m\r\n");
        }
    }
}

TEST_F(CULogTest, RotatesAtExactlyTheLimit) {
    CULog::Install(Make(3));
    Log(CULogLevelInfo, "probe");
    const uintmax_t lineBytes = fs::file_size(File(0));

    // A line that brings the file to exactly 1,000,000 bytes stays in it.
    Fill(File(0), CULogMaxFileBytes - lineBytes);
    Log(CULogLevelInfo, "probe");
    EXPECT_EQ(fs::file_size(File(0)), CULogMaxFileBytes);
    EXPECT_FALSE(fs::exists(File(1)));

    // One byte more moves it to the next file.
    Fill(File(0), CULogMaxFileBytes - lineBytes + 1);
    Log(CULogLevelInfo, "probe");
    EXPECT_EQ(fs::file_size(File(0)), CULogMaxFileBytes - lineBytes + 1);
    EXPECT_EQ(fs::file_size(File(1)), lineBytes);
    EXPECT_EQ(CULog::Installed()->CurrentIndex(), 1u);
}

TEST_F(CULogTest, WrapsFromNineToZeroDeletingOldContent) {
    CUSharedPtr<CULog> log = Make(3, 9);
    CULog::Install(log);
    Fill(File(9), CULogMaxFileBytes);
    Fill(File(0), 5000, 'o');
    Log(CULogLevelInfo, "after wrap");
    EXPECT_EQ(log->CurrentIndex(), 0u);
    const std::string first = Read(0);
    EXPECT_EQ(first.find('o'), std::string::npos);
    EXPECT_NE(first.find("after wrap"), std::string::npos);
    EXPECT_EQ(fs::file_size(File(9)), CULogMaxFileBytes);
}

// Lines from several threads never mix: each line in the files is whole.
TEST_F(CULogTest, LinesFromThreadsNeverMix) {
    CULog::Install(Make(3));
    constexpr int kThreads = 4, kLines = 200;
    std::barrier start(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            for (int i = 0; i < kLines; ++i)
                Log(CULogLevelInfo, "thread %d line %d %hs", t, i,
                    std::string(100, 'a' + t).c_str());
        });
    for (auto& thread : threads) thread.join();

    std::istringstream lines(Read(0));
    std::vector<int> next(kThreads, 0);
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        const std::string message = MessageOf(line, "INFO");
        int t = -1, i = -1, end = 0;
        ASSERT_EQ(std::sscanf(message.c_str(), "thread %d line %d %n", &t, &i, &end), 2) << line;
        ASSERT_TRUE(t >= 0 && t < kThreads) << line;
        EXPECT_EQ(i, next[t]++) << line;  // each thread's lines arrive whole and in order
        EXPECT_EQ(message.substr(end), std::string(100, 'a' + t) + "\r") << line;
    }
    EXPECT_EQ(count, kThreads * kLines);
}

}  // namespace
