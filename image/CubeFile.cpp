#include "image/CubeFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <vector>

#include "foundation/CUPosixFile.h"
#include "image/KernelData.h"

namespace image {

namespace {

constexpr unsigned kRows = kLutSize * kLutSize * kLutSize;
constexpr std::string_view kTitle = "TITLE";
constexpr std::string_view kSize = "LUT_3D_SIZE";
constexpr std::string_view kDomainMin = "DOMAIN_MIN";
constexpr std::string_view kDomainMax = "DOMAIN_MAX";

bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

std::string_view Trim(std::string_view s) {
    while (!s.empty() && IsSpace(s.front())) s.remove_prefix(1);
    while (!s.empty() && IsSpace(s.back())) s.remove_suffix(1);
    return s;
}

// Reads `count` numbers separated by blanks, and nothing after them.
bool ReadNumbers(std::string_view s, float* out, unsigned count) {
    const char* p = s.data();
    const char* const end = s.data() + s.size();
    for (unsigned i = 0; i < count; ++i) {
        while (p < end && IsSpace(*p)) ++p;
        const auto [next, ec] = std::from_chars(p, end, out[i], std::chars_format::general);
        if (ec != std::errc() || next == p) return false;
        if (next < end && !IsSpace(*next)) return false;
        p = next;
    }
    while (p < end && IsSpace(*p)) ++p;
    return p == end;
}

// A keyword's text for messages: short and printable, whatever the file held.
std::string Printable(std::string_view s) {
    std::string out;
    for (char c : s.substr(0, 32)) out += (c >= 0x20 && c < 0x7F) ? c : '?';
    return out;
}

}  // namespace

bool ParseCube(std::string_view text, float* lut, std::string* error, std::string_view where) {
    size_t lineNumber = 0;
    const auto fail = [&](const std::string& what) {
        if (error)
            *error = std::string(where) + ": line " + std::to_string(lineNumber) + ": " + what;
        return false;
    };
    bool sizeSeen = false, domainMinSeen = false, domainMaxSeen = false, titleSeen = false;
    unsigned rows = 0;
    while (!text.empty()) {
        ++lineNumber;
        const size_t cut = text.find('\n');
        const std::string_view raw = text.substr(0, cut);
        text.remove_prefix(cut == std::string_view::npos ? text.size() : cut + 1);
        if (raw.size() > kCubeMaxLineBytes)
            return fail("longer than " + std::to_string(kCubeMaxLineBytes) + " bytes");
        const std::string_view line = Trim(raw);
        if (line.empty() || line.front() == '#') continue;

        const bool isData = line.front() == '-' || line.front() == '.' ||
                            (line.front() >= '0' && line.front() <= '9');
        if (!isData) {
            const std::string_view keyword = line.substr(0, line.find_first_of(" \t"));
            const std::string_view rest = Trim(line.substr(keyword.size()));
            if (rows > 0) return fail("keyword " + Printable(keyword) + " after the data");
            if (keyword == kTitle) {
                if (titleSeen) return fail("a second TITLE");
                titleSeen = true;
            } else if (keyword == kSize) {
                unsigned size = 0;
                const auto [next, ec] =
                    std::from_chars(rest.data(), rest.data() + rest.size(), size);
                if (sizeSeen) return fail("a second LUT_3D_SIZE");
                if (ec != std::errc() || next != rest.data() + rest.size() || size != kLutSize)
                    return fail("LUT_3D_SIZE must be 33, not " + Printable(rest));
                sizeSeen = true;
            } else if (keyword == kDomainMin || keyword == kDomainMax) {
                const bool isMin = keyword == kDomainMin;
                float domain[3];
                const float want = isMin ? 0.0f : 1.0f;
                if (!ReadNumbers(rest, domain, 3) || domain[0] != want || domain[1] != want ||
                    domain[2] != want)
                    return fail(std::string(keyword) +
                                (isMin ? " must be 0 0 0" : " must be 1 1 1"));
                bool& seen = isMin ? domainMinSeen : domainMaxSeen;
                if (seen) return fail("a second " + std::string(keyword));
                seen = true;
            } else {
                return fail("unknown keyword " + Printable(keyword) +
                            " (a 33-point 3D LUT is expected)");
            }
            continue;
        }

        if (!sizeSeen) return fail("data before LUT_3D_SIZE");
        if (rows == kRows) return fail("more than " + std::to_string(kRows) + " rows");
        float* row = lut + 3 * static_cast<size_t>(rows);
        if (!ReadNumbers(line, row, 3)) return fail("not three numbers");
        for (int c = 0; c < 3; ++c)
            if (!std::isfinite(row[c]) || row[c] < 0.0f || row[c] > 1.0f)
                return fail("value " + std::to_string(row[c]) + " outside 0..1");
        ++rows;
    }
    if (!sizeSeen) return fail("no LUT_3D_SIZE");
    if (rows != kRows)
        return fail(std::to_string(rows) + " rows, " + std::to_string(kRows) + " expected");
    return true;
}

bool ReadCubeFile(const std::string& path, float* lut, std::string* error) {
    const auto fail = [&](const char* what) {
        if (error) *error = path + ": " + what;
        return false;
    };
    CUPosixFile file;
    struct stat info {};
    if (!file.Open(path, O_RDONLY)) return fail(std::strerror(errno));
    if (!file.Stat(&info) || !S_ISREG(info.st_mode)) return fail("not a regular file");
    if (static_cast<uint64_t>(info.st_size) > kCubeMaxFileBytes) return fail("too large");
    std::string text(static_cast<size_t>(info.st_size), '\0');
    bool failed = false;
    const uint64_t got =
        CUPosixFile::ReadAt(file.Descriptor(), text.data(), text.size(), 0, &failed);
    if (failed) return fail(std::strerror(errno));
    text.resize(got);
    return ParseCube(text, lut, error, path);
}

std::string FormatCube(const float* lut, std::string_view title) {
    std::string text;
    text.reserve(kRows * 30 + 128);
    if (!title.empty()) {
        text += "TITLE \"";
        for (char c : title) text += (c == '"' || c == '\n' || c == '\r') ? ' ' : c;
        text += "\"\n";
    }
    text += "LUT_3D_SIZE 33\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 1\n";
    char buffer[32];
    for (unsigned i = 0; i < kRows * 3; ++i) {
        // The shortest text that reads back as the same float.
        const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, lut[i]);
        if (ec == std::errc()) text.append(buffer, end);
        text += i % 3 == 2 ? '\n' : ' ';
    }
    return text;
}

bool WriteCubeFile(const std::string& path, const float* lut, std::string_view title,
                   std::string* error) {
    const auto fail = [&](const std::string& what) {
        if (error) *error = path + ": " + what;
        return false;
    };
    for (unsigned i = 0; i < kRows * 3; ++i)
        if (!(lut[i] >= 0.0f && lut[i] <= 1.0f))
            return fail("value " + std::to_string(lut[i]) + " of row " + std::to_string(i / 3) +
                        " outside 0..1");
    const std::string text = FormatCube(lut, title);
    CUPosixFile file;
    if (!file.Open(path, O_WRONLY | O_CREAT | O_TRUNC)) return fail(std::strerror(errno));
    if (!CUPosixFile::WriteAllAt(file.Descriptor(), text.data(), text.size(), 0))
        return fail(std::strerror(errno));
    return true;
}

}  // namespace image
