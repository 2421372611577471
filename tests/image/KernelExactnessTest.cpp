// The vectorised families against the scalar one: for every plan that a key of either finder
// selects, random pictures (and all-0 and all-255 ones, which reach the tables' and LUTs' last
// entries) of widths that do and do not fill whole vectors and chunks, byte for byte, padding
// included. The file-table kinds read a random table, with and without it.
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "image/KernelFinder.h"
#include "image/RowKernel.h"
#include "image/ScalarKernels.h"
#include "image/SharedTables.h"

namespace {

using namespace image;

constexpr uint8_t kUntouched = 0xAA;
constexpr uint32_t kRows = 3, kPadding = 5;
constexpr uint32_t kGroupCounts[] = {1, 2, 3, 17, 33};  // widths 4 to 132: tails and chunk ends

// Every distinct plan of the two finders, from a sweep of the key's nibbles.
std::vector<KernelPlan> AllPlans() {
    std::set<std::string> seen;
    std::vector<KernelPlan> plans;
    auto add = [&](const KernelPlan& plan) {
        if (seen.insert(Describe(plan) + std::to_string(int(plan.kind))).second) {
            plans.push_back(plan);
        }
    };
    for (uint32_t key = 0; key < (1u << 21); ++key) {
        const uint32_t kernelClass = (key >> 16) & 0xF;
        const uint32_t layout = key & 0xF;
        if (kernelClass == 0 || (layout != 1 && layout != 4 && layout != 9 && layout != 12)) {
            continue;
        }
        add(PlanKernel(key));
        if (const std::optional<KernelPlan> look = PlanLookKernel(key)) add(*look);
    }
    return plans;
}

const std::vector<KernelPlan>& Plans() {
    static const std::vector<KernelPlan> plans = AllPlans();
    return plans;
}

const std::vector<uint8_t>& RandomTable() {
    static const std::vector<uint8_t> table = [] {
        std::vector<uint8_t> t(kTableBytes);
        std::mt19937 random(7);
        for (size_t i = 0; i < t.size(); i += 4) {
            const uint32_t v = random();
            for (size_t j = 0; j < 4 && i + j < t.size(); ++j) t[i + j] = uint8_t(v >> (8 * j));
        }
        return t;
    }();
    return table;
}

std::vector<uint8_t> Convert(scalar::Body body, const KernelPlan& plan, const KernelInputs& inputs,
                             const std::vector<uint8_t>& source, uint32_t groups) {
    const size_t bytes =
        plan.kind == KernelKind::ZeroFill
            ? size_t{kRows} * groups * 16
            : size_t{kRows} * (groups * 4 + kPadding) * OutputPixelBytes(plan.order);
    std::vector<uint8_t> out(bytes, kUntouched);
    body(plan, inputs, source.data(), out.data(), groups - 1, kRows, kPadding);
    return out;
}

class KernelExactness : public testing::TestWithParam<KernelIsa> {};

TEST(KernelExactnessPlans, SweepFindsEveryKindAndLayout) {
    std::set<int> kinds, layouts;
    for (const KernelPlan& plan : Plans())
        kinds.insert(int(plan.kind)), layouts.insert(int(plan.layout));
    EXPECT_EQ(kinds.size(), 8u);
    EXPECT_EQ(layouts.size(), 5u);  // the four layouts and None (zero-fill)
}

TEST_P(KernelExactness, EqualsScalarOnRandomPictures) {
    if (!IsaAvailable(GetParam())) GTEST_SKIP() << "the processor lacks the instructions";
    std::mt19937 random(1);
    unsigned covered = 0;
    for (const KernelPlan& plan : Plans()) {
        const scalar::Body body =
            GetParam() == KernelIsa::Avx2 ? avx2::BodyFor(plan) : sse41::BodyFor(plan);
        if (body == nullptr) continue;
        ++covered;
        const bool tabled =
            plan.kind == KernelKind::FileTable || plan.kind == KernelKind::IntegerExpanded;
        for (const bool withTable : {false, true}) {
            if (withTable && !tabled) continue;
            KernelInputs inputs = GatherInputs(plan);
            inputs.table = withTable ? RandomTable().data() : nullptr;
            for (const uint32_t groups : kGroupCounts) {
                std::vector<uint8_t> source(size_t{kRows} * groups * 4 *
                                            InputPixelBytes(plan.layout));
                for (const int fill : {-1, 0, 255}) {
                    for (uint8_t& byte : source) byte = uint8_t(fill < 0 ? random() : fill);
                    ASSERT_EQ(Convert(body, plan, inputs, source, groups),
                              Convert(scalar::BodyFor(plan.kind), plan, inputs, source, groups))
                        << Describe(plan) << ", width " << groups * 4 << ", fill " << fill
                        << ", table " << withTable;
                }
            }
        }
    }
    EXPECT_GT(covered, 0u);
}

INSTANTIATE_TEST_SUITE_P(Families, KernelExactness,
                         testing::Values(KernelIsa::Sse41, KernelIsa::Avx2),
                         [](const testing::TestParamInfo<KernelIsa>& info) {
                             return info.param == KernelIsa::Avx2 ? "Avx2" : "Sse41";
                         });

}  // namespace
