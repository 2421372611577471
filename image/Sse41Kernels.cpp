// The SSE4.1 family of row kernels (VectorKernels.h, 4 lanes): the float chains; the table kinds
// stay scalar, as they want gathers. This file alone is compiled for SSE4.1
// (image/CMakeLists.txt); RowKernel.cpp calls into it only when the processor has SSE4.1.
#define QV_VECTOR_WIDTH 4
#define QV_VECTOR_NAMESPACE sse41
#include "image/VectorKernels.h"

namespace image::sse41 {

scalar::Body BodyFor(const KernelPlan& plan) {
    return FamilyBodyFor(plan);
}

}  // namespace image::sse41
