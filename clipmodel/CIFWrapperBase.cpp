#include "clipmodel/CIFWrapperBase.h"

#include <limits>

namespace {
constexpr int64_t kWholeClip = -1;
}  // namespace

CIFWrapperBase::CIFWrapperBase()
    : filePaths(CUCreate<CUMutableArray>()), members(CUCreate<CUMutableArray>()) {}

void CIFWrapperBase::Close() {
    // Only the list of paths goes; the members stay readable for frame reads.
    if (filePaths) filePaths->RemoveAllObjects();
}

CUSharedPtr<CUArray>& CIFWrapperBase::GetFileList(CUSharedPtr<CUArray>& out) {
    out = filePaths;
    return out;
}

uint64_t CIFWrapperBase::GetFrameCount(int64_t member) {
    if (member == kWholeClip) return frameCount;
    if (member < 0) return 0;
    ICVCProp* clip = Member(static_cast<uint64_t>(member));
    return clip ? clip->GetFrameCount(kWholeClip) : 0;
}

std::pair<uint32_t, uint32_t>& CIFWrapperBase::GetFrameRate(std::pair<uint32_t, uint32_t>& out) {
    out = {frameRateNumerator, frameRateDenominator};
    return out;
}

ICVCProp* CIFWrapperBase::Member(uint64_t index) const {
    if (!members) return nullptr;
    return dynamic_cast<ICVCProp*>(members->ObjectAtIndex(index).Get());
}

bool CIFWrapperBase::FindMember(uint32_t frame, uint64_t* member, uint32_t* localFrame) {
    if (!members) return false;
    // 64 bits: the members' counts may together pass the 32-bit frame range.
    uint64_t start = 0;
    for (uint64_t index = 0; index < members->Count(); ++index) {
        ICVCProp* clip = Member(index);
        const uint64_t count = clip ? clip->GetFrameCount(kWholeClip) : 0;
        // start <= frame here: every member passed over ended at or before it.
        if (localFrame) *localFrame = static_cast<uint32_t>(frame - start);
        if (start + count > frame) {
            if (member) *member = index;
            return true;
        }
        start += count;
    }
    return false;
}

namespace {

// Frames are numbered in 32 bits across the members; a larger number lies in none of them.
bool ToMemberFrame(CIFWrapperBase& base, uint64_t frame, uint64_t* member, uint32_t* localFrame) {
    if (frame > std::numeric_limits<uint32_t>::max()) return false;
    return base.FindMember(static_cast<uint32_t>(frame), member, localFrame);
}

// Frames of members [0, end): the clip's number of the first frame of member `end`.
uint64_t FramesBefore(const CIFWrapperBase& base, uint64_t end) {
    uint64_t sum = 0;
    for (uint64_t index = 0; index < end; ++index) {
        if (ICVCProp* clip = base.Member(index)) sum += clip->GetFrameCount(kWholeClip);
    }
    return sum;
}

// The walk shared by FindDecodableFrame and FindRandomAccessFrame: the member searches its own
// frames, and when it has no further one the search lands on the first frame of the next member,
// which starts a new stream that can always be decoded.
template <class Search>
bool FindAcrossMembers(CIFWrapperBase& base, uint64_t frame, uint64_t* found, Search search) {
    uint64_t index = 0;
    uint32_t localFrame = 0;
    if (!ToMemberFrame(base, frame, &index, &localFrame)) return false;
    ICVCProp* clip = base.Member(index);
    uint64_t local = localFrame;
    if (clip && search(*clip, localFrame, &local)) {
        if (found) *found = local + FramesBefore(base, index);
        return true;
    }
    if (found) *found = FramesBefore(base, index + 1);
    return true;
}

}  // namespace

uint64_t CIFWrapperBase::GetKeyFrame(uint64_t frame) {
    uint64_t index = 0;
    uint32_t localFrame = 0;
    if (!ToMemberFrame(*this, frame, &index, &localFrame)) return frame;
    ICVCProp* clip = Member(index);
    if (!clip) return frame;
    // The member's answer is local; shifting by the member's start maps it back. Unsigned
    // arithmetic wraps, so a key frame before localFrame comes out right.
    return frame + clip->GetKeyFrame(localFrame) - localFrame;
}

bool CIFWrapperBase::FindDecodableFrame(uint64_t frame, bool intraOnly, uint64_t* found) {
    return FindAcrossMembers(*this, frame, found,
                             [intraOnly](ICVCProp& clip, uint32_t local, uint64_t* out) {
                                 return clip.FindDecodableFrame(local, intraOnly, out);
                             });
}

bool CIFWrapperBase::FindRandomAccessFrame(uint64_t frame, uint64_t* found) {
    return FindAcrossMembers(*this, frame, found,
                             [](ICVCProp& clip, uint32_t local, uint64_t* out) {
                                 return clip.FindRandomAccessFrame(local, out);
                             });
}

uint8_t CIFWrapperBase::ReadFrame(uint64_t frame, uint8_t* buffer, uint32_t size,
                                  FrameElementLayout* layout, uint32_t elements) {
    if (layout) *layout = FrameElementLayout{};
    if (!buffer || size == 0) return 0;
    uint64_t index = 0;
    uint32_t localFrame = 0;
    if (!ToMemberFrame(*this, frame, &index, &localFrame)) return 0;
    ICVCProp* clip = Member(index);
    return clip ? clip->ReadFrame(localFrame, buffer, size, layout, elements) : 0;
}

int32_t CIFWrapperBase::GetIndexEntry(uint32_t frame, uint8_t* temporalOffset,
                                      uint8_t* keyFrameOffset, uint8_t* flags) {
    uint64_t index = 0;
    uint32_t localFrame = 0;
    if (!FindMember(frame, &index, &localFrame)) return 0;
    ICVCProp* clip = Member(index);
    return clip ? clip->GetIndexEntry(localFrame, temporalOffset, keyFrameOffset, flags) : 0;
}
