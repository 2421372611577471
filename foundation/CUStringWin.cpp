#include "foundation/CUStringWin.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <vector>

#include "foundation/CUArray.h"
#include "foundation/CUPath.h"
#include "foundation/CUTextCodec.h"

static_assert(CUMaxPath == cu_path::kMaxPath);

namespace {
// Lengths stay within 31 bits, as the platform's string buffers keep them.
constexpr size_t kMaxLength = 0x7FFFFFFF;

using Text = std::shared_ptr<const std::u16string>;

// Exhaustion, or text too long to hold, gives null: the "no text" state.
template <class Make>
Text MakeText(Make make) noexcept {
    try {
        std::u16string units = make();
        if (units.size() > kMaxLength) return nullptr;
        return std::make_shared<const std::u16string>(std::move(units));
    } catch (const std::exception&) {
        return nullptr;
    }
}

std::u16string DecodeUTF16(const uint8_t* bytes, size_t byteCount) {
    const size_t units = byteCount / 2;
    size_t first = 0;
    bool bigEndian = true;  // text without a byte order mark
    if (byteCount >= 4) {
        const char16_t mark = static_cast<char16_t>(bytes[0] | bytes[1] << 8);
        if (mark == 0xFEFF || mark == 0xFFFE) first = 1;
        if (mark == 0xFEFF) bigEndian = false;  // written in the reader's own order
    }
    std::u16string text;
    text.reserve(units - first);
    for (size_t i = first; i < units; ++i) {
        const uint8_t a = bytes[2 * i], b = bytes[2 * i + 1];
        text.push_back(static_cast<char16_t>(bigEndian ? a << 8 | b : b << 8 | a));
    }
    return text;
}

std::u16string_view UpToTerminator(std::u16string_view text) {
    return text.substr(0, text.find(u'\0'));
}

// Case folding for ASCII and Latin-1: the capitals fold to their small letters.
char16_t FoldCase(char16_t unit) {
    if (unit >= u'A' && unit <= u'Z') return unit + 0x20;
    if (unit >= 0xC0 && unit <= 0xDE && unit != 0xD7) return unit + 0x20;
    return unit;
}

bool EqualFolded(char16_t a, char16_t b) {
    return FoldCase(a) == FoldCase(b);
}

// White space in the sense of the wide-character classification.
bool IsWideSpace(char16_t unit) {
    return (unit >= 0x09 && unit <= 0x0D) || unit == 0x20 || unit == 0x85 || unit == 0xA0 ||
           unit == 0x1680 || (unit >= 0x2000 && unit <= 0x200A) || unit == 0x2028 ||
           unit == 0x2029 || unit == 0x202F || unit == 0x205F || unit == 0x3000;
}

// Buffer operations throw where a constructor would leave "no text".
CUStringWin MakeValue(std::u16string&& units) {
    if (units.size() > kMaxLength) throw CUPlatformError{CU_E_INVALIDARG};
    CUStringWin value(std::move(units));
    if (!value.HasText()) throw CUPlatformError{CU_E_FAIL};
    return value;
}

std::u16string CopyOf(std::u16string_view units) {
    try {
        return std::u16string(units);
    } catch (const std::exception&) {
        throw CUPlatformError{CU_E_FAIL};
    }
}

CUSharedPtr<CUStringWin> MakeShared(std::u16string_view units) {
    return CUCreate<CUStringWin>(MakeValue(CopyOf(units)));  // the copy shares the text
}

// Status operations leave `out` alone unless the result could be made.
uint32_t AssignResult(CUStringWin& out, std::u16string_view units) {
    CUStringWin result(units);
    if (!result.HasText()) return CUStatusFailed;
    out.Assign(result);
    return CUStatusOK;
}

bool FitsPathBuffer(const CUStringWin& path) {
    return path.HasText() && path.Length() < CUMaxPath;
}

uint32_t MakeArray(const std::vector<std::u16string_view>& pieces, CUSharedPtr<CUArray>* out) {
    try {
        CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
        if (!array) return CUStatusFailed;
        for (const std::u16string_view piece : pieces) {
            CUSharedPtr<CUStringWin> element = CUCreate<CUStringWin>(piece);
            if (!element || !element->HasText()) return CUStatusFailed;
            array->AddObject(element);
        }
        *out = array;
        return CUStatusOK;
    } catch (const std::exception&) {
        return CUStatusFailed;
    }
}
}  // namespace

CUStringWin::CUStringWin() : text(MakeText([] { return std::u16string(); })) {}

CUStringWin::CUStringWin(const char16_t* units)
    : text(MakeText([units] { return units ? std::u16string(units) : std::u16string(); })) {}

CUStringWin::CUStringWin(const char* utf8)
    : text(MakeText([utf8] { return utf8 ? cu_text::DecodeUTF8(utf8) : std::u16string(); })) {}

CUStringWin::CUStringWin(const wchar_t* wide)
    : text(MakeText([wide] { return wide ? cu_text::DecodeWide(wide) : std::u16string(); })) {}

CUStringWin::CUStringWin(std::u16string_view units)
    : text(MakeText([units] { return std::u16string(units); })) {}

CUStringWin::CUStringWin(std::u16string&& units)
    : text(MakeText([&units] { return std::move(units); })) {}

CUStringWin::CUStringWin(const void* bytes, uint64_t byteCount, uint32_t encoding) {
    if (!bytes) return;
    const auto* data = static_cast<const uint8_t*>(bytes);
    if (encoding == CUStringEncodingUTF16) {
        if (byteCount % 2 != 0 || byteCount / 2 > kMaxLength) return;
        text = MakeText([&] { return DecodeUTF16(data, byteCount); });
        return;
    }
    // The narrow conversions end at the first 0 byte, as the platform's do on a terminated
    // buffer.
    const auto* end = static_cast<const uint8_t*>(std::memchr(data, 0, byteCount));
    const std::string_view narrow(reinterpret_cast<const char*>(data),
                                  end ? static_cast<size_t>(end - data) : byteCount);
    text = MakeText([&] {
        return encoding == CUStringEncodingSystem ? cu_text::DecodeWindows1252(narrow)
                                                  : cu_text::DecodeUTF8(narrow);
    });
}

CUStringWin::CUStringWin(const CUStringWin& other) : CUObject(other), text(other.text) {}

CUStringWin::~CUStringWin() = default;

CUStringWin CUStringWin::NoText() {
    return CUStringWin(nullptr, 0, CUStringEncodingUTF8);
}

CUSharedPtr<CUStringWin> CUStringWin::Description() const {
    return CUCreate<CUStringWin>(*this);
}

uint32_t CUStringWin::GetMultiByteString(void* buffer, uint32_t encoding,
                                         uint32_t* inOutSize) const {
    if (!text || !inOutSize || (buffer && *inOutSize == 0)) return CUStatusFailed;
    auto* bytes = static_cast<uint8_t*>(buffer);
    if (encoding == CUStringEncodingUTF16) {
        const uint64_t need = 2 * uint64_t{text->size()} + 2;
        if (!bytes) {
            if (need > UINT32_MAX) return CUStatusFailed;
            *inOutSize = static_cast<uint32_t>(need);
            return CUStatusOK;
        }
        std::memset(bytes, 0, *inOutSize);
        const uint64_t room = *inOutSize >= 2 ? *inOutSize - 2 : 0;
        const uint64_t count = std::min(room, need - 2);
        for (uint64_t i = 0; i < count; ++i) {
            const char16_t unit = (*text)[i / 2];
            bytes[i] = static_cast<uint8_t>(i % 2 == 0 ? unit >> 8 : unit & 0xFF);
        }
        return CUStatusOK;
    }
    std::string narrow;
    try {
        const std::u16string_view units = UpToTerminator(*text);
        narrow = encoding == CUStringEncodingSystem ? cu_text::EncodeWindows1252(units)
                                                    : cu_text::EncodeUTF8(units);
    } catch (const std::exception&) {
        return CUStatusFailed;
    }
    const uint64_t need = uint64_t{narrow.size()} + 1;
    if (!bytes) {
        if (need > UINT32_MAX) return CUStatusFailed;
        *inOutSize = static_cast<uint32_t>(need);
        return CUStatusOK;
    }
    std::memset(bytes, 0, *inOutSize);
    if (need > *inOutSize) return CUStatusFailed;
    std::memcpy(bytes, narrow.data(), narrow.size());
    return CUStatusOK;
}

uint32_t CUStringWin::GetWideString(char16_t* buffer, uint32_t* inOutSize) const {
    if (!text || !inOutSize || (buffer && *inOutSize == 0)) return CUStatusFailed;
    const uint64_t need = 2 * uint64_t{text->size()} + 2;
    if (!buffer) {
        if (need > UINT32_MAX) return CUStatusFailed;
        *inOutSize = static_cast<uint32_t>(need);
        return CUStatusOK;
    }
    if (need > *inOutSize) return CUStatusFailed;
    std::memset(buffer, 0, need);
    std::memcpy(buffer, text->data(), need - 2);
    return CUStatusOK;
}

bool CUStringWin::IsEqualWithMode(const CUStringWin& other, uint32_t mode) const {
    if (!text || !other.text) return false;
    if (mode == 0) return *text == *other.text;
    if (mode == 1) return std::ranges::equal(*text, *other.text, EqualFolded);
    return false;
}

uint32_t CUStringWin::Length() const {
    return text ? static_cast<uint32_t>(text->size()) : 0;
}

uint32_t CUStringWin::CharacterCount() const {
    if (!text) return 0;
    uint32_t count = 0;
    for (size_t i = 0; i < text->size(); ++i) {
        const char16_t unit = (*text)[i];
        const bool pairEnd = unit >= 0xDC00 && unit <= 0xDFFF && i > 0 &&
                             (*text)[i - 1] >= 0xD800 && (*text)[i - 1] <= 0xDBFF;
        if (!pairEnd) ++count;
    }
    return count;
}

CURange CUStringWin::RangeOfString(const CUStringWin& needle, uint32_t mode) const {
    constexpr CURange notFound{CUNotFound, 0};
    if (!text || !needle.text || mode > 1) return notFound;
    const std::u16string_view haystack = *text, wanted = *needle.text;
    const auto hit =
        mode == 0 ? std::search(haystack.begin(), haystack.end(), wanted.begin(), wanted.end())
                  : std::search(haystack.begin(), haystack.end(), wanted.begin(), wanted.end(),
                                EqualFolded);
    if (hit == haystack.end() && !wanted.empty()) return notFound;
    return CURange{hit - haystack.begin(), static_cast<int64_t>(wanted.size())};
}

CUSharedPtr<CUStringWin> CUStringWin::SubstringFromIndex(int64_t index) const {
    if (index < 0 || !text) return nullptr;
    return SubstringWithRange(index, int64_t{Length()} - index);
}

CUSharedPtr<CUStringWin> CUStringWin::SubstringWithRange(int64_t location, int64_t length) const {
    if (location < 0 || length < 0 || !text) return nullptr;
    if (location > int64_t{kMaxLength} || length > int64_t{kMaxLength} - location) {
        throw CUPlatformError{CU_E_ARITHMETIC};
    }
    if (location + length > int64_t{Length()}) return nullptr;
    return MakeShared(View().substr(static_cast<size_t>(location), static_cast<size_t>(length)));
}

CUSharedPtr<CUStringWin> CUStringWin::StringByTrimming() const {
    if (!text) return nullptr;
    std::u16string_view units = *text;
    while (!units.empty() && IsWideSpace(units.front())) units.remove_prefix(1);
    while (!units.empty() && IsWideSpace(units.back())) units.remove_suffix(1);
    return MakeShared(units);
}

uint32_t CUStringWin::StringByAppendingPathComponent(const CUStringWin& component,
                                                     CUStringWin& out) const {
    if (!FitsPathBuffer(*this) || !FitsPathBuffer(component)) return CUStatusFailed;
    try {
        const std::optional<std::u16string> joined = cu_path::Append(View(), component.View());
        return joined ? AssignResult(out, *joined) : CUStatusFailed;
    } catch (const std::exception&) {
        return CUStatusFailed;
    }
}

uint32_t CUStringWin::StringByDeletingLastPathComponent(CUStringWin& out) const {
    if (!FitsPathBuffer(*this)) return CUStatusFailed;
    return AssignResult(out, cu_path::RemoveLastComponent(View()));
}

uint32_t CUStringWin::LastPathComponent(CUStringWin& out) const {
    if (!FitsPathBuffer(*this)) return CUStatusFailed;
    const cu_path::Parts parts = cu_path::Split(View());
    // Name and extension lie side by side at the end of the text.
    return AssignResult(out, View().substr(Length() - parts.name.size() - parts.extension.size()));
}

uint32_t CUStringWin::LastPathComponentWithoutExtension(CUStringWin& out) const {
    if (!FitsPathBuffer(*this)) return CUStatusFailed;
    return AssignResult(out, cu_path::Split(View()).name);
}

uint32_t CUStringWin::PathExtension(CUStringWin& out) const {
    if (!FitsPathBuffer(*this)) return CUStatusFailed;
    return AssignResult(out, cu_path::Split(View()).extension);
}

uint32_t CUStringWin::LastFolderComponent(CUStringWin& out) const {
    if (!FitsPathBuffer(*this)) return CUStatusFailed;
    const std::optional<std::u16string_view> folder = cu_path::LastFolder(View());
    return folder ? AssignResult(out, *folder) : CUStatusFailed;
}

uint32_t CUStringWin::PathComponents(CUSharedPtr<CUArray>* out) const {
    if (!text || !out) return CUStatusFailed;
    try {
        return MakeArray(cu_path::Components(View()), out);
    } catch (const std::exception&) {
        return CUStatusFailed;
    }
}

uint32_t CUStringWin::ComponentsSeparatedByUnderscore(CUSharedPtr<CUArray>* out) const {
    if (!text || !out) return CUStatusFailed;
    try {
        std::vector<std::u16string_view> pieces;
        const std::u16string_view units = *text;
        size_t start = 0;
        for (size_t end; (end = units.find(u'_', start)) != std::u16string_view::npos;) {
            pieces.push_back(units.substr(start, end - start));
            start = end + 1;
        }
        pieces.push_back(units.substr(start));  // empty behind a trailing "_"
        return MakeArray(pieces, out);
    } catch (const std::exception&) {
        return CUStatusFailed;
    }
}

CUStringWin CUStringWin::StringByAppendingString(const CUStringWin& other) const {
    if (!text) return CUStringWin();
    const std::u16string_view tail = other.View();
    if (tail.size() > kMaxLength - text->size()) throw CUPlatformError{CU_E_INVALIDARG};
    std::u16string joined;
    try {
        joined.reserve(text->size() + tail.size());
        joined.append(*text).append(tail);
    } catch (const std::exception&) {
        throw CUPlatformError{CU_E_FAIL};
    }
    return MakeValue(std::move(joined));
}

CUStringWin& CUStringWin::Assign(const CUStringWin& other) {
    text = other.text;
    return *this;
}

bool CUStringWin::IsEqualToString(const CUStringWin& other) const {
    return IsEqualWithMode(other, 0);
}

bool CUStringWin::IsLess(const CUStringWin& other) const {
    if (!text || !other.text) return false;
    return std::u16string_view(*text) < std::u16string_view(*other.text);
}

const char16_t* CUStringWin::WideChars() const {
    return text ? text->c_str() : nullptr;
}

std::u16string_view CUStringWin::View() const {
    return text ? std::u16string_view(*text) : std::u16string_view();
}

std::string CUStringWin::UTF8String() const {
    return cu_text::EncodeUTF8(View());
}
