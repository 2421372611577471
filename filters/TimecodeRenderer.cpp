#include "filters/TimecodeRenderer.h"

#include <cstring>
#include <mutex>
#include <new>

#include "filters/FilterCreators.h"
#include "filters/FilterIds.h"
#include "filters/MetaDataMessage.h"
#include "foundation/CUMemoryStream.h"

namespace {

// The MXF timecode sample: u64 S, S bytes of system item, u64 A, A bytes of ancillary data.
constexpr uint64_t kSizeFieldBytes = 8;

// Byte positions of the fields in the timecode message's lParam.
constexpr unsigned kHoursShift = 0, kMinutesShift = 8, kSecondsShift = 16, kFramesShift = 24;

void CopyTimeFields(const TimecodeInfoEX& from, TimecodeInfoEX& to) {
    to.frames = from.frames;
    to.dropFrame = from.dropFrame;
    to.seconds = from.seconds;
    to.minutes = from.minutes;
    to.hours = from.hours;
    to.colorFrame = from.colorFrame;
    to.secondsFlag = from.secondsFlag;
    to.minutesFlag = from.minutesFlag;
    to.hoursFlag6 = from.hoursFlag6;
    to.hoursFlag7 = from.hoursFlag7;
    to.day = from.day;
    to.month = from.month;
    to.year = from.year;
    to.timeZone = from.timeZone;
}

uint64_t ReadSize(const uint8_t* at) {
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the sizes are little-endian");
    uint64_t value = 0;
    std::memcpy(&value, at, sizeof value);
    return value;
}

}  // namespace

// ---- CTimecodeRendererBase --------------------------------------------------------------------

CTimecodeRendererBase::CTimecodeRendererBase(REFCLSID clsid, const char* name, IUnknown* outer,
                                             HRESULT* phr, const GUID& major)
    : CBaseRenderer(clsid, name, outer, phr), m_Major(major) {}

void CTimecodeRendererBase::AdoptInputPin(CRendererInputPin* pin, HRESULT* phr) {
    delete m_pInputPin;
    m_pInputPin = pin;
    if (!pin && phr) *phr = E_OUTOFMEMORY;
}

HRESULT CTimecodeRendererBase::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMSFTimecodeRenderer)
        return GetInterface(static_cast<IMSFTimecodeRenderer*>(this), ppv);
    if (riid == IID_IMSFRealtimeMetaDataRenderer)
        return GetInterface(static_cast<IMSFRealtimeMetaDataRenderer*>(this), ppv);
    return CBaseRenderer::NonDelegatingQueryInterface(riid, ppv);
}

void CTimecodeRendererBase::SetTimecodeWindow(HWND hwnd, UINT message) {
    std::lock_guard<CURecursiveLock> guard(m_csRender);
    m_hTimecodeWindow = hwnd;
    m_uTimecodeMessage = message;
}

void CTimecodeRendererBase::GetTimecode(TimecodeInfoEX& timecode) {
    std::lock_guard<CURecursiveLock> guard(m_csRender);
    CopyTimeFields(m_CurrentTimecode, timecode);
}

HRESULT CTimecodeRendererBase::SetMetaDataWindow(HWND hwnd, UINT message) {
    if (!hwnd) return E_POINTER;
    std::lock_guard<CURecursiveLock> guard(m_csRender);
    m_hMetaDataWindow = hwnd;
    m_uMetaDataMessage = message;
    return S_OK;
}

HRESULT CTimecodeRendererBase::CheckMediaType(const CMediaType* pmt) {
    if (!pmt) return E_POINTER;
    return *pmt->Type() == m_Major && *pmt->Subtype() == MEDIASUBTYPE_PrivateStream ? S_OK
                                                                                    : E_INVALIDARG;
}

HRESULT CTimecodeRendererBase::PrepareReceive(IMediaSample* pSample) {
    m_pShownWhilePaused = nullptr;  // a new Receive: whatever was shown before is gone
    if (!pSample) return E_POINTER;
    return pSample->IsPreroll() == S_OK ? VFW_E_SAMPLE_REJECTED : S_OK;
}

void CTimecodeRendererBase::OnReceiveFirstSample(IMediaSample* pSample) {
    if (!pSample) return;
    std::lock_guard<CURecursiveLock> guard(m_csRender);
    RenderTimecode(pSample);
    m_pShownWhilePaused = pSample;
}

HRESULT CTimecodeRendererBase::DoRenderSample(IMediaSample* pSample) {
    if (!pSample) return E_POINTER;
    if (pSample == m_pShownWhilePaused) {
        m_pShownWhilePaused = nullptr;
        return S_OK;
    }
    std::lock_guard<CURecursiveLock> guard(m_csRender);
    RenderTimecode(pSample);
    return S_OK;
}

void CTimecodeRendererBase::PostTimecode(WPARAM wParam, LPARAM lParam) {
    PostMessageW(m_hTimecodeWindow, m_uTimecodeMessage, wParam, lParam);
}

void CTimecodeRendererBase::PostMetaData(const uint8_t* bytes, uint32_t size) {
    // Not posted (no window, a closed one, no memory): the message frees its blocks as it goes.
    MetaDataMessage message(m_uMetaDataMessage, bytes, size);
    message.Post(m_hMetaDataWindow, m_uMetaDataMessage);
}

// ---- CTimecodeRenderer ------------------------------------------------------------------------

CTimecodeRenderer::CTimecodeRenderer(IUnknown* outer, HRESULT* phr, REFCLSID clsid)
    : CTimecodeRendererBase(clsid, "CTimecodeRenderer", outer, phr, MEDIATYPE_MXFTimecode) {
    AdoptInputPin(new (std::nothrow) MXFTimecodeInputPin(this, phr), phr);
}

CUSharedPtr<CMBXAnalyzeSystemItemData> CTimecodeRenderer::GetAnalyzedData() {
    std::lock_guard<CURecursiveLock> guard(m_csRender);
    return m_pAnalyzedData;
}

void CTimecodeRenderer::RenderTimecode(IMediaSample* pSample) {
    uint8_t* data = nullptr;
    if (FAILED(pSample->GetPointer(&data)) || !data) return;
    // The sizes come from upstream: both must lie inside the sample's data.
    const int32_t actual = pSample->GetActualDataLength();
    if (actual < 0) return;
    const auto length = static_cast<uint64_t>(actual);
    if (length < 2 * kSizeFieldBytes) return;
    const uint64_t system = ReadSize(data);
    if (system > length - 2 * kSizeFieldBytes) return;
    const uint64_t ancillary = ReadSize(data + kSizeFieldBytes + system);
    if (ancillary > length - 2 * kSizeFieldBytes - system) return;

    auto stream = CUCreate<CUMemoryStream>(data + kSizeFieldBytes, system);
    if (!stream) return;
    auto analyser = CUCreate<CMBXAnalyzeSystemItemData>(stream);
    if (!analyser || !analyser->Analyze() || !analyser->timecode) return;

    const TimecodeInfoEX& timecode = *analyser->timecode;
    CopyTimeFields(timecode, m_CurrentTimecode);
    const uint32_t packed =
        uint32_t{timecode.hours} << kHoursShift | uint32_t{timecode.minutes} << kMinutesShift |
        uint32_t{timecode.seconds} << kSecondsShift | uint32_t{timecode.frames} << kFramesShift;
    PostTimecode(timecode.dropFrame, static_cast<LPARAM>(packed));
    m_pAnalyzedData = analyser;
    PostMetaData(data + 2 * kSizeFieldBytes + system, static_cast<uint32_t>(ancillary));
}

CUnknown* CreateTimecodeRenderer(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) CTimecodeRenderer(outer, phr, CLSID_TimecodeRenderer);
}
