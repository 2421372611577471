#include "image/KernelData.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <filesystem>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "foundation/CULog.h"
#include "image/ColourModel.h"
#include "image/CubeFile.h"

namespace image {

namespace {

static_assert(kLutAll == colour::kModelLuts && kLutSize == colour::kNodes &&
              kCurveCount == colour::kCurves);

constexpr unsigned kCurve8Entries = 256;
constexpr unsigned kCurve16Entries = 65536;
constexpr size_t kCurve8Floats = kCurve8Entries * 3;
constexpr size_t kCurve16Floats = kCurve16Entries * 3;
constexpr std::string_view kCubeExtension = ".cube";
constexpr std::string_view kCubePrefix = "lut";
// More threads than this gain little on the few dozen pieces of work.
constexpr unsigned kMostThreads = 8;

// Runs piece(0) … piece(count − 1) on up to kMostThreads threads, the calling one among them.
template <typename Piece>
void ParallelFor(unsigned count, const Piece& piece) {
    std::atomic<unsigned> next{0};
    const auto work = [&] {
        for (unsigned i; (i = next.fetch_add(1)) < count;) piece(i);
    };
    std::vector<std::thread> helpers;
    const unsigned wanted = std::clamp(std::thread::hardware_concurrency(), 1u, kMostThreads);
    for (unsigned i = 1; i < wanted; ++i) {
        try {
            helpers.emplace_back(work);
        } catch (const std::system_error&) {
            break;  // no thread to be had: the calling thread does the rest
        }
    }
    work();
    for (auto& helper : helpers) helper.join();
}

// The model's data is made on first use and never destroyed: kernels may run while the process
// exits. LUTs and curves are made apart, since most pictures need only one kind.
const float* ModelLuts() {
    static std::once_flag once;
    static float* luts = nullptr;
    std::call_once(once, [] {
        luts = new float[size_t{kLutAll} * kLutFloats];
        ParallelFor(kLutAll,
                    [](unsigned n) { colour::ComputeLut(n, &luts[size_t{n} * kLutFloats]); });
    });
    return luts;
}

struct Curves {
    float* set8;
    float* set16;
};

Curves ModelCurves() {
    static std::once_flag once;
    static Curves curves{};
    std::call_once(once, [] {
        curves = {new float[kCurveCount * kCurve8Floats], new float[kCurveCount * kCurve16Floats]};
        // The big 16-bit curves first, so that no thread is left with one at the end.
        ParallelFor(2 * kCurveCount, [](unsigned piece) {
            if (piece < kCurveCount) {
                colour::ComputeCurve(piece, kCurve16Entries, &curves.set16[piece * kCurve16Floats]);
            } else {
                const unsigned index = piece - kCurveCount;
                colour::ComputeCurve(index, kCurve8Entries, &curves.set8[index * kCurve8Floats]);
            }
        });
    });
    return curves;
}

// LUTs read from .cube files. A replaced LUT's storage is kept to the end of the process, since
// a kernel may still hold the pointer it was given.
std::atomic<const float*> replaced[kLutCount] = {};
std::mutex replaceLock;
std::vector<std::unique_ptr<float[]>>& KeptReplacements() {
    static auto* kept = new std::vector<std::unique_ptr<float[]>>;  // guarded by replaceLock
    return *kept;
}

// "<n>.cube" or "lut<n>.cube" (any case), n = 0..41 without leading zeros; else -1.
int NumberOfCubeName(std::string name) {
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (name.size() <= kCubeExtension.size() ||
        name.compare(name.size() - kCubeExtension.size(), kCubeExtension.size(), kCubeExtension))
        return -1;
    std::string_view digits(name.data(), name.size() - kCubeExtension.size());
    if (digits.substr(0, kCubePrefix.size()) == kCubePrefix)
        digits.remove_prefix(kCubePrefix.size());
    if (digits.empty() || digits.size() > 2 || (digits.size() == 2 && digits[0] == '0')) return -1;
    int number = 0;
    for (char c : digits) {
        if (c < '0' || c > '9') return -1;
        number = number * 10 + (c - '0');
    }
    return number < static_cast<int>(kLutCount) ? number : -1;
}

}  // namespace

const float* Lut3D(unsigned number) {
    if (number >= kLutAll) return nullptr;
    if (number < kLutCount) {
        if (const float* file = replaced[number].load(std::memory_order_acquire)) return file;
    }
    return ModelLuts() + size_t{number} * kLutFloats;
}

const float* Curve8(unsigned index) {
    return index < kCurveCount ? ModelCurves().set8 + index * kCurve8Floats : nullptr;
}

const float* Curve16(unsigned index) {
    return index < kCurveCount ? ModelCurves().set16 + index * kCurve16Floats : nullptr;
}

unsigned CurveForPeakLuminance(uint32_t nits) {
    // Curve k serves displays below 351 + 100 k nits; the last one everything brighter.
    for (unsigned k = 0; k + 1 < kCurveCount; ++k)
        if (nits < 351 + 100 * k) return k;
    return kCurveCount - 1;
}

std::string LoadCubeDirectory(const std::string& directory, std::string* error) {
    std::string errors;
    const auto note = [&](const std::string& what) {
        Log(CULogLevelWarning, "%hs", what.c_str());
        if (!errors.empty()) errors += '\n';
        errors += what;
    };

    std::vector<std::pair<std::string, int>> files;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(directory, ec), end; !ec && it != end;
         it.increment(ec)) {
        const std::string name = it->path().filename().string();
        const int number = NumberOfCubeName(name);
        if (number >= 0) files.emplace_back(name, number);
    }
    if (ec) note(directory + ": the LUT folder cannot be read: " + ec.message());
    // By number, and "<n>.cube" before "lut<n>.cube".
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) {
        return a.second != b.second ? a.second < b.second : a.first < b.first;
    });

    bool done[kLutCount] = {};
    std::string numbers;
    for (const auto& [name, number] : files) {
        const std::string path = directory + "/" + name;
        if (done[number]) {
            note(path + ": LUT " + std::to_string(number) + " was already replaced; file ignored");
            continue;
        }
        std::unique_ptr<float[]> lut(new float[kLutFloats]);
        std::string reason;
        if (!ReadCubeFile(path, lut.get(), &reason)) {
            note(reason + "; the model's LUT " + std::to_string(number) + " stays");
            continue;
        }
        {
            std::lock_guard<std::mutex> guard(replaceLock);
            replaced[number].store(lut.get(), std::memory_order_release);
            KeptReplacements().push_back(std::move(lut));
        }
        done[number] = true;
        Log(CULogLevelInfo, "LUT %d comes from %hs", number, path.c_str());
        if (!numbers.empty()) numbers += ' ';
        numbers += std::to_string(number);
    }
    if (error) *error = errors;
    return numbers;
}

}  // namespace image
