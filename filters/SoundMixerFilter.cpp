#include "filters/SoundMixerFilter.h"

#include <cstddef>
#include <cstring>
#include <new>

#include "filters/FilterCreators.h"
#include "filters/WaveFormat.h"
#include "foundation/CUAutoLock.h"
#include "platform/SoundDevices.h"
#include "platform/TransformInputPin.h"
#include "platform/TransformOutputPin.h"

namespace {

constexpr int32_t kFrameBytes = 4;  // 16-bit left, 16-bit right
constexpr int32_t kChannelBytes = 2;

// The stream a sample belongs to; AM_STREAM_MEDIA when the sample cannot say.
uint32_t StreamId(IMediaSample* sample) {
    IMediaSample2* sample2 = nullptr;
    if (FAILED(sample->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&sample2))))
        return AM_STREAM_MEDIA;
    AM_SAMPLE2_PROPERTIES props;
    constexpr uint32_t kSize = offsetof(AM_SAMPLE2_PROPERTIES, pMediaType);
    const HRESULT hr = sample2->GetProperties(kSize, reinterpret_cast<uint8_t*>(&props));
    sample2->Release();
    return SUCCEEDED(hr) ? props.dwStreamId : AM_STREAM_MEDIA;
}

HRESULT CheckPCM(const CMediaType* type) {
    if (!type) return E_POINTER;
    return wave_format::IsPCMAudio(*type) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

}  // namespace

CUnknown* CreateSoundMixerFilter(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) CSoundMixerFilter(outer, phr, CLSID_SoundMixerFilter);
}

CSoundMixerFilter::CSoundMixerFilter(IUnknown* outer, HRESULT*, REFCLSID clsid)
    : CTransformFilter("CSoundMixerFilter", outer, clsid, L"Audio In", L"Audio Out") {}

HRESULT CSoundMixerFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMSFSoundMixerFilter)
        return GetInterface(static_cast<IMSFSoundMixerFilter*>(this), ppv);
    return CTransformFilter::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CSoundMixerFilter::SetChannelEnable(uint32_t index, uint32_t value) {
    std::lock_guard<std::mutex> guard(m_csChannels);
    if (index >= kChannels) return E_INVALIDARG;
    m_bChannelEnable[index] = value;
    return S_OK;
}

HRESULT CSoundMixerFilter::GetChannelEnable(uint32_t index, uint32_t* value) {
    std::lock_guard<std::mutex> guard(m_csChannels);
    if (!value) return E_POINTER;
    if (index >= kChannels) return E_INVALIDARG;
    *value = m_bChannelEnable[index];
    return S_OK;
}

HRESULT CSoundMixerFilter::Transform(IMediaSample* pIn, IMediaSample* pOut) {
    std::lock_guard<std::mutex> guard(m_csChannels);
    if (!pIn || !pOut) return S_FALSE;
    const int32_t length = pIn->GetActualDataLength();
    uint8_t* in = nullptr;
    if (length < 0 || length > pIn->GetSize() || FAILED(pIn->GetPointer(&in)) || !in)
        return S_FALSE;
    uint8_t* out = nullptr;
    if (FAILED(pOut->SetActualDataLength(length)) || FAILED(pOut->GetPointer(&out)) || !out)
        return S_FALSE;

    const bool left = m_bChannelEnable[0] == kChannelOn;
    const bool right = m_bChannelEnable[1] == kChannelOn;
    std::memset(out, 0, static_cast<size_t>(length));
    // Bytes behind the last whole frame stay zero.
    const int32_t whole = length - length % kFrameBytes;
    for (int32_t f = 0; f < whole; f += kFrameBytes) {
        if (left) std::memcpy(out + f, in + f, kChannelBytes);
        if (right) std::memcpy(out + f + kChannelBytes, in + f + kChannelBytes, kChannelBytes);
    }

    // A dynamic format change travels on with the sample.
    AM_MEDIA_TYPE* type = nullptr;
    if (pIn->GetMediaType(&type) == S_OK) {
        pOut->SetMediaType(type);
        DeleteMediaType(type);
    }
    return S_OK;
}

HRESULT CSoundMixerFilter::CheckInputType(const CMediaType* mtIn) {
    return CheckPCM(mtIn);
}

HRESULT CSoundMixerFilter::CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) {
    const HRESULT hr = CheckPCM(mtIn);
    return hr != S_OK ? hr : CheckPCM(mtOut);
}

HRESULT CSoundMixerFilter::DecideBufferSize(IMemAllocator* pAllocator,
                                            ALLOCATOR_PROPERTIES* pProp) {
    // One output sample, holding a whole input sample.
    return SetPoolOfInputSize(pAllocator, pProp, 1);
}

HRESULT CSoundMixerFilter::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!pMediaType) return E_UNEXPECTED;
    wave_format::WaveFormat format;
    format.channels = kChannels;
    format.samplesPerSec = kOutputRate;
    format.blockAlign = kChannels * kOutputBits / 8;
    format.avgBytesPerSec = kOutputRate * format.blockAlign;
    format.bitsPerSample = kOutputBits;
    return wave_format::MakePCMType(pMediaType, format) ? S_OK : E_INVALIDARG;
}

HRESULT CSoundMixerFilter::Receive(IMediaSample* pSample) {
    if (!platform::HasSoundOutputDevice()) {
        // Upstream sees no failure; the graph's owner hears of it, at every sample.
        NotifyEvent(EC_ERRORABORT, AUDCLNT_E_DEVICE_INVALIDATED, 0);
        return S_OK;
    }
    if (StreamId(pSample) != AM_STREAM_MEDIA) return m_pOutput->Deliver(pSample);
    return CTransformFilter::Receive(pSample);
}
