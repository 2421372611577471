// The fixed pool: properties, waits on an exhausted pool (and the refusal once decommitted),
// lifetime. Buffers shared between threads are the streaming tests' (under tsan); every filter asks
// for an alignment of one and no prefix.
#include <gtest/gtest.h>

#include <cstdint>
#include <thread>

#include "platform/MemAllocator.h"

namespace {

// Holds a reference for the test's lifetime; decommits so no waiter is left behind.
struct Pool {
    explicit Pool(int32_t buffers) {
        allocator->AddRef();
        ALLOCATOR_PROPERTIES request{buffers, 16, 1, 0}, actual;
        EXPECT_EQ(allocator->SetProperties(&request, &actual), S_OK);
    }
    ~Pool() {
        allocator->Decommit();
        allocator->Release();
    }
    IMediaSample* Get() {
        IMediaSample* sample = nullptr;
        EXPECT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
        return sample;
    }

    CMemAllocator* allocator = new CMemAllocator("pool");
};

TEST(CMemAllocator, PropertiesSetWhileDecommittedAndAllBuffersBackGiveDistinctBuffers) {
    Pool pool(1);
    ALLOCATOR_PROPERTIES request{2, 32, 1, 0}, actual;
    ASSERT_EQ(pool.allocator->Commit(), S_OK);
    EXPECT_EQ(pool.allocator->SetProperties(&request, &actual), VFW_E_ALREADY_COMMITTED);
    IMediaSample* sample = pool.Get();
    ASSERT_EQ(pool.allocator->Decommit(), S_OK);
    EXPECT_EQ(pool.allocator->SetProperties(&request, &actual), VFW_E_BUFFERS_OUTSTANDING);
    sample->Release();
    ASSERT_EQ(pool.allocator->SetProperties(&request, &actual), S_OK);
    EXPECT_EQ(actual.cBuffers, 2);
    EXPECT_EQ(actual.cbBuffer, 32);
    ASSERT_EQ(pool.allocator->Commit(), S_OK);
    IMediaSample* one = pool.Get();
    IMediaSample* two = pool.Get();
    uint8_t *first = nullptr, *second = nullptr;
    one->GetPointer(&first), two->GetPointer(&second);
    EXPECT_GE(first > second ? first - second : second - first, 32);  // distinct, of the size asked
    EXPECT_EQ(two->GetSize(), 32);
    one->Release(), two->Release();
}

// A GetBuffer on an exhausted pool waits: a sample that comes back serves it with that very
// buffer; a decommit wakes it with a failure, the buffer still out stays usable, and once it is
// back a new commit serves again.
TEST(CMemAllocator, ExhaustedPoolBlocksUntilASampleComesBackOrADecommit) {
    for (const bool decommit : {false, true}) {
        Pool pool(2);
        ASSERT_EQ(pool.allocator->Commit(), S_OK);
        IMediaSample* first = pool.Get();
        IMediaSample* second = pool.Get();
        IMediaSample* none = nullptr;
        EXPECT_EQ(pool.allocator->GetBuffer(&none, nullptr, nullptr, AM_GBF_NOWAIT), VFW_E_TIMEOUT);
        uint8_t* firstBytes = nullptr;
        first->GetPointer(&firstBytes);
        IMediaSample* got = reinterpret_cast<IMediaSample*>(1);
        HRESULT hr = E_FAIL;
        // Every buffer is out: only the release or the decommit below can end the wait.
        std::thread waiter([&] { hr = pool.allocator->GetBuffer(&got, nullptr, nullptr, 0); });
        if (decommit) {
            ASSERT_EQ(pool.allocator->Decommit(), S_OK);
        } else {
            first->Release();
        }
        waiter.join();  // would hang if neither woke it
        if (decommit) {
            EXPECT_EQ(hr, VFW_E_NOT_COMMITTED);
            EXPECT_EQ(got, nullptr);
            firstBytes[0] = 1;
            first->Release();
            second->Release();
            ASSERT_EQ(pool.allocator->Commit(), S_OK);
            pool.Get()->Release();
            continue;
        }
        ASSERT_EQ(hr, S_OK);
        uint8_t* gotBytes = nullptr;
        got->GetPointer(&gotBytes);
        EXPECT_EQ(gotBytes, firstBytes);
        got->Release();
        second->Release();
    }
}

TEST(CMemAllocator, SampleOutKeepsTheAllocatorAlive) {
    const int64_t before = CUnknown::LiveObjectCount();
    auto* allocator = new CMemAllocator("short-lived");
    allocator->AddRef();
    ALLOCATOR_PROPERTIES request{1, 8, 1, 0}, actual;
    allocator->SetProperties(&request, &actual);
    allocator->Commit();
    IMediaSample* sample = nullptr;
    ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
    allocator->Decommit();
    allocator->Release();
    EXPECT_EQ(CUnknown::LiveObjectCount(), before + 1);
    sample->Release();  // the last reference: the pool goes with it
    EXPECT_EQ(CUnknown::LiveObjectCount(), before);
}

}  // namespace
