// Files for tests: a fresh temporary directory per test, patterned bytes, whole-file reads and
// writes through the standard library (never through the classes under test).
#pragma once

#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "foundation/CUStringWin.h"

namespace qvtest {

// A fresh directory, removed with everything in it when the object goes.
struct TempDirectory {
    std::string root = [] {
        std::string pattern = (std::filesystem::temp_directory_path() / "qv-test-XXXXXX").string();
        return ::mkdtemp(pattern.data()) ? pattern : std::string();
    }();
    TempDirectory() = default;
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    ~TempDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    std::string Native(const std::string& name) const { return root + "/" + name; }
    CUSharedPtr<CUStringWin> Path(const std::string& name) const {
        return CUCreate<CUStringWin>(Native(name).c_str());
    }
};

// Bytes that differ from their neighbours and, with another seed, from another pattern.
inline std::vector<uint8_t> Pattern(size_t length, uint8_t seed = 1) {
    std::vector<uint8_t> bytes(length);
    for (size_t i = 0; i < length; ++i) bytes[i] = static_cast<uint8_t>(i * 13 + seed);
    return bytes;
}

inline void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

inline std::vector<uint8_t> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

}  // namespace qvtest
