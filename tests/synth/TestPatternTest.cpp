// The pattern shows its picture's number so that it can be read back, at 8 and 10 bits (that it
// moves, and the same way each time, the decoded clips show); grain changes every picture, within
// its amplitude, the same way each time, and leaves the number readable.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "tools/qvclip/synth/TestPattern.h"

namespace {

struct Planes {
    Planes(uint32_t width, uint32_t height, uint32_t bytes, uint32_t chromaHeight)
        : y(width * height * bytes), cb(width / 2 * chromaHeight * bytes), cr(cb.size()) {
        strides[0] = static_cast<int>(width * bytes);
        strides[1] = strides[2] = static_cast<int>(width / 2 * bytes);
    }
    uint8_t* const* Pointers() {
        pointers[0] = y.data(), pointers[1] = cb.data(), pointers[2] = cr.data();
        return pointers;
    }
    std::vector<uint8_t> y, cb, cr;
    int strides[3];
    uint8_t* pointers[3];
};

TEST(TestPattern, ShowsTheNumberToBeReadBack) {
    for (uint32_t depth : {8u, 10u}) {
        const synth::TestPattern pattern(320, 180, depth, depth == 8 ? 420 : 422);
        Planes planes(320, 180, depth == 8 ? 1 : 2, depth == 8 ? 90 : 180);
        for (uint64_t number : {0ull, 9ull, 42ull, 123456ull, 7654321ull}) {
            pattern.Draw(number, planes.Pointers(), planes.strides);
            EXPECT_EQ(pattern.ReadNumber(planes.y.data(), planes.strides[0]), number % 1000000)
                << depth << " bits";
        }
    }
    // A narrow picture shows the last digits that fit.
    const synth::TestPattern narrow(16, 16, 8, 420);
    Planes planes(16, 16, 1, 8);
    narrow.Draw(123, planes.Pointers(), planes.strides);
    EXPECT_EQ(narrow.ReadNumber(planes.y.data(), planes.strides[0]), 3u);
}

TEST(TestPattern, GrainStaysWithinItsAmplitudeAndKeepsTheNumber) {
    for (uint32_t depth : {8u, 10u}) {
        const uint32_t bytes = depth == 8 ? 1 : 2, grain = 12, shift = depth - 8;
        const synth::TestPattern plain(320, 180, depth, 420), grainy(320, 180, depth, 420, grain);
        Planes clean(320, 180, bytes, 90), noisy(320, 180, bytes, 90), again(320, 180, bytes, 90);
        plain.Draw(4321, clean.Pointers(), clean.strides);
        grainy.Draw(4321, noisy.Pointers(), noisy.strides);
        grainy.Draw(4321, again.Pointers(), again.strides);
        EXPECT_EQ(noisy.y, again.y);
        EXPECT_EQ(noisy.cr, again.cr);
        EXPECT_NE(noisy.y, clean.y);
        EXPECT_NE(noisy.cb, clean.cb);
        EXPECT_EQ(grainy.ReadNumber(noisy.y.data(), noisy.strides[0]), 4321u) << depth << " bits";

        const auto sample = [bytes](const std::vector<uint8_t>& plane, size_t i) {
            return bytes == 1 ? plane[i] : plane[2 * i] | plane[2 * i + 1] << 8;
        };
        const auto widest = [&](const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
            int most = 0;
            for (size_t i = 0; i < a.size() / bytes; ++i)
                most = std::max(most, std::abs(sample(a, i) - sample(b, i)));
            return most;
        };
        EXPECT_LE(widest(noisy.y, clean.y), static_cast<int>(grain << shift));
        EXPECT_LE(widest(noisy.cb, clean.cb), static_cast<int>(grain / 2 << shift));

        // The next picture's grain is new, not the same noise moved along with the pattern.
        plain.Draw(4322, clean.Pointers(), clean.strides);
        grainy.Draw(4322, again.Pointers(), again.strides);
        std::vector<int> first, second;
        for (size_t i = 0; i < noisy.y.size() / bytes; ++i)
            second.push_back(sample(again.y, i) - sample(clean.y, i));
        plain.Draw(4321, clean.Pointers(), clean.strides);
        for (size_t i = 0; i < noisy.y.size() / bytes; ++i)
            first.push_back(sample(noisy.y, i) - sample(clean.y, i));
        EXPECT_NE(first, second);
    }
}

}  // namespace
