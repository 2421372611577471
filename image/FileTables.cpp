#include "image/FileTables.h"

#include <mutex>
#include <new>

#include "foundation/CUFileStream.h"
#include "foundation/CULog.h"
#include "image/ChainTable.h"
#include "image/KernelData.h"
#include "image/SharedTables.h"
#include "platform/ModulePath.h"

namespace image {

namespace {

constexpr const char* kResourceFolder = "resource";

std::mutex folderLock;
std::string folderOverride;  // guarded by folderLock

constexpr const char* kFileNames[] = {"QVConvData01.bin", "QVConvData02.bin", "QVConvData03.bin",
                                      "QVConvData04.bin", "QVConvData05.bin", "QVConvData06.bin"};

bool IsFileTable(TableId id) {
    return id < TableId::Runtime;
}

uint8_t* AllocateTable(const char* what) {
    auto* table = new (std::nothrow) uint8_t[kTableBytes];
    if (!table)
        Log(CULogLevelError, "no memory for the %u-byte table %hs: its kernels write nothing",
            kTableBytes, what);
    return table;
}

int32_t Clamp255(int32_t value) {
    return value < 0 ? 0 : value > 255 ? 255 : value;
}

}  // namespace

std::string TableFolder() {
    {
        std::lock_guard<std::mutex> guard(folderLock);
        if (!folderOverride.empty()) return folderOverride;
    }
    const std::string program = platform::ModuleFolder();
    return program.empty() ? std::string(kResourceFolder) : program + "/" + kResourceFolder;
}

void SetTableFolder(const std::string& folder) {
    std::lock_guard<std::mutex> guard(folderLock);
    folderOverride = folder;
}

const char* TableFileName(TableId id) {
    return IsFileTable(id) ? kFileNames[static_cast<unsigned>(id)] : nullptr;
}

KernelPlan FileTableChain(TableId id) {
    KernelPlan plan;
    if (!IsFileTable(id)) return plan;
    const auto index = static_cast<unsigned>(id);
    static constexpr unsigned kLutBySourceGamma[] = {kLutFileGamma0, kLutFileGamma3,
                                                     kLutFileGamma12};
    plan.kind = KernelKind::FloatChain;
    plan.layout = InputLayout::Yuy2;
    plan.matrix = Matrix::Bt709;
    plan.lookup = Lookup::Lut3D;
    plan.lutNumber = static_cast<uint8_t>(kLutBySourceGamma[index / 2]);
    plan.output = OutputStage::Range709;
    plan.order = index % 2 == 0 ? PixelOrder::Bgr0 : PixelOrder::Rgb;  // 01, 03, 05: mode 0
    return plan;
}

uint8_t* LoadFileTable(TableId id) {
    const char* name = TableFileName(id);
    if (!name) return nullptr;
    uint8_t* table = AllocateTable(name);
    if (!table) return nullptr;
    const std::string path = TableFolder() + "/" + name;
    uint64_t got = 0;
    {
        CUFileStream file(CUCreate<CUStringWin>(path.c_str()), CUFileOpenExisting, CUFileAccessRead,
                          true);
        got = file.Read(table, kTableBytes, 0, CUStreamOriginBegin);
    }
    if (got == kTableBytes) return table;
    // A short file is as good as none: a table half of file bytes and half of whatever the
    // allocation held would colour pictures at random.
    Log(CULogLevelWarning, "%hs: %llu of %u bytes; the table is computed from its colour chain",
        path.c_str(), static_cast<unsigned long long>(got), kTableBytes);
    FillChainTable(FileTableChain(id), table);
    return table;
}

void RuntimeTableEntry(int32_t y, int32_t cb, int32_t cr, uint8_t entry[3]) {
    const int32_t u = cb - 128, v = cr - 128;
    const int32_t b = Clamp255((10000 * y + 18556 * u + 5000) / 10000);
    const int32_t g = Clamp255((10000 * y - 1873 * u - 4681 * v + 5000) / 10000);
    const int32_t r = Clamp255((10000 * y + 15748 * v + 5000) / 10000);
    entry[0] = static_cast<uint8_t>(Clamp255((-512 * g + 11377 * b - 153 * r - 166380) / 10000));
    entry[1] = static_cast<uint8_t>(Clamp255((10916 * g - 52 * b - 152 * r - 166380) / 10000));
    entry[2] = static_cast<uint8_t>(Clamp255((-514 * g - 51 * b + 11276 * r - 166380) / 10000));
}

uint8_t* BuildRuntimeTable() {
    uint8_t* table = AllocateTable("run-time table");
    if (!table) return nullptr;
    uint8_t* entry = table;
    for (int32_t y = 0; y < 256; ++y)
        for (int32_t cb = 0; cb < 256; ++cb)
            for (int32_t cr = 0; cr < 256; ++cr, entry += 3) RuntimeTableEntry(y, cb, cr, entry);
    return table;
}

void FreeTable(uint8_t* table) {
    delete[] table;
}

}  // namespace image
