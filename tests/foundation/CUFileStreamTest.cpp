#include <gtest/gtest.h>

#include <sys/stat.h>
#include "support/TestFiles.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "foundation/CUFileStream.h"
#include "foundation/CUIStreamAdapter.h"
#include "foundation/CUMemoryStream.h"

namespace {

using namespace qvtest;
using namespace std::string_literals;

// The code that opening threw, or 0 when the stream opened.
uint32_t OpenCode(const CUSharedPtr<CUStringWin>& path, uint32_t mode, uint32_t access,
                  CUSharedPtr<CUFileStream>* opened = nullptr) {
    try {
        CUSharedPtr<CUFileStream> stream = CUCreate<CUFileStream>(path, mode, access, false);
        if (opened) *opened = stream;
        return 0;
    } catch (uint32_t code) {
        return code;
    }
}

constexpr uint64_t kOld = 100;  // size of the file that exists before opening

TEST(CUFileStream, OpenFitsModeAccessAndFileState) {
    const struct {
        uint32_t mode, access;
        bool exists;
        uint32_t code;  // 0: opens
        uint64_t size, position;
    } cases[] = {{0, 0, true, 4, 0, 0},    {0, 0, false, 4, 0, 0},   {0, 1, true, 0, kOld, kOld},
                 {0, 2, false, 0, 0, 0},   {1, 0, true, 4, 0, 0},    {1, 1, true, 0, 0, 0},
                 {1, 2, false, 0, 0, 0},   {2, 0, true, 4, 0, 0},    {2, 1, true, 4, 0, 0},
                 {2, 0, false, 0, 0, 0},   {3, 1, true, 0, kOld, 0}, {3, 0, false, 9, 0, 0},
                 {4, 0, true, 0, kOld, 0}, {4, 0, false, 0, 0, 0},   {5, 0, true, 4, 0, 0},
                 {5, 0, false, 4, 0, 0},   {5, 1, false, 9, 0, 0},   {5, 2, true, 0, 0, 0},
                 {6, 1, true, 4, 0, 0},    {3, 3, true, 4, 0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "mode " << c.mode << " access " << c.access
                                        << (c.exists ? " existing" : " missing"));
        TempDirectory dir;
        if (c.exists) WriteFile(dir.Native("f"), Pattern(kOld));
        CUSharedPtr<CUFileStream> stream;
        ASSERT_EQ(OpenCode(dir.Path("f"), c.mode, c.access, &stream), c.code);
        if (c.code != 0) {
            // A refused open changes nothing on disk.
            EXPECT_EQ(std::filesystem::exists(dir.Native("f")), c.exists);
            if (c.exists) {
                EXPECT_EQ(ReadFile(dir.Native("f")), Pattern(kOld));
            }
            continue;
        }
        EXPECT_EQ(stream->size, c.size);
        EXPECT_EQ(stream->rangeLength, c.size);
        EXPECT_EQ(stream->position, c.position);
        EXPECT_EQ(std::filesystem::file_size(dir.Native("f")), c.size);
        EXPECT_EQ(stream->IsReadable(), c.access != CUFileAccessWrite);
        EXPECT_EQ(stream->IsWritable(), c.access != CUFileAccessRead);
    }
}

TEST(CUFileStream, RefusedPaths) {
    TempDirectory dir;
    std::filesystem::create_directory(dir.Native("d"));
    for (uint32_t mode = 0; mode <= 5; ++mode) EXPECT_EQ(OpenCode(dir.Path("d"), mode, 1), 5u);
    EXPECT_EQ(OpenCode(nullptr, 3, 0), 2u);
    EXPECT_EQ(OpenCode(CUCreate<CUStringWin>(""), 3, 0), 1u);
    // A U+0000 inside would name a shorter path, which exists here.
    WriteFile(dir.Native("a"), Pattern(4));
    const std::u16string withNul = CUStringWin(dir.Native("a").c_str()).WideChars() + u"\0b"s;
    EXPECT_EQ(OpenCode(CUCreate<CUStringWin>(std::u16string_view(withNul)), 3, 0), 4u);
    // A FIFO would block an open for reading; it is refused at once.
    ASSERT_EQ(::mkfifo(dir.Native("fifo").c_str(), 0600), 0);
    EXPECT_EQ(OpenCode(dir.Path("fifo"), 3, 0), 4u);
    // The quiet constructors leave the stream closed.
    EXPECT_FALSE(CUFileStream(dir.Path("none")).IsReadable());
    EXPECT_FALSE(CUFileStream(dir.Path("d"), 4, 1, true).IsWritable());
}

// A file is shared with readers only, and a truncating open must not empty a held file.
TEST(CUFileStream, SharesWithReadersOnly) {
    const struct {
        uint32_t firstAccess, secondAccess;
        bool secondOpens;
    } cases[] = {{0, 0, true}, {0, 1, false}, {1, 0, false}, {1, 1, false}, {2, 2, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.firstAccess << " then " << c.secondAccess);
        TempDirectory dir;
        WriteFile(dir.Native("f"), Pattern(10));
        CUSharedPtr<CUFileStream> first;
        ASSERT_EQ(OpenCode(dir.Path("f"), 3, c.firstAccess, &first), 0u);
        EXPECT_EQ(OpenCode(dir.Path("f"), 3, c.secondAccess), c.secondOpens ? 0u : 4u);
        EXPECT_EQ(OpenCode(dir.Path("f"), CUFileCreateAlways, CUFileAccessWrite), 4u);
        EXPECT_EQ(OpenCode(dir.Path("f"), CUFileTruncateExisting, CUFileAccessReadWrite), 4u);
        EXPECT_EQ(ReadFile(dir.Native("f")), Pattern(10));
        first->Close();
        EXPECT_EQ(OpenCode(dir.Path("f"), 3, c.secondAccess), 0u);
    }
}

class CUFileStreamOnFile : public testing::Test {
protected:
    void SetUp() override {
        WriteFile(dir.Native("f"), bytes);
        ASSERT_EQ(OpenCode(dir.Path("f"), 3, CUFileAccessReadWrite, &stream), 0u);
    }

    TempDirectory dir;
    const std::vector<uint8_t> bytes = Pattern(100);
    CUSharedPtr<CUFileStream> stream;
    uint8_t out[200] = {};
};

TEST_F(CUFileStreamOnFile, ReadsStayInsideTheRange) {
    ASSERT_TRUE(stream->SetRange(10, 20));
    EXPECT_FALSE(stream->SetRange(50, 51));
    EXPECT_FALSE(stream->SetRange(UINT64_MAX, 2));
    EXPECT_EQ(stream->Read(out, 200, 29, CUStreamOriginBegin), 1u);
    EXPECT_EQ(out[0], bytes[29]);
    EXPECT_EQ(stream->Read(out, 1, 30, CUStreamOriginBegin), 0u);
    EXPECT_EQ(stream->Read(out, 1, 9, CUStreamOriginBegin), 0u);
    // Origin 2 counts from the size, not from the range's end.
    EXPECT_EQ(stream->Read(out, 5, -75, CUStreamOriginEnd), 5u);
    EXPECT_EQ(out[0], bytes[25]);
    // Reads that address nothing leave the position where the last read ended.
    EXPECT_EQ(stream->Read(out, 0, 10, CUStreamOriginBegin), 0u);
    EXPECT_EQ(stream->Read(out, 8, 10, 7), 0u);
    EXPECT_EQ(stream->Read(out, 8, INT64_MIN, CUStreamOriginCurrent), 0u);
    EXPECT_EQ(stream->Read(out, 8, INT64_MAX, CUStreamOriginEnd), 0u);
    EXPECT_EQ(stream->Read(nullptr, 8, 10, CUStreamOriginBegin), 0u);
    EXPECT_EQ(stream->position, 30u);
}

TEST_F(CUFileStreamOnFile, SeekThenReadFollowsThePosition) {
    EXPECT_EQ(stream->Seek(-4, CUStreamOriginEnd), 96u);
    EXPECT_EQ(stream->Read(out, 10, 0, CUStreamOriginCurrent), 4u);
    EXPECT_EQ(out[0], bytes[96]);
    EXPECT_EQ(stream->Seek(-60, CUStreamOriginCurrent), 40u);
    EXPECT_EQ(stream->Read(out, 2, 0, CUStreamOriginCurrent), 2u);
    EXPECT_EQ(out[0], bytes[40]);
    // A place before the start does not exist; an unknown origin means the start.
    EXPECT_EQ(stream->Seek(-1000, CUStreamOriginCurrent), 42u);
    EXPECT_EQ(stream->Seek(5, 9), 0u);
}

TEST_F(CUFileStreamOnFile, WritePastTheEndGrowsFileSizeAndRangeTogether) {
    stream->SetRange(5, 5);
    EXPECT_EQ(stream->Write(bytes.data(), 10, 1000, CUStreamOriginBegin), 10u);
    EXPECT_EQ(stream->size, 1010u);
    EXPECT_EQ(stream->rangeStart, 0u);
    EXPECT_EQ(stream->rangeLength, 1010u);
    EXPECT_EQ(stream->position, 1010u);
    EXPECT_EQ(std::filesystem::file_size(dir.Native("f")), 1010u);
    EXPECT_EQ(stream->Read(out, 200, 900, CUStreamOriginBegin), 110u);
    EXPECT_EQ(out[0], 0);
    // Writes that cannot exist write nothing.
    EXPECT_EQ(stream->Write(bytes.data(), 2, INT64_MAX - 1, CUStreamOriginBegin), 0u);
    EXPECT_EQ(stream->Write(bytes.data(), 1, -2000, CUStreamOriginEnd), 0u);
    EXPECT_EQ(stream->size, 1010u);
    ASSERT_TRUE(stream->SetSize(30));
    EXPECT_EQ(stream->rangeLength, 30u);
    EXPECT_EQ(ReadFile(dir.Native("f")), std::vector<uint8_t>(bytes.begin(), bytes.begin() + 30));
}

TEST(CUFileStream, OneWayOrClosedStreamsMoveNothingAndDoNotThrow) {
    TempDirectory dir;
    WriteFile(dir.Native("f"), Pattern(16));
    uint8_t out[16] = {};
    CUFileStream reader(dir.Path("f"), 3, CUFileAccessRead, false);
    EXPECT_EQ(reader.Write(out, 16, 0, CUStreamOriginBegin), 0u);
    // Resizing needs write access, and its failure closes the stream.
    EXPECT_FALSE(reader.SetSize(4));
    EXPECT_EQ(reader.Read(out, 16, 0, CUStreamOriginBegin), 0u);
    CUFileStream writer(dir.Path("f"), 3, CUFileAccessWrite, false);
    EXPECT_EQ(writer.Read(out, 16, 0, CUStreamOriginBegin), 0u);
    writer.Close();
    EXPECT_EQ(writer.Write(out, 16, 0, CUStreamOriginBegin), 0u);
    EXPECT_EQ(ReadFile(dir.Native("f")), Pattern(16));
}

TEST(CUFileStream, CopiesFromAnIStreamAndRestoresItsPlace) {
    TempDirectory dir;
    // More than one transfer buffer, and not a multiple of it.
    const std::vector<uint8_t> bytes = Pattern(0x400000 + 12345);
    CUIStreamAdapter source(CUCreate<CUMemoryStream>(bytes.data(), bytes.size()));
    ASSERT_EQ(source.Seek(5, CUStreamOriginBegin, nullptr), CU_S_OK);
    CUFileStream target(dir.Path("f"), CUFileCreateNew, CUFileAccessReadWrite, false);
    target.Write(bytes.data(), 3, 0, CUStreamOriginBegin);
    EXPECT_EQ(target.CopyFromIStream(&source, 1, CUStreamOriginBegin), bytes.size() - 5);
    EXPECT_EQ(source.Cursor(), 5u);
    const std::vector<uint8_t> onDisk = ReadFile(dir.Native("f"));
    ASSERT_EQ(onDisk.size(), bytes.size() - 4);
    EXPECT_EQ(onDisk[0], bytes[0]);
    EXPECT_TRUE(std::equal(onDisk.begin() + 1, onDisk.end(), bytes.begin() + 5));
    EXPECT_EQ(target.CopyFromIStream(nullptr, 0, CUStreamOriginBegin), 0u);
}

}  // namespace
