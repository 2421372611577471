// ColourModel: the colour science behind the kernels' look-up data — transfer functions, the
// camera curves of the system's own definition, gamut matrices from primaries, the HDR-to-SDR tone
// map, and the functions that compute a 3D LUT or a 1D curve from them (KernelData.cpp stores the
// results once per process).
//
// Codes are the system's numbers. Gamuts: 0 BT.709, 3 BT.2020, 2 and 4 two wide camera gamuts.
// Gammas: 2 BT.709 (the usual target), 14 PQ, 15 HLG (two variants by hlgColor), 0, 3 and 12 three
// log curves, 1 and 4 to 9 cine curves; targets 16 and 17 are full-range BT.709 outputs.
//
// Everything here is a pure function of its arguments: safe from any thread, no failures. Values
// are doubles; signals are normalised (0 black, 1 nominal white), linear light is relative (1 the
// diffuse white of a scene, or an SDR display's peak) except where nits are said.
#pragma once

#include <array>
#include <cstdint>

namespace image::colour {

// Transfer functions. Those that take or give signals are odd-symmetric below 0, so that the
// footroom of video range decodes to small negative light and comes back unchanged.
double Bt709Oetf(double light);
double Bt709InverseOetf(double signal);
double Bt1886InverseEotf(double light);  // reference display, black 0, white 1: gamma 2.4
double PqEotf(double signal);            // gives nits / 10000
double PqInverseEotf(double light);      // takes nits / 10000
double HlgOetf(double scene);            // scene light 0..1 to signal 0..1
double HlgInverseOetf(double signal);
double HlgSystemGamma(double peakNits);  // the OOTF's gamma for a display of this peak

// A camera log curve of our own: `perStop` signal for each doubling of light, 18 % grey at
// `grey`, no light at `black`: signal = grey + perStop × log2((x + o) / (0.18 + o)), with the
// offset o that puts x = 0 at `black`.
struct LogCurve {
    double grey;
    double perStop;
    double black;
};
double LogEncode(const LogCurve& curve, double light);
double LogDecode(const LogCurve& curve, double signal);

// A cine curve of our own: the BT.709 curve on `exposure` × light, with a camera knee that
// continues at `kneeSlope` above the signal `knee`, so that highlights fit under 1.
struct CineCurve {
    double exposure;
    double knee;
    double kneeSlope;
};
double CineDecode(const CineCurve& curve, double signal);

// CIE 1931 xy of the red, green and blue primaries and of the white.
struct Chromaticities {
    double rx, ry, gx, gy, bx, by, wx, wy;
};
using Matrix3 = std::array<std::array<double, 3>, 3>;

// Linear RGB of these primaries to CIE XYZ, white at Y = 1.
Matrix3 RgbToXyz(const Chromaticities& c);
// The primaries of gamut `code`, or null for a code without a definition.
const Chromaticities* GamutPrimaries(uint32_t code);
// Linear RGB of gamut `from` to linear RGB of gamut `to` (identity for unknown codes).
Matrix3 GamutMatrix(uint32_t from, uint32_t to);

// The 3D LUTs are computed at these nodes: 33 a side, node n at code n × 255 / 32 of 8 bits.
inline constexpr unsigned kNodes = 33;
inline constexpr unsigned kModelLuts = 45;  // 42 numbered LUTs and the three file-table chains
inline constexpr unsigned kCurves = 8;

// LUT `number` (< kModelLuts) at node (r, g, b): R, G, B in 0..1.
std::array<float, 3> LutNode(unsigned number, unsigned r, unsigned g, unsigned b);
// What LUT `number` samples, at any input: values in 0..1 as the LUT takes them (code / 255).
std::array<float, 3> Convert(unsigned number, double r, double g, double b);
// The whole LUT into `out` (33³ × 3 floats, R the fastest axis). Faster than node by node.
void ComputeLut(unsigned number, float* out);

// The nominal display peak of curve `index` (< kCurves): 300, 400, … 900, then 1000 nits.
double CurvePeakNits(unsigned index);
// Curve `index` into `out`: `entries` (256 or 65536) × 3 equal floats.
void ComputeCurve(unsigned index, unsigned entries, float* out);

}  // namespace image::colour
