// IMemAllocator and CMemAllocator: a fixed pool of sample buffers shared by two connected pins.
//
// SetProperties fixes the pool (cBuffers buffers of cbBuffer bytes, each starting at a multiple of
// cbAlign after cbPrefix spare bytes); Commit allocates it, GetBuffer lends a sample, whose last
// Release brings it back with its properties reset. GetBuffer waits while every buffer is out.
// Decommit makes every GetBuffer fail, including those waiting; the memory is freed once
// decommitted and every buffer is back. Each sample out holds a reference on the allocator, so the
// pool outlives its samples.
// Threads: every method may be called from any thread; `lock` guards the pool state.
// Failures: VFW_E_ALREADY_COMMITTED / VFW_E_BUFFERS_OUTSTANDING from SetProperties while committed
// or while buffers are out; VFW_E_BADALIGN for an alignment that is not a power of two;
// VFW_E_SIZENOTSET from Commit before any size; VFW_E_NOT_COMMITTED from GetBuffer when not
// committed; VFW_E_TIMEOUT from GetBuffer with AM_GBF_NOWAIT when every buffer is out;
// E_OUTOFMEMORY from Commit.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/InterfaceIds.h"
#include "platform/MediaSample.h"
#include "platform/Unknown.h"

struct ALLOCATOR_PROPERTIES {
    int32_t cBuffers = 0;
    int32_t cbBuffer = 0;
    int32_t cbAlign = 0;  // 0 counts as 1
    int32_t cbPrefix = 0;
};

// GetBuffer flags.
inline constexpr uint32_t AM_GBF_NOWAIT = 0x4;  // fail with VFW_E_TIMEOUT instead of waiting

class IMemAllocator : public IUnknown {
public:
    // `pActual` receives what the pool will be (cbBuffer rounded up to the alignment).
    virtual HRESULT SetProperties(ALLOCATOR_PROPERTIES* pRequest,
                                  ALLOCATOR_PROPERTIES* pActual) = 0;
    virtual HRESULT GetProperties(ALLOCATOR_PROPERTIES* pProps) = 0;
    virtual HRESULT Commit() = 0;
    virtual HRESULT Decommit() = 0;
    // The times are accepted and not used: a pool buffer is lent whatever the time.
    virtual HRESULT GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime,
                              REFERENCE_TIME* pEndTime, uint32_t dwFlags) = 0;
    // Called by a sample on its last Release.
    virtual HRESULT ReleaseBuffer(IMediaSample* pBuffer) = 0;
};

class CMemAllocator : public CUnknown, public IMemAllocator {
public:
    explicit CMemAllocator(const char* name, IUnknown* outer = nullptr);
    ~CMemAllocator() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    HRESULT SetProperties(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) override;
    HRESULT GetProperties(ALLOCATOR_PROPERTIES* pProps) override;
    HRESULT Commit() override;
    HRESULT Decommit() override;
    HRESULT GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* pStartTime, REFERENCE_TIME* pEndTime,
                      uint32_t dwFlags) override;
    HRESULT ReleaseBuffer(IMediaSample* pBuffer) override;

private:
    struct FreeBytes {
        void operator()(uint8_t* bytes) const;
    };

    void FreeMemory();  // requires `lock`

    std::mutex lock;
    std::condition_variable bufferReturned;              // with `lock`: a buffer came back
    ALLOCATOR_PROPERTIES properties;                     // guarded by `lock`
    bool committed = false;                              // guarded by `lock`
    int32_t outstanding = 0;                             // guarded by `lock`: samples lent
    std::unique_ptr<uint8_t, FreeBytes> memory;          // guarded by `lock`: all buffers
    std::vector<std::unique_ptr<CMediaSample>> samples;  // guarded by `lock`: every sample
    std::vector<CMediaSample*> freeSamples;              // guarded by `lock`: those in the pool
};
