#include "tools/qvclip/HostClip.h"

#include <utility>

#include "foundation/CUStringWin.h"

namespace qvclip {

HostClip::HostClip(std::string path) : paths{std::move(path)} {}

HostClip::HostClip(std::vector<std::string> members) : paths(std::move(members)), fileList(true) {}

void HostClip::GetMediaFilePaths(CUSharedPtr<CUArray>* out) {
    if (!out) return;
    *out = nullptr;
    CUSharedPtr<CUMutableArray> array = CUCreate<CUMutableArray>();
    if (!array) return;
    for (const std::string& path : paths) {
        CUSharedPtr<CUStringWin> text = CUCreate<CUStringWin>(path.c_str());
        if (!text) return;
        array->AddObject(text);
    }
    *out = array;
}

}  // namespace qvclip
