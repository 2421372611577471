// KernelPlan: what one row kernel does, stage by stage — input stage, optional pre-scale, optional
// look-up, output stage, packing — or which of the table-driven shortcuts it is. The finders turn a
// key into a plan (KernelFinder.h); the kernel family turns a plan into code (RowKernel.h). A plan is
// plain, comparable data, so that tests can check what a key selects without running pixels.
#pragma once

#include <cstdint>
#include <string>

namespace image {

enum class KernelKind : uint8_t {
    ZeroFill,         // 16 × (lastGroup + 1) zero bytes for each row, back to back
    FloatChain,       // input stage, pre-scale, look-up, output stage, packing, in 32-bit floats
    IntegerPlain,     // 8-bit 4:2:2 through the R709/G709/B709 (or 2020) tables, no expansion
    IntegerExpanded,  // 8-bit 4:2:2 through the `x` tables: video range expanded to full range
    IntegerBoosted,   // the `x` tables, then × 1.086758 in double precision, cut, at most 255
    FileTable,        // 8-bit 4:2:2, one read a pixel from a 48 MiB table (`table`)
    Combined16,       // 16-bit 4:2:2 with the combined matrix-and-range form
    Reorder,          // B, G, R in, the class's order out; 16-bit takes each word's high byte
};

// The layout nibble of the key: the input layouts that have kernels.
enum class InputLayout : uint8_t { None = 0, Yuy2 = 1, Yuv16 = 4, Bgr4 = 9, Bgr16 = 12 };

enum class Matrix : uint8_t { None, Bt709, Bt2020 };  // also picks the integer and combined sets
enum class PreScale : uint8_t { None, Scale238, Scale219 };
enum class Lookup : uint8_t { None, Lut3D, Curve1D };
// Range709 and Range2020 as named; By256 is "× 0.00390625, limited to 255" (16-bit matrix
// without range stage). None: 8-bit values go on as they are, 16-bit ones become x / 65535 × 255.
enum class OutputStage : uint8_t { None, Range709, Range2020, By256 };
// Pixel out: classes 1 and 3 write R, G, B (3 bytes); 5 and 7 R, G, B, 0; 6 and 8 B, G, R, 0.
enum class PixelOrder : uint8_t { Rgb, Rgb0, Bgr0 };

// The seven shared 48 MiB buffers (SharedTables.h): the six file tables and the run-time table.
enum class TableId : uint8_t { ConvData01, ConvData02, ConvData03, ConvData04, ConvData05, ConvData06,
                               Runtime, None };

struct KernelPlan {
    KernelKind kind = KernelKind::ZeroFill;
    InputLayout layout = InputLayout::None;
    Matrix matrix = Matrix::None;
    PreScale preScale = PreScale::None;
    Lookup lookup = Lookup::None;
    uint8_t lutNumber = 0;  // with Lookup::Lut3D: 0..41, or a file-table chain LUT (KernelData.h)
    OutputStage output = OutputStage::None;
    PixelOrder order = PixelOrder::Bgr0;
    TableId table = TableId::None;  // FileTable: the buffer read; IntegerExpanded: Runtime when a
                                    // non-null run-time table takes the place of the `x` tables

    bool operator==(const KernelPlan&) const = default;
};

// For test messages: "FloatChain yuy2 bt2020 lut3d#22 range2020 bgr0" and the like.
std::string Describe(const KernelPlan& plan);

}  // namespace image
