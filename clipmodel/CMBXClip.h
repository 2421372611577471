// CMBXClip: the host application's clip object, as far as this library uses it. The host derives
// its own class from it; the library holds it by CUSharedPtr and calls only these two operations.
#pragma once

#include "foundation/CUArray.h"

class CMBXClip : public CUObject {
public:
    // True when the host already knows the clip's media files: GetMediaFilePaths is to be used.
    virtual bool IsFileListClip() = 0;
    // The clip's media files in playing order, CUStringWin paths, through `out`.
    virtual void GetMediaFilePaths(CUSharedPtr<CUArray>* out) = 0;
};
