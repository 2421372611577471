#include "platform/MediaSample.h"

#include <cstddef>
#include <cstring>

#include "platform/MemAllocator.h"

CMediaSample::CMediaSample(const char* sampleName, IMemAllocator* lender, uint8_t* bytes,
                           int32_t length)
    : name(sampleName), allocator(lender), buffer(bytes), cbBuffer(length), lActual(length) {}

CMediaSample::~CMediaSample() {
    DeleteMediaType(mediaType);
}

HRESULT CMediaSample::QueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IMediaSample || riid == IID_IMediaSample2)
        return GetInterface<IMediaSample2>(this, ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

uint32_t CMediaSample::AddRef() {
    return static_cast<uint32_t>(refCount.fetch_add(1) + 1);
}

uint32_t CMediaSample::Release() {
    const int32_t left = refCount.fetch_sub(1) - 1;
    if (left == 0) {
        // Back to the pool; the allocator may delete the sample, so nothing is touched after.
        allocator->ReleaseBuffer(this);
        return 0;
    }
    return static_cast<uint32_t>(left);
}

HRESULT CMediaSample::GetPointer(uint8_t** ppBuffer) {
    if (!ppBuffer) return E_POINTER;
    *ppBuffer = buffer;
    return S_OK;
}

HRESULT CMediaSample::GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) {
    if (!pTimeStart || !pTimeEnd) return E_POINTER;
    if (!(dwFlags & AM_SAMPLE_TIMEVALID)) return VFW_E_SAMPLE_TIME_NOT_SET;
    *pTimeStart = start;
    if (!(dwFlags & AM_SAMPLE_STOPVALID)) {
        *pTimeEnd = start + 1;
        return VFW_S_NO_STOP_TIME;
    }
    *pTimeEnd = end;
    return S_OK;
}

HRESULT CMediaSample::SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) {
    dwFlags &= ~(AM_SAMPLE_TIMEVALID | AM_SAMPLE_STOPVALID);
    if (!pTimeStart) return pTimeEnd ? E_POINTER : S_OK;
    start = *pTimeStart;
    dwFlags |= AM_SAMPLE_TIMEVALID;
    if (pTimeEnd) {
        end = *pTimeEnd;
        dwFlags |= AM_SAMPLE_STOPVALID;
    }
    return S_OK;
}

HRESULT CMediaSample::SetFlag(uint32_t flag, bool value) {
    if (value)
        dwFlags |= flag;
    else
        dwFlags &= ~flag;
    return S_OK;
}

HRESULT CMediaSample::SetActualDataLength(int32_t length) {
    if (length < 0 || length > cbBuffer) return E_INVALIDARG;
    lActual = length;
    return S_OK;
}

HRESULT CMediaSample::GetMediaType(AM_MEDIA_TYPE** ppMediaType) {
    if (!ppMediaType) return E_POINTER;
    *ppMediaType = nullptr;
    if (!(dwFlags & AM_SAMPLE_TYPECHANGED) || !mediaType) return S_FALSE;
    *ppMediaType = CreateMediaType(mediaType);
    return *ppMediaType ? S_OK : E_OUTOFMEMORY;
}

HRESULT CMediaSample::SetMediaType(const AM_MEDIA_TYPE* pMediaType) {
    AM_MEDIA_TYPE* copy = nullptr;
    if (pMediaType) {
        copy = CreateMediaType(pMediaType);
        if (!copy) return E_OUTOFMEMORY;
    }
    DeleteMediaType(mediaType);
    mediaType = copy;
    SetFlag(AM_SAMPLE_TYPECHANGED, copy != nullptr);
    return S_OK;
}

HRESULT CMediaSample::GetMediaTime(int64_t* pTimeStart, int64_t* pTimeEnd) {
    if (!pTimeStart || !pTimeEnd) return E_POINTER;
    if (!mediaTimeValid) return VFW_E_MEDIA_TIME_NOT_SET;
    *pTimeStart = mediaStart;
    *pTimeEnd = mediaEnd;
    return S_OK;
}

HRESULT CMediaSample::SetMediaTime(int64_t* pTimeStart, int64_t* pTimeEnd) {
    if (!pTimeStart) {
        mediaTimeValid = false;
        return S_OK;
    }
    if (!pTimeEnd) return E_POINTER;
    mediaStart = *pTimeStart;
    mediaEnd = *pTimeEnd;
    mediaTimeValid = true;
    return S_OK;
}

HRESULT CMediaSample::GetProperties(uint32_t cbProperties, uint8_t* pbProperties) {
    if (!pbProperties) return E_POINTER;
    if (cbProperties > sizeof(AM_SAMPLE2_PROPERTIES)) return E_INVALIDARG;
    AM_SAMPLE2_PROPERTIES properties;
    properties.cbData = cbProperties;
    properties.dwTypeSpecificFlags = dwTypeSpecificFlags;
    properties.dwSampleFlags = dwFlags;
    properties.lActual = lActual;
    properties.tStart = start;
    properties.tStop = end;
    properties.dwStreamId = dwStreamId;
    // The sample keeps ownership; the pointer is valid while the caller holds the sample.
    properties.pMediaType = (dwFlags & AM_SAMPLE_TYPECHANGED) ? mediaType : nullptr;
    properties.pbBuffer = buffer;
    properties.cbBuffer = cbBuffer;
    std::memcpy(pbProperties, &properties, cbProperties);
    return S_OK;
}

HRESULT CMediaSample::SetProperties(uint32_t cbProperties, const uint8_t* pbProperties) {
    if (!pbProperties) return E_POINTER;
    // Everything up to the sample flags must be there; that is what callers change.
    if (cbProperties < offsetof(AM_SAMPLE2_PROPERTIES, lActual) ||
        cbProperties > sizeof(AM_SAMPLE2_PROPERTIES))
        return E_INVALIDARG;
    AM_SAMPLE2_PROPERTIES given;
    GetProperties(sizeof(given), reinterpret_cast<uint8_t*>(&given));
    std::memcpy(&given, pbProperties, cbProperties);
    if (given.cbData != cbProperties) return E_INVALIDARG;
    if (given.pbBuffer != buffer || given.cbBuffer != cbBuffer) return E_INVALIDARG;
    if (given.lActual < 0 || given.lActual > cbBuffer) return E_INVALIDARG;

    const bool typeChanged = (given.dwSampleFlags & AM_SAMPLE_TYPECHANGED) != 0;
    if (typeChanged && !given.pMediaType) return E_INVALIDARG;
    if (typeChanged && given.pMediaType != mediaType) {
        AM_MEDIA_TYPE* copy = CreateMediaType(given.pMediaType);
        if (!copy) return E_OUTOFMEMORY;
        DeleteMediaType(mediaType);
        mediaType = copy;
    } else if (!typeChanged) {
        DeleteMediaType(mediaType);
        mediaType = nullptr;
    }
    dwTypeSpecificFlags = given.dwTypeSpecificFlags;
    dwFlags = given.dwSampleFlags;
    lActual = given.lActual;
    start = given.tStart;
    end = given.tStop;
    dwStreamId = given.dwStreamId;
    return S_OK;
}

void CMediaSample::Reset() {
    dwFlags = 0;
    dwTypeSpecificFlags = 0;
    dwStreamId = AM_STREAM_MEDIA;
    lActual = cbBuffer;
    start = end = 0;
    mediaTimeValid = false;
    DeleteMediaType(mediaType);
    mediaType = nullptr;
}
