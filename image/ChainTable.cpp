#include "image/ChainTable.h"

#include <algorithm>
#include <functional>
#include <system_error>
#include <thread>
#include <vector>

#include "foundation/CUProcessorCount.h"
#include "image/FloatStages.h"
#include "image/SharedTables.h"

namespace image {

namespace {

using stages::Depth8;
using stages::Planes;

constexpr unsigned kValues = 256;
constexpr unsigned kEntryBytes = 3;

using Matrix8 = void (*)(float y, float cb, float cr, float& r, float& g, float& b);

struct Job {
    ChainStages stages;
    Matrix8 matrix;
    const float* data;
    ChainStages::Pack pack;
    uint8_t* table;
};

// Entries of luma values [first, end): for each Y and Cb, the 256 values of Cr in chunks.
void FillLumaRange(const Job& job, unsigned first, unsigned end) {
    static_assert(kValues % stages::kChunkPixels == 0);
    Planes planes;
    for (unsigned y = first; y < end; ++y) {
        for (unsigned cb = 0; cb < kValues; ++cb) {
            for (unsigned cr0 = 0; cr0 < kValues; cr0 += stages::kChunkPixels) {
                for (unsigned k = 0; k < stages::kChunkPixels; ++k) {
                    job.matrix(static_cast<float>(y), static_cast<float>(cb),
                               static_cast<float>(cr0 + k), planes.r[k], planes.g[k], planes.b[k]);
                }
                constexpr unsigned n = stages::kChunkPixels;
                if (job.stages.preScale) job.stages.preScale(planes, n);
                if (job.stages.lookup) job.stages.lookup(planes, n, job.data);
                if (job.stages.output) job.stages.output(planes, n);
                job.pack(planes, n, job.table + TableOffset(y, cb, cr0));
            }
        }
    }
}

}  // namespace

void FillChainTable(const KernelPlan& chain, uint8_t* table) {
    FillChainTable(chain, GatherInputs(chain), table);
}

void FillChainTable(const KernelPlan& chain, const KernelInputs& inputs, uint8_t* table) {
    if (chain.kind != KernelKind::FloatChain || chain.layout != InputLayout::Yuy2 ||
        table == nullptr) {
        return;
    }
    Job job;
    job.stages = scalar::Stages(chain);
    job.data = chain.lookup == Lookup::Lut3D     ? inputs.lut
               : chain.lookup == Lookup::Curve1D ? inputs.curve
                                                 : nullptr;
    if (job.stages.lookup != nullptr && job.data == nullptr) return;
    switch (chain.matrix) {
        case Matrix::Bt709:
            job.matrix = stages::YuvMatrix<Depth8, stages::Bt709>::Apply;
            break;
        case Matrix::Bt2020:
            job.matrix = stages::YuvMatrix<Depth8, stages::Bt2020>::Apply;
            break;
        case Matrix::None:
            return;
    }
    job.pack = chain.order == PixelOrder::Bgr0 ? stages::PackStage<true, kEntryBytes>
                                               : stages::PackStage<false, kEntryBytes>;
    job.table = table;

    // Bands of luma values, one a thread; this thread takes the first.
    const unsigned threads = std::clamp<unsigned>(GetProcessorCount(), 1, kValues);
    const unsigned per = (kValues + threads - 1) / threads;
    std::vector<std::thread> workers;
    for (unsigned first = per; first < kValues; first += per) {
        const unsigned end = std::min(first + per, kValues);
        try {
            workers.emplace_back(FillLumaRange, std::cref(job), first, end);
        } catch (const std::system_error&) {
            FillLumaRange(job, first, end);  // no thread to be had: this one does the band
        }
    }
    FillLumaRange(job, 0, std::min(per, kValues));
    for (std::thread& worker : workers) worker.join();
}

}  // namespace image
