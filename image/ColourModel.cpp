// The colour model, in one place. Sources:
//   ITU-R BT.709-6      — BT.709 primaries, D65 white, the camera curve (OETF) and luma weights.
//   ITU-R BT.1886       — the reference display of SDR video: light = signal^2.4 (black 0).
//   ITU-R BT.2020-2     — BT.2020 primaries.
//   ITU-R BT.2100-2     — PQ (identical to SMPTE ST 2084) and HLG (identical to ARIB STD-B67),
//                         the HLG OOTF and its system gamma for other display peaks.
//   ITU-R BT.2408       — HDR reference white: 203 nits, HLG signal 0.75.
//   ITU-R BT.2087       — the BT.709-to-BT.2020 matrix, which the tests check ours against.
//   SMPTE RP 431-2 and EG 432-1 — the P3 primaries and their D65 pairing (our gamut 2).
//   ISO 22028-2         — the ROMM RGB primaries, which our gamut 4 pairs with D65.
// The three log curves, the cine curves, the highlight shoulder, the tone map and the look are our
// own definitions; their parameters are written down below and nowhere else.
//
// How a LUT sees its values. A LUT node holds code values / 255 of 8 bits on each axis. Rows of
// the kernels with a range stage after the LUT give it video-range R'G'B' (black 16, white 235,
// as the published matrix leaves it) and expect video range back, with super-whites up to 254,
// which the range stage lifts to 255. Rows with a pre-scale give full-range values and take
// full-range values back: Scale238 stretches 16..254 to 0..255, Scale219 16..235.
#include "image/ColourModel.h"

#include <algorithm>
#include <cmath>

namespace image::colour {

namespace {

double OddPow(double x, double p) {
    return x < 0 ? -std::pow(-x, p) : std::pow(x, p);
}

// --- BT.709 (ITU-R BT.709-6, item 1.2) ---
constexpr double kRec709Alpha = 1.099, kRec709Beta = 0.018, kRec709Power = 0.45;
constexpr double kRec709Slope = 4.5;

// --- PQ (SMPTE ST 2084, ITU-R BT.2100-2 table 4) ---
constexpr double kPqM1 = 2610.0 / 16384.0, kPqM2 = 2523.0 / 4096.0 * 128.0;
constexpr double kPqC1 = 3424.0 / 4096.0, kPqC2 = 2413.0 / 4096.0 * 32.0;
constexpr double kPqC3 = 2392.0 / 4096.0 * 32.0;

// --- HLG (ARIB STD-B67, ITU-R BT.2100-2 table 5) ---
constexpr double kHlgA = 0.17883277, kHlgB = 0.28466892, kHlgC = 0.55991073;

// --- Reference levels (ITU-R BT.2408) ---
constexpr double kHdrReferenceWhiteNits = 203.0;
constexpr double kHlgReferenceWhiteSignal = 0.75;
// HLG pictures that go to SDR are first shown on the 1000-nit display that BT.2100 takes as
// nominal, where the OOTF's gamma is 1.2.
constexpr double kHlgNominalPeakNits = 1000.0;

// --- Our camera curves ---
// Log curves of gamma codes 0, 3 and 12: grey, signal a stop, signal of no light. They hold 35×,
// 59× and 24× diffuse white below signal 1.
constexpr LogCurve kLogGamma0{0.40, 0.080, 0.090};
constexpr LogCurve kLogGamma3{0.42, 0.070, 0.100};
constexpr LogCurve kLogGamma12{0.38, 0.090, 0.080};
// Cine curves: gamma 4 (recorded in full range), 5, 6 (which the conversion tables also use for
// gammas 1, 7 and 8) and 9.
constexpr CineCurve kCineGamma4{0.80, 0.80, 0.20};
constexpr CineCurve kCineGamma5{0.90, 0.87, 0.30};
constexpr CineCurve kCineGamma6{1.00, 0.80, 0.15};
constexpr CineCurve kCineGamma9{0.70, 0.75, 0.125};

// --- Our output shaping ---
// BT.709 output of scene light: the BT.709 curve, then an exponential shoulder that starts at this
// signal, leaves it with slope 1 and approaches the highest signal the output coding allows.
constexpr double kShoulderKnee = 0.85;
// HDR to SDR: light relative to SDR peak stays linear up to the knee, and a Reinhard-style curve
// takes the rest to the peak. It works on each channel alone: bright colours go towards white as
// they would on film, and the LUT stays smooth along grey, where a curve on the largest channel
// (which keeps hues) would put a crease that the 33-node interpolation shows as bands.
constexpr double kToneMapKnee = 0.6;
// Gamut compression (CompressGamut) leaves a channel alone while its distance below the largest
// channel, as a fraction of the largest, is at most this: in-gamut colours up to 80 % saturation.
constexpr double kGamutThreshold = 0.8;
// The look of the look LUTs, on the output signal: a little more saturation about BT.709 luma,
// and a gentle S-curve that mixes this much of a smoothstep into the signal on 0..1.
constexpr double kLookSaturation = 1.1;
constexpr double kLookContrast = 0.25;
constexpr double kLumaR = 0.2126, kLumaG = 0.7152, kLumaB = 0.0722;  // BT.709-6, item 3.2

// --- Primaries ---
constexpr Chromaticities kBt709{0.640, 0.330, 0.300, 0.600, 0.150, 0.060, 0.3127, 0.3290};
constexpr Chromaticities kBt2020{0.708, 0.292, 0.170, 0.797, 0.131, 0.046, 0.3127, 0.3290};
constexpr Chromaticities kWideP3{0.680, 0.320, 0.265, 0.690, 0.150, 0.060, 0.3127, 0.3290};
constexpr Chromaticities kWideRomm{0.7347, 0.2653, 0.1596, 0.8404, 0.0366, 0.0001, 0.3127, 0.3290};

// How a LUT's values code the signal: 8-bit codes of black and nominal white, and the highest
// code that the conversion means to reach (super-white in video range).
struct Coding {
    double black, white, top;
};
constexpr Coding kVideo{16.0, 235.0, 254.0};
constexpr Coding kFull{0.0, 255.0, 255.0};
// After Scale238, 255 stands for code 254 of video range, so nominal white is at 219 × 255 / 238.
constexpr Coding kAfterScale238{0.0, 219.0 * 255.0 / 238.0, 255.0};
constexpr Coding kAfterScale219 = kFull;

enum class Source : uint8_t {
    Unchanged,  // the gamma stays: the signal is taken as BT.709-coded for the gamut change
    Log0,
    Log3,
    Log12,
    Cine4,
    Cine5,
    Cine6,
    Cine9,
    HlgDisplay,  // hlgColor not 1: shown on a display through the OOTF, then tone-mapped
    HlgScene,    // hlgColor 1: scene light, reference white to SDR white, then as a camera
    Pq,
};

struct Recipe {
    Source source;
    uint8_t gamut;  // source gamut; the target is always BT.709 (code 0)
    bool look;
    Coding in, out;
};

// Which conversion each LUT number holds; the kernel tables decide which number a key uses.
constexpr Recipe kRecipes[kModelLuts] = {
    {Source::HlgDisplay, 0, false, kVideo, kVideo},  // 0
    {Source::Pq, 0, false, kVideo, kVideo},          // 1
    {Source::Unchanged, 4, false, kVideo, kVideo},   // 2
    {Source::Unchanged, 2, false, kVideo, kVideo},   // 3
    {Source::Unchanged, 3, false, kVideo, kVideo},   // 4
    {Source::Log12, 4, false, kVideo, kVideo},       // 5
    {Source::Log12, 2, false, kVideo, kVideo},       // 6
    {Source::Log12, 3, false, kVideo, kVideo},       // 7
    {Source::Log3, 4, false, kVideo, kVideo},        // 8
    {Source::Log3, 2, false, kVideo, kVideo},        // 9
    {Source::Log3, 3, false, kVideo, kVideo},        // 10
    {Source::Log0, 4, false, kVideo, kVideo},        // 11
    {Source::Log0, 2, false, kVideo, kVideo},        // 12
    {Source::Log0, 3, false, kVideo, kVideo},        // 13
    // Gamma 4 is recorded in full range, and one LUT serves all its gamuts: a curve only.
    {Source::Cine4, 0, false, kFull, kFull},               // 14
    {Source::Cine5, 4, false, kVideo, kVideo},             // 15
    {Source::Cine5, 2, false, kVideo, kVideo},             // 16
    {Source::Cine5, 3, false, kVideo, kVideo},             // 17
    {Source::Cine6, 4, false, kVideo, kVideo},             // 18
    {Source::Cine6, 2, false, kVideo, kVideo},             // 19
    {Source::Cine6, 3, false, kVideo, kVideo},             // 20
    {Source::Cine9, 4, false, kVideo, kVideo},             // 21
    {Source::HlgDisplay, 3, false, kVideo, kVideo},        // 22
    {Source::Pq, 3, false, kVideo, kVideo},                // 23
    {Source::Log12, 0, true, kVideo, kVideo},              // 24
    {Source::Log12, 0, true, kAfterScale238, kFull},       // 25
    {Source::Log12, 3, true, kVideo, kVideo},              // 26
    {Source::Log12, 3, true, kAfterScale238, kFull},       // 27
    {Source::HlgScene, 3, true, kVideo, kVideo},           // 28
    {Source::HlgScene, 3, true, kAfterScale219, kFull},    // 29
    {Source::HlgDisplay, 3, true, kVideo, kVideo},         // 30
    {Source::HlgDisplay, 3, true, kAfterScale219, kFull},  // 31
    {Source::Cine6, 3, true, kVideo, kVideo},              // 32: gamma 1, a member of 6's family
    {Source::Pq, 3, true, kVideo, kVideo},                 // 33
    {Source::Pq, 3, true, kAfterScale219, kFull},          // 34
    {Source::Unchanged, 3, true, kVideo, kVideo},          // 35
    {Source::Log3, 2, true, kVideo, kVideo},               // 36
    {Source::Log3, 2, true, kAfterScale238, kFull},        // 37
    {Source::Log12, 2, true, kVideo, kVideo},              // 38
    {Source::Log12, 2, true, kAfterScale238, kFull},       // 39
    {Source::HlgScene, 0, false, kVideo, kVideo},          // 40
    {Source::HlgScene, 3, false, kVideo, kVideo},          // 41
    {Source::Log3, 0, false, kVideo, kVideo},              // 42: file table of gamma 3
    {Source::Log0, 0, false, kVideo, kVideo},              // 43: file table of gamma 0
    {Source::Log12, 0, false, kVideo, kVideo},             // 44: file table of gamma 12
};

using Rgb = std::array<double, 3>;

bool IsDisplayReferred(Source s) {
    return s == Source::HlgDisplay || s == Source::Pq;
}

// Per channel: a signal to light. Scene sources give scene light (1 diffuse white); HlgDisplay
// gives HLG scene light (0..1), which the OOTF turns into nits per pixel; Pq gives nits.
double Decode(Source source, double signal) {
    switch (source) {
        case Source::Unchanged:
            return Bt709InverseOetf(signal);
        case Source::Log0:
            return LogDecode(kLogGamma0, signal);
        case Source::Log3:
            return LogDecode(kLogGamma3, signal);
        case Source::Log12:
            return LogDecode(kLogGamma12, signal);
        case Source::Cine4:
            return CineDecode(kCineGamma4, signal);
        case Source::Cine5:
            return CineDecode(kCineGamma5, signal);
        case Source::Cine6:
            return CineDecode(kCineGamma6, signal);
        case Source::Cine9:
            return CineDecode(kCineGamma9, signal);
        case Source::HlgDisplay:
            return HlgInverseOetf(signal);
        case Source::HlgScene:
            return HlgInverseOetf(signal) / HlgInverseOetf(kHlgReferenceWhiteSignal);
        case Source::Pq:
            return PqEotf(signal) * 10000.0;
    }
    return signal;
}

double Shoulder(double signal, double highest) {
    if (signal <= kShoulderKnee) return signal;
    const double room = highest - kShoulderKnee;
    return kShoulderKnee + room * (1.0 - std::exp(-(signal - kShoulderKnee) / room));
}

double ToneCurve(double x) {
    if (x <= kToneMapKnee) return x;
    const double over = x - kToneMapKnee, room = 1.0 - kToneMapKnee;
    return kToneMapKnee + room * over / (over + room);
}

// Colours of a wide gamut that BT.709 cannot show. Each channel's distance from the largest,
// d = (max − c) / max, stays as it is up to kGamutThreshold and is compressed above it so that it
// approaches 1 (the edge of BT.709) however far out the colour was. Clipping each channel at 0
// instead would take a bright colour from black to full in that channel within one LUT cell;
// this way the change is spread out and the 33-node interpolation follows it. Colours whose
// channels all lie below 0 (footroom) are left alone.
void CompressGamut(Rgb& light) {
    const double achromatic = std::max({light[0], light[1], light[2]});
    if (achromatic <= 0) return;
    for (double& c : light) {
        const double d = (achromatic - c) / achromatic;
        if (d <= kGamutThreshold) continue;
        const double over = d - kGamutThreshold, room = 1.0 - kGamutThreshold;
        c = achromatic * (1.0 - (kGamutThreshold + over / (1.0 + over / room)));
    }
}

double LookCurve(double x) {
    if (x <= 0.0 || x >= 1.0) return x;
    return x + kLookContrast * (x * x * (3.0 - 2.0 * x) - x);
}

Rgb Multiply(const Matrix3& m, const Rgb& v) {
    Rgb out{};
    for (int i = 0; i < 3; ++i) out[i] = m[i][0] * v[0] + m[i][1] * v[1] + m[i][2] * v[2];
    return out;
}

Matrix3 Multiply(const Matrix3& a, const Matrix3& b) {
    Matrix3 out{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            out[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
    return out;
}

Matrix3 Inverse(const Matrix3& m) {
    const double c00 = m[1][1] * m[2][2] - m[1][2] * m[2][1];
    const double c01 = m[1][2] * m[2][0] - m[1][0] * m[2][2];
    const double c02 = m[1][0] * m[2][1] - m[1][1] * m[2][0];
    const double det = m[0][0] * c00 + m[0][1] * c01 + m[0][2] * c02;
    Matrix3 out{};
    out[0] = {c00 / det, (m[0][2] * m[2][1] - m[0][1] * m[2][2]) / det,
              (m[0][1] * m[1][2] - m[0][2] * m[1][1]) / det};
    out[1] = {c01 / det, (m[0][0] * m[2][2] - m[0][2] * m[2][0]) / det,
              (m[0][2] * m[1][0] - m[0][0] * m[1][2]) / det};
    out[2] = {c02 / det, (m[0][1] * m[2][0] - m[0][0] * m[2][1]) / det,
              (m[0][0] * m[1][1] - m[0][1] * m[1][0]) / det};
    return out;
}

double DecodeInput(const Recipe& r, double value) {
    return Decode(r.source, (value * 255.0 - r.in.black) / (r.in.white - r.in.black));
}

// A LUT's fixed parts, worked out once per LUT rather than once per node.
struct Prepared {
    const Recipe* recipe;
    Matrix3 toBt709;
    std::array<double, 3> luma;  // Y of the source gamut's R, G, B (for the HLG OOTF)
    double highest;              // the shoulder's limit: the output coding's top as a signal
    double hlgOotfGamma;
    std::array<double, kNodes> decoded;  // light of each node's code on one axis
};

Prepared Prepare(unsigned number) {
    Prepared p{};
    p.recipe = &kRecipes[number];
    const Recipe& r = *p.recipe;
    p.toBt709 = GamutMatrix(r.gamut, 0);
    const Matrix3 xyz = RgbToXyz(GamutPrimaries(r.gamut) ? *GamutPrimaries(r.gamut) : kBt709);
    p.luma = xyz[1];
    p.highest = (r.out.top - r.out.black) / (r.out.white - r.out.black);
    p.hlgOotfGamma = HlgSystemGamma(kHlgNominalPeakNits);
    for (unsigned n = 0; n < kNodes; ++n) p.decoded[n] = DecodeInput(r, n / (kNodes - 1.0));
    return p;
}

// From light as Decode gives it to the LUT's output values.
std::array<float, 3> Evaluate(const Prepared& p, Rgb light) {
    const Recipe& recipe = *p.recipe;
    if (recipe.source == Source::HlgDisplay) {
        // BT.2100's OOTF on the scene's luminance, shown on the nominal 1000-nit display. The
        // footroom's negative luminance takes the gain of its magnitude, so that the LUT has no
        // flat patch below black.
        const double y = p.luma[0] * light[0] + p.luma[1] * light[1] + p.luma[2] * light[2];
        const double gain = kHlgNominalPeakNits * std::pow(std::abs(y), p.hlgOotfGamma - 1.0);
        for (double& c : light) c *= gain;
    }
    if (p.recipe->gamut != 0) {
        light = Multiply(p.toBt709, light);
        CompressGamut(light);
    }

    Rgb signal{};
    if (IsDisplayReferred(recipe.source)) {
        // HDR reference white becomes SDR peak; the tone curve brings it down to 0.8 of the
        // peak (signal 0.91) and keeps room for the highlights above it.
        for (int c = 0; c < 3; ++c)
            signal[c] = Bt1886InverseEotf(ToneCurve(light[c] / kHdrReferenceWhiteNits));
    } else if (recipe.source == Source::Unchanged) {
        for (int c = 0; c < 3; ++c) signal[c] = Bt709Oetf(light[c]);
    } else {
        for (int c = 0; c < 3; ++c) signal[c] = Shoulder(Bt709Oetf(light[c]), p.highest);
    }

    if (recipe.look) {
        const double y = kLumaR * signal[0] + kLumaG * signal[1] + kLumaB * signal[2];
        for (double& c : signal) c = LookCurve(y + kLookSaturation * (c - y));
    }

    std::array<float, 3> out{};
    for (int c = 0; c < 3; ++c) {
        const double code = recipe.out.black + signal[c] * (recipe.out.white - recipe.out.black);
        out[c] = static_cast<float>(std::clamp(code / 255.0, 0.0, 1.0));
    }
    return out;
}

}  // namespace

double Bt709Oetf(double light) {
    if (light < 0) return -Bt709Oetf(-light);
    return light < kRec709Beta ? kRec709Slope * light
                               : kRec709Alpha * std::pow(light, kRec709Power) - (kRec709Alpha - 1);
}

double Bt709InverseOetf(double signal) {
    if (signal < 0) return -Bt709InverseOetf(-signal);
    return signal < kRec709Slope * kRec709Beta
               ? signal / kRec709Slope
               : std::pow((signal + (kRec709Alpha - 1)) / kRec709Alpha, 1.0 / kRec709Power);
}

double Bt1886InverseEotf(double light) {
    return OddPow(light, 1.0 / 2.4);
}

double PqEotf(double signal) {
    if (signal < 0) return -PqEotf(-signal);
    const double e = std::pow(signal, 1.0 / kPqM2);
    return std::pow(std::max(e - kPqC1, 0.0) / (kPqC2 - kPqC3 * e), 1.0 / kPqM1);
}

double PqInverseEotf(double light) {
    if (light < 0) return -PqInverseEotf(-light);
    const double y = std::pow(light, kPqM1);
    return std::pow((kPqC1 + kPqC2 * y) / (1.0 + kPqC3 * y), kPqM2);
}

double HlgOetf(double scene) {
    if (scene < 0) return -HlgOetf(-scene);
    return scene <= 1.0 / 12.0 ? std::sqrt(3.0 * scene)
                               : kHlgA * std::log(12.0 * scene - kHlgB) + kHlgC;
}

double HlgInverseOetf(double signal) {
    if (signal < 0) return -HlgInverseOetf(-signal);
    return signal <= 0.5 ? signal * signal / 3.0
                         : (std::exp((signal - kHlgC) / kHlgA) + kHlgB) / 12.0;
}

double HlgSystemGamma(double peakNits) {
    return 1.2 + 0.42 * std::log10(peakNits / 1000.0);
}

namespace {
double LogOffset(const LogCurve& c) {
    const double q = std::exp2((c.black - c.grey) / c.perStop);
    return 0.18 * q / (1.0 - q);
}
}  // namespace

double LogEncode(const LogCurve& curve, double light) {
    const double o = LogOffset(curve);
    // No signal codes light at or below -o; the lowest code value stands for it.
    const double x = std::max(light + o, 1e-12);
    return curve.grey + curve.perStop * std::log2(x / (0.18 + o));
}

double LogDecode(const LogCurve& curve, double signal) {
    const double o = LogOffset(curve);
    return (0.18 + o) * std::exp2((signal - curve.grey) / curve.perStop) - o;
}

double CineDecode(const CineCurve& curve, double signal) {
    const double unknee =
        signal > curve.knee ? curve.knee + (signal - curve.knee) / curve.kneeSlope : signal;
    return Bt709InverseOetf(unknee) / curve.exposure;
}

Matrix3 RgbToXyz(const Chromaticities& c) {
    const auto column = [](double x, double y) { return Rgb{x / y, 1.0, (1.0 - x - y) / y}; };
    const Rgb r = column(c.rx, c.ry), g = column(c.gx, c.gy), b = column(c.bx, c.by);
    const Matrix3 primaries{{{r[0], g[0], b[0]}, {r[1], g[1], b[1]}, {r[2], g[2], b[2]}}};
    const Rgb white = column(c.wx, c.wy);
    const Rgb s = Multiply(Inverse(primaries), white);
    Matrix3 out{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) out[i][j] = primaries[i][j] * s[j];
    return out;
}

const Chromaticities* GamutPrimaries(uint32_t code) {
    switch (code) {
        case 0:
            return &kBt709;
        case 2:
            return &kWideP3;
        case 3:
            return &kBt2020;
        case 4:
            return &kWideRomm;
        default:
            return nullptr;
    }
}

Matrix3 GamutMatrix(uint32_t from, uint32_t to) {
    const Chromaticities* a = GamutPrimaries(from);
    const Chromaticities* b = GamutPrimaries(to);
    if (!a || !b || from == to) return Matrix3{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    return Multiply(Inverse(RgbToXyz(*b)), RgbToXyz(*a));
}

std::array<float, 3> LutNode(unsigned number, unsigned r, unsigned g, unsigned b) {
    if (number >= kModelLuts || r >= kNodes || g >= kNodes || b >= kNodes) return {};
    const Prepared p = Prepare(number);
    return Evaluate(p, {p.decoded[r], p.decoded[g], p.decoded[b]});
}

std::array<float, 3> Convert(unsigned number, double r, double g, double b) {
    if (number >= kModelLuts) return {};
    const Prepared p = Prepare(number);
    return Evaluate(
        p, {DecodeInput(*p.recipe, r), DecodeInput(*p.recipe, g), DecodeInput(*p.recipe, b)});
}

void ComputeLut(unsigned number, float* out) {
    if (number >= kModelLuts) return;
    const Prepared p = Prepare(number);
    for (unsigned b = 0; b < kNodes; ++b)
        for (unsigned g = 0; g < kNodes; ++g)
            for (unsigned r = 0; r < kNodes; ++r) {
                const auto v = Evaluate(p, {p.decoded[r], p.decoded[g], p.decoded[b]});
                out[0] = v[0];
                out[1] = v[1];
                out[2] = v[2];
                out += 3;
            }
}

double CurvePeakNits(unsigned index) {
    return 300.0 + 100.0 * std::min(index, kCurves - 1);
}

void ComputeCurve(unsigned index, unsigned entries, float* out) {
    // HLG to PQ for a display of the curve's peak: BT.2100's OOTF with the system gamma of that
    // peak, then PQ. A 1D curve cannot see a pixel's luminance, so the OOTF works per channel.
    // Both signals are video-coded like the 3D LUTs' (16-bit codes are 8-bit codes × 256); the
    // footroom below black passes unchanged.
    const double peak = CurvePeakNits(index);
    const double gamma = HlgSystemGamma(peak);
    const double scale = entries > 256 ? 256.0 : 1.0;
    const double black = 16.0 * scale, range = 219.0 * scale, full = entries - 1.0;
    for (unsigned i = 0; i < entries; ++i) {
        const double signal = (i - black) / range;
        double value = i / full;
        if (signal > 0) {
            const double nits = peak * std::pow(HlgInverseOetf(signal), gamma);
            value = (black + range * PqInverseEotf(nits / 10000.0)) / full;
        }
        const auto v = static_cast<float>(std::clamp(value, 0.0, 1.0));
        out[3 * i] = out[3 * i + 1] = out[3 * i + 2] = v;
    }
}

}  // namespace image::colour
