#include "platform/MemAllocator.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {
bool IsPowerOfTwo(int32_t value) {
    return value > 0 && (value & (value - 1)) == 0;
}

int32_t RoundUp(int32_t value, int32_t align) {
    return (value + align - 1) / align * align;
}

size_t RoundUp(size_t value, size_t align) {
    return (value + align - 1) / align * align;
}
}  // namespace

void CMemAllocator::FreeBytes::operator()(uint8_t* bytes) const {
    std::free(bytes);
}

CMemAllocator::CMemAllocator(const char* name, IUnknown* outer) : CUnknown(name, outer) {}

CMemAllocator::~CMemAllocator() {
    // Samples hold references, so none can be out here.
    std::lock_guard<std::mutex> guard(lock);
    FreeMemory();
}

HRESULT CMemAllocator::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMemAllocator) return GetInterface<IMemAllocator>(this, ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CMemAllocator::SetProperties(ALLOCATOR_PROPERTIES* pRequest,
                                     ALLOCATOR_PROPERTIES* pActual) {
    if (!pRequest || !pActual) return E_POINTER;
    const int32_t align = pRequest->cbAlign == 0 ? 1 : pRequest->cbAlign;
    if (!IsPowerOfTwo(align)) return VFW_E_BADALIGN;
    if (pRequest->cBuffers < 0 || pRequest->cbBuffer < 0 || pRequest->cbPrefix < 0)
        return E_INVALIDARG;
    std::lock_guard<std::mutex> guard(lock);
    if (committed) return VFW_E_ALREADY_COMMITTED;
    if (outstanding > 0) return VFW_E_BUFFERS_OUTSTANDING;
    // A pending pool of the old shape goes; Commit makes the new one.
    FreeMemory();
    properties.cBuffers = pRequest->cBuffers;
    properties.cbBuffer = RoundUp(pRequest->cbBuffer, align);
    properties.cbAlign = align;
    properties.cbPrefix = pRequest->cbPrefix;
    *pActual = properties;
    return S_OK;
}

HRESULT CMemAllocator::GetProperties(ALLOCATOR_PROPERTIES* pProps) {
    if (!pProps) return E_POINTER;
    std::lock_guard<std::mutex> guard(lock);
    *pProps = properties;
    return S_OK;
}

HRESULT CMemAllocator::Commit() {
    std::lock_guard<std::mutex> guard(lock);
    if (committed) return S_OK;
    if (properties.cBuffers == 0 || properties.cbBuffer == 0) return VFW_E_SIZENOTSET;
    if (memory) {
        // Decommitted with buffers still out: the pool is still there, take it again.
        committed = true;
        return S_OK;
    }
    // Each buffer: prefix, then data at a multiple of the alignment; the block is aligned too.
    const size_t align = static_cast<size_t>(properties.cbAlign);
    const size_t stride =
        static_cast<size_t>(RoundUp(properties.cbPrefix + properties.cbBuffer, properties.cbAlign));
    const size_t prefix = static_cast<size_t>(RoundUp(properties.cbPrefix, properties.cbAlign));
    const size_t total = prefix + stride * static_cast<size_t>(properties.cBuffers);
    const size_t blockAlign = align < alignof(std::max_align_t) ? alignof(std::max_align_t) : align;
    auto* bytes = static_cast<uint8_t*>(std::aligned_alloc(blockAlign, RoundUp(total, blockAlign)));
    if (!bytes) return E_OUTOFMEMORY;
    memory.reset(bytes);
    samples.reserve(static_cast<size_t>(properties.cBuffers));
    freeSamples.reserve(static_cast<size_t>(properties.cBuffers));
    for (int32_t i = 0; i < properties.cBuffers; ++i) {
        uint8_t* data = bytes + prefix + stride * static_cast<size_t>(i);
        samples.push_back(std::make_unique<CMediaSample>("CMemAllocator sample", this, data,
                                                         properties.cbBuffer));
        freeSamples.push_back(samples.back().get());
    }
    committed = true;
    return S_OK;
}

HRESULT CMemAllocator::Decommit() {
    std::lock_guard<std::mutex> guard(lock);
    if (!committed) return S_OK;
    committed = false;
    if (outstanding == 0) FreeMemory();
    bufferReturned.notify_all();  // waiters in GetBuffer fail now
    return S_OK;
}

HRESULT CMemAllocator::GetBuffer(IMediaSample** ppBuffer, REFERENCE_TIME* /*pStartTime*/,
                                 REFERENCE_TIME* /*pEndTime*/, uint32_t dwFlags) {
    if (!ppBuffer) return E_POINTER;
    *ppBuffer = nullptr;
    CMediaSample* sample = nullptr;
    {
        std::unique_lock<std::mutex> guard(lock);
        while (true) {
            if (!committed) return VFW_E_NOT_COMMITTED;
            if (!freeSamples.empty()) break;
            if (dwFlags & AM_GBF_NOWAIT) return VFW_E_TIMEOUT;
            bufferReturned.wait(guard);
        }
        sample = freeSamples.back();
        freeSamples.pop_back();
        ++outstanding;
    }
    AddRef();  // the sample's hold on the pool, dropped in ReleaseBuffer
    sample->TakeFirstReference();
    *ppBuffer = sample;
    return S_OK;
}

HRESULT CMemAllocator::ReleaseBuffer(IMediaSample* pBuffer) {
    auto* sample = dynamic_cast<CMediaSample*>(pBuffer);
    if (!sample || sample->Allocator() != this) return E_INVALIDARG;
    sample->Reset();
    {
        std::lock_guard<std::mutex> guard(lock);
        freeSamples.push_back(sample);
        --outstanding;
        if (!committed && outstanding == 0) FreeMemory();
        bufferReturned.notify_one();
    }
    Release();  // may delete this allocator: nothing after it
    return S_OK;
}

void CMemAllocator::FreeMemory() {
    freeSamples.clear();
    samples.clear();
    memory.reset();
}
