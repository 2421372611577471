#include "clipmodel/CMBXAnalyzeSystemItemData.h"

#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <utility>
#include <vector>

#include "clipmodel/SystemItemKeys.h"
#include "foundation/CUNumber.h"
#include "foundation/CUVector.h"
#include "mxf/MXFLabels.h"
#include "support/ByteWriter.h"
#include "support/TestFiles.h"
#include "tools/qvclip/synth/Synthesizer.h"

namespace {

using qvtest::ByteWriter;
using Bytes = std::vector<uint8_t>;
using Vector = CUVector<unsigned int>;
namespace msi = mxf_system_item;

const Bytes DateTimeStamp = {0xE5, 0xB9, 0x59, 0xE3, 0x31, 0x12, 0x24, 0x09};
const Bytes UserTimecode = {0x12, 0x34, 0x56, 0x21};

// The 57-byte system metadata pack with the two stamps; a type of 0 leaves a stamp out.
ByteWriter Pack(uint8_t creationType = msi::StampDateTime, Bytes creation = DateTimeStamp,
                uint8_t userType = msi::StampTimecode) {
    ByteWriter w;
    w.Fill(msi::CreationStampType).U8(creationType).Bytes(creation);
    w.Fill(msi::UserStampType - w.Size()).U8(userType).Bytes(UserTimecode);
    return w.Fill(msi::PackSize - w.Size());
}

Bytes Triplet(const mxf_label::Label& key, const Bytes& value, unsigned longBytes = 0) {
    return ByteWriter().Bytes(key).BERLength(value.size(), longBytes).Bytes(value).Data();
}

ByteWriter& Item(ByteWriter& w, const Bytes& content, uint8_t tag = msi::AcquisitionItemTag) {
    return w.U8(tag).U16(uint16_t(content.size())).Bytes(content);
}

Bytes PackList(const std::vector<std::pair<uint8_t, uint32_t>>& packs) {
    ByteWriter w;
    w.U8(uint8_t(packs.size()));
    for (auto [id, data] : packs) w.U8(id).U32(data);
    return Triplet(mxf_label::AcquisitionPackList, w.Data());
}

struct Analysed {
    bool result;
    CUSharedPtr<CMBXAnalyzeSystemItemData> a;
    CUSharedPtr<CUObject> Get(const char* key) const {
        return a->metadata->ObjectForKey(CUCreate<CUStringWin>(key));
    }
    CUSharedPtr<CUNumber> Number(const char* key) const { return CUSharedPtr<CUNumber>(Get(key)); }
};

Analysed Analyse(const Bytes& bytes) {
    auto a = CUCreate<CMBXAnalyzeSystemItemData>(
        CUCreate<CUMemoryStream>(bytes.empty() ? nullptr : bytes.data(), bytes.size()));
    const bool result = a->Analyze();
    return {result, a};
}

Analysed AnalyseAcquisition(const Bytes& content) {
    ByteWriter w = Pack(0, DateTimeStamp, 0);
    return Analyse(Item(w, content).Data());
}

std::vector<int> Clock(const TimecodeInfo& t) {
    return {t.hours, t.minutes, t.seconds, t.frames, t.dropFrame};
}

// The width of a stored number: 'b', 'h', 'w' for 8, 16, 32 bits, 'f' for a float.
char WidthOf(const CUObject* o) {
    if (dynamic_cast<const CUNumberConcrete<uint8_t>*>(o)) return 'b';
    if (dynamic_cast<const CUNumberConcrete<uint16_t>*>(o)) return 'h';
    if (dynamic_cast<const CUNumberConcrete<uint32_t>*>(o)) return 'w';
    return dynamic_cast<const CUNumberConcrete<float>*>(o) ? 'f' : '?';
}

struct Expected {
    const char* key;
    char width;
    uint32_t value;  // the bits of a float
};
struct PackCase {
    uint8_t id;
    uint32_t data;
    std::vector<Expected> keys;
};

class PackTable : public testing::TestWithParam<PackCase> {};
TEST_P(PackTable, DecodesEveryKeyAtItsWidth) {
    const PackCase& c = GetParam();
    const Analysed r = AnalyseAcquisition(PackList({{c.id, c.data}}));
    EXPECT_TRUE(r.result);
    EXPECT_EQ(r.a->metadata->Count(), c.keys.size());
    for (const Expected& e : c.keys) {
        const auto n = r.Number(e.key);
        ASSERT_TRUE(n) << e.key;
        EXPECT_EQ(WidthOf(n.Get()), e.width) << e.key;
        EXPECT_EQ(e.width == 'f' ? std::bit_cast<uint32_t>(n->FloatValue()) : n->UInt32Value(),
                  e.value)
            << e.key;
    }
}

namespace k = system_item_key;
// The focus markers, and the packs whose fields are not whole bytes or mix widths; packs of
// whole halves or words are read through the same store and are left to the synthesized clip.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Packs, PackTable, testing::Values(
    PackCase{0, 0x00000000, {{k::FocusMode, 'b', 0}}},
    PackCase{0, 0xFFFFFFFE, {{k::FocusMode, 'b', 2}}},
    PackCase{0, 0xFFFFFFFF, {{k::FocusMode, 'b', 3}}},
    PackCase{0, 0xFFFFFF00, {{k::FocusMode, 'b', 1}, {k::FocusValue, 'f', 0xFFFFFF00}}},
    PackCase{2, 0xE8000000, {{k::LensFocusMode, 'b', 3}, {k::LensImageStabilizer, 'b', 2},
                             {k::LensApertureMode, 'b', 1}}},
    PackCase{4, 0x80123456, {{k::ShutterValueMode, 'b', 2}, {k::ShutterValue1, 'h', 0x1234},
                             {k::ShutterValue2, 'b', 0x56}}},
    PackCase{6, 0xB395E007, {{k::WBMode, 'b', 5}, {k::WBPreset, 'b', 0x13}, {k::WBAccurate, 'b', 1},
                             {k::WBColorTmp, 'h', 0x15E0}, {k::WBIsotmpLineIndex, 'b', 7}}},
    PackCase{7, 0x8603A5FF, {{k::GainMode, 'b', 1}, {k::GainMasterGain, 'b', 6},
                             {k::GainNDFilter, 'b', 3}, {k::GainMasterGainDelta, 'b', 0xA}}},
    PackCase{8, 0x8BFF0000, {{k::IRStatus, 'b', 2}, {k::StatusPackType, 'b', 0xB},
                             {k::HighSensitivityMode, 'b', 1}}},
    PackCase{11, 0xD6789ABC, {{k::Gain2Mode, 'b', 1}, {k::Gain2MasterGainDelta, 'b', 5},
                              {k::Gain2MasterGain, 'h', 0x678}, {k::Gain2NDFilter, 'h', 0x9ABC}}},
    PackCase{16, 0x89ABCDEF, {{k::Zoom2FocalLenNo35Cnv, 'w', 0x89ABCDEF}}},
    PackCase{12, 0x12345678, {}}, PackCase{18, 0xFFFFFFFF, {}}));
// clang-format on

TEST(SystemItemStamps, DecodeFlagsDigitsAndDate) {
    const Analysed r = Analyse(Pack().Data());
    EXPECT_TRUE(r.result);
    EXPECT_EQ(Clock(*r.a->timecode), std::vector<int>({21, 56, 34, 12, 0}));
    CUSharedPtr<TimecodeInfoEX> date(r.Get(k::RecDateTime));
    ASSERT_TRUE(date);
    const TimecodeInfoEX& d = *date;
    EXPECT_EQ(std::vector<int>({d.colorFrame, d.dropFrame, d.frames, d.secondsFlag, d.seconds,
                                d.minutesFlag, d.minutes, d.hoursFlag7, d.hoursFlag6, d.hours,
                                d.day, d.month, d.year, d.timeZone}),
              std::vector<int>({1, 1, 25, 1, 39, 0, 59, 1, 1, 23, 31, 12, 2024, 9}));
}

TEST(SystemItemStamps, SizeAndTypeDecideWhatIsRead) {
    Bytes item = Pack().Data();
    item.resize(56);
    Analysed r = Analyse(item);
    EXPECT_TRUE(r.result);
    EXPECT_TRUE(r.Get(k::RecDateTime));
    EXPECT_EQ(r.a->timecode->hours, 0);

    item.resize(39);
    EXPECT_FALSE(Analyse(item).result);
    EXPECT_FALSE(Analyse({}).result);

    Bytes invalid = DateTimeStamp;
    invalid[7] |= msi::DateInvalid;
    r = Analyse(Pack(msi::StampDateTime, invalid, 0).Data());
    EXPECT_FALSE(r.result);
    EXPECT_EQ(r.a->metadata->Count(), 0u);
    EXPECT_FALSE(
        Analyse(Pack(msi::StampTimecode, DateTimeStamp, msi::StampDateTime).Data()).result);
}

TEST(SystemItemPictureStructure, EntriesByTypeInOrder) {
    // Type, offset and size of each entry.
    auto entries = [](uint8_t display, std::vector<uint32_t> list) {
        ByteWriter w;
        w.U8(display).U8(uint8_t(list.size() / 3));
        for (size_t i = 0; i < list.size(); i += 3)
            w.U8(uint8_t(list[i])).U32(list[i + 1]).U32(list[i + 2]);
        return w.Data();
    };
    ByteWriter content;
    content.Bytes(Triplet(mxf_label::PictureStructure,
                          entries(3, {1, 10, 20, 2, 30, 40,  4, 50, 60, 2, 70, 80,
                                      1, 11, 21, 5, 90, 100, 6, 1,  2,  9, 5,  5})));
    content.Bytes(Triplet(mxf_label::PictureStructure2, entries(4, {4, 110, 120})));
    testing::internal::CaptureStdout();
    const Analysed r = AnalyseAcquisition(content.Data());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Tile pack 1 - 2\n");
    EXPECT_TRUE(r.result);
    auto vector = [&](const char* key) {
        CUSharedPtr<Vector> v(r.Get(key));
        return v ? std::vector<unsigned>(v->begin(), v->end()) : std::vector<unsigned>{};
    };
    EXPECT_EQ(vector(k::PPSOffset), std::vector<unsigned>({30, 70}));
    EXPECT_EQ(vector(k::PPSSize), std::vector<unsigned>({40, 80}));
    EXPECT_EQ(vector(k::SliceOffset), std::vector<unsigned>({50, 110}));
    EXPECT_EQ(vector(k::SliceSize), std::vector<unsigned>({60, 120}));
    EXPECT_EQ(r.Number(k::SPSOffset)->UInt32Value(), 11u);
    EXPECT_EQ(r.Number(k::SPSSize)->UInt32Value(), 21u);
    EXPECT_EQ(r.Number(k::VPSSize)->UInt32Value(), 100u);
    EXPECT_EQ(r.Number(k::DisplayOffset)->UInt8Value(), 4);
    EXPECT_EQ(r.a->metadata->Count(), 9u);
}

// An unknown triplet in each BER form, then a pack list: only the valid forms reach the list.
class BERForms : public testing::TestWithParam<std::pair<Bytes, bool>> {};
TEST_P(BERForms, SkipUnknownOrEnd) {
    const auto& [length, reaches] = GetParam();
    const mxf_label::Label unknown = {0x06, 0x0E, 0x2B, 0x34, 0x7F};
    const Bytes content =
        ByteWriter().Bytes(unknown).Bytes(length).Fill(5, 0xEE).Bytes(PackList({{9, 800}})).Data();
    const Analysed r = AnalyseAcquisition(content);
    EXPECT_EQ(r.result, reaches);
    EXPECT_EQ(bool(r.Get(k::ISOSpeed)), reaches);
}
INSTANTIATE_TEST_SUITE_P(Lengths, BERForms,
                         testing::Values(std::pair{Bytes{0x05}, true},
                                         std::pair{Bytes{0x81, 0x05}, true},
                                         std::pair{Bytes{0x84, 0, 0, 0, 0x05}, true},
                                         std::pair{Bytes{0x85, 0, 0, 0, 0, 0x05}, false},
                                         std::pair{Bytes{0x80}, false}));

TEST(SystemItemWalk, LengthPastEndStaysAndLastAcquisitionItemDecides) {
    // The value of an unknown key that claims more than the item holds is read as the next key.
    const mxf_label::Label unknown = {0x06, 0x0E, 0x2B, 0x34, 0x7F};
    const Bytes past = ByteWriter().Bytes(unknown).U8(0x7F).Bytes(PackList({{9, 800}})).Data();
    EXPECT_EQ(AnalyseAcquisition(past).Number(k::ISOSpeed)->UInt32Value(), 800u);

    ByteWriter w = Pack(0, DateTimeStamp, 0);
    Item(w, PackList({{9, 800}}));
    Item(w, PackList({{1, 0}}), 0x83);  // another tag is passed over
    EXPECT_TRUE(Analyse(w.Data()).result);
    Item(w, Triplet(unknown, {1, 2}));
    const Analysed r = Analyse(w.Data());
    EXPECT_FALSE(r.result);
    EXPECT_TRUE(r.Get(k::ISOSpeed));
    EXPECT_FALSE(r.Get(k::ZoomFocalLen));
}

TEST(SystemItemDamage, NoCrashOrHangOnAnyTruncationOrByte) {
    ByteWriter w = Pack();
    std::vector<std::pair<uint8_t, uint32_t>> packs;
    for (uint8_t id = 0; id < 20; ++id) packs.push_back({id, 0x3FC00000u + id});
    const Bytes structure =
        ByteWriter().U8(0).U8(3).U8(2).U32(1).U32(2).U8(4).U32(3).U32(4).U8(1).U32(5).U32(6).Data();
    Bytes content = PackList(packs);
    const Bytes triplet = Triplet(mxf_label::PictureStructure, structure, 2);
    content.insert(content.end(), triplet.begin(), triplet.end());
    Item(w, content);
    const Bytes item = w.Data();
    ASSERT_TRUE(Analyse(item).result);
    for (size_t n = 0; n <= item.size(); ++n) Analyse(Bytes(item.begin(), item.begin() + n));
    for (size_t i = 0; i < item.size(); ++i)
        for (uint8_t v : {0x00, 0x7F, 0x80, 0xFF}) {
            Bytes damaged = item;
            damaged[i] = v;
            Analyse(damaged);
        }
}

TEST(SystemItemSynthesized, EveryFrameGivesWhatTheWriterPutIn) {
    qvtest::TempDirectory dir;
    const synth::SynthResult written =
        synth::Synthesize({.outDir = dir.root, .frames = 30, .width = 64, .height = 64});
    ASSERT_EQ(written.packages.size(), 30u);
    for (size_t s = 0; s < written.packages.size(); ++s) {
        SCOPED_TRACE(s);
        const synth::SynthPackage& p = written.packages[s];
        const Analysed r = Analyse(p.systemItem);
        ASSERT_TRUE(r.result);
        const int second = int(s / 25), frame = int(s % 25);
        EXPECT_EQ(Clock(*r.a->timecode), std::vector<int>({1, 0, second, frame, 0}));
        EXPECT_TRUE(r.Get(k::RecDateTime));
        EXPECT_FLOAT_EQ(r.Number(k::FocusValue)->FloatValue(), 1.5f + 0.01f * float(s));
        EXPECT_EQ(r.Number(k::ISOSpeed)->UInt32Value(), 800u);
        EXPECT_EQ(r.Number(k::ZoomFocalLen)->UInt32Value(), 35u);
        EXPECT_EQ(r.Number(k::ShutterSpeed2)->UInt32Value(), 50u);  // 1/(2 x 25)
        EXPECT_EQ(r.Number(k::FNumber1)->UInt32Value(), 28u);
        const auto slices = CUSharedPtr<Vector>(r.Get(k::SliceOffset));
        const auto sizes = CUSharedPtr<Vector>(r.Get(k::SliceSize));
        ASSERT_TRUE(slices && sizes && !slices->empty());
        EXPECT_EQ(bool(r.Get(k::SPSOffset)), p.key);
        ASSERT_EQ(slices->size(), sizes->size());
        for (size_t i = 0; i < slices->size(); ++i)
            EXPECT_LE(uint64_t{(*slices)[i]} + (*sizes)[i], p.picture.size);
    }
}

}  // namespace
