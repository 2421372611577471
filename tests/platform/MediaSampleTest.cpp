#include <gtest/gtest.h>

#include <utility>

#include "platform/MemAllocator.h"

namespace {

// A sample of a committed one-buffer pool; the fixture gives it back.
class MediaSampleTest : public ::testing::Test {
protected:
    void SetUp() override {
        allocator = new CMemAllocator("test");
        allocator->AddRef();
        ALLOCATOR_PROPERTIES request{1, 64, 1, 0}, actual;
        ASSERT_EQ(allocator->SetProperties(&request, &actual), S_OK);
        ASSERT_EQ(allocator->Commit(), S_OK);
        IMediaSample* got = nullptr;
        ASSERT_EQ(allocator->GetBuffer(&got, nullptr, nullptr, 0), S_OK);
        ASSERT_EQ(got->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&sample)), S_OK);
        got->Release();
    }
    void TearDown() override {
        if (sample) sample->Release();
        allocator->Decommit();
        allocator->Release();
    }

    CMemAllocator* allocator = nullptr;
    IMediaSample2* sample = nullptr;
};

// Media times have their own pair (the transform test carries them over); only the stop of the
// sample times is optional.
TEST_F(MediaSampleTest, TimesStartUnsetAndStopIsOptional) {
    REFERENCE_TIME start = 0, stop = 0;
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
    int64_t mediaStart = 0, mediaStop = 0;
    EXPECT_EQ(sample->GetMediaTime(&mediaStart, &mediaStop), VFW_E_MEDIA_TIME_NOT_SET);
    REFERENCE_TIME setStart = 400000, setStop = 800000;
    ASSERT_EQ(sample->SetTime(&setStart, &setStop), S_OK);
    EXPECT_EQ(sample->GetTime(&start, &stop), S_OK);
    EXPECT_EQ(std::pair(start, stop), std::pair(setStart, setStop));
    ASSERT_EQ(sample->SetTime(&setStart, nullptr), S_OK);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_S_NO_STOP_TIME);
    EXPECT_EQ(stop, 400001);
    ASSERT_EQ(sample->SetTime(nullptr, nullptr), S_OK);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
}

TEST_F(MediaSampleTest, DataLengthStaysInsideTheBuffer) {
    EXPECT_EQ(sample->GetActualDataLength(), 64);
    EXPECT_EQ(sample->SetActualDataLength(64), S_OK);
    EXPECT_EQ(sample->SetActualDataLength(65), E_INVALIDARG);
    EXPECT_EQ(sample->SetActualDataLength(-1), E_INVALIDARG);
    EXPECT_EQ(sample->SetActualDataLength(10), S_OK);
    EXPECT_EQ(sample->GetActualDataLength(), 10);
}

TEST_F(MediaSampleTest, AttachedMediaTypeIsACopy) {
    AM_MEDIA_TYPE* got = reinterpret_cast<AM_MEDIA_TYPE*>(1);
    EXPECT_EQ(sample->GetMediaType(&got), S_FALSE);
    EXPECT_EQ(got, nullptr);

    CMediaType type(&MEDIATYPE_Audio);
    const uint8_t format[] = {1, 2, 3};
    type.SetFormatType(&FORMAT_WaveFormatEx);
    type.SetFormat(format, sizeof(format));
    ASSERT_EQ(sample->SetMediaType(&type), S_OK);
    type.Format()[0] = 9;  // the sample's copy does not follow
    ASSERT_EQ(sample->GetMediaType(&got), S_OK);
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(got->majortype, MEDIATYPE_Audio);
    ASSERT_EQ(got->cbFormat, 3u);
    EXPECT_EQ(got->pbFormat[0], 1);
    DeleteMediaType(got);

    ASSERT_EQ(sample->SetMediaType(nullptr), S_OK);
    EXPECT_EQ(sample->GetMediaType(&got), S_FALSE);
}

// Each flag setter sets its own property flag alone, and the property flags set each flag; a new
// sample's flags are all clear (see the last test of this file).
TEST_F(MediaSampleTest, FlagsAndPropertiesAreOneState) {
    REFERENCE_TIME start = 10, stop = 20;
    sample->SetTime(&start, &stop);
    sample->SetSyncPoint(true);
    sample->SetDiscontinuity(true);
    sample->SetPreroll(true);
    EXPECT_EQ(sample->IsPreroll(), S_OK);
    sample->SetPreroll(false);
    AM_SAMPLE2_PROPERTIES props;
    ASSERT_EQ(sample->GetProperties(sizeof(props), reinterpret_cast<uint8_t*>(&props)), S_OK);
    EXPECT_EQ(props.dwSampleFlags, AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_DATADISCONTINUITY |
                                       AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID);
    EXPECT_EQ(props.tStart, 10);
    EXPECT_EQ(props.tStop, 20);
    EXPECT_EQ(props.cbBuffer, 64);

    props.dwTypeSpecificFlags = 0x5A;
    props.dwSampleFlags = AM_SAMPLE_PREROLL;
    props.lActual = 32;
    ASSERT_EQ(sample->SetProperties(sizeof(props), reinterpret_cast<uint8_t*>(&props)), S_OK);
    EXPECT_EQ(sample->IsPreroll(), S_OK);
    EXPECT_EQ(sample->IsSyncPoint(), S_FALSE);
    EXPECT_EQ(sample->IsDiscontinuity(), S_FALSE);
    EXPECT_EQ(sample->GetActualDataLength(), 32);

    // A buffer that is not the sample's, or data past it, is refused and changes nothing.
    for (const bool pastTheData : {false, true}) {
        AM_SAMPLE2_PROPERTIES bad = props;
        (pastTheData ? bad.lActual : bad.cbBuffer) = 65, bad.dwTypeSpecificFlags = 1;
        EXPECT_EQ(sample->SetProperties(sizeof bad, reinterpret_cast<uint8_t*>(&bad)),
                  E_INVALIDARG);
    }
    AM_SAMPLE2_PROPERTIES back;
    sample->GetProperties(sizeof(back), reinterpret_cast<uint8_t*>(&back));
    EXPECT_EQ(back.dwTypeSpecificFlags, 0x5Au);
}

TEST_F(MediaSampleTest, LastReleaseReturnsTheBufferWithPropertiesReset) {
    sample->SetPreroll(true);
    sample->SetActualDataLength(3);
    AM_SAMPLE2_PROPERTIES props;
    sample->GetProperties(sizeof(props), reinterpret_cast<uint8_t*>(&props));
    props.dwTypeSpecificFlags = 0x7;
    sample->SetProperties(sizeof(props), reinterpret_cast<uint8_t*>(&props));
    CMediaType type(&MEDIATYPE_Video);
    sample->SetMediaType(&type);
    sample->AddRef();
    EXPECT_EQ(sample->Release(), 1u);  // still held: not back in the pool yet
    IMediaSample* other = nullptr;
    EXPECT_EQ(allocator->GetBuffer(&other, nullptr, nullptr, AM_GBF_NOWAIT), VFW_E_TIMEOUT);
    EXPECT_EQ(sample->Release(), 0u);
    sample = nullptr;

    IMediaSample* again = nullptr;
    ASSERT_EQ(allocator->GetBuffer(&again, nullptr, nullptr, 0), S_OK);
    ASSERT_EQ(again->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&sample)), S_OK);
    again->Release();
    sample->GetProperties(sizeof(props), reinterpret_cast<uint8_t*>(&props));
    EXPECT_EQ(props.dwSampleFlags, 0u);
    EXPECT_EQ(props.dwTypeSpecificFlags, 0u);
    EXPECT_EQ(props.lActual, 64);
    AM_MEDIA_TYPE* got = nullptr;
    EXPECT_EQ(sample->GetMediaType(&got), S_FALSE);
}

}  // namespace
