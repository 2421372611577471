#include "foundation/CUTextCodec.h"

#include <cstdint>

namespace cu_text {
namespace {
constexpr char16_t kReplacement = 0xFFFD;

// Bytes 0x80-0x9F of Windows-1252; all other bytes equal their code point.
constexpr char16_t kWindows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 0x80
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  // 0x88
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 0x90
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,  // 0x98
};

char16_t Windows1252Unit(uint8_t byte) {
    return byte >= 0x80 && byte <= 0x9F ? kWindows1252High[byte - 0x80] : char16_t{byte};
}

bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void AppendCodePoint(std::u16string& out, char32_t cp) {
    if (cp < 0x10000) {
        out.push_back(static_cast<char16_t>(cp));
    } else {
        cp -= 0x10000;
        out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    }
}
}  // namespace

std::u16string DecodeUTF8(std::string_view bytes) {
    std::u16string out;
    out.reserve(bytes.size());
    size_t i = 0;
    const size_t n = bytes.size();
    while (i < n) {
        const auto b0 = static_cast<uint8_t>(bytes[i]);
        if (b0 < 0x80) {
            out.push_back(b0);
            ++i;
            continue;
        }
        // Lead byte: length and the allowed range of the second byte (rejects overlongs,
        // surrogates and code points above U+10FFFF).
        size_t length = 0;
        uint8_t lo = 0x80, hi = 0xBF;
        char32_t cp = 0;
        if (b0 >= 0xC2 && b0 <= 0xDF) {
            length = 2, cp = b0 & 0x1F;
        } else if (b0 >= 0xE0 && b0 <= 0xEF) {
            length = 3, cp = b0 & 0x0F;
            if (b0 == 0xE0) lo = 0xA0;
            if (b0 == 0xED) hi = 0x9F;
        } else if (b0 >= 0xF0 && b0 <= 0xF4) {
            length = 4, cp = b0 & 0x07;
            if (b0 == 0xF0) lo = 0x90;
            if (b0 == 0xF4) hi = 0x8F;
        } else {
            out.push_back(kReplacement);
            ++i;
            continue;
        }
        size_t k = 1;
        for (; k < length && i + k < n; ++k) {
            const auto b = static_cast<uint8_t>(bytes[i + k]);
            const uint8_t min = k == 1 ? lo : 0x80, max = k == 1 ? hi : 0xBF;
            if (b < min || b > max) break;
            cp = (cp << 6) | (b & 0x3F);
        }
        if (k == length) {
            AppendCodePoint(out, cp);
        } else {
            out.push_back(kReplacement);
        }
        i += k;
    }
    return out;
}

std::u16string DecodeWide(std::wstring_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (wchar_t unit : text) {
        const auto cp = static_cast<char32_t>(unit);
        const bool valid = cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF);
        AppendCodePoint(out, valid ? cp : char32_t{0xFFFD});
    }
    return out;
}

namespace {
// The code point at text[i], a surrogate pair taken whole (i moves past its second half); an
// unpaired surrogate gives U+FFFD.
char32_t NextCodePoint(std::u16string_view text, size_t& i) {
    char32_t cp = text[i];
    if (IsHighSurrogate(text[i]) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
        ++i;
    } else if (cp >= 0xD800 && cp <= 0xDFFF) {
        cp = kReplacement;
    }
    return cp;
}
}  // namespace

std::wstring EncodeWide(std::u16string_view text) {
    std::wstring out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i)
        out.push_back(static_cast<wchar_t>(NextCodePoint(text, i)));
    return out;
}

void AppendUTF8(std::string& out, char32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

std::string EncodeUTF8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) AppendUTF8(out, NextCodePoint(text, i));
    return out;
}

std::u16string DecodeWindows1252(std::string_view bytes) {
    std::u16string out;
    out.reserve(bytes.size());
    for (const char byte : bytes) out.push_back(Windows1252Unit(static_cast<uint8_t>(byte)));
    return out;
}

std::string EncodeWindows1252(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char16_t unit = text[i];
        if (unit < 0x80 || (unit >= 0xA0 && unit <= 0xFF)) {
            out.push_back(static_cast<char>(unit));
            continue;
        }
        char mapped = '?';
        for (uint8_t byte = 0x80; byte <= 0x9F; ++byte) {
            if (kWindows1252High[byte - 0x80] == unit) {
                mapped = static_cast<char>(byte);
                break;
            }
        }
        // A surrogate pair is one code point, so it gives one '?'.
        if (IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) ++i;
        out.push_back(mapped);
    }
    return out;
}

}  // namespace cu_text
