#include "clipmodel/StreamManager.h"

#include <array>
#include <span>

#include "clipmodel/CIFMP4Wrapper.h"
#include "foundation/CUAutoLock.h"
#include "mxf/CIFNoCIFMXFWrapper.h"
#include "mxf/MXFWrapper.h"

namespace {

constexpr uint32_t kMaxAudioChannels = 4;
constexpr char16_t kMXFExtension[] = u".MXF";
constexpr char16_t kMP4Extension[] = u".MP4";
constexpr char16_t kCIFExtension[] = u".CIF";
constexpr char16_t kMediaIndexName[] = u"INDEX.MIF";
constexpr uint32_t kExtensionLength = 4;
constexpr uint32_t kIgnoreCase = 1;

// One rule of a name test: stems of `length` characters need `extra` at index `extraIndex`
// (extraIndex < 0: nothing further).
struct StemRule {
    uint32_t length;
    int32_t extraIndex;
};

// A test: the rules by stem length, and the characters every allowed stem needs.
struct NameTest {
    ClipNameShape shape;
    std::span<const StemRule> rules;
    uint32_t firstIndex;
    std::span<const char16_t* const> firstAllowed;
    uint32_t secondIndex;
};

constexpr const char16_t* kUnderscore = u"_";
constexpr std::array<const char16_t*, 1> kUnderscoreOnly = {kUnderscore};
constexpr std::array<const char16_t*, 1> kHOnly = {u"H"};
constexpr std::array<const char16_t*, 2> kUnderscoreOrC = {kUnderscore, u"C"};

constexpr std::array<StemRule, 6> kV200Rules = {
    {{23, -1}, {25, -1}, {26, 23}, {27, 23}, {29, 23}, {31, 25}}};
constexpr std::array<StemRule, 4> kV300Rules = {{{23, -1}, {25, 23}, {26, 23}, {27, 23}}};
constexpr std::array<StemRule, 4> kV300AVCRules = {{{32, -1}, {36, 32}, {38, 32}, {42, 32}}};

// In the order the tests run; the first that passes decides. The further character of every
// rule is "_".
const std::array<NameTest, 3> kNameTests = {{
    {ClipNameShape::V200, kV200Rules, 8, kUnderscoreOnly, 17},
    {ClipNameShape::V300, kV300Rules, 8, kHOnly, 17},
    {ClipNameShape::V300AVC, kV300AVCRules, 17, kUnderscoreOrC, 26},
}};

// Exact, case-sensitive comparison of one character of the stem.
bool CharacterIs(const CUStringWin& stem, uint32_t index, const char16_t* expected) {
    CUSharedPtr<CUStringWin> unit = stem.SubstringWithRange(index, 1);
    return unit && unit->IsEqualToString(CUStringWin(expected));
}

bool CharacterIsOneOf(const CUStringWin& stem, uint32_t index,
                      std::span<const char16_t* const> allowed) {
    for (const char16_t* expected : allowed) {
        if (CharacterIs(stem, index, expected)) return true;
    }
    return false;
}

bool Passes(const NameTest& test, const CUStringWin& stem) {
    for (const StemRule& rule : test.rules) {
        if (rule.length != stem.Length()) continue;
        if (!CharacterIsOneOf(stem, test.firstIndex, test.firstAllowed)) return false;
        if (!CharacterIs(stem, test.secondIndex, kUnderscore)) return false;
        return rule.extraIndex < 0 ||
               CharacterIs(stem, static_cast<uint32_t>(rule.extraIndex), kUnderscore);
    }
    return false;
}

// The wrapper that answers, in forwarding order; null when none is set.
ICVCProp* Held(const StreamManager& manager) {
    if (manager.cifWrapper) return manager.cifWrapper.Get();
    if (manager.mxfWrapper) return manager.mxfWrapper.Get();
    if (manager.mp4Wrapper) return manager.mp4Wrapper.Get();
    return nullptr;
}

// Runs `call` on the held wrapper under the manager's lock, or answers `fallback`.
template <class Result, class Call>
Result Forward(StreamManager& manager, Result fallback, Call call) {
    CUAutoLock guard(static_cast<CULockAbstract*>(&manager));
    ICVCProp* wrapper = Held(manager);
    return wrapper ? call(*wrapper) : fallback;
}

// cifWrapper or mxfWrapper only: the operations that the MP4 side answers differently or not at
// all.
ICVCProp* HeldMXFSide(const StreamManager& manager) {
    if (manager.cifWrapper) return manager.cifWrapper.Get();
    if (manager.mxfWrapper) return manager.mxfWrapper.Get();
    return nullptr;
}

// The clip information versions 2 and 3 are found through the media index beside the file.
// Their wrappers come with the readers of those formats; until then such a clip does not open
// and no wrapper is set, but the version is noted as it would be.
uint32_t OpenIndexedClip(StreamManager& manager, uint32_t version, const CUStringWin& /*mifPath*/) {
    manager.clipVersion = version;
    manager.cifWrapper = nullptr;
    return 0;
}

}  // namespace

StreamManager::StreamManager() = default;
StreamManager::~StreamManager() = default;

ClipNameShape StreamManager::ShapeOfName(const CUStringWin& path) {
    CUStringWin name;
    if (path.LastPathComponent(name) != 0) return ClipNameShape::None;
    const uint32_t length = name.Length();
    if (length < kExtensionLength) return ClipNameShape::None;
    CUSharedPtr<CUStringWin> extension = name.SubstringFromIndex(length - kExtensionLength);
    if (!extension || !extension->IsEqualToString(CUStringWin(kMXFExtension))) {
        return ClipNameShape::None;
    }
    CUSharedPtr<CUStringWin> stem = name.SubstringWithRange(0, length - kExtensionLength);
    if (!stem) return ClipNameShape::None;
    for (const NameTest& test : kNameTests) {
        if (Passes(test, *stem)) return test.shape;
    }
    return ClipNameShape::None;
}

uint32_t StreamManager::Open(CUSharedPtr<CUStringWin> newPath, CUSharedPtr<CMBXClip> clip) {
    if (!newPath || !clip) return 0;
    path = CUCreate<CUStringWin>(*newPath);
    if (!path) return 0;

    CUStringWin extension;
    path->PathExtension(extension);
    const bool isMXF = extension.IsEqualWithMode(CUStringWin(kMXFExtension), kIgnoreCase);
    const bool isMP4 = extension.IsEqualWithMode(CUStringWin(kMP4Extension), kIgnoreCase);
    const bool isCIF = extension.IsEqualWithMode(CUStringWin(kCIFExtension), kIgnoreCase);

    if (clip->IsFileListClip()) {
        if (isMXF) {
            clipVersion = ClipVersionFileList;
            CUSharedPtr<CIFNoCIFMXFWrapper> wrapper = CUCreate<CIFNoCIFMXFWrapper>();
            cifWrapper = wrapper;
            return wrapper ? wrapper->LoadFromClip(clip) : 0;
        }
        if (isMP4) {
            // The MP4 wrapper is not there yet: the clip cannot open.
            mp4Wrapper = nullptr;
            return 0;
        }
        return 0;
    }

    if (isCIF) {
        // Version 1 clip information has no wrapper yet either.
        clipVersion = ClipVersionCIF1;
        cifWrapper = nullptr;
        return 0;
    }
    if (isMXF) {
        const ClipNameShape shape = ShapeOfName(*path);
        if (shape != ClipNameShape::None) {
            CUStringWin folder;
            CUStringWin mifPath;
            path->StringByDeletingLastPathComponent(folder);
            folder.StringByAppendingPathComponent(CUStringWin(kMediaIndexName), mifPath);
            const uint32_t version = shape == ClipNameShape::V200   ? ClipVersionCIF2
                                     : shape == ClipNameShape::V300 ? ClipVersionCIF3
                                                                    : ClipVersionCIF3AVC;
            return OpenIndexedClip(*this, version, mifPath);
        }
        mxfWrapper = CUCreate<MXFWrapper>();
        return mxfWrapper ? mxfWrapper->Open(path) : 0;
    }
    if (isMP4) {
        mp4Wrapper = nullptr;
        return 0;
    }
    return 0;
}

void StreamManager::Close() {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    if (ICVCProp* wrapper = HeldMXFSide(*this)) wrapper->Close();
    // An MP4 wrapper is not closed: the manager empties its path and member arrays, which the
    // MP4 reader adds to CIFMP4Wrapper.
}

CUSharedPtr<CUArray>& StreamManager::GetFileList(CUSharedPtr<CUArray>& out) {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    CUSharedPtr<CUArray> list;
    if (ICVCProp* wrapper = HeldMXFSide(*this)) wrapper->GetFileList(list);
    // Callers may add to the list they get, so only a mutable array is handed on.
    out = dynamic_cast<CUMutableArray*>(list.Get()) ? list : CUSharedPtr<CUArray>();
    return out;
}

uint64_t StreamManager::GetFrameCount(int64_t member) {
    return Forward(*this, uint64_t{0}, [member](ICVCProp& w) { return w.GetFrameCount(member); });
}

uint32_t StreamManager::GetWidth() {
    return Forward(*this, uint32_t{0}, [](ICVCProp& w) { return w.GetWidth(); });
}

uint32_t StreamManager::GetHeight() {
    return Forward(*this, uint32_t{0}, [](ICVCProp& w) { return w.GetHeight(); });
}

std::pair<uint32_t, uint32_t>& StreamManager::GetFrameRate(std::pair<uint32_t, uint32_t>& out) {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    if (ICVCProp* wrapper = Held(*this)) return wrapper->GetFrameRate(out);
    out = {0, 0};
    return out;
}

uint32_t StreamManager::GetColorGamut() {
    return Forward(*this, ClipCodeUnknown, [](ICVCProp& w) { return w.GetColorGamut(); });
}

uint32_t StreamManager::GetGammaType() {
    return Forward(*this, ClipCodeUnknown, [](ICVCProp& w) { return w.GetGammaType(); });
}

uint32_t StreamManager::GetHLGColor() {
    return Forward(*this, ClipCodeUnknown, [](ICVCProp& w) { return w.GetHLGColor(); });
}

uint32_t StreamManager::GetLookType() {
    return Forward(*this, ClipCodeUnknown, [](ICVCProp& w) { return w.GetLookType(); });
}

uint32_t StreamManager::GetAudioChannels() {
    // The sound path downstream carries at most four channels.
    return Forward(*this, uint32_t{0}, [](ICVCProp& w) {
        const uint32_t channels = w.GetAudioChannels();
        return channels < kMaxAudioChannels ? channels : kMaxAudioChannels;
    });
}

uint32_t StreamManager::GetAudioSampleRate() {
    return Forward(*this, uint32_t{0}, [](ICVCProp& w) { return w.GetAudioSampleRate(); });
}

uint32_t StreamManager::GetAudioBitDepth() {
    return Forward(*this, uint32_t{0}, [](ICVCProp& w) { return w.GetAudioBitDepth(); });
}

bool StreamManager::IsIntraCoded() {
    return Forward(*this, false, [](ICVCProp& w) { return w.IsIntraCoded(); });
}

uint32_t StreamManager::GetContainerType() {
    return Forward(*this, uint32_t{0}, [](ICVCProp& w) { return w.GetContainerType(); });
}

uint32_t StreamManager::GetCodecTag() {
    return Forward(*this, uint32_t{0}, [](ICVCProp& w) { return w.GetCodecTag(); });
}

uint64_t StreamManager::GetKeyFrame(uint64_t frame) {
    return Forward(*this, uint64_t{0}, [frame](ICVCProp& w) { return w.GetKeyFrame(frame); });
}

bool StreamManager::FindDecodableFrame(uint64_t frame, bool intraOnly, uint64_t* found) {
    return Forward(*this, false,
                   [&](ICVCProp& w) { return w.FindDecodableFrame(frame, intraOnly, found); });
}

bool StreamManager::FindRandomAccessFrame(uint64_t frame, uint64_t* found) {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    ICVCProp* wrapper = HeldMXFSide(*this);
    return wrapper ? wrapper->FindRandomAccessFrame(frame, found) : false;
}

uint8_t StreamManager::ReadFrame(uint64_t frame, uint8_t* buffer, uint32_t size,
                                 FrameElementLayout* layout, uint32_t elements) {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    if (ICVCProp* wrapper = Held(*this)) {
        return wrapper->ReadFrame(frame, buffer, size, layout, elements);
    }
    // The interface promises a zeroed layout after every call, read or not.
    if (layout) *layout = FrameElementLayout{};
    return 0;
}

int32_t StreamManager::GetIndexEntry(uint32_t frame, uint8_t* temporalOffset,
                                     uint8_t* keyFrameOffset, uint8_t* flags) {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    ICVCProp* wrapper = HeldMXFSide(*this);
    return wrapper ? wrapper->GetIndexEntry(frame, temporalOffset, keyFrameOffset, flags) : 0;
}

bool StreamManager::IsAACAudio() {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    // The audio track's sample entry is known only to the MP4 wrapper, which brings this answer.
    return false;
}

uint64_t StreamManager::GetAudioSampleCount() {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    return 0;
}

bool StreamManager::FindSyncFrame(uint32_t /*frame*/, uint64_t* /*found*/) {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    return false;
}

uint32_t StreamManager::GetChromaFormat() {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    if (cifWrapper) return cifWrapper->chromaFormat;
    if (mxfWrapper) return mxfWrapper->chromaFormat;
    return ClipCodeUnknown;
}

uint32_t StreamManager::GetBitDepthCode() {
    CUAutoLock guard(static_cast<CULockAbstract*>(this));
    if (cifWrapper) return cifWrapper->bitDepthCode;
    if (mxfWrapper) return mxfWrapper->bitDepthCode;
    return ClipCodeUnknown;
}
