// A system item of any bytes: the analysis decodes what it can and never crashes or hangs.
#include <cstddef>
#include <cstdint>

#include "clipmodel/CMBXAnalyzeSystemItemData.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const uint8_t none = 0;
    CUSharedPtr<CMBXAnalyzeSystemItemData> analyser =
        CUCreate<CMBXAnalyzeSystemItemData>(CUCreate<CUMemoryStream>(size ? data : &none, size));
    if (analyser) analyser->Analyze();
    return 0;
}
