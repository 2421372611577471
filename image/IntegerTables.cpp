#include "image/IntegerTables.h"

#include <memory>

namespace image {

namespace {

// The red and blue factors of the matrices, in units of 1/10000 (plain) and as reals (`x` sets).
struct MatrixFactors {
    int32_t red, blue, greenCb, greenCr;  // × 10000
    double redX, blueX, greenCbX, greenCrX;
};

constexpr MatrixFactors kBt709 = {15748, 18556, 1873, 4681, 1.5748, 1.8556, 0.1873, 0.4681};
constexpr MatrixFactors kBt2020 = {14746, 18814, 1646, 5714, 1.4746, 1.8814, 0.1646, 0.5714};

// Luma over video range (16..235) expanded by 256/239, chroma by 8/7; the chroma terms are
// evaluated in double precision, left to right, and cut towards zero.
int32_t ChromaX(double factor, int32_t c) {
    return static_cast<int32_t>(factor * 8 / 7 * 10000 * (c - 128));
}

// One set: the chroma terms first, then the byte tables from them and the luma.
void Fill(const int32_t* luma, const ChromaTerms& terms, uint8_t* r, uint8_t* b) {
    for (int32_t y = 0; y < 256; ++y) {
        for (int32_t c = 0; c < 256; ++c) {
            const size_t at = static_cast<size_t>(y * 256 + c);
            r[at] = static_cast<uint8_t>(ClampByte((luma[y] + terms.red[c] + 5000) / 10000));
            b[at] = static_cast<uint8_t>(ClampByte((luma[y] + terms.blue[c] + 5000) / 10000));
        }
    }
}

void FillMatrix(const MatrixFactors& m, IntegerTables& t, ChromaTerms& plain, ChromaTerms& x,
                uint8_t* r, uint8_t* b, int32_t* g, uint8_t* rx, uint8_t* bx, int32_t* gx) {
    for (int32_t c = 0; c < 256; ++c) {
        plain.red[c] = m.red * (c - 128);
        plain.blue[c] = m.blue * (c - 128);
        x.red[c] = ChromaX(m.redX, c);
        x.blue[c] = ChromaX(m.blueX, c);
    }
    Fill(t.yPlain, plain, r, b);
    Fill(t.yx, x, rx, bx);
    for (int32_t cb = 0; cb < 256; ++cb) {
        for (int32_t cr = 0; cr < 256; ++cr) {
            const size_t at = static_cast<size_t>(cb * 256 + cr);
            g[at] = -m.greenCb * (cb - 128) - m.greenCr * (cr - 128);
            gx[at] = static_cast<int32_t>(-(m.greenCbX * (cb - 128) + m.greenCrX * (cr - 128)) * 8 /
                                          7 * 10000);
        }
    }
}

std::unique_ptr<IntegerTables> Build() {
    auto t = std::make_unique<IntegerTables>();
    for (int32_t y = 0; y < 256; ++y) {
        t->yPlain[y] = 10000 * y;
        t->yx[y] = (y - 16) * 10000 * 256 / 239;
        const int32_t boosted = static_cast<int32_t>(y * 1.086758);
        t->boost[y] = static_cast<uint8_t>(boosted > 255 ? 255 : boosted);
    }
    FillMatrix(kBt709, *t, t->t709, t->t709x, t->r709, t->b709, t->g709, t->r709x, t->b709x,
               t->g709x);
    FillMatrix(kBt2020, *t, t->t2020, t->t2020x, t->r2020, t->b2020, t->g2020, t->r2020x, t->b2020x,
               t->g2020x);
    return t;
}

}  // namespace

IntegerSet IntegerTables::Set(Matrix matrix, bool expanded) const {
    if (matrix == Matrix::Bt2020) {
        return expanded ? IntegerSet{r2020x, b2020x, g2020x, yx, t2020x.red, t2020x.blue}
                        : IntegerSet{r2020, b2020, g2020, yPlain, t2020.red, t2020.blue};
    }
    return expanded ? IntegerSet{r709x, b709x, g709x, yx, t709x.red, t709x.blue}
                    : IntegerSet{r709, b709, g709, yPlain, t709.red, t709.blue};
}

const IntegerTables& Integer() {
    // About 1.6 MB, made once; never destroyed, since kernels may run while the process exits.
    static const IntegerTables* const tables = Build().release();
    return *tables;
}

}  // namespace image
