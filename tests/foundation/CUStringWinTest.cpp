#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/CUArray.h"
#include "foundation/CUStringWin.h"
#include "foundation/CUTextCodec.h"

namespace {

using Bytes = std::vector<uint8_t>;

// The text of a string for comparisons; nullopt for "no text".
std::optional<std::u16string> TextOf(const CUStringWin& string) {
    if (!string.HasText()) return std::nullopt;
    return std::u16string(string.View());
}
std::optional<std::u16string> TextOf(const CUSharedPtr<CUStringWin>& string) {
    if (!string) return std::nullopt;
    return TextOf(*string);
}

std::vector<std::u16string> Elements(const CUSharedPtr<CUArray>& array) {
    std::vector<std::u16string> elements;
    for (uint64_t i = 0; i < array->Count(); ++i) {
        CUSharedPtr<CUStringWin> element(array->ObjectAtIndex(i));
        elements.emplace_back(element ? element->View() : u"<not a string>");
    }
    return elements;
}

struct DecodeCase {
    const char* name;
    Bytes bytes;
    uint32_t encoding;
    std::optional<std::u16string> expected;
};

class CUStringWinFromBytes : public testing::TestWithParam<DecodeCase> {};
TEST_P(CUStringWinFromBytes, Decodes) {
    const DecodeCase& c = GetParam();
    const uint8_t none = 0xEE;  // an empty vector may have no data pointer at all
    const CUStringWin string(c.bytes.empty() ? &none : c.bytes.data(), c.bytes.size(), c.encoding);
    EXPECT_EQ(TextOf(string), c.expected);
}
INSTANTIATE_TEST_SUITE_P(
    Encodings, CUStringWinFromBytes,
    testing::Values(
        DecodeCase{"Utf16LittleEndianMark", {0xFF, 0xFE, 0x41, 0x00}, 1, u"A"},
        DecodeCase{"Utf16BigEndianMark", {0xFE, 0xFF, 0x00, 0x41}, 1, u"A"},
        DecodeCase{"Utf16WithoutMarkIsBigEndian", {0x00, 0x41, 0x00, 0x42}, 1, u"AB"},
        DecodeCase{"Utf16ShortTextIsSwapped", {0x00, 0x41}, 1, u"A"},
        DecodeCase{"Utf16LoneMarkIsText", {0xFF, 0xFE}, 1, u"\xFFFE"},
        DecodeCase{"Utf16OddCount", {0x00, 0x41, 0x00}, 1, std::nullopt},
        DecodeCase{"Utf16Empty", {}, 1, u""},
        DecodeCase{"Utf16KeepsZeroUnits",
                   {0x00, 0x41, 0x00, 0x00, 0x00, 0x42},
                   1,
                   std::u16string(u"A\0B", 3)},
        DecodeCase{"Utf16SurrogatePair", {0xFF, 0xFE, 0x3D, 0xD8, 0x00, 0xDE}, 1, u"\xD83D\xDE00"},
        DecodeCase{"Windows1252HighBytes",
                   {0x80, 0x9F, 0x81, 0x8A, 0xA0, 0xE9, 0xFF},
                   2,
                   u"\x20AC\x0178\x0081\x0160\x00A0\x00E9\x00FF"},
        DecodeCase{"Windows1252StopsAtZero", {0x41, 0x00, 0x42}, 2, u"A"},
        DecodeCase{"Utf8", {0xC3, 0xA9, 0xE2, 0x82, 0xAC}, 0, u"\x00E9\x20AC"},
        DecodeCase{"Utf8FourBytes", {0xF0, 0x9F, 0x98, 0x80}, 0, u"\xD83D\xDE00"},
        DecodeCase{"Utf8IllFormed", {0x41, 0xC3, 0x42, 0xFF}, 0, u"A\uFFFDB\uFFFD"},
        DecodeCase{"Utf8StopsAtZero", {0x41, 0x00, 0x42}, 0, u"A"},
        DecodeCase{"UnknownEncodingIsUtf8", {0xC3, 0xA9}, 7, u"\x00E9"}),
    [](const testing::TestParamInfo<DecodeCase>& info) { return info.param.name; });

TEST(CUStringWinConstruction, NullInputsAndWideTextWithPairsAndReplacements) {
    for (const uint32_t encoding : {0u, 1u, 2u}) {
        EXPECT_EQ(CUStringWin(nullptr, 4, encoding).WideChars(), nullptr);
    }
    EXPECT_EQ(TextOf(CUStringWin(static_cast<const char16_t*>(nullptr))), u"");
    EXPECT_EQ(CUStringWin(static_cast<const wchar_t*>(nullptr)).Length(), 0u);
    const wchar_t wide[] = {L'a', 0x1F3A5, 0xD800, 0x110000, 0};
    EXPECT_EQ(std::u16string(CUStringWin(wide).WideChars()), u"a\U0001F3A5\uFFFD\uFFFD");
    EXPECT_EQ(cu_text::EncodeWide(u"a\U0001F3A5\xD800"), std::wstring(L"a\U0001F3A5\uFFFD"));
    // Copies keep the no-text state.
    CUStringWin target("x");
    target.Assign(CUStringWin(CUStringWin::NoText()));
    EXPECT_FALSE(target.HasText());
}

TEST(CUStringWinGetMultiByteString, Utf16IsBigEndianAndKeepsATerminator) {
    const CUStringWin string(u"AB");
    uint32_t size = 0;
    EXPECT_EQ(string.GetMultiByteString(nullptr, 1, &size), CUStatusOK);
    EXPECT_EQ(size, 6u);

    Bytes buffer(6, 0xEE);
    EXPECT_EQ(string.GetMultiByteString(buffer.data(), 1, &size), CUStatusOK);
    EXPECT_EQ(buffer, (Bytes{0x00, 0x41, 0x00, 0x42, 0x00, 0x00}));

    // Too small: cut so that two zero bytes stay, even in the middle of a unit.
    buffer.assign(6, 0xEE);
    size = 5;
    EXPECT_EQ(string.GetMultiByteString(buffer.data(), 1, &size), CUStatusOK);
    EXPECT_EQ(buffer, (Bytes{0x00, 0x41, 0x00, 0x00, 0x00, 0xEE}));

    buffer.assign(2, 0xEE);
    size = 1;
    EXPECT_EQ(string.GetMultiByteString(buffer.data(), 1, &size), CUStatusOK);
    EXPECT_EQ(buffer, (Bytes{0x00, 0xEE}));
}

// Windows-1252 has the euro sign but no U+0100, and a surrogate pair is one missing character;
// the UTF-8 bytes are those of UTF8String. Narrow text ends at a zero unit.
TEST(CUStringWinGetMultiByteString, NarrowEncodingsNeedRoomForTheTerminator) {
    const CUStringWin string(u"\x00E9\x20AC\x0100\xD83D\xDE00");
    uint32_t size = 0;
    ASSERT_EQ(string.GetMultiByteString(nullptr, 0, &size), CUStatusOK);
    EXPECT_EQ(size, 2u + 3 + 2 + 4 + 1);
    ASSERT_EQ(string.GetMultiByteString(nullptr, 2, &size), CUStatusOK);
    EXPECT_EQ(size, 5u);
    Bytes buffer(size, 0xEE);
    ASSERT_EQ(string.GetMultiByteString(buffer.data(), 2, &size), CUStatusOK);
    EXPECT_EQ(buffer, (Bytes{0xE9, 0x80, '?', '?', 0}));
    size = 4;
    EXPECT_EQ(string.GetMultiByteString(buffer.data(), 2, &size), CUStatusFailed);

    const CUStringWin withZero(std::u16string_view(u"A\0B", 3));
    ASSERT_EQ(withZero.GetMultiByteString(nullptr, 0, &size), CUStatusOK);
    EXPECT_EQ(size, 2u);
    EXPECT_EQ(CUStringWin::NoText().GetMultiByteString(nullptr, 0, &size), CUStatusFailed);
    EXPECT_EQ(CUStringWin(u"a").GetMultiByteString(buffer.data(), 0, nullptr), CUStatusFailed);
    size = 0;
    EXPECT_EQ(CUStringWin(u"a").GetMultiByteString(buffer.data(), 1, &size), CUStatusFailed);
}

TEST(CUStringWinGetWideString, CopiesWhenTheNeedFits) {
    const CUStringWin string(u"ab");
    uint32_t size = 0;
    ASSERT_EQ(string.GetWideString(nullptr, &size), CUStatusOK);
    EXPECT_EQ(size, 6u);

    char16_t buffer[4] = {u'x', u'x', u'x', u'x'};
    size = 8;
    ASSERT_EQ(string.GetWideString(buffer, &size), CUStatusOK);
    EXPECT_EQ(std::u16string(buffer, 4), std::u16string(u"ab\0x", 4));
    EXPECT_EQ(size, 8u);

    size = 5;
    EXPECT_EQ(string.GetWideString(buffer, &size), CUStatusFailed);
    EXPECT_EQ(CUStringWin::NoText().GetWideString(nullptr, &size), CUStatusFailed);
}

TEST(CUStringWinIsEqualWithMode, ExactOrFoldingLatin1AndNoTextIsNeverEqual) {
    const struct {
        std::u16string a, b;
        uint32_t mode;
        bool equal;
    } cases[] = {{u"abc", u"ABC", 0, false},
                 {u"abc", u"ABC", 1, true},
                 {u"abc", u"ABCD", 1, false},
                 {u"\x00E9\x00C0", u"\x00C9\x00E0", 1, true},
                 {u"\x00D7", u"\x00F7", 1, false},  // the signs are not a pair
                 {u"[", u"{", 1, false},
                 {u"abc", u"abc", 2, false},
                 {u"", u"", 0, true}};
    for (const auto& c : cases) {
        EXPECT_EQ(CUStringWin(c.a).IsEqualWithMode(CUStringWin(c.b), c.mode), c.equal)
            << cu_text::EncodeUTF8(c.a) << " mode " << c.mode;
    }
    const CUStringWin none = CUStringWin::NoText();
    EXPECT_FALSE(none.IsEqualToString(none));
    EXPECT_FALSE(CUStringWin(u"").IsEqualWithMode(none, 1));
    EXPECT_TRUE(CUStringWin(u"a").IsEqualToString(CUStringWin("a")));
}

TEST(CUStringWinIsLess, ComparesCodeUnits) {
    EXPECT_TRUE(CUStringWin(u"B").IsLess(CUStringWin(u"a")));
    EXPECT_TRUE(CUStringWin(u"ab").IsLess(CUStringWin(u"abc")));
    EXPECT_FALSE(CUStringWin(u"ab").IsLess(CUStringWin(u"ab")));
    EXPECT_TRUE(CUStringWin(u"\x7FFF").IsLess(CUStringWin(u"\xD800")));
    EXPECT_FALSE(CUStringWin::NoText().IsLess(CUStringWin(u"a")));
    EXPECT_FALSE(CUStringWin(u"a").IsLess(CUStringWin::NoText()));
}

TEST(CUStringWinCharacterCount, CountsSurrogatePairsOnce) {
    EXPECT_EQ(CUStringWin(u"\xD83D\xDE00").CharacterCount(), 1u);
    EXPECT_EQ(CUStringWin(u"a\xD83D").CharacterCount(), 2u);       // lone high surrogate
    EXPECT_EQ(CUStringWin(u"\xDE00\xD83D").CharacterCount(), 2u);  // reversed pair
    EXPECT_EQ(CUStringWin::NoText().CharacterCount(), 0u);
}

TEST(CUStringWinRangeOfString, FindsTheFirstOccurrence) {
    const CUStringWin text(u"abcABCabc");
    const CURange hit = text.RangeOfString(CUStringWin(u"BC"), 1);
    EXPECT_EQ(hit.location, 1);
    EXPECT_EQ(hit.length, 2);
    EXPECT_EQ(text.RangeOfString(CUStringWin(u"BC"), 0).location, 4);
    EXPECT_EQ(text.RangeOfString(CUStringWin(u""), 0).location, 0);
    for (const CURange miss :
         {text.RangeOfString(CUStringWin(u"x"), 0), text.RangeOfString(CUStringWin(u"bc"), 2),
          text.RangeOfString(CUStringWin::NoText(), 0),
          CUStringWin::NoText().RangeOfString(CUStringWin(u"a"), 0)}) {
        EXPECT_EQ(miss.location, CUNotFound);
        EXPECT_EQ(miss.length, 0);
    }
}

TEST(CUStringWinSubstring, EdgesOfTheRange) {
    const CUStringWin text(u"ab");
    EXPECT_EQ(TextOf(text.SubstringWithRange(2, 1)), std::nullopt);
    EXPECT_EQ(TextOf(text.SubstringWithRange(1, 1)), u"b");
    EXPECT_EQ(TextOf(text.SubstringWithRange(0, 2)), u"ab");
    EXPECT_EQ(TextOf(text.SubstringFromIndex(2)), u"");
    EXPECT_EQ(TextOf(text.SubstringFromIndex(3)), std::nullopt);
    EXPECT_EQ(TextOf(text.SubstringFromIndex(-1)), std::nullopt);
    EXPECT_EQ(TextOf(text.SubstringWithRange(-1, 1)), std::nullopt);
    EXPECT_EQ(TextOf(text.SubstringWithRange(0, -1)), std::nullopt);
    EXPECT_EQ(TextOf(CUStringWin::NoText().SubstringWithRange(0, 0)), std::nullopt);
}

TEST(CUStringWinSubstring, ThrowsWhenTheEndOverflows31Bits) {
    const CUStringWin text(u"ab");
    for (const auto& [location, length] : {std::pair<int64_t, int64_t>{0x7FFFFFFF, 1},
                                           {1, 0x7FFFFFFF},
                                           {INT64_MAX, INT64_MAX},
                                           {0x80000000, 0}}) {
        try {
            (void)text.SubstringWithRange(location, length);
            ADD_FAILURE() << location << " + " << length;
        } catch (const CUPlatformError& error) {
            EXPECT_EQ(error.code, CU_E_ARITHMETIC);
        }
    }
    EXPECT_EQ(TextOf(text.SubstringWithRange(0x7FFFFFFE, 1)), std::nullopt);
}

TEST(CUStringWinStringByTrimming, DropsWideWhiteSpaceAtBothEnds) {
    EXPECT_EQ(TextOf(CUStringWin(u"\t\r\n \u00A0a b\u3000\u2028 ").StringByTrimming()), u"a b");
    EXPECT_EQ(TextOf(CUStringWin(u" \x000B\x000C ").StringByTrimming()), u"");
    EXPECT_EQ(TextOf(CUStringWin(u"\u200Ba").StringByTrimming()), u"\u200Ba");
    EXPECT_EQ(TextOf(CUStringWin::NoText().StringByTrimming()), std::nullopt);
}

TEST(CUStringWinStringByAppendingString, NoTextOnEitherSide) {
    EXPECT_EQ(TextOf(CUStringWin(u"ab").StringByAppendingString(CUStringWin::NoText())), u"ab");
    EXPECT_EQ(TextOf(CUStringWin::NoText().StringByAppendingString(CUStringWin(u"cd"))), u"");
}

// The path rules are covered with the path functions; here only the wrapper's glue.
using PathOp = uint32_t (CUStringWin::*)(CUStringWin&) const;
const std::pair<PathOp, std::u16string> kPathOps[] = {
    {&CUStringWin::StringByDeletingLastPathComponent, u"C:\\clips"},
    {&CUStringWin::LastPathComponent, u"A001C002.MXF"},
    {&CUStringWin::LastPathComponentWithoutExtension, u"A001C002"},
    {&CUStringWin::PathExtension, u".MXF"},
    {&CUStringWin::LastFolderComponent, u"A001C002.MXF"}};

TEST(CUStringWinPathOperations, SucceedWithTheRuleResult) {
    const CUStringWin path(u"C:\\clips\\A001C002.MXF");
    CUStringWin out;
    for (const auto& [op, expected] : kPathOps) {
        EXPECT_EQ((path.*op)(out), CUStatusOK);
        EXPECT_EQ(TextOf(out), expected);
    }
    EXPECT_EQ(path.StringByAppendingPathComponent(CUStringWin(u"a"), out), CUStatusOK);
    EXPECT_EQ(TextOf(out), u"C:\\clips\\A001C002.MXF\\a");
}

TEST(CUStringWinPathOperations, FailWithoutTouchingOut) {
    // The length limits of a join are those of the path functions.
    const CUStringWin tooLong(std::u16string(260, u'a'));
    CUStringWin out(u"untouched");
    for (const CUStringWin& path : {tooLong, CUStringWin::NoText()}) {
        out = CUStringWin(u"untouched");
        EXPECT_EQ(path.StringByAppendingPathComponent(CUStringWin(u"b"), out), CUStatusFailed);
        for (const auto& [op, unused] : kPathOps) EXPECT_EQ((path.*op)(out), CUStatusFailed);
        EXPECT_EQ(TextOf(out), u"untouched");
    }
    EXPECT_EQ(CUStringWin(u"C:\\a").StringByAppendingPathComponent(CUStringWin::NoText(), out),
              CUStatusFailed);
    EXPECT_EQ(CUStringWin(u"\\").LastFolderComponent(out), CUStatusFailed);
    EXPECT_EQ(TextOf(out), u"untouched");
}

TEST(CUStringWinComponents, SplitIntoAnArrayOrFailWithoutTouchingOut) {
    CUSharedPtr<CUArray> array;
    EXPECT_EQ(CUStringWin::NoText().PathComponents(&array), CUStatusFailed);
    EXPECT_EQ(CUStringWin::NoText().ComponentsSeparatedByUnderscore(&array), CUStatusFailed);
    EXPECT_FALSE(array);
    EXPECT_EQ(CUStringWin(u"a").PathComponents(nullptr), CUStatusFailed);
    EXPECT_EQ(CUStringWin(u"a").ComponentsSeparatedByUnderscore(nullptr), CUStatusFailed);
    // Not bound to the path buffer; the rules are covered with the path functions.
    ASSERT_EQ(CUStringWin(u"/a/" + std::u16string(300, u'x')).PathComponents(&array), CUStatusOK);
    EXPECT_EQ(Elements(array), (std::vector<std::u16string>{u"", u"a", std::u16string(300, u'x')}));
    ASSERT_EQ(CUStringWin(u"a_b_").ComponentsSeparatedByUnderscore(&array), CUStatusOK);
    EXPECT_EQ(Elements(array), (std::vector<std::u16string>{u"a", u"b", u""}));
}

}  // namespace
