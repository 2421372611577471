#include "foundation/CUFileSysytemInfo.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "foundation/CUErrorContents.h"
#include "foundation/CUPosixFile.h"

namespace {
[[noreturn]] void Fail(_CUErrorContents code) {
    throw static_cast<uint32_t>(code);
}

const CUStringWin& CheckedPath(const CUSharedPtr<CUStringWin>& path) {
    if (!path) Fail(CUErrorNullArgument);
    if (path->Length() == 0) Fail(CUErrorInvalid);
    return *path;
}
}  // namespace

CUFileSysytemInfo::CUFileSysytemInfo(const CUSharedPtr<CUStringWin>& path)
    : path(CheckedPath(path)) {}

CUSharedPtr<CUStringWin> CUFileSysytemInfo::Description() const {
    return CUCreate<CUStringWin>(
        (CUObjectDescriptionText(*this) + " " + path.UTF8String()).c_str());
}

CUSharedPtr<CUStringWin> CUFileSysytemInfo::Path() const {
    return CUCreate<CUStringWin>(path);
}

void CUFileSysytemInfo::Rename(const CUSharedPtr<CUStringWin>& newName) {
    const CUStringWin& name = CheckedPath(newName);
    CUStringWin directory;
    CUStringWin renamed;
    if (path.StringByDeletingLastPathComponent(directory) != CUStatusOK ||
        directory.StringByAppendingPathComponent(name, renamed) != CUStatusOK) {
        return;
    }
    std::string from;
    std::string to;
    if (!CUPosixFile::NativePath(path, &from) || !CUPosixFile::NativePath(renamed, &to)) {
        Fail(CUErrorIO);
    }
    // A rename never replaces a file that is already there.
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        // File systems without the no-replace flag get a look first; the window between the
        // look and the rename is the best they allow.
        struct stat info {};
        if (errno != EINVAL || ::lstat(to.c_str(), &info) == 0 ||
            ::rename(from.c_str(), to.c_str()) != 0) {
            Fail(CUErrorIO);
        }
    }
    path = renamed;
}
