#include <gtest/gtest.h>

#include "support/TestFiles.h"

#include <cstdint>
#include <vector>

#include "foundation/CUIStreamAdapter.h"
#include "foundation/CUMemoryStream.h"

namespace {

using namespace qvtest;

TEST(CUMemoryStream, ReadsStayInsideTheRangeAndNeverMove) {
    const std::vector<uint8_t> bytes = Pattern(100);
    std::vector<uint8_t> given = bytes;
    CUMemoryStream stream(given.data(), given.size());
    given.assign(100, 0);  // the stream holds its own copy
    stream.rangeStart = 10;
    stream.rangeLength = 20;
    uint8_t out[100] = {};
    EXPECT_EQ(stream.Read(out, 100, 29, CUStreamOriginBegin), 1u);
    EXPECT_EQ(out[0], bytes[29]);
    EXPECT_EQ(stream.Read(out, 1, 30, CUStreamOriginBegin), 0u);
    EXPECT_EQ(stream.Read(out, 1, 9, CUStreamOriginBegin), 0u);
    EXPECT_EQ(stream.Read(out, 5, -80, CUStreamOriginEnd), 5u);
    EXPECT_EQ(out[0], bytes[20]);
    EXPECT_EQ(stream.Read(out, 5, 15, 3), 0u);
    // Origin 1 counts from a position that reads never change.
    EXPECT_EQ(stream.Read(out, 2, 12, CUStreamOriginCurrent), 2u);
    EXPECT_EQ(out[0], bytes[12]);
    EXPECT_EQ(stream.position, 0u);
    // The range members are public; the bytes held bound a read whatever they say.
    stream.rangeLength = UINT64_MAX;
    EXPECT_EQ(stream.Read(out, 100, 96, CUStreamOriginBegin), 4u);
    EXPECT_FALSE(CUMemoryStream(nullptr, 10).IsReadable());
}

struct CreateCase {
    int64_t location, length;
    bool made;
};

class CreateFromStreamTest : public testing::TestWithParam<CreateCase> {};

TEST_P(CreateFromStreamTest, CopiesExactlyTheRangeOrGivesNull) {
    const CreateCase& c = GetParam();
    const std::vector<uint8_t> bytes = Pattern(64);
    CUSharedPtr<CUStream> source = CUCreate<CUMemoryStream>(bytes.data(), bytes.size());
    CUSharedPtr<CUMemoryStream> copy =
        CUMemoryStream::CreateFromStream(source, {c.location, c.length});
    ASSERT_EQ(static_cast<bool>(copy), c.made);
    if (!copy) return;
    std::vector<uint8_t> out(copy->size);
    EXPECT_EQ(copy->Read(out.data(), out.size(), 0, CUStreamOriginBegin), uint64_t(c.length));
    EXPECT_TRUE(std::equal(out.begin(), out.end(), bytes.begin() + c.location));
}

INSTANTIATE_TEST_SUITE_P(CUMemoryStream, CreateFromStreamTest,
                         testing::Values(CreateCase{0, 64, true}, CreateCase{60, 4, true},
                                         CreateCase{60, 5, false}, CreateCase{0, 0, false},
                                         CreateCase{-1, 4, false}, CreateCase{4, -4, false},
                                         CreateCase{INT64_MAX, INT64_MAX, false}));

TEST(CUMemoryStream, CreateFromStreamAnswersNullForSourcesThatCannotDeliver) {
    EXPECT_FALSE(CUMemoryStream::CreateFromStream(nullptr, {0, 4}));
    // The base class throws from Read instead of answering.
    CUSharedPtr<CUStream> base = CUCreate<CUStream>();
    base->size = base->rangeLength = 16;
    EXPECT_FALSE(CUMemoryStream::CreateFromStream(base, {0, 4}));
}

// The adapter's reads and seeks serve CUFileStream::CopyFromIStream; here only the places that
// cannot exist.
TEST(CUIStreamAdapter, RefusesPlacesThatCannotExist) {
    CUIStreamAdapter adapter(CUCreate<CUMemoryStream>("0123456789", 10));
    uint64_t at = 0;
    EXPECT_EQ(adapter.Seek(-3, CUStreamOriginEnd, &at), CU_S_OK);
    EXPECT_LT(adapter.Seek(-8, CUStreamOriginCurrent, &at), 0);
    EXPECT_LT(adapter.Seek(INT64_MAX, CUStreamOriginCurrent, &at), 0);
    EXPECT_LT(adapter.Seek(0, 5, &at), 0);
    EXPECT_EQ(at, 7u);
}

}  // namespace
