// CULog: the system's text log, a ring of ten files "<stem>0.log" ... "<stem>9.log" in one folder,
// each of at most 1,000,000 bytes; one line a message: "[time]\t[LEVEL]\tmessage\r\n" in UTF-8.
//
// Log(level, format, ...) is how every part of the system writes. Until a host installs a log with
// CULog::Install, Log costs one lock and one pointer copy and formats nothing; nothing in the file
// system is touched.
//
// Threads: Log may be called from any thread; CULog::Write holds the log's lock for the whole line,
// so lines never mix and the ring's index moves one line at a time.
// Failures: logging never reports a failure and throws nothing to its caller.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "foundation/CURecursiveLock.h"
#include "foundation/CUStringWin.h"

enum CULogLevel : uint32_t {
    CULogLevelError = 1,
    CULogLevelWarning = 2,
    CULogLevelInfo = 3,
    CULogLevelDebug = 4,  // any other value is written as "DEBUG" too
};

// The most bytes a log file holds; a line that would pass it starts the next file.
inline constexpr uint64_t CULogMaxFileBytes = 1000000;
inline constexpr uint32_t CULogFileCount = 10;

class CULog : public CUObject {
public:
    // Lines of a level above `threshold` are dropped; threshold 0 writes nothing. The ring starts
    // at file `startIndex` (0 to 9).
    CULog(CUSharedPtr<CUStringWin> folderPath, CUSharedPtr<CUStringWin> fileStem,
          uint32_t threshold, uint32_t startIndex = 0);

    // Makes the process's log `log` (null switches logging off again) and gives the one it had.
    static CUSharedPtr<CULog> Install(CUSharedPtr<CULog> log);
    static CUSharedPtr<CULog> Installed();

    void Write(uint32_t level, const CUSharedPtr<CUStringWin>& format, va_list arguments);

    uint32_t CurrentIndex();

private:
    CUSharedPtr<CUStringWin> PathForIndex();
    CUSharedPtr<CUStringWin> PathForLine(uint64_t lineBytes);
    void WriteLine(const CUStringWin& line);

    CURecursiveLock lock;
    uint32_t currentIndex;                 // guarded by lock
    CUSharedPtr<CUStringWin> folderPath;   // constant after construction
    CUSharedPtr<CUStringWin> fileStem;     // constant after construction
    uint32_t threshold;                    // constant after construction
};

// Formats by the wide-character printf rules of CUStringWin's StringWithFormat ("%s" takes a
// UTF-16 string, "%hs" a UTF-8 one); `format` itself is UTF-8.
void Log(uint32_t level, const char* format, ...);
