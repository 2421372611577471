#include "image/CMBXMatchingImageMaker.h"

#include <cstring>

#include "foundation/CUAutoLock.h"
#include "foundation/CURecursiveLock.h"
#include "image/FileTables.h"
#include "image/SharedTables.h"
#include "platform/DisplayLuminance.h"

using image::TableId;

namespace {

constexpr uint32_t kPixelsPerGroup = 4;
constexpr uint32_t kLookTypeFirst = 7;
constexpr uint32_t kLookTypeLast = 255;

// Pixel formats 8 to 11 (B, G, R input) read no table.
bool ReadsNoTable(const MatchingParameters& p) {
    return p.pixelFormat >= 8 && p.pixelFormat <= 11;
}

bool HasFileTable(uint32_t sourceGamma) {
    return sourceGamma == 0 || sourceGamma == 3 || sourceGamma == 12;
}

// The file table of a source gamma (0, 3 or 12) in output mode 0 or 1: 01/02, 03/04, 05/06.
TableId FileTableOf(uint32_t sourceGamma, uint32_t outputMode) {
    const unsigned row = sourceGamma == 0 ? 0 : sourceGamma == 3 ? 1 : 2;
    return static_cast<TableId>(row * 2 + outputMode);
}

constexpr TableId kModeZeroTables[] = {TableId::ConvData01, TableId::ConvData03,
                                       TableId::ConvData05, TableId::Runtime};
constexpr TableId kModeOneTables[] = {TableId::ConvData02, TableId::ConvData04,
                                      TableId::ConvData06};

void LoadAndCount(TableId id) {
    image::SharedTables& shared = image::Shared();
    const auto index = static_cast<unsigned>(id);
    // A buffer already there is kept; one that failed to allocate before is tried again.
    if (!shared.buffers[index].load())
        shared.buffers[index].store(
            id == TableId::Runtime ? image::BuildRuntimeTable() : image::LoadFileTable(id),
            std::memory_order_release);
    ++shared.counts[index];
}

template <size_t N>
void FreeIdle(const TableId (&tables)[N]) {
    image::SharedTables& shared = image::Shared();
    for (const TableId id : tables) {
        const auto index = static_cast<unsigned>(id);
        if (shared.counts[index] == 0) image::FreeTable(shared.buffers[index].exchange(nullptr));
    }
}

}  // namespace

int CMBXMatchingImageMakerThread::Run() {
    if (body) body(GetArgument());
    return 0;
}

image::RowKernel CMBXMatchingImageMaker::ChooseKernel(const MatchingParameters& parameters,
                                                      const MatchingKernelFinders& finders) {
    const uint32_t key = finders.makeKey(parameters);
    if (parameters.lookType >= kLookTypeFirst && parameters.lookType <= kLookTypeLast) {
        if (image::RowKernel look = finders.findLook(key)) return look;
    }
    return finders.find(key);
}

void CMBXMatchingImageMaker::DivideBands(const MatchingParameters& p, uint32_t workers,
                                         Band* bands) {
    // Negative sizes (a row order written into the sign) convert nothing rather than wrapping.
    const uint64_t width = p.width > 0 ? static_cast<uint64_t>(p.width) : 0;
    const uint32_t height = p.height > 0 ? static_cast<uint32_t>(p.height) : 0;
    const uint32_t share = height / workers, spare = height % workers;
    uint64_t rowsBefore = 0;
    for (uint32_t i = 0; i < workers; ++i) {
        Band& band = bands[i];
        band.extraRow = i < spare ? 1 : 0;
        band.rows = share + band.extraRow;
        band.sourceOffset = rowsBefore * width;
        band.destinationOffset = rowsBefore * (width + p.linePadding);
        rowsBefore += band.rows;
    }
}

CMBXMatchingImageMaker::CMBXMatchingImageMaker(uint32_t processorCount,
                                               MatchingKernelFinders finders)
    : workerCount(WorkerCountFor(processorCount)),
      finders(finders),
      lock(CUCreate<CURecursiveLock>()) {
    for (uint32_t i = 0; i < workerCount; ++i) {
        jobs[i].startEvent = CUCreate<CUAutoResetEvent>(false);
        jobs[i].doneEvent = CUCreate<CUAutoResetEvent>(false);
        jobs[i].maker = this;
    }
    MakeThreads();
    // Every maker asks again, so the latest one decides for all: the display may have changed.
    const uint32_t nits = platform::DisplayPeakLuminance();
    image::Shared().displayPeakLuminance.store(nits != 0 ? nits : kDefaultPeakLuminance);
}

CMBXMatchingImageMaker::~CMBXMatchingImageMaker() {
    Stop();
    for (uint32_t i = workerCount; i-- > 0;) threads[i] = nullptr;
}

void CMBXMatchingImageMaker::MakeThreads() {
    for (uint32_t i = 0; i < workerCount; ++i) {
        // Without its events a worker could not be started or awaited: Convert does its band.
        if (!jobs[i].startEvent || !jobs[i].doneEvent) continue;
        threads[i] = CUCreate<CMBXMatchingImageMakerThread>();
        if (threads[i]) threads[i]->SetBody(&WorkerBody);
    }
}

void CMBXMatchingImageMaker::SetParameters(const MatchingParameters& p) {
    CUAutoLock guard(lock.Get());
    parameters = p;
    parametersChanged.store(1);
}

void CMBXMatchingImageMaker::SetPictureFlag(bool flag) {
    CUAutoLock guard(lock.Get());
    parameters.pictureFlag = flag ? 1 : 0;
}

void CMBXMatchingImageMaker::TakeTables(const MatchingParameters& p) {
    countedTable = TableId::None;
    if (ReadsNoTable(p)) return;
    if (p.outputMode == 0) {
        if (p.sourceGamut == 0) {
            if (HasFileTable(p.sourceGamma))
                countedTable = FileTableOf(p.sourceGamma, 0);
            else if (p.buildRuntimeTable)
                countedTable = TableId::Runtime;
            if (countedTable != TableId::None) LoadAndCount(countedTable);
        }
        // 8-bit 4:2:2 kernels without a transition read the run-time table whenever someone
        // built it, so such a maker holds it too: no other maker's Start frees it under a pass.
        if (p.pixelFormat == matching::kFormatYuy2 && countedTable != TableId::Runtime) {
            ++image::Shared().counts[static_cast<unsigned>(TableId::Runtime)];
            holdsRuntimeTable = 1;
        }
        FreeIdle(kModeZeroTables);
    } else if (p.outputMode == 1) {
        if (HasFileTable(p.sourceGamma) && p.pixelFormat == 0 && p.sourceGamut == 0) {
            countedTable = FileTableOf(p.sourceGamma, 1);
            LoadAndCount(countedTable);
        }
        FreeIdle(kModeOneTables);
    }
}

void CMBXMatchingImageMaker::Start() {
    if (started) return;
    MatchingParameters p;
    {
        CUAutoLock guard(lock.Get());
        p = parameters;
        // Kernels are picked again after a start: the tables they read may have come or gone.
        parametersChanged.store(1);
    }
    {
        CUAutoLock tables(image::Shared().lock.Get());
        TakeTables(p);
    }
    // A thread runs once: a maker started again gets fresh ones.
    if (threadsUsed) MakeThreads();
    threadsUsed = 1;
    for (uint32_t i = 0; i < workerCount; ++i) {
        jobs[i].stop.store(0);
        if (threads[i]) threads[i]->Start(&jobs[i]);
    }
    started = 1;
}

void CMBXMatchingImageMaker::Convert(const uint8_t* source, uint8_t* destination) {
    if (!started) return;  // no worker would answer
    if (parametersChanged.load()) {
        MatchingParameters p;
        {
            CUAutoLock guard(lock.Get());
            p = parameters;
            parametersChanged.store(0);
        }
        Band bands[kMaxWorkers];
        DivideBands(p, workerCount, bands);
        for (uint32_t i = 0; i < workerCount; ++i) {
            ImageBandJob& job = jobs[i];
            job.parameters = p;
            job.extraRow = bands[i].extraRow;
            job.rows = bands[i].rows;
            job.sourceOffset = bands[i].sourceOffset;
            job.destinationOffset = bands[i].destinationOffset;
            job.parametersFresh = 1;
        }
    }
    for (uint32_t i = 0; i < workerCount; ++i) {
        jobs[i].source = source;
        jobs[i].destination = destination;
        // A worker whose thread could not be made: its band is done here.
        if (threads[i])
            jobs[i].startEvent->Set();
        else
            RunBand(jobs[i]);
    }
    for (uint32_t i = 0; i < workerCount; ++i)
        if (threads[i]) jobs[i].doneEvent->Wait();
}

void CMBXMatchingImageMaker::Stop() {
    if (started) {
        for (uint32_t i = 0; i < workerCount; ++i) {
            jobs[i].stop.store(1);
            if (threads[i]) {
                jobs[i].startEvent->Set();
                threads[i]->Join();
            }
        }
        started = 0;
    }
    CUAutoLock tables(image::Shared().lock.Get());
    const auto release = [](TableId id) {
        uint32_t& count = image::Shared().counts[static_cast<unsigned>(id)];
        if (count > 0) --count;
    };
    if (countedTable != TableId::None) release(countedTable);
    if (holdsRuntimeTable) release(TableId::Runtime);
    countedTable = TableId::None;
    holdsRuntimeTable = 0;
}

void CMBXMatchingImageMaker::WorkerBody(void* argument) {
    auto* job = static_cast<ImageBandJob*>(argument);
    for (;;) {
        job->startEvent->Wait();
        if (job->stop.load()) return;
        RunBand(*job);
        job->doneEvent->Set();
    }
}

void CMBXMatchingImageMaker::RunBand(ImageBandJob& job) {
    const MatchingParameters& p = job.parameters;
    if (job.parametersFresh) {
        job.kernel = ChooseKernel(p, job.maker->finders);
        job.parametersFresh = 0;
    }
    const uint32_t width = p.width > 0 ? static_cast<uint32_t>(p.width) : 0;
    const uint32_t groups = width / kPixelsPerGroup;
    if (job.rows == 0 || width == 0 || !job.kernel || !job.source || !job.destination) return;
    const uint32_t bytesIn = matching::BytesPerInputPixel(p.pixelFormat);
    // A layout without a pixel size has nothing a kernel could read; only zero-fill may run.
    if (bytesIn == 0 && job.kernel.Plan().kind != image::KernelKind::ZeroFill) return;
    const uint32_t bytesOut = matching::BytesPerOutputPixel(p);
    const uint8_t* source = job.source + job.sourceOffset * bytesIn;
    uint8_t* destination = job.destination + job.destinationOffset * bytesOut;
    const uint32_t tail = width % kPixelsPerGroup;
    if (tail == 0) {
        job.kernel(source, destination, groups - 1, job.rows, p.linePadding);
        return;
    }
    // Kernels take rows as back to back groups: a row that does not end on a group goes alone,
    // its last pixels skipped by the kernel and set to black here.
    const uint64_t sourceStride = uint64_t{width} * bytesIn;
    const uint64_t destinationStride = (uint64_t{width} + p.linePadding) * bytesOut;
    for (uint32_t row = 0; row < job.rows; ++row) {
        uint8_t* out = destination + row * destinationStride;
        if (groups > 0)
            job.kernel(source + row * sourceStride, out, groups - 1, 1, p.linePadding + tail);
        std::memset(out + uint64_t{groups} * kPixelsPerGroup * bytesOut, 0, tail * bytesOut);
    }
}
