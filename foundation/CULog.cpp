#include "foundation/CULog.h"

#include <ctime>
#include <vector>

#include "foundation/CUAutoLock.h"
#include "foundation/CUDateTime.h"
#include "foundation/CUFileInfo.h"
#include "foundation/CUFileStream.h"

namespace {

// The process's log and the lock that guards the pointer. Built on first use, which happens before
// any thread the module starts can log.
struct InstalledLog {
    CURecursiveLock lock;
    CUSharedPtr<CULog> log;
};
InstalledLog& Installation() {
    static InstalledLog installed;
    return installed;
}

const CUStringWin& LevelText(uint32_t level) {
    static const CUStringWin error("ERROR"), warning("WARNING"), info("INFO"), debug("DEBUG");
    switch (level) {
        case CULogLevelError:
            return error;
        case CULogLevelWarning:
            return warning;
        case CULogLevelInfo:
            return info;
        default:
            return debug;
    }
}


// Format strings of the log; made once, then only read.
struct Formats {
    CUSharedPtr<CUStringWin> fileName = CUCreate<CUStringWin>("%s%d.log");
    CUSharedPtr<CUStringWin> line = CUCreate<CUStringWin>("[%s]\t[%s]\t%s\r\n");
    CUSharedPtr<CUStringWin> time = CUCreate<CUStringWin>("%04d/%02d/%02d %02d:%02d:%02d");
};
const Formats& LogFormats() {
    static const Formats formats;
    return formats;
}

// Formats, answering null instead of throwing: a line that cannot be made is not written.
template <class... Arguments>
CUSharedPtr<CUStringWin> Format(const CUSharedPtr<CUStringWin>& format, Arguments... arguments) {
    try {
        return StringWithFormat(format, arguments...);
    } catch (...) {
        return nullptr;
    }
}

}  // namespace

CULog::CULog(CUSharedPtr<CUStringWin> folderPath, CUSharedPtr<CUStringWin> fileStem,
             uint32_t threshold, uint32_t startIndex)
    : currentIndex(startIndex % CULogFileCount),
      folderPath(std::move(folderPath)),
      fileStem(std::move(fileStem)),
      threshold(threshold) {}

CUSharedPtr<CULog> CULog::Install(CUSharedPtr<CULog> log) {
    InstalledLog& installed = Installation();
    CUAutoLock guard(&installed.lock);
    std::swap(installed.log, log);
    return log;
}

CUSharedPtr<CULog> CULog::Installed() {
    InstalledLog& installed = Installation();
    CUAutoLock guard(&installed.lock);
    return installed.log;
}

uint32_t CULog::CurrentIndex() {
    CUAutoLock guard(&lock);
    return currentIndex;
}

void CULog::Write(uint32_t level, const CUSharedPtr<CUStringWin>& format, va_list arguments) {
    CUAutoLock guard(&lock);
    if (threshold < level) return;
    try {
        const CUDateTime now;
        const Formats& formats = LogFormats();
        CUSharedPtr<CUStringWin> time =
            Format(formats.time, now.GetYear(), now.GetMonth(), now.GetDay(), now.GetHour(),
                   now.GetMinute(), now.GetSecond());
        CUSharedPtr<CUStringWin> message;
        try {
            va_list copy;
            va_copy(copy, arguments);
            message = StringWithFormatV(format, copy);
            va_end(copy);
        } catch (...) {
        }
        if (!time || !message) return;
        CUSharedPtr<CUStringWin> line = Format(formats.line, time->WideChars(),
                                               LevelText(level).WideChars(), message->WideChars());
        if (!line) return;
        WriteLine(*line);
    } catch (...) {
        // Logging never reports a failure to its caller.
    }
}

CUSharedPtr<CUStringWin> CULog::PathForIndex() {
    CUSharedPtr<CUStringWin> name =
        Format(LogFormats().fileName, fileStem->WideChars(), static_cast<int>(currentIndex));
    if (!name) return nullptr;
    CUSharedPtr<CUStringWin> path = CUCreate<CUStringWin>();
    if (!path || folderPath->StringByAppendingPathComponent(*name, *path) != CUStatusOK)
        return nullptr;
    return path;
}

CUSharedPtr<CUStringWin> CULog::PathForLine(uint64_t lineBytes) {
    if (!folderPath || !fileStem) return nullptr;
    CUSharedPtr<CUStringWin> path = PathForIndex();
    if (!path) return nullptr;
    uint64_t fileBytes = 0;
    try {
        fileBytes = CUFileInfo(path).GetSize();
    } catch (...) {
        fileBytes = 0;  // a missing file counts as empty
    }
    // A line that brings the file to exactly the limit stays in it.
    if (fileBytes <= CULogMaxFileBytes && lineBytes <= CULogMaxFileBytes - fileBytes) return path;

    currentIndex = (currentIndex + 1) % CULogFileCount;
    path = PathForIndex();
    if (!path) return nullptr;
    try {
        CUFileInfo(path).Delete();
    } catch (...) {
    }
    return path;
}

void CULog::WriteLine(const CUStringWin& line) {
    uint32_t size = 0;
    if (line.GetMultiByteString(nullptr, CUStringEncodingUTF8, &size) != CUStatusOK || size == 0)
        return;
    const uint64_t lineBytes = size - 1;  // the terminator stays out of the file
    CUSharedPtr<CUStringWin> path = PathForLine(lineBytes);
    if (!path) return;
    std::vector<char> bytes(size);
    if (line.GetMultiByteString(bytes.data(), CUStringEncodingUTF8, &size) != CUStatusOK) return;
    try {
        CUFileStream file(path, 0, 1, false);
        file.Write(bytes.data(), lineBytes, 0, CUStreamOriginCurrent);
        file.Close();
    } catch (...) {
    }
}

void Log(uint32_t level, const char* format, ...) {
    CUSharedPtr<CULog> log;
    {
        InstalledLog& installed = Installation();
        CUAutoLock guard(&installed.lock);
        log = installed.log;
    }
    if (!log) return;
    CUSharedPtr<CUStringWin> text = CUCreate<CUStringWin>(format);
    if (!text) return;
    va_list arguments;
    va_start(arguments, format);
    log->Write(level, text, arguments);
    va_end(arguments);
}
