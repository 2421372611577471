// AM_MEDIA_TYPE and CMediaType: what a pin connection carries and what a sample may announce.
//
// AM_MEDIA_TYPE is a plain struct; its format block (pbFormat, cbFormat bytes) lives on the C heap
// (malloc/free), so FreeMediaType and DeleteMediaType release blocks whoever made them.
// CMediaType is an AM_MEDIA_TYPE with value semantics: it owns its format block, copies it on copy,
// and frees it on destruction. Two types are equal when major type, subtype, format type and the
// format bytes are equal (sample size and the flags do not count).
// A pin asked to connect with a partly specified type (null GUIDs) tries its own types that agree
// with the major type and subtype given, in order (CBasePin).
// Threads: none of its own; a CMediaType is guarded by whoever holds it.
// Failures: allocation failure gives null from AllocFormatBuffer/CreateMediaType, false from
// SetFormat and E_OUTOFMEMORY from Set/CopyMediaType.
#pragma once

#include <cstdint>

#include "platform/Guid.h"
#include "platform/HResult.h"
#include "platform/ReferenceTime.h"

// Major types, as four-character codes in the subtype layout: 'vids' and 'auds'.
inline constexpr GUID MEDIATYPE_Video = FourCCSubtype(MakeFourCC('v', 'i', 'd', 's'));
inline constexpr GUID MEDIATYPE_Audio = FourCCSubtype(MakeFourCC('a', 'u', 'd', 's'));
inline constexpr GUID MEDIASUBTYPE_NULL = GUID_NULL;
inline constexpr GUID MEDIATYPE_NULL = GUID_NULL;
// Format types: our own values. {71760101-7176-4600-A5C3-515646000000} and ...0102...
inline constexpr GUID FORMAT_VideoInfo2{
    0x71760101, 0x7176, 0x4600, {0xA5, 0xC3, 0x51, 0x56, 0x46, 0x00, 0x00, 0x00}};
inline constexpr GUID FORMAT_WaveFormatEx{
    0x71760102, 0x7176, 0x4600, {0xA5, 0xC3, 0x51, 0x56, 0x46, 0x00, 0x00, 0x00}};
// The format type of streams that carry no format block of their own; the platform's value, which
// the private stream types name. {0F6417D6-C318-11D0-A43F-00A0C9223196}
inline constexpr GUID FORMAT_None{
    0x0F6417D6, 0xC318, 0x11D0, {0xA4, 0x3F, 0x00, 0xA0, 0xC9, 0x22, 0x31, 0x96}};
// {71760103-7176-4600-A5C3-515646000000}
inline constexpr GUID FORMAT_MPEG2Video{
    0x71760103, 0x7176, 0x4600, {0xA5, 0xC3, 0x51, 0x56, 0x46, 0x00, 0x00, 0x00}};
// Subtypes the filters name. PCM is the wave format tag 1 in the four-character-code layout;
// MPEG-2 video is our own value {71760104-7176-4600-A5C3-515646000000}.
inline constexpr GUID MEDIASUBTYPE_PCM = FourCCSubtype(1);
inline constexpr GUID MEDIASUBTYPE_MPEG2_VIDEO{
    0x71760104, 0x7176, 0x4600, {0xA5, 0xC3, 0x51, 0x56, 0x46, 0x00, 0x00, 0x00}};

struct AM_MEDIA_TYPE {
    GUID majortype{};
    GUID subtype{};
    bool bFixedSizeSamples = true;
    bool bTemporalCompression = false;
    uint32_t lSampleSize = 1;
    GUID formattype{};
    uint32_t cbFormat = 0;
    uint8_t* pbFormat = nullptr;  // cbFormat bytes on the C heap, or null
};

// Frees the format block of `type` and empties it; the struct itself stays.
void FreeMediaType(AM_MEDIA_TYPE& type);
// Frees the format block and the struct made by CreateMediaType. Null does nothing.
void DeleteMediaType(AM_MEDIA_TYPE* type);
// A heap copy of `source` with its own format block; DeleteMediaType frees it. Null on failure.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source);
// Deep copy into `target`, whose previous format block is not freed (it is expected empty).
HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source);

class CMediaType : public AM_MEDIA_TYPE {
public:
    CMediaType();
    explicit CMediaType(const GUID* majorType);
    CMediaType(const AM_MEDIA_TYPE& source);  // NOLINT: converting, as the pins use it
    CMediaType(const CMediaType& source);
    CMediaType(CMediaType&& source) noexcept;
    CMediaType& operator=(const AM_MEDIA_TYPE& source);
    CMediaType& operator=(const CMediaType& source);
    CMediaType& operator=(CMediaType&& source) noexcept;
    ~CMediaType();

    bool operator==(const CMediaType& other) const;

    // Deep copy; on E_OUTOFMEMORY this type keeps its previous value.
    HRESULT Set(const CMediaType& source);
    // A major type is set.
    bool IsValid() const { return majortype != GUID_NULL; }

    const GUID* Type() const { return &majortype; }
    void SetType(const GUID* type) { majortype = *type; }
    const GUID* Subtype() const { return &subtype; }
    void SetSubtype(const GUID* type) { subtype = *type; }
    const GUID* FormatType() const { return &formattype; }
    void SetFormatType(const GUID* type) { formattype = *type; }

    bool IsFixedSize() const { return bFixedSizeSamples; }
    bool IsTemporalCompressed() const { return bTemporalCompression; }
    uint32_t GetSampleSize() const { return bFixedSizeSamples ? lSampleSize : 0; }
    // A non-zero size makes samples fixed-size; 0 makes them variable.
    void SetSampleSize(uint32_t size);
    void SetVariableSize() { bFixedSizeSamples = false; }
    void SetTemporalCompression(bool compressed) { bTemporalCompression = compressed; }

    uint8_t* Format() const { return pbFormat; }
    uint32_t FormatLength() const { return cbFormat; }
    // Copies `length` bytes into an owned block. False (type unchanged) when out of memory.
    bool SetFormat(const uint8_t* format, uint32_t length);
    // An owned block of `length` zeroed bytes, replacing the old one; the same block when the
    // length is unchanged (its bytes kept). Null when out of memory (the old block is kept).
    uint8_t* AllocFormatBuffer(uint32_t length);
    // Frees the format block.
    void ResetFormatBuffer();
    // Clears every field to the initial state: null GUIDs, fixed size 1, no format.
    void InitMediaType();
};
