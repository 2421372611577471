#include "tools/qvclip/RangeGate.h"

#include <cstring>

#include "platform/MediaType.h"
#include "platform/TransformInputPin.h"

namespace qvclip {

namespace {
constexpr long kGateBuffers = 4;
}

RangeGate::RangeGate(frame_time::Rate rate, int64_t first, int64_t end)
    : CTransformFilter("qvclip range gate", nullptr, GUID_NULL),
      rate(rate),
      first(first),
      end(end) {}

HRESULT RangeGate::CheckTransform(const CMediaType* in, const CMediaType* out) {
    return in && out && *in == *out ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT RangeGate::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!pMediaType || !m_pInput || !m_pInput->IsConnected()) return E_UNEXPECTED;
    *pMediaType = m_pInput->CurrentMediaType();
    return S_OK;
}

HRESULT RangeGate::DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pProp) {
    return SetPoolOfInputSize(pAllocator, pProp, kGateBuffers);  // a whole input sample fits
}

HRESULT RangeGate::Transform(IMediaSample* pIn, IMediaSample* pOut) {
    uint8_t *from = nullptr, *to = nullptr;
    const long length = pIn->GetActualDataLength();
    if (FAILED(pIn->GetPointer(&from)) || FAILED(pOut->GetPointer(&to)) || length < 0 ||
        length > pOut->GetSize() || FAILED(pOut->SetActualDataLength(length)))
        return E_UNEXPECTED;
    if (length > 0) std::memcpy(to, from, static_cast<size_t>(length));
    return S_OK;
}

HRESULT RangeGate::Receive(IMediaSample* pSample) {
    if (!pSample) return E_POINTER;
    if (ended) return S_FALSE;
    REFERENCE_TIME start = 0, stop = 0;
    const int64_t frame = SUCCEEDED(pSample->GetTime(&start, &stop))
                              ? segmentFrame + frame_time::ToFrames(start, rate)
                              : nextFrame;
    nextFrame = frame + 1;
    if (frame < first) return S_OK;
    if (frame >= end) {
        ended = true;
        CTransformFilter::EndOfStream();
        return S_FALSE;  // the source stops delivering
    }
    return CTransformFilter::Receive(pSample);
}

HRESULT RangeGate::EndOfStream() {
    return ended ? S_OK : CTransformFilter::EndOfStream();
}

HRESULT RangeGate::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    segmentFrame = frame_time::ToFrames(tStart, rate);
    nextFrame = segmentFrame;
    ended = false;
    return CTransformFilter::NewSegment(tStart, tStop, dRate);
}

}  // namespace qvclip
