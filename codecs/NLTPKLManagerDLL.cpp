#include "codecs/NLTPKLManagerDLL.h"

#include <sys/stat.h>

#include <mutex>
#include <string>

#include "foundation/CUTextCodec.h"

namespace {
std::mutex lock;
std::u16string lastPath;  // guarded by `lock`
}  // namespace

bool NLTPKLManagerDLL::InitializePKL(const CUStringWin& libraryPath) {
    const char16_t* units = libraryPath.WideChars();
    const std::u16string path = units ? std::u16string(units) : std::u16string();
    {
        std::lock_guard<std::mutex> guard(lock);
        lastPath = path;
    }
    struct stat status {};
    return !path.empty() && ::stat(cu_text::EncodeUTF8(path).c_str(), &status) == 0 &&
           S_ISREG(status.st_mode);
}

CUStringWin NLTPKLManagerDLL::LastLibraryPath() {
    std::lock_guard<std::mutex> guard(lock);
    return CUStringWin(std::u16string_view(lastPath));
}
