#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "foundation/CUPath.h"
#include "foundation/CUTextCodec.h"

namespace {

std::string Narrow(std::u16string_view text) {
    return cu_text::EncodeUTF8(text);
}

template <class C>
requires requires(const C& c) {
    c.path;
}
std::ostream& operator<<(std::ostream& os, const C& c) {
    return os << '"' << Narrow(c.path) << '"';
}

struct Case {
    std::u16string path;
    std::u16string expected;
};

class CUPathRemoveLastComponent : public testing::TestWithParam<Case> {};
TEST_P(CUPathRemoveLastComponent, KeepsTheParent) {
    EXPECT_EQ(Narrow(cu_path::RemoveLastComponent(GetParam().path)), Narrow(GetParam().expected));
}
INSTANTIATE_TEST_SUITE_P(
    Paths, CUPathRemoveLastComponent,
    testing::Values(Case{u"C:\\a\\b.txt", u"C:\\a"}, Case{u"C:\\a\\b\\", u"C:\\a\\b"},
                    Case{u"C:\\a", u"C:\\"}, Case{u"C:\\", u"C:\\"}, Case{u"C:", u"C:"},
                    Case{u"C:a", u"C:"}, Case{u"a", u""}, Case{u"a\\b", u"a"}, Case{u"\\a", u"\\"},
                    Case{u"\\", u"\\"}, Case{u"", u""}, Case{u"\\\\server\\share", u"\\\\server"},
                    Case{u"\\\\server", u"\\\\"}, Case{u"/usr/lib/x.so", u"/usr/lib"},
                    Case{u"/usr", u"/"}, Case{u"/", u"/"}, Case{u"rel/dir/", u"rel/dir"},
                    Case{u"C:/a", u"C:/"}));

struct AppendCase {
    std::u16string path;
    std::u16string more;
    std::u16string expected;
};

class CUPathAppend : public testing::TestWithParam<AppendCase> {};
TEST_P(CUPathAppend, JoinsAndCanonicalizes) {
    const std::optional<std::u16string> joined = cu_path::Append(GetParam().path, GetParam().more);
    ASSERT_TRUE(joined);
    EXPECT_EQ(Narrow(*joined), Narrow(GetParam().expected));
}
INSTANTIATE_TEST_SUITE_P(
    WindowsPaths, CUPathAppend,
    testing::Values(
        AppendCase{u"C:\\a", u"b", u"C:\\a\\b"}, AppendCase{u"C:\\a\\", u"b", u"C:\\a\\b"},
        AppendCase{u"C:\\a", u"\\\\b", u"\\\\b"},  // a network path stands alone
        AppendCase{u"C:\\a", u"\\b", u"C:\\a\\b"}, AppendCase{u"C:", u"a", u"C:\\a"},
        AppendCase{u"C:", u"", u"C:\\"}, AppendCase{u"C:\\", u"a", u"C:\\a"},
        AppendCase{u"C:\\a", u"", u"C:\\a"}, AppendCase{u"C:\\a", u"D:\\x", u"D:\\x"},
        AppendCase{u"C:\\a\\b", u"..\\c", u"C:\\a\\c"},
        AppendCase{u"C:\\a", u"..\\..\\c", u"C:\\c"}, AppendCase{u"C:\\a", u".\\b\\.", u"C:\\a\\b"},
        AppendCase{u"C:\\a", u".", u"C:\\a"}, AppendCase{u"C:\\", u".", u"C:\\"},
        AppendCase{u"C:\\a\\b", u"..", u"C:\\a"}, AppendCase{u"\\\\srv\\share", u"..", u"\\\\srv"},
        AppendCase{u"C:\\a", u"b..c\\...", u"C:\\a\\b..c\\..."}));
INSTANTIATE_TEST_SUITE_P(
    PosixPaths, CUPathAppend,
    testing::Values(AppendCase{u"/usr", u"lib", u"/usr/lib"},
                    AppendCase{u"/usr/", u"/lib", u"/usr/lib"}, AppendCase{u"/", u"a", u"/a"},
                    AppendCase{u"a", u"b", u"a/b"}, AppendCase{u"", u"a", u"a"},
                    AppendCase{u"a/b", u"..", u"a"}, AppendCase{u"/a/b", u"../../../c", u"/c"},
                    AppendCase{u"C:\\x/y", u"z", u"C:\\x/y/z"}));  // the last separator wins

TEST(CUPathAppend, FailsWhenTheJoinedPathOutgrowsTheBuffer) {
    const std::u16string folder(250, u'a');
    EXPECT_TRUE(cu_path::Append(folder, std::u16string(8, u'b')));  // 259 units
    EXPECT_FALSE(cu_path::Append(folder, std::u16string(9, u'b')));
    EXPECT_FALSE(cu_path::Append(std::u16string(260, u'a'), u""));
    EXPECT_FALSE(cu_path::Append(u"C:\\", std::u16string(260, u'b')));
    // The limit applies before ".." shortens the text.
    std::u16string climb;
    for (int i = 0; i < 86; ++i) climb += u"..\\";
    EXPECT_FALSE(cu_path::Append(u"C:\\abc", climb));
}

struct SplitCase {
    std::u16string path;
    std::u16string drive, folder, name, extension;
};

class CUPathSplit : public testing::TestWithParam<SplitCase> {};
TEST_P(CUPathSplit, TakesThePathApart) {
    const cu_path::Parts parts = cu_path::Split(GetParam().path);
    EXPECT_EQ(Narrow(parts.drive), Narrow(GetParam().drive));
    EXPECT_EQ(Narrow(parts.folder), Narrow(GetParam().folder));
    EXPECT_EQ(Narrow(parts.name), Narrow(GetParam().name));
    EXPECT_EQ(Narrow(parts.extension), Narrow(GetParam().extension));
}
INSTANTIATE_TEST_SUITE_P(
    Paths, CUPathSplit,
    testing::Values(SplitCase{u"C:\\a\\b.txt", u"C:", u"\\a\\", u"b", u".txt"},
                    SplitCase{u"C:\\a\\b.tar.gz", u"C:", u"\\a\\", u"b.tar", u".gz"},
                    SplitCase{u"C:\\a.d\\b", u"C:", u"\\a.d\\", u"b", u""},
                    SplitCase{u"C:\\a\\", u"C:", u"\\a\\", u"", u""},
                    SplitCase{u"C:b.txt", u"C:", u"", u"b", u".txt"},
                    SplitCase{u".profile", u"", u"", u"", u".profile"},
                    SplitCase{u"name.", u"", u"", u"name", u"."},
                    SplitCase{u"/usr/lib/x.so", u"", u"/usr/lib/", u"x", u".so"},
                    SplitCase{u"a\\b/c", u"", u"a\\b/", u"c", u""},
                    SplitCase{u"", u"", u"", u"", u""}));

// The last folder and the components serve only the string wrapper's splits: one case per rule.
TEST(CUPathLastFolder, GivesTheLastComponentOrTheDriveAndFailsOnBareRoots) {
    for (const auto& [path, expected] :
         {std::pair<std::u16string_view, std::u16string_view>{u"C:\\a\\b\\", u"b"},
          {u"C:\\", u"C:"},
          {u"c:/", u"c:"},
          {u"/usr", u"usr"},
          {u"\\\\srv\\share\\", u"share"}}) {
        const std::optional<std::u16string_view> folder = cu_path::LastFolder(path);
        ASSERT_TRUE(folder) << Narrow(path);
        EXPECT_EQ(Narrow(*folder), Narrow(expected));
    }
    for (const std::u16string_view path : {u"", u"\\", u"/", u"1:\\"}) {
        EXPECT_FALSE(cu_path::LastFolder(path)) << Narrow(path);
    }
}

TEST(CUPathComponents, SplitAtEitherSeparatorKeepingEmptyOnes) {
    std::vector<std::u16string_view> components;
    for (const std::u16string_view piece : cu_path::Components(u"C:\\a\\\\b/c\\")) {
        components.push_back(piece);
    }
    EXPECT_EQ(components, (std::vector<std::u16string_view>{u"C:", u"a", u"", u"b", u"c"}));
    std::vector<std::u16string_view> root;
    for (const std::u16string_view piece : cu_path::Components(u"/usr")) root.push_back(piece);
    EXPECT_EQ(root, (std::vector<std::u16string_view>{u"", u"usr"}));
}

TEST(CUPathRoots, AreRecognisedAndKeepTheirSeparator) {
    for (const std::u16string_view root :
         {u"\\", u"/", u"C:\\", u"c:/", u"\\\\srv", u"\\\\srv\\x"}) {
        EXPECT_TRUE(cu_path::IsRoot(root)) << Narrow(root);
    }
    for (const std::u16string_view path : {u"", u"C:", u"C:\\a", u"\\a", u"\\\\srv\\x\\"}) {
        EXPECT_FALSE(cu_path::IsRoot(path)) << Narrow(path);
    }
    EXPECT_EQ(Narrow(cu_path::RemoveTrailingSeparator(u"C:\\")), "C:\\");
    EXPECT_EQ(Narrow(cu_path::RemoveTrailingSeparator(u"C:\\a\\")), "C:\\a");
}

}  // namespace
