// CUFileSysytemInfo: a handle on a path in the file system; CUFileInfo adds the file operations.
//
// Construction throws _CUErrorContents codes as uint32_t: 2 for a null path, 1 for empty text.
// Rename throws 2 for a null name, 1 for an empty one and 4 when the file system refuses; it
// never replaces an existing file.
// Threads: no lock; one thread at a time, or an outside lock.
#pragma once

#include "foundation/CUObject.h"
#include "foundation/CUStringWin.h"

class CUFileSysytemInfo : public CUObject {
public:
    explicit CUFileSysytemInfo(const CUSharedPtr<CUStringWin>& path);

    // The object's own form followed by the path.
    CUSharedPtr<CUStringWin> Description() const override;

    // A new string holding the path.
    virtual CUSharedPtr<CUStringWin> Path() const;
    // Gives the file `newName` in its own directory and makes that the path. Does nothing when
    // the directory cannot be taken or the new path cannot be formed.
    virtual void Rename(const CUSharedPtr<CUStringWin>& newName);

protected:
    CUStringWin path;
};
