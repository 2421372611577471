// MXFWrapper over synthesized clips: the parameters read back are those written, files of another
// maker are refused, the index walks and key frames agree with the written index, and ReadFrame
// lays the elements out as the layout says.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "mxf/MXFLabels.h"
#include "mxf/MXFWrapper.h"
#include "support/Md5.h"
#include "support/TestFiles.h"
#include "tools/qvclip/synth/Synthesizer.h"

namespace {

using namespace qvtest;
using synth::SynthCodec;
using synth::SynthOptions;

SynthOptions Small(const std::string& dir) {
    return {.outDir = dir, .frames = 30, .width = 128, .height = 72};
}

CUSharedPtr<MXFWrapper> OpenWrapper(const std::string& path) {
    CUSharedPtr<MXFWrapper> wrapper = CUCreate<MXFWrapper>();
    EXPECT_EQ(wrapper->Open(CUCreate<CUStringWin>(path.c_str())), 1u) << wrapper->FailureReason();
    return wrapper;
}

// Replaces every occurrence of `from` in the file by `to` (same length); the count replaced.
size_t Patch(const std::string& path, const std::vector<uint8_t>& from,
             const std::vector<uint8_t>& to) {
    std::vector<uint8_t> bytes = ReadFile(path);
    size_t count = 0;
    for (auto it = bytes.begin();
         (it = std::search(it, bytes.end(), from.begin(), from.end())) != bytes.end(); ++count)
        it = std::copy(to.begin(), to.end(), it);
    WriteFile(path, bytes);
    return count;
}

std::vector<uint8_t> Utf16(const std::string& ascii) {
    std::vector<uint8_t> out;
    for (char c : ascii) out.insert(out.end(), {0, static_cast<uint8_t>(c)});
    return out;
}

struct ParameterCase {
    const char* name;
    void (*apply)(SynthOptions&);
};

class MXFWrapperParameters : public ::testing::TestWithParam<ParameterCase> {};

TEST_P(MXFWrapperParameters, MatchWhatWasSynthesized) {
    TempDirectory dir;
    SynthOptions o = Small(dir.root);
    GetParam().apply(o);
    const synth::SynthResult written = synth::Synthesize(o);
    CUSharedPtr<MXFWrapper> w = OpenWrapper(written.paths.at(0));

    EXPECT_EQ(w->GetFrameCount(-1), o.frames);
    EXPECT_EQ(w->GetWidth(), o.width);
    EXPECT_EQ(w->GetHeight(), o.height);
    std::pair<uint32_t, uint32_t> rate;
    EXPECT_EQ(w->GetFrameRate(rate), std::make_pair(o.rateNumerator, o.rateDenominator));
    EXPECT_EQ(w->chromaFormat, o.rgbaDescriptor  ? ClipChromaRGB
                               : o.chroma == 422 ? ClipChroma422
                                                 : ClipChroma420);
    const uint32_t depth = o.bitDepth == 8    ? ClipBitDepth8
                           : o.bitDepth == 10 ? ClipBitDepth10
                                              : ClipBitDepth12;
    // An RGBA descriptor tells depth by its maximum reference, which knows no 8-bit code;
    // a CDCI one by its component depth, which knows no 12-bit one.
    const bool known = o.rgbaDescriptor ? o.bitDepth != 8 : o.bitDepth != 12;
    EXPECT_EQ(w->bitDepthCode, known ? depth : ClipCodeUnknown);
    EXPECT_EQ(w->GetGammaType(), o.gammaCode);
    EXPECT_EQ(w->GetColorGamut(), o.gamutCode);
    EXPECT_EQ(w->GetHLGColor(), o.gammaCode == 15 ? 2u : 0u);
    EXPECT_EQ(w->GetAudioChannels(), o.channels);
    EXPECT_EQ(w->GetAudioSampleRate(), o.channels ? 48000u : 0u);
    EXPECT_EQ(w->GetAudioBitDepth(), o.channels ? o.soundBits : 0u);
    // MPEG-2 labels carry the profile where AVC carries intra or long GOP: never intra here.
    EXPECT_EQ(w->IsIntraCoded(), o.gop == 1 && o.codec != SynthCodec::MPEG2);
    EXPECT_EQ(w->GetLookType(), ClipCodeUnknown);
    EXPECT_EQ(w->GetContainerType(), ClipContainerMXF);
    CUSharedPtr<CUArray> files;
    ASSERT_TRUE(w->GetFileList(files));
    EXPECT_EQ(files->Count(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Options, MXFWrapperParameters,
    ::testing::Values(ParameterCase{"H264Intra10bit422Gamma3",
                                    [](SynthOptions& o) {
                                        o.gop = 1, o.bitDepth = 10, o.chroma = 422, o.gammaCode = 3,
                                        o.rateNumerator = 30000, o.rateDenominator = 1001;
                                    }},
                      ParameterCase{"HEVC12bitRGBA",
                                    [](SynthOptions& o) {
                                        o.codec = SynthCodec::HEVC, o.bitDepth = 12,
                                        o.rgbaDescriptor = true, o.gammaCode = 15, o.gamutCode = 3;
                                    }},
                      ParameterCase{"HEVCIntraRGBA10",
                                    [](SynthOptions& o) {
                                        o.codec = SynthCodec::HEVC, o.gop = 1, o.bitDepth = 10,
                                        o.rgbaDescriptor = true, o.gammaCode = 14, o.gamutCode = 5;
                                    }},
                      ParameterCase{"MPEG2IntraSilent",
                                    [](SynthOptions& o) {
                                        o.codec = SynthCodec::MPEG2, o.gop = 1, o.channels = 0,
                                        o.gammaCode = 12, o.gamutCode = 4;
                                    }},
                      ParameterCase{"EightChannels16bit",
                                    [](SynthOptions& o) {
                                        o.channels = 8, o.soundBits = 16, o.gammaCode = 9,
                                        o.gamutCode = 2, o.rateNumerator = 50;
                                    }},
                      // The synthesizer's defaults otherwise: 8-bit 4:2:0, long GOP, two channels.
                      ParameterCase{"CameraGammas",
                                    [](SynthOptions& o) { o.gammaCode = 0, o.gamutCode = 1; }}),
    [](const auto& info) { return std::string(info.param.name); });

// Labels that the synthesizer does not write, put in place of one it does: the other camera
// family, the end of the 0x0D family, the other transfer labels, and labels of neither kind.
struct LabelCase {
    const char* name;
    mxf_label::Label label;
    bool transfer;  // else primaries
    uint32_t code;
};

class MXFWrapperLabels : public ::testing::TestWithParam<LabelCase> {};

TEST_P(MXFWrapperLabels, GiveTheirCode) {
    TempDirectory dir;
    SynthOptions o = Small(dir.root);
    o.frames = 2;
    o.gammaCode = 0;  // written as the 0x0D family's selector 1
    o.gamutCode = 1;
    const synth::SynthResult written = synth::Synthesize(o);
    using namespace mxf_label;
    const Label was = GetParam().transfer ? TransferCamera(CameraFamily0D, 1)
                                          : PrimariesCamera(CameraFamily0D, 1);
    ASSERT_EQ(Patch(written.paths.at(0), std::vector<uint8_t>(was.begin(), was.end()),
                    std::vector<uint8_t>(GetParam().label.begin(), GetParam().label.end())),
              1u);
    CUSharedPtr<MXFWrapper> w = OpenWrapper(written.paths.at(0));
    EXPECT_EQ(GetParam().transfer ? w->GetGammaType() : w->GetColorGamut(), GetParam().code);
    EXPECT_TRUE(!GetParam().transfer || w->GetHLGColor() == (GetParam().code == 15 ? 2u : 0u));
}

using namespace mxf_label;
INSTANTIATE_TEST_SUITE_P(
    Tables, MXFWrapperLabels,
    ::testing::Values(LabelCase{"Gamma0C_9", TransferCamera(CameraFamily0C, 9), true, 15},
                      LabelCase{"Gamma0D_8", TransferCamera(CameraFamily0D, 8), true, 1},
                      LabelCase{"GammaOther12", TransferGammaCode12, true, 12},
                      LabelCase{"GammaUnknown", TransferCamera(0x0B, 1), true, 1},
                      LabelCase{"Gamut0C_4", PrimariesCamera(CameraFamily0C, 4), false, 4},
                      LabelCase{"Gamut0D_5", PrimariesCamera(CameraFamily0D, 5), false, 0},
                      LabelCase{"GamutUnknown", TransferCamera(CameraFamily0D, 1), false, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(MXFWrapper, RefusesAnotherMakerAndIgnoresCase) {
    TempDirectory dir;
    SynthOptions o = Small(dir.root);
    o.frames = 2;
    const std::string path = synth::Synthesize(o).paths.at(0);

    ASSERT_EQ(Patch(path, Utf16("ZOREL"), Utf16("Other")), 1u);
    CUSharedPtr<MXFWrapper> w = CUCreate<MXFWrapper>();
    EXPECT_EQ(w->Open(CUCreate<CUStringWin>(path.c_str())), 0u);
    EXPECT_NE(w->FailureReason().find("CompanyName is \"Other\""), std::string::npos)
        << w->FailureReason();

    ASSERT_EQ(Patch(path, Utf16("Other"), Utf16("zorel")), 1u);
    OpenWrapper(path);
    // Missing and junk files are refused with their reasons in ClipFailureTest (qvclip).
    EXPECT_EQ(w->Open(nullptr), 0u);
    EXPECT_FALSE(w->FailureReason().empty());
}

TEST(MXFWrapper, WalksFollowTheIndex) {
    TempDirectory dir;
    SynthOptions o = Small(dir.root);
    o.frames = 40;
    o.gop = 12;
    const synth::SynthResult written = synth::Synthesize(o);
    CUSharedPtr<MXFWrapper> w = OpenWrapper(written.paths.at(0));
    const auto& packages = written.packages;
    const uint64_t n = packages.size();

    for (uint64_t f = 0; f < n; ++f) {
        SCOPED_TRACE(f);
        uint8_t t = 0, k = 0, flags = 0;
        ASSERT_EQ(w->GetIndexEntry(uint32_t(f), &t, &k, &flags), 1);
        EXPECT_EQ(int8_t(t), packages[f].entry.temporalOffset);
        EXPECT_EQ(int8_t(k), packages[f].entry.keyFrameOffset);
        EXPECT_EQ(flags, packages[f].entry.flags);

        // Picture f is stored somewhere; decoding starts at the last key stored before it.
        uint64_t stored = 0;
        while (packages[stored].pictureNumber != f) ++stored;
        uint64_t key = stored;
        while (!packages[key].key) --key;
        EXPECT_EQ(w->GetKeyFrame(f), key);

        auto next = [&](auto taken) {
            uint64_t s = f;
            while (s < n && !taken(packages[s])) ++s;
            return s;
        };
        const uint64_t intra = next([](const auto& p) { return p.key; });
        const uint64_t forward = next([](const auto& p) { return (p.entry.flags & 0x30) != 0x30; });
        uint64_t found = 0;
        // Where none is found, `found` is not looked at.
        EXPECT_EQ(w->FindDecodableFrame(f, true, &found), intra < n);
        EXPECT_TRUE(intra == n || found == intra);
        EXPECT_EQ(w->FindDecodableFrame(f, false, &found), forward < n);
        EXPECT_TRUE(forward == n || found == forward);
        EXPECT_EQ(w->FindRandomAccessFrame(f, &found), intra < n);
        EXPECT_TRUE(intra == n || found == intra);
    }
    EXPECT_EQ(w->GetKeyFrame(n), n);
    EXPECT_EQ(w->GetKeyFrame(n + 1000), n + 1000);
    EXPECT_EQ(w->GetIndexEntry(uint32_t(n), nullptr, nullptr, nullptr), 0);
    uint64_t found = 0;
    EXPECT_FALSE(w->FindRandomAccessFrame(n, &found));

    // After Close the frame operations answer as for a wrapper never opened; facts stay.
    w->Close();
    EXPECT_EQ(w->GetKeyFrame(5), 5u);
    EXPECT_FALSE(w->FindDecodableFrame(0, false, &found));
    EXPECT_EQ(w->GetWidth(), o.width);
}

struct LayoutCase {
    uint32_t elements;
    uint32_t channels;
};

class MXFWrapperReadFrame : public ::testing::TestWithParam<LayoutCase> {};

TEST_P(MXFWrapperReadFrame, LaysElementsOutInOrder) {
    const auto [elements, channels] = GetParam();
    TempDirectory dir;
    SynthOptions o = Small(dir.root);
    o.frames = 5;
    o.channels = channels;
    const synth::SynthResult written = synth::Synthesize(o);
    CUSharedPtr<MXFWrapper> w = OpenWrapper(written.paths.at(0));

    std::vector<uint8_t> buffer(1 << 20);
    for (uint64_t f = 0; f < o.frames; ++f) {
        SCOPED_TRACE(f);
        const synth::SynthPackage& p = written.packages[f];
        FrameElementLayout layout;
        ASSERT_EQ(w->ReadFrame(f, buffer.data(), uint32_t(buffer.size()), &layout, elements), 1);
        EXPECT_EQ(layout.indexFlags, p.entry.flags);
        uint64_t end = 0;  // elements follow one another without gaps
        if (elements & ClipElementPicture) {
            EXPECT_EQ(layout.pictureOffset, 0u);
            EXPECT_EQ(layout.pictureSize, p.picture.size);
            EXPECT_EQ(Md5Hex(buffer.data(), layout.pictureSize), p.picture.md5);
            end = layout.pictureSize;
        } else {
            EXPECT_EQ(layout.pictureSize, 0u);
        }
        if (elements & ClipElementSystem) {
            EXPECT_EQ(layout.systemOffset, end);
            EXPECT_EQ(std::vector<uint8_t>(buffer.begin() + long(end),
                                           buffer.begin() + long(end + layout.systemSize)),
                      p.systemItem);
            end += layout.systemSize;
            EXPECT_EQ(layout.ancillarySize, 0u);  // the synthesizer writes no data element
        } else {
            EXPECT_EQ(layout.systemSize, 0u);
        }
        for (uint32_t c = 0; c < channels; ++c) {
            SCOPED_TRACE(c);
            if (!(elements & ClipElementSound)) break;
            if (c < FrameElementLayout::kSoundElements) {
                EXPECT_EQ(layout.soundOffset[c], end);
                EXPECT_EQ(layout.soundSize[c], p.sound[c].size);
            }
            // Sound beyond the fourth element is in the buffer, though not in the layout.
            EXPECT_EQ(Md5Hex(buffer.data() + end, p.sound[c].size), p.sound[c].md5);
            end += p.sound[c].size;
        }
        if (!(elements & ClipElementSound)) {
            EXPECT_EQ(layout.soundSize[0], 0u);
        }
    }
    FrameElementLayout layout;
    layout.pictureSize = 99;
    EXPECT_EQ(w->ReadFrame(o.frames, buffer.data(), uint32_t(buffer.size()), &layout, elements), 0);
    EXPECT_EQ(layout.pictureSize, 0u);
    EXPECT_EQ(w->ReadFrame(0, nullptr, 100, &layout, elements), 0);
    EXPECT_EQ(w->ReadFrame(0, buffer.data(), uint32_t(buffer.size()), &layout, 0), 1);
    EXPECT_EQ(layout.indexFlags, written.packages[0].entry.flags);
    if (elements != 7) return;
    // Room for the picture and less than the system metadata pack: the rest is left out.
    const uint32_t room = uint32_t(written.packages[0].picture.size + 20);
    EXPECT_EQ(w->ReadFrame(0, buffer.data(), room, &layout, elements), 1);
    EXPECT_EQ(layout.pictureSize, written.packages[0].picture.size);
    EXPECT_EQ(layout.systemSize, 0u);
    EXPECT_EQ(layout.soundSize[0], 0u);
}

INSTANTIATE_TEST_SUITE_P(Masks, MXFWrapperReadFrame,
                         ::testing::Values(LayoutCase{2, 2}, LayoutCase{4, 2}, LayoutCase{7, 2},
                                           LayoutCase{7, 6}, LayoutCase{3, 0}),
                         [](const auto& info) {
                             return "Mask" + std::to_string(info.param.elements) + "Channels" +
                                    std::to_string(info.param.channels);
                         });

}  // namespace
