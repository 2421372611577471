// CUAutoLock: a scope guard that takes a lock at construction and gives it up at destruction.
//
// Built on a member lock (a raw pointer) it costs no allocation and no count: that is the form for
// hot paths. Built from a shared pointer it keeps the lock alive for as long as the guard lives,
// which is how a guard takes a stream's lock while someone else may drop the stream.
// A guard on a null lock does nothing. Guards live on the stack; never share or keep one.
#pragma once

#include "foundation/CULockAbstract.h"

class CUAutoLock : public CUObject {
public:
    explicit CUAutoLock(CULockAbstract* lock) : rawLock(lock) {
        if (rawLock) rawLock->Lock();
    }
    explicit CUAutoLock(CUSharedPtr<CULockAbstract> lock) : sharedLock(std::move(lock)) {
        if (sharedLock) sharedLock->Lock();
    }
    CUAutoLock(const CUAutoLock&) = delete;
    CUAutoLock& operator=(const CUAutoLock&) = delete;

    ~CUAutoLock() override {
        // An exception from Unlock does not leave the destructor.
        try {
            if (rawLock) rawLock->Unlock();
        } catch (...) {
        }
        try {
            if (sharedLock) sharedLock->Unlock();
        } catch (...) {
        }
    }

private:
    CULockAbstract* rawLock = nullptr;
    CUSharedPtr<CULockAbstract> sharedLock;
};
