#include "mxf/MXFWrapper.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "foundation/CUVector.h"
#include "mxf/MDValue.h"
#include "mxf/MXFError.h"
#include "mxf/MXFLabels.h"
#include "mxf/MXFLocalTags.h"
#include "mxf/STMetadataSets.h"
#include "mxf/STTrack.h"

namespace {

using mxf_label::Label;

struct LabelCode {
    Label label;
    uint32_t code;
};

// Both camera families carry the same selector list for the curves they share; only the 0x0C
// family knows selectors 8 and 9.
constexpr uint32_t kGammaOfSelector[] = {0, 3, 2, 4, 5, 9, 12, 14, 15};  // selectors 1..9
constexpr uint8_t kLastSelector0D = 7;
constexpr uint32_t kGammaDefault = 1;

constexpr std::array<LabelCode, 4> kGammaLabels = {{
    {mxf_label::TransferGammaCode3, 3},
    {mxf_label::TransferGammaCode12, 12},
    {mxf_label::TransferPQ, 14},
    {mxf_label::TransferHLG, 15},
}};

constexpr uint8_t kLastPrimariesSelector = 4;  // selectors 1..4 give gamut codes 1..4
constexpr uint32_t kGamutDefault = 0;
constexpr std::array<LabelCode, 2> kGamutLabels = {{
    {mxf_label::PrimariesBT2020, 3},
    {mxf_label::PrimariesGamutCode5, 5},
}};

constexpr uint32_t kHLGGamma = 15;
constexpr uint32_t kHLGColor = 2;
constexpr uint8_t kFieldSeparated = 1;
constexpr uint8_t kSitingCositedEven = 0;  // 4:2:2
constexpr uint8_t kSitingQuincunx = 6;     // 4:2:0

// Where a camera-family label's selector sits: the family byte (7) and group byte (11) vary.
constexpr size_t kFamilyByte = 7;
constexpr size_t kGroupByte = 11;
constexpr size_t kSelectorByte = 12;

bool Equals(const MxfUUID& uid, const Label& label) {
    return std::equal(label.begin(), label.end(), uid.bytes.begin());
}

// The selector of a camera-family label of `group` (1 transfer, 2 primaries), 0 when it is none.
uint8_t CameraSelector(const MxfUUID& uid, uint8_t group, uint8_t* family) {
    const Label probe = mxf_label::TransferCamera(mxf_label::CameraFamily0D, 0);
    for (size_t i = 0; i < probe.size(); ++i) {
        if (i == kFamilyByte || i == kGroupByte || i == kSelectorByte) continue;
        if (uid.bytes[i] != probe[i]) return 0;
    }
    *family = uid.bytes[kFamilyByte];
    if ((*family != mxf_label::CameraFamily0D && *family != mxf_label::CameraFamily0C) ||
        uid.bytes[kGroupByte] != group)
        return 0;
    return uid.bytes[kSelectorByte];
}

uint32_t GammaOf(const MxfUUID& uid) {
    uint8_t family = 0;
    const uint8_t selector = CameraSelector(uid, 0x01, &family);
    const uint8_t last = family == mxf_label::CameraFamily0D ? kLastSelector0D
                                                             : uint8_t(std::size(kGammaOfSelector));
    if (selector >= 1 && selector <= last) return kGammaOfSelector[selector - 1];
    for (const LabelCode& entry : kGammaLabels)
        if (Equals(uid, entry.label)) return entry.code;
    return kGammaDefault;  // BT.709 and anything unknown
}

uint32_t GamutOf(const MxfUUID& uid) {
    uint8_t family = 0;
    const uint8_t selector = CameraSelector(uid, 0x02, &family);
    if (selector >= 1 && selector <= kLastPrimariesSelector) return selector;
    for (const LabelCode& entry : kGamutLabels)
        if (Equals(uid, entry.label)) return entry.code;
    return kGamutDefault;
}

// An unsigned descriptor number, whatever its stored width. The kind is checked first so that a
// hostile file can never make a cast throw.
bool ReadUnsigned(const STTrack& track, uint32_t tag, uint64_t* out) {
    CUSharedPtr<MDValue> value = track.GetDescriptorValueAs<MDValue>(tag);
    if (!value) return false;
    switch (value->Kind()) {
        case MDValueUInt8:
            *out = value->AsUInt8();
            return true;
        case MDValueUInt16:
            *out = value->AsUInt16();
            return true;
        case MDValueUInt32:
            *out = value->AsUInt32();
            return true;
        case MDValueUInt64:
            *out = value->AsUInt64();
            return true;
        default:
            return false;
    }
}

bool ReadRational(const STTrack& track, uint32_t tag, MXFRational* out) {
    CUSharedPtr<MDValue> value = track.GetDescriptorValueAs<MDValue>(tag);
    if (!value || value->Kind() != MDValueRational) return false;
    *out = value->AsRational();
    return true;
}

// Writers often end UTF-16 text with a terminator unit; it is not part of the name.
std::u16string_view WithoutTerminators(std::u16string_view text) {
    while (!text.empty() && text.back() == u'\0') text.remove_suffix(1);
    return text;
}

}  // namespace

MXFWrapper::MXFWrapper() : filePaths(CUCreate<CUMutableArray>()) {}

uint32_t MXFWrapper::Open(CUSharedPtr<CUStringWin> newPath) {
    failure.clear();
    if (!newPath) {
        failure = "no path given";
        return 0;
    }
    path = newPath;
    stream = CUCreate<MXFStream>(path);
    if (!stream) throw "MXFStream init error";
    if (!filePaths) {
        failure = "out of memory for the file list";
        return 0;
    }
    filePaths->AddObject(path);

    if (stream->Open() != MXFErrorNone) {
        if (!stream->headerPartition)
            failure = stream->randomIndexPack
                          ? "the Random Index Pack leads to no readable header partition"
                          : "no Random Index Pack and no partition chain";
        else if (!stream->headerMetadata || !stream->headerMetadata->preface)
            failure = "header metadata could not be read";
        else
            failure = "no first track (or the header metadata broke off before it)";
        return 0;
    }
    if (!IsOfFamily()) return 0;
    return ReadParameters();
}

bool MXFWrapper::IsOfFamily() {
    const CUSharedPtr<HeaderMetadata>& metadata = stream->headerMetadata;
    if (!metadata || !metadata->preface) {
        failure = "not of the camera family: no preface";
        return false;
    }
    CUSharedPtr<MxfUUID> pattern =
        metadata->preface->GetValueAs<MxfUUID>(mxf_tag::OperationalPattern);
    if (!pattern || !Equals(*pattern, mxf_label::OperationalPattern)) {
        failure = "not of the camera family: operational pattern " +
                  (pattern ? MxfLabelText(pattern->bytes) : std::string("missing"));
        return false;
    }
    CUSharedPtr<STMetadataSets> identification =
        metadata->identifications
            ? CUSharedPtr<STMetadataSets>(metadata->identifications->ObjectAtIndex(0))
            : CUSharedPtr<STMetadataSets>();
    CUSharedPtr<CUStringWin> company =
        identification ? identification->GetValueAs<CUStringWin>(mxf_tag::CompanyName)
                       : CUSharedPtr<CUStringWin>();
    if (!company) {
        failure = "not of the camera family: no CompanyName in the first identification";
        return false;
    }
    const CUStringWin name(WithoutTerminators(company->View()));
    if (!name.IsEqualWithMode(CUStringWin("ZOREL"), 1)) {
        failure = "not of the camera family: CompanyName is \"" + name.UTF8String() + "\"";
        return false;
    }
    return true;
}

uint32_t MXFWrapper::ReadParameters() {
    const CUSharedPtr<HeaderMetadata>& metadata = stream->headerMetadata;
    if (!metadata) {
        failure = "header metadata could not be read";
        return 0;
    }
    CUSharedPtr<STTrack> first = metadata->GetTrack(0);
    if (!first) {
        failure = "no first track";
        return 0;
    }
    frameCount = first->duration > 0 ? static_cast<uint64_t>(first->duration) : 0;

    // A second Open of the same wrapper counts its channels afresh.
    audioChannels = 0;
    bool soundSeen = false;
    const uint64_t tracks = metadata->GetTrackCount();
    for (uint64_t i = 0; i < tracks; ++i) {
        CUSharedPtr<STTrack> track = metadata->GetTrack(i);
        if (!track || !track->dataDefinition) continue;
        if (Equals(*track->dataDefinition, mxf_label::PictureTrack)) {
            ReadPicture(*track);
        } else if (Equals(*track->dataDefinition, mxf_label::SoundTrack)) {
            ++audioChannels;
            if (!soundSeen) ReadSound(*track);
            soundSeen = true;
        }
    }
    return 1;
}

void MXFWrapper::ReadPicture(const STTrack& track) {
    uint64_t value = 0;
    if (ReadUnsigned(track, mxf_tag::DisplayWidth, &value)) width = static_cast<uint32_t>(value);
    uint64_t layout = 0;
    if (ReadUnsigned(track, mxf_tag::FrameLayout, &layout) &&
        ReadUnsigned(track, mxf_tag::DisplayHeight, &value)) {
        // The descriptor gives one field's height for a field-separated picture.
        if (layout == kFieldSeparated) value *= 2;
        if (value <= UINT32_MAX) height = static_cast<uint32_t>(value);
    }

    if (stream->isRGB) {
        chromaFormat = ClipChromaRGB;
        if (ReadUnsigned(track, mxf_tag::ComponentMaxRef, &value)) {
            if (value == 1023) bitDepthCode = ClipBitDepth10;
            if (value == 4095) bitDepthCode = ClipBitDepth12;
        }
    } else {
        if (ReadUnsigned(track, mxf_tag::ColorSiting, &value)) {
            if (value == kSitingCositedEven) chromaFormat = ClipChroma422;
            if (value == kSitingQuincunx) chromaFormat = ClipChroma420;
        }
        if (ReadUnsigned(track, mxf_tag::ComponentDepth, &value)) {
            if (value == 8) bitDepthCode = ClipBitDepth8;
            if (value == 10) bitDepthCode = ClipBitDepth10;
        }
    }

    if (CUSharedPtr<MxfUUID> transfer =
            track.GetDescriptorValueAs<MxfUUID>(mxf_tag::TransferCharacteristic))
        gammaType = GammaOf(*transfer);
    hlgColor = gammaType == kHLGGamma ? kHLGColor : 0;
    if (CUSharedPtr<MxfUUID> primaries =
            track.GetDescriptorValueAs<MxfUUID>(mxf_tag::ColorPrimaries))
        colorGamut = GamutOf(*primaries);

    frameRateNumerator = static_cast<uint32_t>(track.editRate.numerator);
    frameRateDenominator = static_cast<uint32_t>(track.editRate.denominator);

    if (CUSharedPtr<MxfUUID> coding =
            track.GetDescriptorValueAs<MxfUUID>(mxf_tag::PictureEssenceCoding)) {
        // The camera's own container numbers its coding kinds apart from the standard AVC labels.
        const uint8_t kind = coding->bytes[mxf_label::CodingKindByte];
        CUSharedPtr<MxfUUID> container =
            track.GetDescriptorValueAs<MxfUUID>(mxf_tag::EssenceContainer);
        const bool camera = container && Equals(*container, mxf_label::ContainerCamera);
        intraCoded =
            camera ? kind == mxf_label::CodingCameraIntra : kind == mxf_label::CodingAVCIntra;
    }
}

void MXFWrapper::ReadSound(const STTrack& track) {
    MXFRational rate;
    if (ReadRational(track, mxf_tag::AudioSamplingRate, &rate) && rate.denominator > 0 &&
        rate.numerator >= 0)
        audioSampleRate = static_cast<uint32_t>(rate.numerator / rate.denominator);
    uint64_t bits = 0;
    if (ReadUnsigned(track, mxf_tag::QuantizationBits, &bits))
        audioBitDepth = static_cast<uint32_t>(bits);
}

void MXFWrapper::Close() {
    stream = nullptr;
}

CUSharedPtr<CUArray>& MXFWrapper::GetFileList(CUSharedPtr<CUArray>& out) {
    out = filePaths;
    return out;
}

uint64_t MXFWrapper::GetFrameCount(int64_t) {
    return frameCount;
}

std::pair<uint32_t, uint32_t>& MXFWrapper::GetFrameRate(std::pair<uint32_t, uint32_t>& out) {
    out = {frameRateNumerator, frameRateDenominator};
    return out;
}

uint64_t MXFWrapper::GetKeyFrame(uint64_t frame) {
    if (!stream || frame >= frameCount) return frame;
    uint8_t flags = 0;
    int8_t temporal = 0, keyFrame = 0;
    if (!stream->GetFrameFlags(frame, &flags) ||
        !stream->GetFrameEntry(frame, &temporal, &keyFrame, &flags))
        return frame;
    // Offsets are signed bytes from hostile files: the positions are checked before use.
    const int64_t stored = static_cast<int64_t>(frame) + temporal;
    if (stored < 0 || static_cast<uint64_t>(stored) >= frameCount ||
        !stream->GetFrameEntry(static_cast<uint64_t>(stored), &temporal, &keyFrame, &flags))
        return frame;
    const int64_t key = stored + keyFrame;
    return key < 0 ? frame : static_cast<uint64_t>(key);
}

bool MXFWrapper::FindDecodableFrame(uint64_t frame, bool intraOnly, uint64_t* found) {
    return Walk(frame, found, [intraOnly](uint8_t flags) {
        const uint8_t prediction = flags & ClipIndexPredictionMask;
        return prediction == 0 || (prediction == 0x20 && !intraOnly);
    });
}

bool MXFWrapper::FindRandomAccessFrame(uint64_t frame, uint64_t* found) {
    return Walk(frame, found, [](uint8_t flags) {
        return (flags & ClipIndexRandomAccess) == ClipIndexRandomAccess;
    });
}

template <class Take>
bool MXFWrapper::Walk(uint64_t frame, uint64_t* found, Take take) {
    if (!stream || !found) return false;
    for (*found = frame; *found < frameCount; ++*found) {
        uint8_t flags = 0;
        if (!stream->GetFrameFlags(*found, &flags)) return false;
        if (take(flags)) return true;
    }
    return false;
}

int32_t MXFWrapper::GetIndexEntry(uint32_t frame, uint8_t* temporalOffset, uint8_t* keyFrameOffset,
                                  uint8_t* flags) {
    if (!stream || frame >= frameCount) return 0;
    int8_t temporal = 0, keyFrame = 0;
    uint8_t entryFlags = 0;
    if (!stream->GetFrameEntry(frame, &temporal, &keyFrame, &entryFlags)) return 0;
    if (temporalOffset) *temporalOffset = static_cast<uint8_t>(temporal);
    if (keyFrameOffset) *keyFrameOffset = static_cast<uint8_t>(keyFrame);
    if (flags) *flags = entryFlags;
    return 1;
}

uint8_t MXFWrapper::ReadFrame(uint64_t frame, uint8_t* buffer, uint32_t size,
                              FrameElementLayout* layout, uint32_t elements) {
    FrameElementLayout scratch;
    FrameElementLayout& out = layout ? *layout : scratch;
    out = FrameElementLayout{};
    if (!buffer || size == 0 || !stream) return 0;
    if (!stream->GetFrameFlags(frame, &out.indexFlags)) return 0;
    if (elements == 0) return 1;
    const uint64_t tracks = stream->headerMetadata ? stream->headerMetadata->GetTrackCount() : 0;
    if (tracks == 0) return 1;

    uint64_t used = 0;  // never beyond `size`: ReadElement delivers nothing that does not fit
    if (tracks >= 2 && (elements & ClipElementPicture)) {
        out.pictureOffset = 0;
        out.pictureSize = stream->ReadElement(frame, 1, buffer, size);
        used = out.pictureSize;
    }
    if (elements & ClipElementSystem) {
        out.systemOffset = used;
        out.systemSize = stream->ReadElement(frame, 0, buffer + used, size - used);
        used += out.systemSize;
        // Ancillary data that does not fit whole is left out, as ReadElement does with an
        // element: half a data packet would mislead its reader.
        out.ancillaryOffset = used;
        CUSharedPtr<CUVector<unsigned char>> data = stream->ReadDataElement(frame);
        if (data && !data->empty() && data->size() <= size - used) {
            std::memcpy(buffer + used, data->data(), data->size());
            out.ancillarySize = data->size();
            used += data->size();
        }
    }
    if (tracks >= 3 && (elements & ClipElementSound)) {
        for (uint64_t e = 2; e < tracks; ++e) {
            const uint64_t got =
                stream->ReadElement(frame, static_cast<uint32_t>(e), buffer + used, size - used);
            // Only four sound elements have a place in the layout; the rest still travel in the
            // buffer behind them.
            if (e - 2 < FrameElementLayout::kSoundElements) {
                out.soundOffset[e - 2] = used;
                out.soundSize[e - 2] = got;
            }
            used += got;
        }
    }
    return 1;
}
