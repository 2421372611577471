#include "image/SharedTables.h"

#include "foundation/CUObject.h"
#include "foundation/CURecursiveLock.h"

namespace image {

SharedTables& Shared() {
    // Made on first use and never destroyed: makers may stop while the process exits.
    static SharedTables* const tables = [] {
        auto* made = new SharedTables;
        made->lock = CUCreate<CURecursiveLock>();
        return made;
    }();
    return *tables;
}

}  // namespace image
