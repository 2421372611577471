#include "foundation/CUStringFormat.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "foundation/CUErrorContents.h"
#include "foundation/CUStringWin.h"
#include "foundation/CUTextCodec.h"

namespace cu_format {
namespace {
// Results, widths and precisions stay within 31 bits, as the platform's measuring call does.
constexpr int64_t kMaxLength = 0x7FFFFFFF;

[[noreturn]] void Fail() {
    throw CUPlatformError{CU_E_FAIL};
}

enum class Size { Default, Char, Short, Long, LongLong, SizeT, IntMax, PtrDiff, Wide };

struct Conversion {
    bool left = false;
    bool plus = false;
    bool space = false;
    bool alternate = false;
    bool zero = false;
    int64_t width = 0;
    int64_t precision = -1;  // none
    Size size = Size::Default;
    char16_t type = 0;
};

bool IsDigit(char16_t unit) {
    return unit >= u'0' && unit <= u'9';
}

class Formatter {
public:
    Formatter(std::u16string_view format, va_list* arguments)
        : format(format), arguments(arguments) {}

    std::u16string Run() {
        while (at < format.size()) {
            const size_t percent = format.find(u'%', at);
            Append(format.substr(
                at, percent == std::u16string_view::npos ? format.size() - at : percent - at));
            if (percent == std::u16string_view::npos) break;
            at = percent + 1;
            Convert(Parse());
        }
        return std::move(out);
    }

private:
    char16_t Next() {
        if (at >= format.size()) Fail();  // the format ends inside a conversion
        return format[at];
    }

    int64_t Count() {
        int64_t value = 0;
        while (at < format.size() && IsDigit(format[at])) {
            value = value * 10 + (format[at++] - u'0');
            if (value > kMaxLength) Fail();
        }
        return value;
    }

    Conversion Parse() {
        Conversion c;
        for (;; ++at) {
            const char16_t flag = Next();
            if (flag == u'-')
                c.left = true;
            else if (flag == u'+')
                c.plus = true;
            else if (flag == u' ')
                c.space = true;
            else if (flag == u'#')
                c.alternate = true;
            else if (flag == u'0')
                c.zero = true;
            else
                break;
        }
        if (Next() == u'*') {
            ++at;
            const int64_t width = va_arg(*arguments, int);
            c.left = c.left || width < 0;  // a negative width means left alignment
            c.width = width < 0 ? -width : width;
            if (c.width > kMaxLength) Fail();
        } else {
            c.width = Count();
        }
        if (Next() == u'.') {
            ++at;
            if (Next() == u'*') {
                ++at;
                const int precision = va_arg(*arguments, int);
                c.precision = precision < 0 ? -1 : precision;
            } else {
                c.precision = Count();
            }
        }
        c.size = ParseSize();
        c.type = Next();
        ++at;
        return c;
    }

    bool Take(std::u16string_view text) {
        if (format.substr(at, text.size()) != text) return false;
        at += text.size();
        return true;
    }

    Size ParseSize() {
        if (Take(u"hh")) return Size::Char;
        if (Take(u"h")) return Size::Short;
        if (Take(u"ll") || Take(u"L") || Take(u"I64")) return Size::LongLong;
        if (Take(u"l")) return Size::Long;
        if (Take(u"w")) return Size::Wide;
        if (Take(u"I32")) return Size::Default;
        if (Take(u"I") || Take(u"z")) return Size::SizeT;
        if (Take(u"j")) return Size::IntMax;
        if (Take(u"t")) return Size::PtrDiff;
        return Size::Default;
    }

    void Convert(const Conversion& c) {
        switch (c.type) {
            case u'%':
                Append(u"%");
                return;
            case u'c':
                Character(c, c.size != Size::Short);
                return;
            case u'C':
                Character(c, c.size == Size::Long || c.size == Size::Wide);
                return;
            case u's':
                String(c, c.size != Size::Short);
                return;
            case u'S':
                String(c, c.size == Size::Long || c.size == Size::Wide);
                return;
            case u'd':
            case u'i':
                Signed(c);
                return;
            case u'u':
            case u'o':
            case u'x':
            case u'X':
                Unsigned(c);
                return;
            case u'e':
            case u'E':
            case u'f':
            case u'F':
            case u'g':
            case u'G':
            case u'a':
            case u'A':
                Number(c, "", va_arg(*arguments, double));
                return;
            case u'p':
                Pointer(c);
                return;
            default:
                Fail();  // "%n" included: nothing is ever written through an argument
        }
    }

    void Character(const Conversion& c, bool wide) {
        const int value = va_arg(*arguments, int);
        char16_t unit = static_cast<char16_t>(value);
        if (!wide) {
            // A lone narrow byte above 0x7F is no UTF-8 character.
            const auto byte = static_cast<unsigned char>(value);
            unit = byte < 0x80 ? char16_t{byte} : char16_t{0xFFFD};
        }
        Pad(c, std::u16string_view(&unit, 1));
    }

    void String(const Conversion& c, bool wide) {
        const size_t limit = c.precision < 0 ? SIZE_MAX : static_cast<size_t>(c.precision);
        if (wide) {
            const char16_t* text = va_arg(*arguments, const char16_t*);
            if (!text) return Pad(c, std::u16string_view(u"(null)").substr(0, limit));
            size_t length = 0;
            while (length < limit && text[length] != 0) ++length;
            return Pad(c, std::u16string_view(text, length));
        }
        const char* text = va_arg(*arguments, const char*);
        if (!text) return Pad(c, std::u16string_view(u"(null)").substr(0, limit));
        const std::u16string units =
            cu_text::DecodeUTF8(std::string_view(text, NarrowBytes(text, limit)));
        Pad(c, std::u16string_view(units).substr(0, limit));
    }

    // The bytes of a UTF-8 string that give at least `units` UTF-16 units, or all of them up to
    // the terminator. A sequence counted here never decodes to fewer units than counted, and
    // nothing past the terminator or past the bytes needed is read.
    static size_t NarrowBytes(const char* text, size_t units) {
        size_t bytes = 0;
        size_t counted = 0;
        while (counted < units && text[bytes] != 0) {
            const auto lead = static_cast<uint8_t>(text[bytes++]);
            const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
            size_t taken = 1;
            while (taken < length && (static_cast<uint8_t>(text[bytes]) & 0xC0) == 0x80) {
                ++bytes;
                ++taken;
            }
            counted += taken == 4 ? 2 : 1;
        }
        return bytes;
    }

    void Signed(const Conversion& c) {
        long long value = 0;
        switch (c.size) {
            case Size::Char:
                value = static_cast<signed char>(va_arg(*arguments, int));
                break;
            case Size::Short:
                value = static_cast<short>(va_arg(*arguments, int));
                break;
            case Size::LongLong:
                value = va_arg(*arguments, long long);
                break;
            case Size::SizeT:
                value = va_arg(*arguments, std::make_signed_t<size_t>);
                break;
            case Size::IntMax:
                value = va_arg(*arguments, intmax_t);
                break;
            case Size::PtrDiff:
                value = va_arg(*arguments, ptrdiff_t);
                break;
            default:
                value = va_arg(*arguments, int);
                break;  // "l" is 32 bits there
        }
        Number(c, "ll", value);
    }

    void Unsigned(const Conversion& c) {
        unsigned long long value = 0;
        switch (c.size) {
            case Size::Char:
                value = static_cast<unsigned char>(va_arg(*arguments, unsigned int));
                break;
            case Size::Short:
                value = static_cast<unsigned short>(va_arg(*arguments, unsigned int));
                break;
            case Size::LongLong:
                value = va_arg(*arguments, unsigned long long);
                break;
            case Size::SizeT:
                value = va_arg(*arguments, size_t);
                break;
            case Size::IntMax:
                value = va_arg(*arguments, uintmax_t);
                break;
            case Size::PtrDiff:
                value = va_arg(*arguments, std::make_unsigned_t<ptrdiff_t>);
                break;
            default:
                value = va_arg(*arguments, unsigned int);
                break;
        }
        Number(c, "ll", value);
    }

    // One conversion through the C library, with the flags, width and precision as parsed.
    template <class Value>
    void Number(const Conversion& c, const char* size, Value value) {
        if (c.width > kMaxLength - static_cast<int64_t>(out.size())) Fail();
        std::string directive = "%";
        if (c.left) directive += '-';
        if (c.plus) directive += '+';
        if (c.space) directive += ' ';
        if (c.alternate) directive += '#';
        if (c.zero) directive += '0';
        if (c.width > 0) directive += std::to_string(c.width);
        if (c.precision >= 0) directive += '.' + std::to_string(c.precision);
        directive += size;
        directive += static_cast<char>(c.type);
        const int needed = std::snprintf(nullptr, 0, directive.c_str(), value);
        if (needed < 0) Fail();
        std::string text(static_cast<size_t>(needed) + 1, '\0');
        std::snprintf(text.data(), text.size(), directive.c_str(), value);
        text.pop_back();
        Grow(text.size());
        out.append(text.begin(), text.end());  // ASCII only: each byte is one unit
    }

    void Pointer(const Conversion& c) {
        const auto value = reinterpret_cast<uintptr_t>(va_arg(*arguments, const void*));
        char digits[17];
        std::snprintf(digits, sizeof digits, "%016llX", static_cast<unsigned long long>(value));
        const std::u16string units(digits, digits + 16);
        Pad(c, units);
    }

    void Pad(const Conversion& c, std::u16string_view text) {
        const size_t width = static_cast<size_t>(c.width);
        const size_t padding = width > text.size() ? width - text.size() : 0;
        Grow(padding + text.size());
        if (!c.left) out.append(padding, c.zero ? u'0' : u' ');
        out += text;
        if (c.left) out.append(padding, u' ');
    }

    void Append(std::u16string_view text) {
        Grow(text.size());
        out += text;
    }

    void Grow(size_t count) {
        if (count > static_cast<size_t>(kMaxLength) - out.size()) Fail();
    }

    std::u16string_view format;
    va_list* arguments;
    size_t at = 0;
    std::u16string out;
};
}  // namespace

std::u16string FormatV(std::u16string_view format, va_list arguments) {
    const size_t terminator = format.find(u'\0');
    if (terminator != std::u16string_view::npos) format = format.substr(0, terminator);
    va_list copy;
    va_copy(copy, arguments);
    try {
        std::u16string text = Formatter(format, &copy).Run();
        va_end(copy);
        return text;
    } catch (const CUPlatformError&) {
        va_end(copy);
        throw;
    } catch (const std::exception&) {  // no buffer could be had
        va_end(copy);
        Fail();
    }
}

}  // namespace cu_format

namespace {
CUSharedPtr<CUStringWin> MakeResult(std::u16string&& text) {
    CUSharedPtr<CUStringWin> result = CUCreate<CUStringWin>(std::move(text));
    if (result && !result->HasText()) throw CUPlatformError{CU_E_FAIL};  // no buffer for the text
    return result;
}
}  // namespace

CUSharedPtr<CUStringWin> StringWithFormatV(const CUSharedPtr<CUStringWin>& format,
                                           va_list arguments) {
    if (!format || !format->HasText()) return nullptr;
    return MakeResult(cu_format::FormatV(format->View(), arguments));
}

namespace cu_detail {
CUSharedPtr<CUStringWin> StringWithFormatArguments(const CUStringWin* format, ...) {
    if (!format || !format->HasText()) return nullptr;
    va_list arguments;
    va_start(arguments, format);
    std::u16string text;
    try {
        text = cu_format::FormatV(format->View(), arguments);
    } catch (...) {
        va_end(arguments);
        throw;
    }
    va_end(arguments);
    return MakeResult(std::move(text));
}
}  // namespace cu_detail
