#include "foundation/CUTextCodec.h"

#include <cstdint>

namespace cu_text {
namespace {
constexpr char16_t kReplacement = 0xFFFD;

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

std::string EncodeUTF8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        char32_t cp = text[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            cp = kReplacement;
        }
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
    return out;
}

}  // namespace cu_text
