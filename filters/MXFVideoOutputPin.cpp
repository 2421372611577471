#include "filters/MXFVideoOutputPin.h"

#include <cstring>

#include "filters/LateTimes.h"
#include "filters/ParseFilter.h"

namespace {

// Index flags & 0x30: the class of a frame for skipping.
constexpr uint8_t kClassMask = 0x30;
constexpr uint8_t kClassIntra = 0x00;
constexpr uint8_t kClassForward = 0x10;
constexpr uint8_t kClassReferenced = 0x20;
// HEVC: index flags & 7; classes 0 and 4 are recovery points, 3 is not a sync point.
constexpr uint8_t kHEVCClassMask = 0x07;
constexpr uint8_t kHEVCNotSync = 3;
constexpr uint8_t kHEVCRecoveryPoint = 0;
constexpr uint8_t kHEVCRecoveryPointLate = 4;

// HEVC lateness, in milliseconds, that starts and ends the recovery-point walk.
constexpr int32_t kHEVCLateToArm = 300;
constexpr int32_t kHEVCLateToResume = 3000;
// Frames late from which the pin jumps to an intra frame instead of the next decodable one.
constexpr int64_t kFramesLateForIntraJump = 7;

constexpr uint32_t kVideoBuffers = 30;

bool IsRecoveryPoint(uint8_t hevcClass) {
    return hevcClass == kHEVCRecoveryPoint || hevcClass == kHEVCRecoveryPointLate;
}

}  // namespace

MXFVideoOutputPin::MXFVideoOutputPin(HRESULT* phr, CParseFilter* filter, CURecursiveLock* shared)
    : MXFParserOutputPin("MXF video pin", phr, filter, L"Video_", shared, kElementPicture,
                         kVideoBuffers, kParserReadBufferSize) {}

void MXFVideoOutputPin::SetPictureScale(uint32_t scale) {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    m_nPictureScale = scale;
}

video_format::CodecKind MXFVideoOutputPin::CodecKind() {
    return video_format::CodecKindOfClipVersion(m_pStreamManager ? m_pStreamManager->clipVersion
                                                                 : ClipVersionNone);
}

HRESULT MXFVideoOutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!pMediaType) return E_UNEXPECTED;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    // Without a clip there is nothing to describe.
    if (!m_pStreamManager) return VFW_E_NOT_CONNECTED;
    const video_format::CodecKind kind = CodecKind();
    m_nCodecKind = kind;
    video_format::Request request;
    request.kind = kind;
    request.subtype = video_format::MXFSubtype(kind);
    request.formatType = kind == video_format::CodecMPEG2 ? FORMAT_MPEG2Video : FORMAT_VideoInfo2;
    request.scale = m_nPictureScale;
    return video_format::Build(*m_pStreamManager, request, pMediaType);
}

HRESULT MXFVideoOutputPin::CheckMediaType(const CMediaType* pmt) {
    if (!pmt) return E_POINTER;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    if (*pmt->Type() != MEDIATYPE_Video) return E_FAIL;
    return *pmt->Subtype() == video_format::MXFSubtype(CodecKind()) ? S_OK : E_FAIL;
}

void MXFVideoOutputPin::OnStartPlay() {
    m_nPrerollCount = m_nPrerollStart;
    m_nSkipLevel = 0;
    m_bRecoveryArmed = 0;
    m_bIntraSeen1 = 0;
    m_bIntraSeen2 = 0;
    m_nLateTimeMilliSec = 0;
    std::memset(m_aLateTimes, 0, sizeof m_aLateTimes);
    m_iLateTime = 0;
    m_nLastFrameClass = 2;
    m_nNoRecoveryFrom = INT64_MAX;
    m_nCodecKind = CodecKind();
}

HRESULT MXFVideoOutputPin::FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                                          const FrameElementLayout& layout, int64_t,
                                          bool* skip) {
    *skip = false;
    const HRESULT hr = CopyElement(sample, buffer, layout.pictureOffset, layout.pictureSize);
    if (FAILED(hr)) return hr;

    const uint8_t flags = layout.indexFlags;
    if (m_nCodecKind == video_format::CodecHEVC) {
        sample->SetSyncPoint((flags & kHEVCClassMask) != kHEVCNotSync);
        return S_OK;
    }
    switch (flags & kClassMask) {
        case kClassIntra:
            sample->SetSyncPoint(true);
            m_nLastFrameClass = 2;
            if (m_bIntraSeen1) m_bIntraSeen2 = 1;
            m_bIntraSeen1 = 1;
            break;
        case kClassForward:
            sample->SetSyncPoint(false);
            m_nLastFrameClass = 1;
            break;
        case kClassReferenced:
            sample->SetSyncPoint(true);
            if (m_nSkipLevel == 2) {
                *skip = true;
            } else {
                m_nLastFrameClass = 3;
            }
            break;
        default:  // 0x30
            sample->SetSyncPoint(false);
            if (m_nSkipLevel == 0) {
                m_nLastFrameClass = 0;
            } else if (m_nLastFrameClass != 3) {
                *skip = true;
            }
            break;
    }
    return S_OK;
}

HRESULT MXFVideoOutputPin::Notify(IBaseFilter*, Quality q) {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    if (!m_pParser || !m_pStreamManager) return E_FAIL;
    if (m_nCodecKind == video_format::CodecHEVC) {
        late_times::Record(m_aLateTimes, m_iLateTime, m_nLateTimeMilliSec, q.Late);
        return E_FAIL;
    }
    const frame_time::Rate rate = FrameRate();
    const int64_t framesLate =
        q.Type == Flood && q.Late > 0 ? frame_time::ToFrames(q.Late, rate) : 0;
    if (framesLate >= 2) {
        const int64_t cur = m_nFramesSent + m_nStart;
        uint64_t found = 0;
        if (framesLate < kFramesLateForIntraJump) {
            if (cur >= 0 && m_pStreamManager->FindDecodableFrame(static_cast<uint64_t>(cur), false,
                                                                 &found)) {
                m_pParser->SetJumpFrame(static_cast<int64_t>(found));
                m_nSkipLevel = 1;
                m_bIntraSeen1 = 0;
                m_bIntraSeen2 = 0;
                return S_OK;
            }
        } else if (cur >= 0) {
            const uint64_t ahead = static_cast<uint64_t>(cur) + static_cast<uint64_t>(framesLate);
            if (m_pStreamManager->FindDecodableFrame(ahead, true, &found) ||
                m_pStreamManager->FindDecodableFrame(static_cast<uint64_t>(cur), true, &found)) {
                m_pParser->SetJumpFrame(static_cast<int64_t>(found));
                m_nSkipLevel = 2;
                m_bDiscontinuity = 1;
                return S_OK;
            }
        }
        return E_FAIL;
    }
    if (m_nSkipLevel == 1) {
        if (m_bIntraSeen1 && m_bIntraSeen2) m_nSkipLevel = 0;
    } else if (m_nSkipLevel == 2) {
        m_nSkipLevel = 1;
        m_bIntraSeen1 = 0;
        m_bIntraSeen2 = 0;
    }
    return E_FAIL;
}

HRESULT MXFVideoOutputPin::FillOneFrame(IMediaSample* sample, bool* skip) {
    {
        std::lock_guard<CURecursiveLock> guard(*m_pShared);
        if (m_nCodecKind != video_format::CodecHEVC || m_nPrerollCount < 0)
            return MXFParserOutputPin::FillOneFrame(sample, skip);
    }
    return FillOneHEVCFrame(sample, skip);
}

HRESULT MXFVideoOutputPin::FillOneHEVCFrame(IMediaSample* sample, bool* skip) {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    const int64_t total = TotalFrames();
    int64_t frame = m_nStartFrame + m_nPrerollCount + m_nFramesSent;
    if (m_pParser && frame < m_pParser->JumpFrame()) frame = m_pParser->JumpFrame();
    if (frame >= total) frame = total - 1;
    auto classOf = [this](int64_t f) -> uint8_t {
        uint8_t temporal = 0, key = 0, flags = 0;
        if (f < 0 || f > UINT32_MAX ||
            m_pStreamManager->GetIndexEntry(static_cast<uint32_t>(f), &temporal, &key, &flags) !=
                1)
            return 1;
        return flags & kHEVCClassMask;
    };
    const uint8_t frameClass = classOf(frame);

    if (m_nSkipLevel == 0) {
        if (m_nLateTimeMilliSec <= kHEVCLateToArm) {
            m_bRecoveryArmed = 0;
        } else {
            if (m_bRecoveryArmed && IsRecoveryPoint(frameClass)) m_nSkipLevel = 2;
            if (frameClass == kHEVCRecoveryPointLate) m_bRecoveryArmed = 1;
        }
        return MXFParserOutputPin::FillOneFrame(sample, skip);
    }
    if (m_nSkipLevel == 2) {
        uint8_t lastClass = frameClass;
        bool found = false;
        for (int64_t f = frame; f >= 0 && f < total && f < m_nNoRecoveryFrom; ++f) {
            const uint8_t c = classOf(f);
            if (!IsRecoveryPoint(c)) continue;
            found = true;
            lastClass = c;
            if (m_pParser) m_pParser->SetJumpFrame(f);
            const frame_time::Rate rate = FrameRate();
            const int64_t skippedMs =
                (frame_time::FromFrames(f, rate) - frame_time::FromFrames(frame, rate)) / 10000;
            m_nLateTimeMilliSec = static_cast<int32_t>(
                int64_t{m_nLateTimeMilliSec} - skippedMs < INT32_MIN
                    ? INT32_MIN
                    : int64_t{m_nLateTimeMilliSec} - skippedMs);
            break;
        }
        if (!found && frame >= 0 && frame < m_nNoRecoveryFrom) m_nNoRecoveryFrom = frame;
        if (m_nLateTimeMilliSec < kHEVCLateToResume && lastClass == kHEVCRecoveryPointLate) {
            m_nSkipLevel = 0;
            m_bRecoveryArmed = 0;
        }
        const HRESULT hr = MXFParserOutputPin::FillOneFrame(sample, skip);
        sample->SetDiscontinuity(true);
        return hr;
    }
    return MXFParserOutputPin::FillOneFrame(sample, skip);
}
