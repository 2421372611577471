#include "filters/MovieDecodeFilter.h"

#include <new>

#include "codecs/CMBXH264Decoder.h"
#include "codecs/CMBXHevcDecoder.h"
#include "codecs/CMBXMpeg2Decoder.h"
#include "filters/FilterIds.h"
#include "filters/VideoFormat.h"
#include "foundation/CUAutoLock.h"
#include "foundation/CUProcessorCount.h"
#include "platform/SystemInfo.h"
#include "platform/TransformInputPin.h"
#include "platform/TransformOutputPin.h"

namespace {

using video_format::Block;

// The heavy-stream test: more than 50 frames a second above 2K, on a machine of 32 processors.
constexpr int64_t kHeavyFrameTime = 200000;
constexpr uint32_t kHeavyWidth = 2048;
constexpr uint32_t kHeavyHeight = 1081;
constexpr uint32_t kHeavyProcessors = 32;


CUSharedPtr<IMBXMovieDecoder> MakeDecoder(uint32_t codecKind, uint32_t* decoderKind) {
    switch (codecKind) {
        case video_format::CodecMPEG2:
            *decoderKind = DecoderKindMPEG2;
            return CUCreate<CMBXMpeg2Decoder>();
        case video_format::CodecH264:
            *decoderKind = DecoderKindH264;
            return CUCreate<CMBXH264Decoder>();
        default:
            *decoderKind = DecoderKindHEVC;
            return CUCreate<CMBXHevcDecoder>();
    }
}

}  // namespace

CUnknown* CMovieDecodeFilter::CreateInstance(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) CMovieDecodeFilter(outer, phr, CLSID_MovieDecodeFilter);
}

CMovieDecodeFilter::CMovieDecodeFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid)
    : CPipelineFilter("CMovieDecodeFilter", outer, clsid),
      m_pConfig(new (std::nothrow) DecoderConfig()) {
    if (!m_pConfig && phr) *phr = E_OUTOFMEMORY;
}

CMovieDecodeFilter::~CMovieDecodeFilter() {
    // The worker goes first: its threads read the configuration and use the decoder.
    DeleteWorker();
}

HRESULT CMovieDecodeFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    // The probe answers with the filter's own primary interface: "this is the movie decoder".
    if (riid == IID_IMovieDecoderProbe)
        return GetInterface(static_cast<IBaseFilter*>(this), ppv);
    return CTransformFilter::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CMovieDecodeFilter::CheckInputType(const CMediaType* mtIn) {
    if (mtIn) video_format::ReadPicture(*mtIn, m_pConfig.get());
    return S_OK;
}

HRESULT CMovieDecodeFilter::CheckTransform(const CMediaType*, const CMediaType*) {
    return S_OK;
}

HRESULT CMovieDecodeFilter::DecideBufferSize(IMemAllocator* pAllocator,
                                             ALLOCATOR_PROPERTIES* pProp) {
    if (!pAllocator || !pProp || !m_pInput) return E_POINTER;
    if (!m_pInput->IsConnected()) return E_UNEXPECTED;
    pProp->cbBuffer = kOutputBufferSize;
    pProp->cBuffers = CSystemInfo::PhysicalMemoryBytes() >= kLargeMachineMemory
                          ? kOutputBuffersLargeMachine
                          : kOutputBuffers;
    ALLOCATOR_PROPERTIES actual;
    return pAllocator->SetProperties(pProp, &actual);
}

HRESULT CMovieDecodeFilter::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!pMediaType) return E_UNEXPECTED;
    if (!m_pInput || !m_pInput->IsConnected() || !m_pConfig) return E_UNEXPECTED;
    const CMediaType& input = m_pInput->CurrentMediaType();
    const Block in(input);
    const uint32_t compression = in.U32(video_format::kOffsetBitmapCompression);
    const uint32_t width = in.U32(video_format::kOffsetBitmapWidth);
    const uint32_t height = in.U32(video_format::kOffsetBitmapHeight);

    pMediaType->InitMediaType();
    pMediaType->SetType(&MEDIATYPE_Video);
    pMediaType->SetSubtype(compression == kPixelFormatBGR4 ? &MEDIASUBTYPE_RGB32
                                                           : &MEDIASUBTYPE_YUY2);
    pMediaType->SetFormatType(&FORMAT_VideoInfo2);
    uint8_t* bytes = pMediaType->AllocFormatBuffer(video_format::kFormatBlockSize);
    if (!bytes) return E_OUTOFMEMORY;
    Block out(bytes, video_format::kFormatBlockSize);
    video_format::WritePicture(out, width, height, in.I64(video_format::kOffsetAvgTimePerFrame),
                               in.U16(video_format::kOffsetBitmapBitCount), compression);
    for (const uint32_t offset : {video_format::kOffsetGamma, video_format::kOffsetGamut,
                                  video_format::kOffsetHLGColor, video_format::kOffsetLook})
        out.SetU32(offset, in.U32(offset));
    out.SetU32(video_format::kOffsetPictureScale, m_pConfig->pictureScale);
    out.SetU32(video_format::kOffsetFullWidth, m_pConfig->fullWidth);
    out.SetU32(video_format::kOffsetFullHeight, m_pConfig->fullHeight);
    return S_OK;
}

HRESULT CMovieDecodeFilter::CompleteConnect(PIN_DIRECTION, IPin*) {
    if (!m_pInput || !m_pConfig) return S_OK;
    const CMediaType& input = m_pInput->CurrentMediaType();
    const Block in(input);
    if (input.Format() && !m_pDecoder) {
        video_format::ReadTail(input, m_pConfig.get());
        m_pConfig->heavyStream = 0;
        m_pConfig->longGOP = in.U8(video_format::kOffsetLongGOPFlag);
        const uint32_t codecKind = in.U32(video_format::kOffsetCodecKind);
        uint32_t decoderKind = DecoderKindHEVC;
        m_pDecoder = MakeDecoder(codecKind, &decoderKind);
        m_pConfig->decoderKind = decoderKind;
        if (decoderKind != DecoderKindMPEG2 &&
            in.I64(video_format::kOffsetAvgTimePerFrame) < kHeavyFrameTime &&
            (m_pConfig->fullWidth > kHeavyWidth || m_pConfig->fullHeight >= kHeavyHeight) &&
            GetProcessorCount() >= kHeavyProcessors)
            m_pConfig->heavyStream = 1;
    }
    if (m_pDecoder && m_pConfig->pixelFormat != 0 && !m_pThread.load()) {
        m_pThread = new (std::nothrow)
            CDecodeThread(m_pDecoder, m_pConfig.get(), in.U8(video_format::kOffsetMP4Flag));
    }
    CDecodeThread* worker = m_pThread.load();
    if (worker && !worker->DeliverThread() && m_pOutput)
        worker->SetDeliverThread(new (std::nothrow) CDeliverThread(m_pOutput));
    return S_OK;
}

HRESULT CMovieDecodeFilter::Receive(IMediaSample* pSample) {
    if (!pSample) return S_OK;
    if (!m_bHasNonSyncSamples.load() && pSample->IsSyncPoint() == S_FALSE)
        m_bHasNonSyncSamples = 1;
    CDecodeThread* worker = m_pThread.load();
    return worker ? worker->Receive(pSample) : S_OK;
}

HRESULT CMovieDecodeFilter::AlterQuality(const Quality& q) {
    if (q.Late <= 0) return S_FALSE;
    CDecodeThread* worker = m_pThread.load();
    if (!worker) return S_FALSE;
    const REFERENCE_TIME limit = q.TimeStamp + q.Late;
    const auto window = static_cast<REFERENCE_TIME>(2.0f * static_cast<float>(q.Late));
    return worker->SkipLateInput(limit, m_bHasNonSyncSamples.load() != 0, window) == 1 ? S_OK
                                                                                      : S_FALSE;
}
