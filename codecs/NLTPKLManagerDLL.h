// NLTPKLManagerDLL: the seam of the image library that the MP4 parser starts when it loads a
// clip. The library itself is not part of this system; what the parser needs from it is only that
// it is told the library's path once per load and that its failure stops nothing. The path given
// last is kept for the host to see.
// Threads: any thread; the path is guarded. Failures: InitializePKL answers false when no file
// is at the path (the caller ignores it).
#pragma once

#include "foundation/CUStringWin.h"

class NLTPKLManagerDLL {
public:
    static bool InitializePKL(const CUStringWin& libraryPath);
    // The path of the last InitializePKL; empty before the first.
    static CUStringWin LastLibraryPath();
};
