#include "filters/ConvertFilter.h"

#include <new>

#include "codecs/IMBXMovieDecoder.h"
#include "filters/FilterCreators.h"
#include "filters/VideoFormat.h"
#include "platform/TransformInputPin.h"
#include "platform/TransformOutputPin.h"

namespace {

using video_format::Block;

constexpr uint16_t kOutputBitCount = 32;
constexpr uint32_t kOutputDepthBgr0 = 3;  // B, G, R, 0 with output mode 0
constexpr uint32_t kGammaUnknown = 0xFFFFFFFF;

// Codes outside the sets that have conversions are taken as 0.
uint32_t KnownGamut(uint32_t code) {
    return code == 0 || code == 2 || code == 3 || code == 4 ? code : 0;
}
uint32_t KnownGamma(uint32_t code) {
    return code <= 9 || code == 11 || code == 12 || (code >= 14 && code <= 17) ? code : 0;
}
uint32_t KnownHlgColor(uint32_t code) {
    return code <= 2 || code == 255 ? code : 0;
}
uint32_t KnownLook(uint32_t code) {
    return code <= 13 || code == 255 ? code : 0;
}

}  // namespace

CUnknown* CreateConvertFilter(IUnknown* outer, HRESULT* phr) {
    return CConvertFilter::CreateInstance(outer, phr);
}

CUnknown* CConvertFilter::CreateInstance(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) CConvertFilter(outer, phr, CLSID_ConvertFilter);
}

CConvertFilter::CConvertFilter(IUnknown* outer, HRESULT*, REFCLSID clsid)
    : CPipelineFilter("CConvertFilter", outer, clsid) {}

CConvertFilter::~CConvertFilter() {
    // The worker goes first: its maker's threads write into buffers of the output's pool.
    DeleteWorker();
}

HRESULT CConvertFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IConvertFilter) return GetInterface(static_cast<IConvertFilter*>(this), ppv);
    return CTransformFilter::NonDelegatingQueryInterface(riid, ppv);
}

CConvertFilter::Target CConvertFilter::TargetFor(bool conversion, uint32_t gamut, uint32_t gamma,
                                                 uint32_t hlgColor, uint32_t sourceGamut,
                                                 uint32_t sourceGamma) {
    const Target keep{sourceGamma, sourceGamut};
    const Target toSdr{2, 0};
    const bool convertible = gamut == 0 || gamut == 2 || gamut == 3 || gamut == 4;
    if (!conversion || !convertible || gamma == kGammaUnknown) return keep;
    if (gamma == 3 || gamma == 12) return {16, 0};
    if (gamut == 0 || gamut == 3) {
        if (gamma == 14) return {17, 0};
        if (gamma == 15 && (hlgColor == 1 || hlgColor == 2 || hlgColor == 255)) return {17, 0};
    }
    switch (gamut) {
        case 0:
            return gamma == 0 ? toSdr : keep;
        case 2:
            return gamma == 9 || gamma == 11 ? keep : toSdr;
        case 3:
            return gamma == 9 || gamma == 11 || gamma == 15 ? keep : toSdr;
        default:  // 4
            return gamma == 11 ? keep : toSdr;
    }
}

MatchingParameters CConvertFilter::ParametersFor(const CMediaType& input, bool conversion) {
    const Block in(input);
    MatchingParameters p;
    const uint32_t gamut = in.U32(video_format::kOffsetGamut);
    const uint32_t gamma = in.U32(video_format::kOffsetGamma);
    const uint32_t hlgColor = in.U32(video_format::kOffsetHLGColor);
    p.sourceGamut = KnownGamut(gamut);
    p.sourceGamma = KnownGamma(gamma);
    p.hlgColor = KnownHlgColor(hlgColor);
    const Target target =
        TargetFor(conversion, gamut, gamma, hlgColor, p.sourceGamut, p.sourceGamma);
    p.targetGamma = target.gamma;
    p.targetGamut = target.gamut;
    p.outputMode = 0;
    p.pixelFamily = 0;
    p.pixelFormat = in.U32(video_format::kOffsetBitmapCompression) == kPixelFormatBGR4
                        ? matching::kFormatBgr4
                        : matching::kFormatYuy2;
    p.outputDepth = kOutputDepthBgr0;
    p.lookType = KnownLook(in.U32(video_format::kOffsetLook));
    // The low halves: the parameters' sizes are 16-bit.
    p.width = static_cast<int16_t>(in.U32(video_format::kOffsetBitmapWidth) & 0xFFFF);
    p.height = static_cast<int16_t>(in.U32(video_format::kOffsetBitmapHeight) & 0xFFFF);
    return p;
}

bool CConvertFilter::Parameters(MatchingParameters* out) {
    std::lock_guard<std::mutex> guard(m_csParameters);
    if (!m_pConvertParameters || !out) return false;
    *out = *m_pConvertParameters;
    return true;
}

void CConvertFilter::HandOver() {
    if (CConvertThread* worker = m_pThread.load(); worker && m_pConvertParameters)
        worker->SetParameters(*m_pConvertParameters);
}

void CConvertFilter::SetTargetConversion(uint8_t enable, int8_t mode) {
    std::lock_guard<std::mutex> guard(m_csParameters);
    if (mode != 1 && enable == m_bTargetConversion) return;
    m_bTargetConversion = enable;
    if (!m_pConvertParameters) return;
    MatchingParameters& p = *m_pConvertParameters;
    if (mode != 0) {
        if (p.sourceGamut == 3 && p.sourceGamma == 15 && (p.hlgColor == 1 || p.hlgColor == 2)) {
            p.targetGamma = 14;
            p.targetGamut = p.sourceGamut;
        }
    } else {
        const Target target = TargetFor(enable != 0, p.sourceGamut, p.sourceGamma, p.hlgColor,
                                        p.sourceGamut, p.sourceGamma);
        p.targetGamma = target.gamma;
        p.targetGamut = target.gamut;
    }
    HandOver();
}

HRESULT CConvertFilter::CheckInputType(const CMediaType*) {
    return S_OK;  // the input's shape shows only in its format block, read in GetMediaType
}

HRESULT CConvertFilter::CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) {
    if (!mtIn || !mtOut || !mtIn->Format() || !mtOut->Format()) return S_OK;
    const Block in(*mtIn), out(*mtOut);
    const auto inWidth = static_cast<int32_t>(in.U32(video_format::kOffsetBitmapWidth));
    const auto outWidth = static_cast<int32_t>(out.U32(video_format::kOffsetBitmapWidth));
    const auto inHeight = static_cast<int32_t>(in.U32(video_format::kOffsetBitmapHeight));
    const auto outHeight = static_cast<int32_t>(out.U32(video_format::kOffsetBitmapHeight));
    if (inWidth != outWidth) {
        // A wider output is a renderer's stride: the difference is padding at each row's end.
        std::lock_guard<std::mutex> guard(m_csParameters);
        if (!m_pConvertParameters || inWidth >= outWidth) return VFW_E_TYPE_NOT_ACCEPTED;
        m_pConvertParameters->linePadding =
            static_cast<uint32_t>(static_cast<int64_t>(outWidth) - inWidth);
        HandOver();
    }
    if (inHeight == outHeight) return S_OK;
    // The other row order; INT32_MIN has no opposite and is refused.
    if (inHeight != INT32_MIN && outHeight == -inHeight) return S_OK;
    return VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CConvertFilter::DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pProp) {
    if (!pAllocator || !pProp || !m_pInput) return E_POINTER;
    if (!m_pInput->IsConnected()) return E_UNEXPECTED;
    // One buffer: the worker waits for it to come back from delivery, so conversion and
    // delivery alternate and the maker writes straight into the buffer.
    pProp->cbBuffer = kOutputBufferSize;
    pProp->cBuffers = kOutputBuffers;
    ALLOCATOR_PROPERTIES actual;
    return pAllocator->SetProperties(pProp, &actual);
}

HRESULT CConvertFilter::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!pMediaType) return E_UNEXPECTED;
    if (!m_pInput || !m_pInput->IsConnected()) return E_UNEXPECTED;
    const Block in(m_pInput->CurrentMediaType());
    const uint32_t width = in.U32(video_format::kOffsetBitmapWidth);
    const uint32_t height = in.U32(video_format::kOffsetBitmapHeight);
    {
        std::lock_guard<std::mutex> guard(m_csParameters);
        if (!m_pConvertParameters) {
            m_pConvertParameters.reset(new (std::nothrow) MatchingParameters());
            if (!m_pConvertParameters) return E_OUTOFMEMORY;
        }
        *m_pConvertParameters =
            ParametersFor(m_pInput->CurrentMediaType(), m_bTargetConversion != 0);
    }

    pMediaType->InitMediaType();
    pMediaType->SetType(&MEDIATYPE_Video);
    pMediaType->SetSubtype(&MEDIASUBTYPE_RGB32);
    pMediaType->SetFormatType(&FORMAT_VideoInfo2);
    uint8_t* bytes = pMediaType->AllocFormatBuffer(video_format::kFormatBlockSize);
    if (!bytes) return E_OUTOFMEMORY;
    Block out(bytes, video_format::kFormatBlockSize);
    video_format::WritePicture(out, width, height, in.I64(video_format::kOffsetAvgTimePerFrame),
                               kOutputBitCount, kPixelFormatBGR4);
    return S_OK;
}

HRESULT CConvertFilter::CompleteConnect(PIN_DIRECTION, IPin*) {
    {
        std::lock_guard<std::mutex> guard(m_csParameters);
        // The parameters exist once the output's type was built, so only the output's
        // connection starts the worker.
        if (!m_pConvertParameters || m_pThread.load()) return S_OK;
        m_pThread = new (std::nothrow) CConvertThread(*m_pConvertParameters);
    }
    CConvertThread* worker = m_pThread.load();
    if (worker && !worker->DeliverThread() && m_pOutput)
        worker->SetDeliverThread(new (std::nothrow) CConvertDeliverThread(m_pOutput));
    return S_OK;
}

