// The key and the two kernel tables, by their properties: each parameter moves only its own bits of
// the key; every plan agrees with the parts of its key (layout, class order, gamut, picture bit);
// the tables hold exactly the expected number of keys and nothing above the picture bit. What
// each plan computes is KernelExactnessTest's and RowKernelTest's.
#include "image/KernelData.h"
#include "image/KernelFinder.h"
#include "image/RowKernel.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <ostream>

namespace image {
void PrintTo(const KernelPlan& plan, std::ostream* os) {
    *os << Describe(plan);
}
}  // namespace image

namespace {

using namespace image;

// Classes 1 and 3 write R, G, B; 5 and 7 R, G, B, 0; 6 and 8 B, G, R, 0.
PixelOrder OrderOf(uint32_t kernelClass) {
    const uint32_t c = kernelClass & 0xF;
    return c == 1 || c == 3   ? PixelOrder::Rgb
           : c == 5 || c == 7 ? PixelOrder::Rgb0
                              : PixelOrder::Bgr0;
}

// Each group of parameters against random others (output modes 0 and 1: mode 2 drops the colour
// bits; sources below 16: 16 and 17 pick the class): changing it changes its own bits alone.
TEST(KernelKey, EachParameterMovesOnlyItsOwnBits) {
    using Set = void (*)(MatchingParameters&, uint32_t);
    struct Part {
        uint32_t bits;
        Set set;
        uint32_t moved = 0;
    } parts[] = {
        {0x0000F, [](MatchingParameters& p, uint32_t v) { p.pixelFamily = v / 12 % 2 * 3; }},
        {0x0000F, [](MatchingParameters& p, uint32_t v) { p.pixelFormat = v % 12; }},
        {0x00F00, [](MatchingParameters& p, uint32_t v) { p.sourceGamut = v % 5; }},
        {0x0F0F0, [](MatchingParameters& p, uint32_t v) { p.sourceGamma = v % 16; }},
        {0x0F0F0, [](MatchingParameters& p, uint32_t v) { p.hlgColor = v % 3; }},
        {0xF0000, [](MatchingParameters& p, uint32_t v) { p.outputMode = v % 2; }},
        {0xF0000, [](MatchingParameters& p, uint32_t v) { p.outputDepth = v % 4; }},
        {0x100000, [](MatchingParameters& p, uint32_t v) { p.pictureFlag = uint8_t(v % 2); }},
    };
    uint32_t seed = 5;
    auto next = [&] { return (seed = seed * 1664525 + 1013904223) >> 20; };
    for (unsigned sample = 0; sample < 20000; ++sample) {
        MatchingParameters p{.targetGamma = std::array{0u, 2u, 12u, 14u, 16u, 17u}[next() % 6]};
        for (Part& part : parts) part.set(p, next());
        const uint32_t key = MakeKernelKey(p);
        for (Part& part : parts) {
            MatchingParameters q = p;
            part.set(q, next());
            const uint32_t changed = MakeKernelKey(q) ^ key;
            ASSERT_EQ(changed & ~part.bits, 0u) << std::hex << key << " " << (key ^ changed);
            part.moved |= changed;
        }
    }
    for (const Part& part : parts) EXPECT_NE(part.moved, 0u) << std::hex << part.bits;
}

TEST(KernelKey, WorkedExamples) {
    // Sources 16 and 17 take the boosted classes 7 and 8; a BGR4 key of them holds nothing.
    EXPECT_EQ(MakeKernelKey({.sourceGamma = 16, .outputDepth = 3}), 0x80001u);
    EXPECT_EQ(MakeKernelKey({.sourceGamma = 17, .pixelFormat = 8, .outputDepth = 2}), 0x70009u);
    EXPECT_EQ(PlanKernel(0x70009), KernelPlan{});
    // Output mode 2 keeps only the gamut 3 to 3 mark of the colour bits.
    EXPECT_EQ(
        MakeKernelKey({.sourceGamut = 3, .sourceGamma = 3, .targetGamma = 2, .outputMode = 2}),
        0x30001u);
    EXPECT_EQ(MakeKernelKey({.sourceGamut = 3, .targetGamut = 3, .outputMode = 2}), 0x30F01u);
    for (uint8_t picture : {0, 1}) {
        const uint32_t key =
            MakeKernelKey({.targetGamma = 2, .outputDepth = 3, .pictureFlag = picture});
        EXPECT_EQ(key, picture ? 0x160021u : 0x60021u);
        EXPECT_EQ(PlanKernel(key), (KernelPlan{.kind = KernelKind::FileTable,
                                               .layout = InputLayout::Yuy2,
                                               .table = TableId::ConvData01}));
    }
    const uint32_t look = MakeKernelKey({.sourceGamut = 3,
                                         .sourceGamma = 15,
                                         .targetGamma = 17,
                                         .outputDepth = 3,
                                         .lookType = 255});
    EXPECT_EQ(look, 0x64301u);
    EXPECT_EQ(Describe(PlanKernel(look)), "FloatChain yuy2 bt2020 lut3d#22 range2020 bgr0");
    EXPECT_EQ(Describe(PlanLookKernel(look).value()),
              "FloatChain yuy2 bt2020 scale219 lut3d#31 bgr0");
}

// A held plan reads the key's layout, writes its class's order, converts with the BT.2020 matrix
// exactly for gamut nibbles 3 and F, looks up a LUT that exists, and reads a file table only as
// the file-table kind.
bool AgreesWithKey(uint32_t key, const KernelPlan& plan) {
    const uint32_t gamut = key >> 8 & 0xF;
    return uint32_t(plan.layout) == (key & 0xF) && plan.order == OrderOf(key >> 16) &&
           (plan.matrix == Matrix::None ||
            (plan.matrix == Matrix::Bt2020) == (gamut == 3 || gamut == 0xF)) &&
           (plan.lookup != Lookup::Lut3D || Lut3D(plan.lutNumber) != nullptr) &&
           (plan.kind == KernelKind::FileTable) == (plan.table < TableId::Runtime);
}

// Every key of 21 bits: first table, classes 3, 5 and 6 hold 213 keys each, classes 1 and 0x11 8,
// classes 7 and 8 one, classes 0x13, 0x15 and 0x16 98 each; look table, 50 keys for each of 3, 5
// and 6, 40 for each picture-bit class. The rest get the one zero-fill plan, or nothing.
TEST(KernelTables, EveryPlanAgreesWithItsKey) {
    uint32_t held = 0, looks = 0;
    for (uint32_t key = 0; key < 0x200000; ++key) {
        const KernelPlan plan = PlanKernel(key);
        if (plan.kind != KernelKind::ZeroFill) {
            ++held;
            ASSERT_TRUE(AgreesWithKey(key, plan)) << std::hex << key << " " << Describe(plan);
            // The picture bit only narrows what the table holds.
            const bool plainHeld = PlanKernel(key & 0xFFFFF) != KernelPlan{};
            ASSERT_TRUE(plainHeld) << std::hex << key;
        } else {
            ASSERT_EQ(plan, KernelPlan{}) << std::hex << key;
        }
        if (const std::optional<KernelPlan> look = PlanLookKernel(key)) {
            ++looks;
            ASSERT_TRUE(AgreesWithKey(key, *look)) << std::hex << key << " " << Describe(*look);
            ASSERT_TRUE(!(key & 0x100000) || look->preScale == PreScale::None) << std::hex << key;
        }
    }
    EXPECT_EQ(held, 3 * 213 + 8 + 8 + 2 + 3 * 98);
    EXPECT_EQ(looks, 3 * 50 + 3 * 40);
    for (uint32_t high : {0x200000u, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(PlanKernel(high | 0x60001), KernelPlan{});
        EXPECT_EQ(PlanLookKernel(high | 0x64301), std::nullopt);
    }
}

// The finders hand out the kernels of these plans: never null from the first table, null from the
// look table where it holds nothing.
TEST(KernelTables, FindersCarryThePlans) {
    for (uint32_t key : {0x60021u, 0x160021u, 0x64301u, 0x80009u, 0x66F01u, 0x166F0Cu, 0x30F04u}) {
        const RowKernel kernel = FindKernel(key);
        ASSERT_TRUE(kernel) << std::hex << key;
        EXPECT_EQ(kernel.Plan(), PlanKernel(key));
        const RowKernel look = FindLookKernel(key);
        EXPECT_EQ(bool(look), PlanLookKernel(key).has_value()) << std::hex << key;
        if (look) {
            EXPECT_EQ(look.Plan(), *PlanLookKernel(key));
        }
    }
}

}  // namespace
