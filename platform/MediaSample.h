// IMediaSample, IMediaSample2 and CMediaSample: a buffer of media data travelling down the graph.
//
// A CMediaSample is lent by its allocator: it does not own its bytes, and its last Release hands it
// back to the allocator (IMemAllocator::ReleaseBuffer) instead of deleting it; the allocator resets
// its properties and deletes it when it frees its memory.
// Threads: the reference count is atomic; everything else belongs to whichever thread holds the
// sample (it is passed from filter to filter, never shared), so the properties are not locked.
// Failures: E_POINTER for null out pointers; VFW_E_SAMPLE_TIME_NOT_SET / VFW_E_MEDIA_TIME_NOT_SET
// when no time was set; VFW_S_NO_STOP_TIME when only a start time was set (stop = start + 1);
// E_INVALIDARG for a data length outside the buffer and for malformed properties.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/InterfaceIds.h"
#include "platform/MediaType.h"
#include "platform/Unknown.h"

class IMemAllocator;

// dwSampleFlags of AM_SAMPLE2_PROPERTIES.
inline constexpr uint32_t AM_SAMPLE_SPLICEPOINT = 0x01;
inline constexpr uint32_t AM_SAMPLE_PREROLL = 0x02;
inline constexpr uint32_t AM_SAMPLE_DATADISCONTINUITY = 0x04;
inline constexpr uint32_t AM_SAMPLE_TYPECHANGED = 0x08;
inline constexpr uint32_t AM_SAMPLE_TIMEVALID = 0x10;
inline constexpr uint32_t AM_SAMPLE_STOPVALID = 0x100;

inline constexpr uint32_t AM_STREAM_MEDIA = 0;

struct AM_SAMPLE2_PROPERTIES {
    uint32_t cbData = sizeof(AM_SAMPLE2_PROPERTIES);  // size of the struct in use
    uint32_t dwTypeSpecificFlags = 0;                 // meaning set by the media type
    uint32_t dwSampleFlags = 0;                       // AM_SAMPLE_*
    int32_t lActual = 0;                              // bytes of data
    REFERENCE_TIME tStart = 0;                        // valid with AM_SAMPLE_TIMEVALID
    REFERENCE_TIME tStop = 0;                         // valid with AM_SAMPLE_STOPVALID
    uint32_t dwStreamId = AM_STREAM_MEDIA;
    AM_MEDIA_TYPE* pMediaType = nullptr;  // valid with AM_SAMPLE_TYPECHANGED; owned by the sample
    uint8_t* pbBuffer = nullptr;          // read only
    int32_t cbBuffer = 0;                 // read only
};

class IMediaSample : public IUnknown {
public:
    virtual HRESULT GetPointer(uint8_t** ppBuffer) = 0;
    virtual int32_t GetSize() = 0;
    virtual HRESULT GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) = 0;
    // Both null: no time. Start only: no stop time.
    virtual HRESULT SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) = 0;
    // S_OK when set, S_FALSE when not, for the three flags below.
    virtual HRESULT IsSyncPoint() = 0;
    virtual HRESULT SetSyncPoint(bool isSyncPoint) = 0;
    virtual HRESULT IsPreroll() = 0;
    virtual HRESULT SetPreroll(bool isPreroll) = 0;
    virtual HRESULT IsDiscontinuity() = 0;
    virtual HRESULT SetDiscontinuity(bool isDiscontinuity) = 0;
    virtual int32_t GetActualDataLength() = 0;
    virtual HRESULT SetActualDataLength(int32_t length) = 0;
    // S_FALSE and null when the type did not change; else a copy freed with DeleteMediaType.
    virtual HRESULT GetMediaType(AM_MEDIA_TYPE** ppMediaType) = 0;
    // Null clears the type change.
    virtual HRESULT SetMediaType(const AM_MEDIA_TYPE* pMediaType) = 0;
    virtual HRESULT GetMediaTime(int64_t* pTimeStart, int64_t* pTimeEnd) = 0;
    // Null start clears the media time.
    virtual HRESULT SetMediaTime(int64_t* pTimeStart, int64_t* pTimeEnd) = 0;
};

class IMediaSample2 : public IMediaSample {
public:
    // Copies the first cbProperties bytes of the properties (at most the whole struct).
    virtual HRESULT GetProperties(uint32_t cbProperties, uint8_t* pbProperties) = 0;
    // Takes the first cbProperties bytes; pbBuffer and cbBuffer, when given, must be this
    // sample's own, and a type in pMediaType (with AM_SAMPLE_TYPECHANGED) is copied.
    virtual HRESULT SetProperties(uint32_t cbProperties, const uint8_t* pbProperties) = 0;
};

class CMediaSample : public IMediaSample2 {
public:
    // A sample over `length` bytes at `buffer`, lent by `allocator` (not referenced by the sample;
    // the allocator outlives its samples).
    CMediaSample(const char* name, IMemAllocator* allocator, uint8_t* buffer, int32_t length);
    CMediaSample(const CMediaSample&) = delete;
    CMediaSample& operator=(const CMediaSample&) = delete;
    ~CMediaSample() override;

    HRESULT QueryInterface(REFIID riid, void** ppv) override;
    uint32_t AddRef() override;
    // The last one gives the sample back to its allocator.
    uint32_t Release() override;

    HRESULT GetPointer(uint8_t** ppBuffer) override;
    int32_t GetSize() override { return cbBuffer; }
    HRESULT GetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
    HRESULT SetTime(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) override;
    HRESULT IsSyncPoint() override { return Flag(AM_SAMPLE_SPLICEPOINT); }
    HRESULT SetSyncPoint(bool value) override { return SetFlag(AM_SAMPLE_SPLICEPOINT, value); }
    HRESULT IsPreroll() override { return Flag(AM_SAMPLE_PREROLL); }
    HRESULT SetPreroll(bool value) override { return SetFlag(AM_SAMPLE_PREROLL, value); }
    HRESULT IsDiscontinuity() override { return Flag(AM_SAMPLE_DATADISCONTINUITY); }
    HRESULT SetDiscontinuity(bool value) override {
        return SetFlag(AM_SAMPLE_DATADISCONTINUITY, value);
    }
    int32_t GetActualDataLength() override { return lActual; }
    HRESULT SetActualDataLength(int32_t length) override;
    HRESULT GetMediaType(AM_MEDIA_TYPE** ppMediaType) override;
    HRESULT SetMediaType(const AM_MEDIA_TYPE* pMediaType) override;
    HRESULT GetMediaTime(int64_t* pTimeStart, int64_t* pTimeEnd) override;
    HRESULT SetMediaTime(int64_t* pTimeStart, int64_t* pTimeEnd) override;
    HRESULT GetProperties(uint32_t cbProperties, uint8_t* pbProperties) override;
    HRESULT SetProperties(uint32_t cbProperties, const uint8_t* pbProperties) override;

    // For the allocator: the lender, and the state of a sample fresh from the pool (no flags,
    // times or type, the whole buffer as data, reference count 0).
    IMemAllocator* Allocator() const { return allocator; }
    void Reset();
    // For the allocator handing the sample out: the count goes from 0 to 1.
    void TakeFirstReference() { refCount.store(1); }

private:
    HRESULT Flag(uint32_t flag) const { return (dwFlags & flag) ? S_OK : S_FALSE; }
    HRESULT SetFlag(uint32_t flag, bool value);

    const char* name;
    IMemAllocator* const allocator;
    uint8_t* const buffer;
    const int32_t cbBuffer;
    std::atomic<int32_t> refCount{0};
    // The properties; the thread holding the sample owns them.
    uint32_t dwFlags = 0;
    uint32_t dwTypeSpecificFlags = 0;
    uint32_t dwStreamId = AM_STREAM_MEDIA;
    int32_t lActual;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    bool mediaTimeValid = false;
    int64_t mediaStart = 0;
    int64_t mediaEnd = 0;
    AM_MEDIA_TYPE* mediaType = nullptr;  // owned; set with AM_SAMPLE_TYPECHANGED
};
