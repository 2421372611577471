#include "foundation/CUSortDescriptor.h"

int32_t CUSortDescriptor::Compare(CUSharedPtr<CUObject>, CUSharedPtr<CUObject>) { return 0; }
