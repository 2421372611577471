// The AVX2 family of row kernels (VectorKernels.h, 8 lanes). This file alone is compiled for AVX2
// (image/CMakeLists.txt); RowKernel.cpp calls into it only when the processor has AVX2.
#define QV_VECTOR_WIDTH 8
#define QV_VECTOR_NAMESPACE avx2
#include "image/VectorKernels.h"

namespace image::avx2 {

scalar::Body BodyFor(const KernelPlan& plan) {
    return FamilyBodyFor(plan);
}

}  // namespace image::avx2
