#include "filters/MP4VideoOutputPin.h"

#include <cstring>

#include "filters/FilterIds.h"
#include "filters/LateTimes.h"
#include "filters/ParseFilter.h"
#include "foundation/CULog.h"

namespace {

constexpr uint32_t kVideoBuffers = 5;
// Mean lateness in milliseconds: below the first the pin is on time, from the second on it jumps
// to intra frames.
constexpr int32_t kLateSmall = 10;
constexpr int32_t kLateLarge = 400;

const GUID* SubtypeOfTag(uint32_t tag) {
    if (tag == kMP4TagAVC1) return &MEDIASUBTYPE_H264;
    if (tag == kMP4TagHVC1) return &MEDIASUBTYPE_MP4HEVC;
    return nullptr;
}

}  // namespace

MP4VideoOutputPin::MP4VideoOutputPin(HRESULT* phr, CParseFilter* filter, CURecursiveLock* shared)
    : MP4ParserOutputPin("MP4 video pin", phr, filter, L"Video_", shared, kElementPicture,
                         kVideoBuffers, kParserReadBufferSize) {}

void MP4VideoOutputPin::SetPictureScale(uint32_t scale) {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    m_nPictureScale = scale;
}

HRESULT MP4VideoOutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!pMediaType) return E_UNEXPECTED;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    if (!m_pStreamManager) return VFW_E_NOT_CONNECTED;
    m_dwCodecTag = m_pStreamManager->GetCodecTag();
    video_format::Request request;
    request.kind =
        m_dwCodecTag == kMP4TagHVC1 ? video_format::CodecHEVC : video_format::CodecH264;
    if (m_pStreamManager->GetContainerType() == kContainerMP4) {
        const GUID* subtype = SubtypeOfTag(m_dwCodecTag);
        request.subtype = subtype ? *subtype : MEDIASUBTYPE_H264;
        request.formatType = FORMAT_VideoInfo2;
    }
    request.scale = m_nPictureScale;
    request.mp4 = true;
    return video_format::Build(*m_pStreamManager, request, pMediaType);
}

HRESULT MP4VideoOutputPin::CheckMediaType(const CMediaType* pmt) {
    if (!pmt) return E_POINTER;
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    const GUID* subtype = SubtypeOfTag(m_dwCodecTag);
    if (*pmt->Type() != MEDIATYPE_Video || !subtype) return E_FAIL;
    return *pmt->Subtype() == *subtype ? S_OK : E_FAIL;
}

void MP4VideoOutputPin::OnStartPlay() {
    m_nPrerollCount = m_nPrerollStart;
    m_nSkipLevel = 0;
    m_nLateTimeMilliSec = 0;
    std::memset(m_aLateTimes, 0, sizeof m_aLateTimes);
    m_iLateTime = 0;
}

HRESULT MP4VideoOutputPin::FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                                          const FrameElementLayout& layout, int64_t frame,
                                          bool* skip) {
    *skip = false;
    const HRESULT hr = CopyElement(sample, buffer, layout.pictureOffset, layout.pictureSize);
    if (FAILED(hr)) return hr;
    m_nCurrentFrame = frame;
    sample->SetSyncPoint(m_nGopLength >= 2 ? frame % m_nGopLength == 0 : true);
    return S_OK;
}

HRESULT MP4VideoOutputPin::Notify(IBaseFilter*, Quality q) {
    std::lock_guard<CURecursiveLock> guard(*m_pShared);
    if (!m_pParser || !m_pStreamManager) return S_OK;
    late_times::Record(m_aLateTimes, m_iLateTime, m_nLateTimeMilliSec, q.Late);
    Log(3, "m_nLateTimeMilliSec %d", m_nLateTimeMilliSec);
    if (q.Late <= 0) return S_OK;

    const int64_t next = m_nCurrentFrame + 1;
    Log(3, "currentFrame %lld", static_cast<long long>(m_nCurrentFrame));
    if (next < 0) return S_OK;
    const int32_t average = m_nLateTimeMilliSec;
    uint64_t found = 0;
    enum { None, Decodable, Intra, Sync } search = None;
    switch (m_nSkipLevel) {
        case 0:
            search = average < kLateSmall ? None : average < kLateLarge ? Decodable : Intra;
            break;
        case 1:
            if (average < kLateSmall) m_nSkipLevel = 0;
            search = average < kLateSmall ? None : average < kLateLarge ? Decodable : Intra;
            break;
        default:
            search = average < kLateSmall ? Decodable : Sync;
            break;
    }
    const auto from = static_cast<uint64_t>(next);
    bool ok = false;
    if (search == Decodable) ok = m_pStreamManager->FindDecodableFrame(from, false, &found);
    if (search == Intra) ok = m_pStreamManager->FindDecodableFrame(from, true, &found);
    if (search == Sync && from <= UINT32_MAX)
        ok = m_pStreamManager->FindSyncFrame(static_cast<uint32_t>(from), &found);
    if (ok) {
        m_nSkipLevel = search == Decodable ? 1 : 2;
        m_pParser->SetJumpFrame(static_cast<int64_t>(found));
    }
    // Nothing in the last GOP, which may be short, is jumped over.
    const int64_t total = TotalFrames();
    if (m_nGopLength != 0 && next >= total - total % m_nGopLength) m_pParser->SetJumpFrame(next);
    return S_OK;
}
