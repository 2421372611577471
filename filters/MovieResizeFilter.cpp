#include "filters/MovieResizeFilter.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "filters/FilterCreators.h"
#include "filters/FilterIds.h"
#include "filters/VideoFormat.h"
#include "platform/TransformInputPin.h"
#include "platform/TransformOutputPin.h"

using video_format::Block;

CUnknown* CreateMovieResizeFilter(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) CMovieResizeFilter(outer, phr, CLSID_MovieResizeFilter);
}

CMovieResizeFilter::CMovieResizeFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid)
    : CPipelineFilter("CMovieResizeFilter", outer, clsid),
      m_pConfig(new (std::nothrow) DecoderConfig()) {
    if (!m_pConfig && phr) *phr = E_OUTOFMEMORY;
}

CMovieResizeFilter::~CMovieResizeFilter() {
    // The worker goes first: its thread reads the configuration.
    DeleteWorker();
}

HRESULT CMovieResizeFilter::CheckInputType(const CMediaType* mtIn) {
    if (mtIn) video_format::ReadPicture(*mtIn, m_pConfig.get());
    return S_OK;
}

HRESULT CMovieResizeFilter::CheckTransform(const CMediaType*, const CMediaType*) {
    return S_OK;
}

HRESULT CMovieResizeFilter::DecideBufferSize(IMemAllocator* pAllocator,
                                             ALLOCATOR_PROPERTIES* pProp) {
    if (!pAllocator || !pProp || !m_pInput) return E_POINTER;
    if (!m_pInput->IsConnected()) return E_UNEXPECTED;
    pProp->cBuffers = kOutputBuffers;
    pProp->cbBuffer = kOutputBufferSize;
    ALLOCATOR_PROPERTIES actual;
    return pAllocator->SetProperties(pProp, &actual);
}

HRESULT CMovieResizeFilter::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!pMediaType) return E_UNEXPECTED;
    if (!m_pInput || !m_pInput->IsConnected()) return E_UNEXPECTED;
    const CMediaType& input = m_pInput->CurrentMediaType();
    const Block in(input);

    pMediaType->InitMediaType();
    pMediaType->SetType(&MEDIATYPE_Video);
    pMediaType->SetSubtype(in.U32(video_format::kOffsetBitmapCompression) == kPixelFormatBGR4
                               ? &MEDIASUBTYPE_RGB32
                               : &MEDIASUBTYPE_YUY2);
    pMediaType->SetFormatType(&FORMAT_VideoInfo2);
    uint8_t* bytes = pMediaType->AllocFormatBuffer(video_format::kFormatBlockSize);
    if (!bytes) return E_OUTOFMEMORY;
    std::memset(bytes, 0, video_format::kFormatBlockSize);
    // The video information header goes on as it came (a shorter input block leaves zeros).
    if (input.Format())
        std::memcpy(bytes, input.Format(),
                    std::min(input.FormatLength(), video_format::kHeaderSize));
    Block out(bytes, video_format::kFormatBlockSize);
    for (const uint32_t offset : {video_format::kOffsetGamma, video_format::kOffsetGamut,
                                  video_format::kOffsetHLGColor, video_format::kOffsetLook})
        out.SetU32(offset, in.U32(offset));
    return S_OK;
}

HRESULT CMovieResizeFilter::CompleteConnect(PIN_DIRECTION, IPin*) {
    if (!m_pInput || !m_pConfig) return S_OK;
    const CMediaType& input = m_pInput->CurrentMediaType();
    video_format::ReadTail(input, m_pConfig.get());
    if (m_pConfig->pixelFormat != 0 && !m_pThread.load())
        m_pThread = new (std::nothrow) CMovieResizeThread(m_pConfig.get());
    CMovieResizeThread* worker = m_pThread.load();
    if (worker && !worker->DeliverThread() && m_pOutput)
        worker->SetDeliverThread(new (std::nothrow) CDeliverThread(m_pOutput));
    return S_OK;
}

