#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

#include "foundation/CUStringWin.h"
#include "foundation/CUTextCodec.h"

namespace {

// The result in UTF-8, so that failures print readably.
template <class... Arguments>
std::string Format(std::u16string_view format, Arguments... arguments) {
    CUSharedPtr<CUStringWin> result = StringWithFormat(CUCreate<CUStringWin>(format), arguments...);
    return result ? result->UTF8String() : "<null>";
}

template <class... Arguments>
uint32_t FailureOf(std::u16string_view format, Arguments... arguments) {
    try {
        Format(format, arguments...);
    } catch (const CUPlatformError& error) {
        return error.code;
    }
    return 0;
}

TEST(CUStringFormat, StringsAreWideUnlessMarkedNarrow) {
    EXPECT_EQ(Format(u"%s|%ls|%ws|%lS", u"\x00E9", u"b", u"c", u"d"), "\xC3\xA9|b|c|d");
    EXPECT_EQ(Format(u"%hs|%S|%hS", "\xC3\xA9", "b", "c"), "\xC3\xA9|b|c");
    EXPECT_EQ(
        Format(u"%s %hs", static_cast<const char16_t*>(nullptr), static_cast<const char*>(nullptr)),
        "(null) (null)");
    EXPECT_EQ(Format(u"[%.3s]", static_cast<const char16_t*>(nullptr)), "[(nu]");
}

TEST(CUStringFormat, CharactersAreUtf16UnitsUnlessMarkedNarrow) {
    EXPECT_EQ(Format(u"%c%lc%wc%lC", u'a', u'b', u'\x20AC', u'd'),
              "ab\xE2\x82\xAC"
              "d");
    EXPECT_EQ(Format(u"%hc%C%hC", 'x', 'y', 'z'), "xyz");
    EXPECT_EQ(Format(u"%hc", '\xC3'), "\xEF\xBF\xBD");  // a lone byte is no UTF-8 character
    EXPECT_EQ(Format(u"[%3c|%-3c]", u'a', u'b'), "[  a|b  ]");
    const CUSharedPtr<CUStringWin> zero = StringWithFormat(CUCreate<CUStringWin>(u"a%cb"), 0);
    ASSERT_TRUE(zero);
    EXPECT_EQ(zero->View(), std::u16string_view(u"a\0b", 3));
}

TEST(CUStringFormat, WidthAndPrecisionOnStrings) {
    EXPECT_EQ(Format(u"[%5s|%-5s|%05s]", u"ab", u"ab", u"ab"), "[   ab|ab   |000ab]");
    EXPECT_EQ(Format(u"[%.2s|%.0s|%.9s]", u"abcd", u"abcd", u"abcd"), "[ab||abcd]");
    EXPECT_EQ(Format(u"[%*s|%-*s|%.*s|%.*s]", 4, u"a", -3, u"b", 1, u"xyz", -1, u"xyz"),
              "[   a|b  |x|xyz]");
    // Precision counts UTF-16 units, also of narrow text, and may split a surrogate pair.
    EXPECT_EQ(Format(u"%.2hs", "\xC3\xA9\xE2\x82\xAC!"), "\xC3\xA9\xE2\x82\xAC");
    const CUSharedPtr<CUStringWin> half =
        StringWithFormat(CUCreate<CUStringWin>(u"%.1hs|%.1s"), "\xF0\x9F\x98\x80", u"\xD83D\xDE00");
    ASSERT_TRUE(half);
    EXPECT_EQ(half->View(), u"\xD83D|\xD83D");
}

TEST(CUStringFormat, PrecisionReadsNothingBeyondIt) {
    // Neither argument is terminated: the sanitizer build catches any read past the precision.
    const char16_t wide[3] = {u'a', u'b', u'c'};
    const char narrow[4] = {'\xC3', '\xA9', 'x', 'y'};
    EXPECT_EQ(Format(u"%.3s", wide), "abc");
    EXPECT_EQ(Format(u"%.3hs", narrow), "\xC3\xA9xy");
}

TEST(CUStringFormat, IntegersFollowTheLengthModifiers) {
    EXPECT_EQ(Format(u"%d %i %u", INT_MIN, -7, UINT_MAX), "-2147483648 -7 4294967295");
    EXPECT_EQ(Format(u"%hd %hu %hhd %hhu", 70000, 70000, 200, 300), "4464 4464 -56 44");
    EXPECT_EQ(Format(u"%ld %lu %I32d", INT32_MIN, UINT32_MAX, 5), "-2147483648 4294967295 5");
    EXPECT_EQ(Format(u"%lld %I64d %llu %I64u %Lu", LLONG_MIN, int64_t{-1}, ULLONG_MAX, uint64_t{7},
                     uint64_t{8}),
              "-9223372036854775808 -1 18446744073709551615 7 8");
    EXPECT_EQ(Format(u"%zu %Iu %zd %jd %td", SIZE_MAX, size_t{3}, ptrdiff_t{-4}, intmax_t{-5},
                     ptrdiff_t{-6}),
              "18446744073709551615 3 -4 -5 -6");
    EXPECT_EQ(Format(u"[%+d|% d|%05d|%-5d|%.3d|%*d|%#x]", 5, 5, -42, 42, 7, 4, 9, 255),
              "[+5| 5|-0042|42   |007|   9|0xff]");
}

TEST(CUStringFormat, FloatingPointAndPointers) {
    EXPECT_EQ(Format(u"[%8.3f|%-8.1f|%+.0f]", 3.14159, 2.5f, 2.0), "[   3.142|2.5     |+2]");
    EXPECT_EQ(Format(u"%Lf", 2.5), "2.500000");  // that platform's long double is a double
    EXPECT_EQ(Format(u"%p", reinterpret_cast<const void*>(uintptr_t{0xABC123})),
              "0000000000ABC123");
    EXPECT_EQ(Format(u"[%18p]", reinterpret_cast<const void*>(uintptr_t{1})),
              "[  0000000000000001]");
}

TEST(CUStringFormat, LiteralText) {
    EXPECT_EQ(Format(u"100%% \x00E9\x20AC"), "100% \xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(Format(u""), "");
    EXPECT_EQ(Format(std::u16string_view(u"a\0%d", 4)), "a");  // a format ends at its first 0
}

TEST(CUStringFormat, BadConversionsFail) {
    for (const std::u16string_view format : {u"%y", u"%n", u"%", u"abc%5", u"%l", u"%-", u"%.",
                                             u"%I6d", u"%99999999999d", u"%.99999999999f"}) {
        EXPECT_EQ(FailureOf(format, 1), CU_E_FAIL) << cu_text::EncodeUTF8(format);
    }
}

CUSharedPtr<CUStringWin> FormatThroughList(const CUSharedPtr<CUStringWin>* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    CUSharedPtr<CUStringWin> result = StringWithFormatV(*format, arguments);
    va_end(arguments);
    return result;
}

TEST(CUStringFormatV, TakesAnArgumentList) {
    const CUSharedPtr<CUStringWin> format = CUCreate<CUStringWin>(u"%s=%d");
    EXPECT_EQ(FormatThroughList(&format, u"frame", 42)->UTF8String(), "frame=42");
    const CUSharedPtr<CUStringWin> null;
    EXPECT_FALSE(FormatThroughList(&null, 1));
    EXPECT_FALSE(StringWithFormat(null, 1));
    EXPECT_FALSE(StringWithFormat(CUCreate<CUStringWin>(CUStringWin::NoText())));
}

}  // namespace
