#include <gtest/gtest.h>

#include <sys/stat.h>
#include "support/TestFiles.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "foundation/CUErrorContents.h"
#include "foundation/CUFileInfo.h"
#include "foundation/CUFileStream.h"

namespace {

using namespace qvtest;

template <class Operation>
uint32_t ThrownCode(Operation operation) {
    try {
        operation();
    } catch (uint32_t code) {
        return code;
    }
    return 0;
}

// Counts reports and cancels at report number `cancelAt` (0: never).
struct ProgressLog {
    int reports = 0;
    int cancelAt = 0;
    uint64_t copied = 0;

    static uint32_t Report(uint64_t copied, uint64_t, void* context) {
        auto* log = static_cast<ProgressLog*>(context);
        log->copied = copied;
        return ++log->reports == log->cancelAt ? 0 : 1;
    }
};

constexpr size_t kChunk = 1 << 20;

TEST(CUFileInfo, SizeExistsAndDelete) {
    TempDirectory dir;
    WriteFile(dir.Native("f"), Pattern(321));
    std::filesystem::create_directory(dir.Native("d"));
    CUFileInfo file(dir.Path("f")), directory(dir.Path("d")), missing(dir.Path("none"));
    EXPECT_EQ(ThrownCode([] { CUFileInfo info(nullptr); }), 2u);
    EXPECT_EQ(ThrownCode([] { CUFileInfo info(CUCreate<CUStringWin>("")); }), 1u);

    EXPECT_TRUE(file.Exists());
    EXPECT_FALSE(directory.Exists());
    EXPECT_EQ(ThrownCode([&] { missing.GetSize(); }), 9u);
    EXPECT_EQ(ThrownCode([&] { directory.GetSize(); }), 9u);
    EXPECT_EQ(ThrownCode([&] { missing.Delete(); }), 0u);
    EXPECT_EQ(ThrownCode([&] { directory.Delete(); }), 7u);
    {
        // A writer's stream shares the file with readers only: the size may be asked, the file
        // may not be deleted.
        CUFileStream writer(dir.Path("f"), CUFileOpenExisting, CUFileAccessReadWrite, false);
        EXPECT_EQ(file.GetSize(), 321u);
        EXPECT_EQ(ThrownCode([&] { file.Delete(); }), 8u);
    }
    file.Delete();
    EXPECT_FALSE(file.Exists());
}

TEST(CUFileInfo, CopySimplyNeverReplaces) {
    TempDirectory dir;
    const std::vector<uint8_t> bytes = Pattern(kChunk + 17);
    WriteFile(dir.Native("src"), bytes);
    ::chmod(dir.Native("src").c_str(), 0640);
    WriteFile(dir.Native("other"), Pattern(4));
    CUFileInfo source(dir.Path("src"));
    EXPECT_EQ(source.CopySimply(dir.Path("dst")), CUStatusOK);
    EXPECT_EQ(ReadFile(dir.Native("dst")), bytes);
    EXPECT_EQ(std::filesystem::status(dir.Native("dst")).permissions(),
              std::filesystem::perms(0640));

    EXPECT_EQ(ThrownCode([&] { source.CopySimply(dir.Path("other")); }), 4u);
    EXPECT_EQ(ReadFile(dir.Native("other")), Pattern(4));
    EXPECT_EQ(ThrownCode([&] { source.CopySimply(nullptr); }), 2u);
    EXPECT_EQ(ThrownCode([&] { CUFileInfo(dir.Path("none")).CopySimply(dir.Path("x")); }), 9u);
    EXPECT_EQ(source.CopySimply(dir.Path("no/such")), CUStatusCopyFailed);
    // Copying a file onto itself must not empty it first.
    EXPECT_EQ(source.Transfer(dir.Path("src"), nullptr, true, true), CUStatusCopyFailed);
    EXPECT_EQ(ReadFile(dir.Native("src")), bytes);
}

TEST(CUFileInfo, CopyReportsEachChunkAndCancelLeavesNoDestination) {
    TempDirectory dir;
    const std::vector<uint8_t> bytes = Pattern(2 * kChunk + 1);
    WriteFile(dir.Native("src"), bytes);
    CUFileInfo source(dir.Path("src"));
    ProgressLog log;
    CUFileProgress progress{&ProgressLog::Report, &log, &source};
    EXPECT_EQ(source.CopyTo(dir.Path("dst"), &progress, false), CUStatusOK);
    EXPECT_EQ(log.reports, 3);
    EXPECT_EQ(log.copied, bytes.size());
    EXPECT_FALSE(source.cancelled);
    EXPECT_EQ(ReadFile(dir.Native("dst")), bytes);

    // A cancel is the caller's choice, not a failure; a replaced destination is gone with it.
    log = ProgressLog{0, 2, 0};
    EXPECT_EQ(source.CopyTo(dir.Path("dst"), &progress, true), CUStatusOK);
    EXPECT_TRUE(source.cancelled);
    EXPECT_EQ(log.reports, 2);
    EXPECT_FALSE(std::filesystem::exists(dir.Native("dst")));
    EXPECT_TRUE(source.Exists());
}

// An existing destination needs overwrite; without the checks the transfer itself refuses to
// replace. A source that a stream holds cannot be moved.
TEST(CUFileInfo, OverwriteAndHeldSources) {
    for (const bool copy : {true, false}) {
        for (const bool overwrite : {false, true}) {
            SCOPED_TRACE(testing::Message() << (copy ? "copy" : "move") << " " << overwrite);
            TempDirectory dir;
            WriteFile(dir.Native("src"), Pattern(100, 1));
            WriteFile(dir.Native("dst"), Pattern(50, 2));
            CUFileInfo source(dir.Path("src"));
            CUFileProgress progress{nullptr, nullptr, &source};
            const uint32_t thrown = ThrownCode([&] {
                EXPECT_EQ(copy ? source.CopyTo(dir.Path("dst"), &progress, overwrite)
                               : source.MoveTo(dir.Path("dst"), &progress, overwrite),
                          CUStatusOK);
            });
            EXPECT_EQ(thrown, overwrite ? 0u : 4u);
            EXPECT_EQ(ReadFile(dir.Native("dst")), overwrite ? Pattern(100, 1) : Pattern(50, 2));
            EXPECT_EQ(source.Exists(), copy || !overwrite);
            if (!overwrite) {
                EXPECT_EQ(source.Transfer(dir.Path("dst"), nullptr, false, copy),
                          copy ? CUStatusCopyFailed : CUStatusMoveFailed);
            }
        }
    }
    TempDirectory dir;
    WriteFile(dir.Native("src"), Pattern(10));
    CUFileInfo source(dir.Path("src"));
    CUFileProgress progress{};
    EXPECT_EQ(ThrownCode([&] { source.MoveTo(dir.Path("dst"), nullptr, false); }), 2u);
    {
        CUFileStream reader(dir.Path("src"));
        EXPECT_EQ(source.MoveTo(dir.Path("dst"), &progress, false), CUStatusMoveFailed);
    }
    EXPECT_EQ(source.MoveTo(dir.Path("dst"), &progress, false), CUStatusOK);
    EXPECT_EQ(ReadFile(dir.Native("dst")), Pattern(10));
    EXPECT_FALSE(source.Exists());
}

TEST(CUFileInfo, MoveAcrossFileSystemsCopiesThenDeletes) {
    TempDirectory dir;
    struct stat here {
    }, there{};
    char other[] = "/dev/shm/qv-fi-XXXXXX";
    if (::stat(dir.root.c_str(), &here) != 0 || ::stat("/dev/shm", &there) != 0 ||
        here.st_dev == there.st_dev || !::mkdtemp(other)) {
        GTEST_SKIP() << "no second file system to move to";
    }
    const std::string target = std::string(other) + "/dst";
    WriteFile(dir.Native("src"), Pattern(kChunk + 1));
    CUFileInfo source(dir.Path("src"));
    ProgressLog log;
    CUFileProgress progress{&ProgressLog::Report, &log, &source};
    EXPECT_EQ(source.MoveTo(CUCreate<CUStringWin>(target.c_str()), &progress, false), CUStatusOK);
    EXPECT_EQ(log.reports, 2);
    EXPECT_FALSE(source.Exists());
    EXPECT_EQ(ReadFile(target), Pattern(kChunk + 1));
    std::filesystem::remove_all(other);
}

}  // namespace
