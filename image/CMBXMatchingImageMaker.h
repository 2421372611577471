// CMBXMatchingImageMaker: turns one decoded picture into one 8-bit picture by running a row kernel
// (RowKernel.h) over it, cut into bands of whole rows, one band a worker thread. The colour science
// lies in the kernels; the maker divides the work, picks the kernel (the look table first for look
// types 7 to 255), and loads, counts and frees the shared 48 MiB tables (SharedTables.h) that its
// kernels read.
//
// Order of calls: construct, SetParameters, Start, then per picture SetPictureFlag and Convert,
// Stop, destroy; a stopped maker may be started again (with fresh threads, as a thread runs
// once). Workers: 4, or 8 from 12 processors, 16 from 20, 24 from 32; the first
// height % workers bands take one row more, bands lie top to bottom in worker order.
//
// Parameters reach the workers only in Convert, and only after a SetParameters: SetPictureFlag
// alone stores the flag for the next SetParameters. A SetParameters during a pass therefore never
// touches what a worker reads; the workers keep their copies until the next Convert, which also
// works out the band offsets (linePadding included) from the new parameters.
//
// Tables: Start loads (or builds) the table its parameters use and counts it; Stop undoes exactly
// what its Start counted (even if the parameters changed in between); a table whose count fell to
// 0 is freed by the next Start of any maker with the same output mode. Kernels read a table
// without a lock during a pass, which is safe because no running maker's table has a count of 0;
// 8-bit 4:2:2 makers of output mode 0 also count the run-time table, which their kernels read
// whenever another maker built it.
//
// Widths: kernels work in groups of 4 pixels on rows that lie back to back. A width that is not a
// multiple of 4 is converted row by row, each row's last width % 4 pixels set to 0 (black): no
// read or write leaves the picture. A width or height of 0 or less converts nothing.
//
// Threads: SetParameters and SetPictureFlag from any thread (under `lock`); Start, Convert and
// Stop from one client thread. The table lock and `lock` are never held together.
// Ownership: the maker owns its threads and jobs; Convert's pointers are the caller's, which must
// hold width × height input pixels and (width + linePadding) × height output pixels.
// Failures: none reported. A missing kernel gives the zero-fill kernel (black); a table that could
// not be allocated leaves its kernels writing nothing. Convert on a maker that is not started
// does nothing.
#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/CUAutoResetEvent.h"
#include "foundation/CULockAbstract.h"
#include "foundation/CUObject.h"
#include "foundation/CUProcessorCount.h"
#include "foundation/CUThread.h"
#include "image/KernelFinder.h"
#include "image/MatchingParameters.h"
#include "image/RowKernel.h"

class CMBXMatchingImageMaker;

// The kernel look-ups of a maker; tests put their own in.
struct MatchingKernelFinders {
    uint32_t (*makeKey)(const MatchingParameters&) = &image::MakeKernelKey;
    image::RowKernel (*find)(uint32_t key) = &image::FindKernel;
    image::RowKernel (*findLook)(uint32_t key) = &image::FindLookKernel;
};

// One worker's band. The maker writes it in Convert while the worker waits for startEvent; the
// worker reads it between startEvent and doneEvent. The events order the two.
struct ImageBandJob {
    MatchingParameters parameters;  // the worker's copy
    const uint8_t* source = nullptr;
    uint8_t* destination = nullptr;
    uint64_t sourceOffset = 0;       // pixels before the band in the input
    uint64_t destinationOffset = 0;  // pixels and padding before the band in the output
    uint32_t extraRow = 0;           // 1: one row more than height / workers
    uint32_t rows = 0;
    std::atomic<uint8_t> stop{0};
    uint8_t parametersFresh = 0;  // the worker picks its kernel again before the pass
    image::RowKernel kernel;      // worker only
    CUSharedPtr<CUAutoResetEvent> startEvent;
    CUSharedPtr<CUAutoResetEvent> doneEvent;
    CMBXMatchingImageMaker* maker = nullptr;
};

// A worker thread: Run calls the body with the thread's argument (its job) and returns 0.
class CMBXMatchingImageMakerThread : public CUThread {
public:
    using Body = void (*)(void* argument);
    ~CMBXMatchingImageMakerThread() override { Join(); }
    void SetBody(Body function) { body = function; }  // once, before Start
    int Run() override;

private:
    Body body = nullptr;
};

class CMBXMatchingImageMaker : public CUObject {
public:
    static constexpr uint32_t kMaxWorkers = 24;
    static constexpr uint32_t kDefaultPeakLuminance = 1000;

    // Workers for a processor count: 4; 8 from 12; 16 from 20; 24 from 32.
    static constexpr uint32_t WorkerCountFor(uint32_t processors) {
        return processors >= 32 ? 24 : processors >= 20 ? 16 : processors >= 12 ? 8 : 4;
    }
    // The kernel a worker runs: with lookType 7 to 255 the look table's kernel when it holds
    // one, else (and for every other lookType) the main table's.
    static image::RowKernel ChooseKernel(const MatchingParameters& parameters,
                                         const MatchingKernelFinders& finders);

    struct Band {
        uint32_t extraRow = 0;
        uint32_t rows = 0;
        uint64_t sourceOffset = 0;
        uint64_t destinationOffset = 0;
    };
    // The bands of `workers` workers over a picture, top to bottom.
    static void DivideBands(const MatchingParameters& parameters, uint32_t workers, Band* bands);

    // Reads the display's peak luminance into the shared state (1000 when the display says
    // nothing). The threads are made, not started.
    explicit CMBXMatchingImageMaker(uint32_t processorCount = GetProcessorCount(),
                                    MatchingKernelFinders finders = {});
    ~CMBXMatchingImageMaker() override;
    CMBXMatchingImageMaker(const CMBXMatchingImageMaker&) = delete;
    CMBXMatchingImageMaker& operator=(const CMBXMatchingImageMaker&) = delete;

    void SetParameters(const MatchingParameters& parameters);
    void SetPictureFlag(bool flag);
    void Start();
    // Returns when every band is done.
    void Convert(const uint8_t* source, uint8_t* destination);
    void Stop();

    uint32_t WorkerCount() const { return workerCount; }
    bool IsStarted() const { return started != 0; }
    // A worker's band as the last Convert left it; client thread, between passes.
    const ImageBandJob& Job(uint32_t worker) const { return jobs[worker]; }

private:
    static void WorkerBody(void* argument);
    static void RunBand(ImageBandJob& job);
    void MakeThreads();
    // Under the table lock: load and count the table `p` needs, free the idle ones of its mode.
    void TakeTables(const MatchingParameters& p);

    uint8_t started = 0;      // client thread
    uint8_t threadsUsed = 0;  // client thread: the threads were started once
    std::atomic<uint8_t> parametersChanged{0};
    const uint32_t workerCount;
    const MatchingKernelFinders finders;
    CUSharedPtr<CMBXMatchingImageMakerThread> threads[kMaxWorkers];
    ImageBandJob jobs[kMaxWorkers];
    MatchingParameters parameters;                       // guarded by lock
    CUSharedPtr<CULockAbstract> lock;                    // a CURecursiveLock
    image::TableId countedTable = image::TableId::None;  // what Start counted; client thread
    uint8_t holdsRuntimeTable = 0;  // Start counted the run-time table too; client thread
};
