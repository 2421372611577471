// CUStringWin: the one string class. Holds UTF-16 (char16_t) with a kept length and a terminating
// 0, or nothing at all: the "no text" state, which differs from empty text.
//
// Conversions: UTF-8 (our own codec), the system code page (Windows-1252: every byte maps) and
// UTF-16 with or without a byte order mark. Path operations follow the Windows shell rules for
// drive-letter paths and accept both '\' and '/' as separators.
//
// Threads: no lock. Several threads may read one string; copies share an immutable buffer through
// an atomic count, so two copies may be used on two threads. Failures: status operations answer 0
// or 0x10001 (CUStatusFailed) and leave `out` untouched on failure; constructors that run out of
// memory leave "no text"; buffer operations (format, substring, trim, concatenate) throw
// CUPlatformError.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include "foundation/CUErrorContents.h"
#include "foundation/CUObject.h"

class CUArray;

// A start with a length. "Not found" is location CUNotFound with length 0.
struct CURange {
    int64_t location;
    int64_t length;
};
inline constexpr int64_t CUNotFound = 0x7FFFFFFFFFFFFFFF;

// Selector of CUStringWin's byte conversions.
enum CUStringEncoding : uint32_t {
    CUStringEncodingUTF8 = 0,    // code page 65001; any value not listed behaves the same
    CUStringEncodingUTF16 = 1,   // big-endian unless a byte order mark says otherwise
    CUStringEncodingSystem = 2,  // code page 0: Windows-1252
};

// The platform's path limit in UTF-16 units, terminator included.
inline constexpr uint32_t CUMaxPath = 260;

class CUStringWin : public CUObject {
public:
    CUStringWin();                          // empty text
    CUStringWin(const char16_t* text);      // up to the terminator; null gives empty text
    CUStringWin(const char* utf8);          // decoded as UTF-8; null gives empty text
    CUStringWin(const wchar_t* wide);       // the host's wide text; null gives empty text
    CUStringWin(std::u16string_view text);  // exactly these units
    CUStringWin(std::u16string&& text);     // exactly these units, taken without a copy
    // Null `bytes` give "no text". UTF-16 needs an even count and is big-endian unless its first
    // unit, read little-endian, is a byte order mark (which is dropped); its 0 units are kept.
    // The other encodings stop at the first 0 byte.
    CUStringWin(const void* bytes, uint64_t byteCount, uint32_t encoding);
    CUStringWin(const CUStringWin& other);
    CUStringWin& operator=(const CUStringWin& other) { return Assign(other); }
    ~CUStringWin() override;

    static CUStringWin NoText();

    // Virtual operations, in the order of the class's table.
    CUSharedPtr<CUStringWin> Description() const override;
    // Sizes in bytes, terminator included. Without a buffer *inOutSize receives the size needed.
    // With one, the buffer is zero-filled for *inOutSize bytes first. UTF-16 comes out big-endian
    // and is cut to leave a 16-bit terminator; the narrow encodings fail when the text and its
    // terminator do not fit, and convert the text up to its first 0 unit.
    virtual uint32_t GetMultiByteString(void* buffer, uint32_t encoding, uint32_t* inOutSize) const;
    // Fails when the text and its terminator do not fit *inOutSize bytes.
    virtual uint32_t GetWideString(char16_t* buffer, uint32_t* inOutSize) const;
    // Mode 0: code-unit equality (the locale collation of this platform); mode 1: ignores case
    // for ASCII and Latin-1. No text on either side, or another mode, gives false.
    virtual bool IsEqualWithMode(const CUStringWin& other, uint32_t mode) const;
    virtual uint32_t Length() const;
    virtual uint32_t CharacterCount() const;
    virtual CURange RangeOfString(const CUStringWin& needle, uint32_t mode) const;
    virtual CUSharedPtr<CUStringWin> SubstringFromIndex(int64_t index) const;
    // Null for a negative argument, no text, or an end beyond Length(); throws CU_E_ARITHMETIC
    // when location + length does not fit 31 bits.
    virtual CUSharedPtr<CUStringWin> SubstringWithRange(int64_t location, int64_t length) const;
    virtual CUSharedPtr<CUStringWin> StringByTrimming() const;
    // The path operations work within CUMaxPath units: longer text fails.
    virtual uint32_t StringByAppendingPathComponent(const CUStringWin& component,
                                                    CUStringWin& out) const;
    virtual uint32_t StringByDeletingLastPathComponent(CUStringWin& out) const;
    virtual uint32_t LastPathComponent(CUStringWin& out) const;
    virtual uint32_t LastPathComponentWithoutExtension(CUStringWin& out) const;
    virtual uint32_t PathExtension(CUStringWin& out) const;
    virtual uint32_t LastFolderComponent(CUStringWin& out) const;
    virtual uint32_t PathComponents(CUSharedPtr<CUArray>* out) const;
    virtual CUStringWin StringByAppendingString(const CUStringWin& other) const;
    virtual CUStringWin& Assign(const CUStringWin& other);
    virtual bool IsEqualToString(const CUStringWin& other) const;
    virtual bool IsLess(const CUStringWin& other) const;
    virtual const char16_t* WideChars() const;
    virtual uint32_t ComponentsSeparatedByUnderscore(CUSharedPtr<CUArray>* out) const;

    // Conveniences of this platform.
    bool HasText() const { return text != nullptr; }
    std::u16string_view View() const;  // empty for no text
    std::string UTF8String() const;    // empty for no text

private:
    // Immutable once made, shared between copies.
    std::shared_ptr<const std::u16string> text;
};

// Formats by the wide-character printf rules of the platform the system was written for: "%s" and
// "%ls" take a UTF-16 string (const char16_t*), "%hs" and "%S" a narrow UTF-8 one, "%c" a UTF-16
// unit, "%ld" a 32-bit int; CUStringFormat.h has the full table. A null format, or one without
// text, gives a null result; a bad conversion throws CUPlatformError{CU_E_FAIL}.
CUSharedPtr<CUStringWin> StringWithFormatV(const CUSharedPtr<CUStringWin>& format,
                                           va_list arguments);

namespace cu_detail {
CUSharedPtr<CUStringWin> StringWithFormatArguments(const CUStringWin* format, ...);

// What may travel through a C argument list: a string goes as WideChars() or a const char*.
template <class T>
inline constexpr bool kFormatArgument = std::is_arithmetic_v<T> || std::is_pointer_v<T> ||
                                        std::is_null_pointer_v<T> ||
                                        (std::is_enum_v<T> && std::is_convertible_v<T, int>);
}  // namespace cu_detail

// A template in front of the C argument list: va_start may not name a reference parameter, so the
// list starts behind a plain pointer, and no object can be passed where a pointer or number
// belongs.
template <class... Arguments>
CUSharedPtr<CUStringWin> StringWithFormat(const CUSharedPtr<CUStringWin>& format,
                                          Arguments... arguments) {
    static_assert((cu_detail::kFormatArgument<Arguments> && ...),
                  "StringWithFormat takes numbers and pointers only");
    return cu_detail::StringWithFormatArguments(format.Get(), arguments...);
}
