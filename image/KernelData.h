// The kernels' look-up data: 42 3D LUTs (33 × 33 × 33 nodes of 3 floats, R the fastest axis:
// float index (r + 33 × g + 1089 × b) × 3 + c), the file-table chain LUTs that stand in for the
// file tables' transitions when those files are absent, and 16 curves (8 of 256 entries, 8 of 65536
// entries, 3 floats each). All values are floats in 0..1, computed once per process on first use
// from the colour model (ColourModel.h); a host may replace any numbered LUT by a 33-point .cube
// file before the first use. Thread-safe: the first use computes under a once-flag, later reads are
// of immutable data.
#pragma once

#include <cstdint>
#include <string>

namespace image {

inline constexpr unsigned kLutSize = 33;
inline constexpr unsigned kLutFloats = kLutSize * kLutSize * kLutSize * 3;
inline constexpr unsigned kLutCount = 42;
// Chain LUTs of the file tables (gamut 0 to gamut 0, to target gamma 2), numbered after the 42.
inline constexpr unsigned kLutFileGamma3 = 42;   // source gamma 3
inline constexpr unsigned kLutFileGamma0 = 43;   // source gamma 0
inline constexpr unsigned kLutFileGamma12 = 44;  // source gamma 12
inline constexpr unsigned kLutAll = 45;
inline constexpr unsigned kCurveCount = 8;  // in each of the two sets

// Never null for number < kLutAll.
const float* Lut3D(unsigned number);
// Curve `index` 0..7 of the 8-bit set (256 × 3 floats) or the 16-bit set (65536 × 3 floats).
const float* Curve8(unsigned index);
const float* Curve16(unsigned index);
// The curve that a display of this peak luminance uses: below 351 nits 0, below 451 1, … else 7.
unsigned CurveForPeakLuminance(uint32_t nits);

// Replaces LUTs by the files "<n>.cube" (n = 0..41, also "lut<n>.cube") found in `directory`.
// Call before the first conversion. Gives the numbers replaced, ascending, separated by spaces
// ("7 9"); a file that is not a 33-point cube with values in 0..1 is refused with a logged reason
// (also a line of `*error`, which is empty when nothing was refused) and the model's LUT stays.
std::string LoadCubeDirectory(const std::string& directory, std::string* error = nullptr);

}  // namespace image
