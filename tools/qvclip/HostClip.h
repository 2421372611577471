// HostClip: qvclip's own clip object, the one it hands to StreamManager::Open. A clip is either
// one path (the manager decides from the name what it is) or a list of member files that the
// host already knows, in playing order (a file-list clip).
// A value filled once before Open and only read afterwards; no lock.
#pragma once

#include <string>
#include <vector>

#include "clipmodel/CMBXClip.h"

namespace qvclip {

class HostClip : public CMBXClip {
public:
    // A clip given by one path.
    explicit HostClip(std::string path);
    // A clip of listed member files; IsFileListClip answers true.
    explicit HostClip(std::vector<std::string> members);

    bool IsFileListClip() override { return fileList; }
    // The member files, or the one path, as CUStringWin objects; null when no array can be made.
    void GetMediaFilePaths(CUSharedPtr<CUArray>* out) override;

    const std::vector<std::string>& Paths() const { return paths; }

private:
    std::vector<std::string> paths;
    bool fileList = false;
};

}  // namespace qvclip
