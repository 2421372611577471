// An MXF file of any bytes: opening it through the clip wrapper and reading every element of the
// first frames ends in the reader's failures or short reads, never a crash or a hang. Seed it
// with clips from `qvclip synth`.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "mxf/MXFWrapper.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/qvflts-fuzz-" + std::to_string(::getpid()) + ".MXF";
    if (FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    try {
        CUSharedPtr<MXFWrapper> clip = CUCreate<MXFWrapper>();
        if (clip && clip->Open(CUCreate<CUStringWin>(path.c_str())) == 1) {
            std::vector<uint8_t> buffer(1 << 20);
            for (uint64_t frame = 0; frame < clip->GetFrameCount(-1) && frame < 16; ++frame) {
                FrameElementLayout layout;
                clip->ReadFrame(frame, buffer.data(), static_cast<uint32_t>(buffer.size()), &layout,
                                7);
                uint64_t found = 0;
                clip->GetKeyFrame(frame);
                clip->FindDecodableFrame(frame, false, &found);
            }
        }
    } catch (const char*) {
    }
    return 0;
}
