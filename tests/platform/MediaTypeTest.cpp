// CMediaType: deep copies of the format block, equality, the format buffer. Matching partial
// types is the pins' own (tested through connections).
#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "platform/MediaType.h"

namespace {

const uint8_t kFormat[] = {1, 2, 3, 4, 5};

CMediaType VideoType() {
    CMediaType type(&MEDIATYPE_Video);
    const GUID subtype = FourCCSubtype(MakeFourCC('a', 'v', 'c', '1'));
    type.SetSubtype(&subtype);
    type.SetFormatType(&FORMAT_VideoInfo2);
    EXPECT_TRUE(type.SetFormat(kFormat, sizeof(kFormat)));
    return type;
}

TEST(CMediaType, CopiesOwnTheirFormatBlock) {
    CMediaType type = VideoType();
    CMediaType copy(type);
    ASSERT_NE(copy.Format(), type.Format());
    EXPECT_EQ(copy, type);
    copy.Format()[0] = 9;  // a deep copy: the original keeps its bytes
    EXPECT_EQ(type.Format()[0], 1);
    EXPECT_FALSE(copy == type);

    CMediaType assigned;
    assigned = type;
    EXPECT_EQ(assigned, type);
    CMediaType moved(std::move(assigned));
    EXPECT_EQ(moved, type);
    EXPECT_EQ(assigned.Format(), nullptr);

    // Through the plain struct, as a sample hands it out.
    AM_MEDIA_TYPE* heap = CreateMediaType(&type);
    ASSERT_NE(heap, nullptr);
    EXPECT_EQ(CMediaType(*heap), type);
    DeleteMediaType(heap);
}

TEST(CMediaType, EqualityIgnoresSampleSizeButNotGuidsOrFormatLength) {
    CMediaType a = VideoType();
    CMediaType b = VideoType();
    b.SetSampleSize(4096);
    EXPECT_EQ(a, b);
    b.SetFormatType(&FORMAT_WaveFormatEx);
    EXPECT_FALSE(a == b);
    CMediaType c = VideoType();
    c.SetFormat(kFormat, 4);
    EXPECT_FALSE(a == c);
}

TEST(CMediaType, AllocFormatBufferKeepsABlockOfTheSameLength) {
    CMediaType type;
    uint8_t* block = type.AllocFormatBuffer(8);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(type.FormatLength(), 8u);
    EXPECT_EQ(block[7], 0);
    block[0] = 42;
    EXPECT_EQ(type.AllocFormatBuffer(8), block);
    EXPECT_EQ(type.Format()[0], 42);
    type.ResetFormatBuffer();
    EXPECT_EQ(type.Format(), nullptr);
    EXPECT_EQ(type.FormatLength(), 0u);
}

}  // namespace
