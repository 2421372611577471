// .cube files: what the writer gives reads back bit for bit; damaged text is refused with a
// message and never read out of bounds; a folder of files replaces LUTs by number.
#include "image/CubeFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "image/ColourModel.h"
#include "image/KernelData.h"
#include "support/TestFiles.h"

namespace {

using namespace image;

constexpr unsigned kRows = kLutSize * kLutSize * kLutSize;

std::vector<float> Gradient() {
    std::vector<float> lut(kLutFloats);
    for (unsigned i = 0; i < kLutFloats; ++i) lut[i] = static_cast<float>(i % 997) / 996.0f;
    return lut;
}

const std::string& ValidText() {
    static const std::string text = FormatCube(Gradient().data(), "gradient \"test\"");
    return text;
}

// The valid text with the first `what` replaced by `with`; the search starts at the data rows
// unless `what` is a keyword.
std::string Replace(const std::string& what, const std::string& with) {
    std::string text = ValidText();
    const bool keyword = what[0] >= 'A' && what[0] <= 'Z';
    const size_t at = text.find(what, keyword ? 0 : text.find('\n', text.find("DOMAIN_MAX")) + 1);
    text.replace(at, what.size(), with);
    return text;
}

TEST(CubeFile, RoundTripIsExact) {
    const std::vector<float> lut = Gradient();
    std::vector<float> back(kLutFloats, -1.0f);
    std::string error;
    ASSERT_TRUE(ParseCube(ValidText(), back.data(), &error)) << error;
    EXPECT_EQ(back, lut);

    // The model's own data, through a file, with comments, blank lines and CR LF line ends.
    std::string text = "# made by a test\r\n\r\n";
    for (char c : FormatCube(Lut3D(5), "")) {
        if (c == '\n') text += '\r';
        text += c;
    }
    ASSERT_TRUE(ParseCube(text, back.data(), &error)) << error;
    EXPECT_TRUE(std::equal(back.begin(), back.end(), Lut3D(5)));

    qvtest::TempDirectory dir;
    ASSERT_TRUE(WriteCubeFile(dir.Native("a.cube"), lut.data(), "a", &error)) << error;
    std::fill(back.begin(), back.end(), -1.0f);
    ASSERT_TRUE(ReadCubeFile(dir.Native("a.cube"), back.data(), &error)) << error;
    EXPECT_EQ(back, lut);
}

struct Damage {
    const char* name;
    std::string text;
    const char* message;
};

class DamagedCube : public ::testing::TestWithParam<Damage> {};

TEST_P(DamagedCube, IsRefusedWithItsReason) {
    std::vector<float> lut(kLutFloats);
    std::string error;
    EXPECT_FALSE(ParseCube(GetParam().text, lut.data(), &error, "x.cube"));
    EXPECT_NE(error.find(GetParam().message), std::string::npos) << error;
    EXPECT_EQ(error.rfind("x.cube: line ", 0), 0u) << error;
}

const std::string kLastRow = "1 0.5 0.2\n";

INSTANTIATE_TEST_SUITE_P(
    CubeFile, DamagedCube,
    ::testing::Values(
        Damage{"Size17", Replace("LUT_3D_SIZE 33", "LUT_3D_SIZE 17"), "must be 33"},
        Damage{"SizeGarbage", Replace("LUT_3D_SIZE 33", "LUT_3D_SIZE 33x"), "must be 33"},
        Damage{"OneDimensional", "LUT_1D_SIZE 33\n", "unknown keyword LUT_1D_SIZE"},
        Damage{"NoSize", Replace("LUT_3D_SIZE 33", "# none"), "data before LUT_3D_SIZE"},
        Damage{"Empty", "", "no LUT_3D_SIZE"},
        Damage{"Domain", Replace("DOMAIN_MAX 1 1 1", "DOMAIN_MAX 2 2 2"), "must be 1 1 1"},
        Damage{"RowMissing", ValidText().substr(0, ValidText().rfind('\n', ValidText().size() - 2)),
               "35936 rows, 35937 expected"},
        Damage{"RowExtra", ValidText() + kLastRow, "more than 35937 rows"},
        Damage{"HalfRow", ValidText().substr(0, ValidText().rfind(' ')), "not three numbers"},
        Damage{"FourNumbers", Replace("\n", " 0.5\n"), "not three numbers"},
        Damage{"Letters", Replace(" ", "x "), "not three numbers"},
        Damage{"Huge", Replace(" ", " 1e40 "), "not three numbers"},
        Damage{"Above", Replace("\n", "\n1.5 0 0\n"), "outside 0..1"},
        Damage{"Below", Replace("\n", "\n-0.001 0 0\n"), "outside 0..1"},
        Damage{"NotANumber", Replace("\n", "\n0 nan 0\n"), "outside 0..1"},
        Damage{"KeywordLate", ValidText() + "TITLE \"late\"\n", "after the data"},
        Damage{"LongLine", Replace("\n", "\n" + std::string(2000, ' ') + "0 0 0\n"),
               "longer than 1024 bytes"},
        Damage{"Binary", std::string("LUT_3D_SIZE 33\n\x01\xff\0\x80 7", 22), "line 2"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CubeFile, TruncationAnywhereIsRefusedWithoutAFault) {
    const std::string& text = ValidText();
    const size_t lastRow = text.rfind('\n', text.size() - 2);
    std::vector<float> lut(kLutFloats);
    for (size_t size = 0; size < lastRow; size += 1 + size / 7) {
        std::string error;
        EXPECT_FALSE(ParseCube(std::string_view(text).substr(0, size), lut.data(), &error)) << size;
        EXPECT_FALSE(error.empty());
    }
}

TEST(CubeFile, FilesThatCannotBeReadOrWritten) {
    qvtest::TempDirectory dir;
    std::vector<float> lut(kLutFloats, 0.5f);
    std::string error;
    EXPECT_FALSE(ReadCubeFile(dir.Native("missing.cube"), lut.data(), &error));
    EXPECT_NE(error.find("missing.cube"), std::string::npos) << error;
    EXPECT_FALSE(ReadCubeFile(dir.root, lut.data(), &error));
    EXPECT_NE(error.find("not a regular file"), std::string::npos) << error;
    std::ofstream(dir.Native("big.cube")) << std::string(kCubeMaxFileBytes + 1, '#');
    EXPECT_FALSE(ReadCubeFile(dir.Native("big.cube"), lut.data(), &error));
    EXPECT_NE(error.find("too large"), std::string::npos) << error;

    lut[7] = 1.0001f;
    EXPECT_FALSE(WriteCubeFile(dir.Native("bad.cube"), lut.data(), "", &error));
    EXPECT_NE(error.find("outside 0..1"), std::string::npos) << error;
}

TEST(CubeFile, FolderReplacesLutsByNumber) {
    qvtest::TempDirectory dir;
    const std::vector<float> flat(kLutFloats, 0.25f), gradient = Gradient();
    std::string error;
    ASSERT_TRUE(WriteCubeFile(dir.Native("7.cube"), flat.data(), "", &error));
    ASSERT_TRUE(WriteCubeFile(dir.Native("LUT9.cube"), gradient.data(), "", &error));
    ASSERT_TRUE(WriteCubeFile(dir.Native("lut7.cube"), gradient.data(), "", &error));  // twice 7
    for (const char* ignored : {"42.cube", "07.cube", "9.cube.txt", "lut.cube", "notes.txt"})
        ASSERT_TRUE(WriteCubeFile(dir.Native(ignored), gradient.data(), "", &error));
    std::ofstream(dir.Native("12.cube")) << "LUT_3D_SIZE 33\n0 0 0\n";

    EXPECT_EQ(LoadCubeDirectory(dir.root, &error), "7 9");
    EXPECT_NE(error.find("12.cube: line 2: 1 rows"), std::string::npos) << error;
    EXPECT_NE(error.find("lut7.cube"), std::string::npos) << error;
    EXPECT_TRUE(std::equal(flat.begin(), flat.end(), Lut3D(7)));
    EXPECT_TRUE(std::equal(gradient.begin(), gradient.end(), Lut3D(9)));
    const auto model = colour::LutNode(12, 4, 5, 6);
    EXPECT_EQ(Lut3D(12)[(4 + 33 * 5 + 1089 * 6) * 3], model[0]);

    EXPECT_EQ(LoadCubeDirectory(dir.Native("absent"), &error), "");
    EXPECT_NE(error.find("cannot be read"), std::string::npos) << error;
}

}  // namespace
