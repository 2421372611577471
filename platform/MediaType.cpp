#include "platform/MediaType.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace {
uint8_t* CopyBlock(const uint8_t* bytes, uint32_t length) {
    if (length == 0 || !bytes) return nullptr;
    auto* copy = static_cast<uint8_t*>(std::malloc(length));
    if (copy) std::memcpy(copy, bytes, length);
    return copy;
}

bool SameFormat(const AM_MEDIA_TYPE& a, const AM_MEDIA_TYPE& b) {
    if (a.cbFormat != b.cbFormat) return false;
    return a.cbFormat == 0 || std::memcmp(a.pbFormat, b.pbFormat, a.cbFormat) == 0;
}
}  // namespace

void FreeMediaType(AM_MEDIA_TYPE& type) {
    std::free(type.pbFormat);
    type.pbFormat = nullptr;
    type.cbFormat = 0;
}

void DeleteMediaType(AM_MEDIA_TYPE* type) {
    if (!type) return;
    FreeMediaType(*type);
    delete type;
}

HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source) {
    if (!target || !source) return E_POINTER;
    uint8_t* block = CopyBlock(source->pbFormat, source->cbFormat);
    if (source->cbFormat != 0 && source->pbFormat && !block) return E_OUTOFMEMORY;
    *target = *source;
    target->pbFormat = block;
    target->cbFormat = block ? source->cbFormat : 0;
    return S_OK;
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source) {
    if (!source) return nullptr;
    auto* type = new (std::nothrow) AM_MEDIA_TYPE;
    if (!type) return nullptr;
    if (FAILED(CopyMediaType(type, source))) {
        delete type;
        return nullptr;
    }
    return type;
}

CMediaType::CMediaType() = default;

CMediaType::CMediaType(const GUID* majorType) {
    if (majorType) majortype = *majorType;
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& source) {
    // A copy that cannot get memory for its block stays the empty type.
    if (FAILED(CopyMediaType(this, &source))) InitMediaType();
}

CMediaType::CMediaType(const CMediaType& source)
    : CMediaType(static_cast<const AM_MEDIA_TYPE&>(source)) {}

CMediaType::CMediaType(CMediaType&& source) noexcept : AM_MEDIA_TYPE(source) {
    source.pbFormat = nullptr;
    source.cbFormat = 0;
}

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& source) {
    if (&source != this) {
        AM_MEDIA_TYPE copy;
        if (SUCCEEDED(CopyMediaType(&copy, &source))) {
            FreeMediaType(*this);
            static_cast<AM_MEDIA_TYPE&>(*this) = copy;
        }
    }
    return *this;
}

CMediaType& CMediaType::operator=(const CMediaType& source) {
    return *this = static_cast<const AM_MEDIA_TYPE&>(source);
}

CMediaType& CMediaType::operator=(CMediaType&& source) noexcept {
    if (&source != this) {
        FreeMediaType(*this);
        static_cast<AM_MEDIA_TYPE&>(*this) = source;
        source.pbFormat = nullptr;
        source.cbFormat = 0;
    }
    return *this;
}

CMediaType::~CMediaType() {
    FreeMediaType(*this);
}

bool CMediaType::operator==(const CMediaType& other) const {
    return majortype == other.majortype && subtype == other.subtype &&
           formattype == other.formattype && SameFormat(*this, other);
}

HRESULT CMediaType::Set(const CMediaType& source) {
    if (&source == this) return S_OK;
    AM_MEDIA_TYPE copy;
    const HRESULT hr = CopyMediaType(&copy, &source);
    if (FAILED(hr)) return hr;
    FreeMediaType(*this);
    static_cast<AM_MEDIA_TYPE&>(*this) = copy;
    return S_OK;
}

void CMediaType::SetSampleSize(uint32_t size) {
    if (size == 0) {
        SetVariableSize();
    } else {
        bFixedSizeSamples = true;
        lSampleSize = size;
    }
}

bool CMediaType::SetFormat(const uint8_t* format, uint32_t length) {
    uint8_t* block = AllocFormatBuffer(length);
    if (length != 0 && !block) return false;
    if (length != 0) std::memcpy(block, format, length);
    return true;
}

uint8_t* CMediaType::AllocFormatBuffer(uint32_t length) {
    if (length == 0) {
        ResetFormatBuffer();
        return nullptr;
    }
    if (pbFormat && cbFormat == length) return pbFormat;
    auto* block = static_cast<uint8_t*>(std::calloc(length, 1));
    if (!block) return nullptr;
    ResetFormatBuffer();
    pbFormat = block;
    cbFormat = length;
    return block;
}

void CMediaType::ResetFormatBuffer() {
    FreeMediaType(*this);
}

void CMediaType::InitMediaType() {
    FreeMediaType(*this);
    static_cast<AM_MEDIA_TYPE&>(*this) = AM_MEDIA_TYPE{};
}
