#include "filters/TimecodeOutputPins.h"

#include <cstring>

#include "filters/FilterIds.h"

namespace {

constexpr uint32_t kTimecodeBuffers = 30;
constexpr uint32_t kTimecodeBufferSize = 4096;

HRESULT PrivateMediaType(int iPosition, CMediaType* type, const GUID& major) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!type) return E_UNEXPECTED;
    type->InitMediaType();
    type->SetType(&major);
    type->SetSubtype(&MEDIASUBTYPE_PrivateStream);
    type->SetFormatType(&FORMAT_None);
    const uint32_t value = kPrivateStreamFormatValue;
    return type->SetFormat(reinterpret_cast<const uint8_t*>(&value), sizeof value)
               ? S_OK
               : E_OUTOFMEMORY;
}

HRESULT CheckPrivate(const CMediaType* type, const GUID& major) {
    if (!type) return E_FAIL;
    return *type->Type() == major && *type->Subtype() == MEDIASUBTYPE_PrivateStream ? S_OK
                                                                                     : E_FAIL;
}

bool Inside(uint64_t offset, uint64_t size) {
    return offset <= kParserReadBufferSize && size <= kParserReadBufferSize - offset;
}

}  // namespace

MXFTimecodeOutputPin::MXFTimecodeOutputPin(HRESULT* phr, CParseFilter* filter,
                                           CURecursiveLock* shared)
    : MXFParserOutputPin("MXF timecode pin", phr, filter, L"Time_", shared, kElementSystem,
                         kTimecodeBuffers, kTimecodeBufferSize) {}

HRESULT MXFTimecodeOutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    return PrivateMediaType(iPosition, pMediaType, MEDIATYPE_MXFTimecode);
}

HRESULT MXFTimecodeOutputPin::CheckMediaType(const CMediaType* pmt) {
    return CheckPrivate(pmt, MEDIATYPE_MXFTimecode);
}

HRESULT MXFTimecodeOutputPin::FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                                             const FrameElementLayout& layout, int64_t,
                                             bool* skip) {
    *skip = false;
    if (!sample || !buffer) return E_FAIL;
    uint8_t* data = nullptr;
    HRESULT hr = sample->GetPointer(&data);
    if (FAILED(hr)) return hr;
    const uint64_t s = layout.systemSize, a = layout.ancillarySize;
    if (!Inside(layout.systemOffset, s) || !Inside(layout.ancillaryOffset, a)) return E_FAIL;
    const uint64_t length = s + a + 16;  // both below 20 MiB: no overflow
    if (length > static_cast<uint64_t>(INT32_MAX)) return E_FAIL;
    hr = sample->SetActualDataLength(static_cast<int32_t>(length));
    if (FAILED(hr)) return hr;
    std::memcpy(data, &s, 8);
    if (s) std::memcpy(data + 8, buffer + layout.systemOffset, s);
    std::memcpy(data + 8 + s, &a, 8);
    if (a) std::memcpy(data + 16 + s, buffer + layout.ancillaryOffset, a);
    return S_OK;
}

MP4TimecodeOutputPin::MP4TimecodeOutputPin(HRESULT* phr, CParseFilter* filter,
                                           CURecursiveLock* shared)
    : MP4ParserOutputPin("MP4 timecode pin", phr, filter, L"Time_", shared, kElementSystem,
                         kTimecodeBuffers, kTimecodeBufferSize) {}

HRESULT MP4TimecodeOutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    return PrivateMediaType(iPosition, pMediaType, MEDIATYPE_MP4Timecode);
}

HRESULT MP4TimecodeOutputPin::CheckMediaType(const CMediaType* pmt) {
    return CheckPrivate(pmt, MEDIATYPE_MP4Timecode);
}

HRESULT MP4TimecodeOutputPin::FillSampleData(IMediaSample* sample, const uint8_t* buffer,
                                             const FrameElementLayout& layout, int64_t,
                                             bool* skip) {
    *skip = false;
    return CopyElement(sample, buffer, layout.systemOffset, layout.systemSize);
}
