#include "tools/qvclip/ClipSession.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <new>

#include "foundation/CUErrorContents.h"
#include "mxf/MXFLabels.h"
#include "mxf/MXFWrapper.h"

namespace qvclip {

namespace {

// A frame of the camera's formats fits in a few MiB; the buffer starts there and doubles up to a
// bound that no real frame reaches, so a broken index cannot make us allocate without limit.
constexpr size_t kFirstFrameBuffer = size_t{8} << 20;
constexpr size_t kMaxFrameBuffer = size_t{256} << 20;

// The header partition pack may follow a run-in of less than 64 KiB.
constexpr size_t kMaxRunIn = 65535;
constexpr size_t kPartitionKeyPrefix = 13;  // the bytes that all partition pack keys share
constexpr uint8_t kHeaderPartitionKind = 0x02;

// Text of whatever the reader threw; call inside a catch block.
std::string DescribeCurrentException() {
    auto codeText = [](uint32_t code) -> std::string {
        switch (code) {
            case CUErrorInvalid:
                return "invalid operation on the file";
            case CUErrorNullArgument:
                return "missing argument";
            case CUErrorIO:
                return "input/output error";
            case CUErrorNotPermitted:
                return "operation not permitted";
            case CUErrorIsDirectory:
                return "is a folder";
            case CUErrorNotFound:
                return "no such file";
            default:
                return "failure code " + std::to_string(code);
        }
    };
    try {
        throw;
    } catch (const char* text) {
        return text ? text : "unknown failure";
    } catch (_CUErrorContents code) {
        return codeText(code);
    } catch (uint32_t code) {
        return codeText(code);
    } catch (const CUPlatformError& error) {
        char text[32];
        std::snprintf(text, sizeof text, "platform error 0x%08X", error.code);
        return text;
    } catch (const std::bad_alloc&) {
        return "out of memory";
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "unexpected failure";
    }
}

std::string UpperExtension(const std::string& path) {
    const size_t slash = path.find_last_of("/\\");
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string extension = path.substr(dot);
    for (char& c : extension)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return extension;
}

// What the file system says against reading `path` as a file; empty when nothing.
std::string FileProblem(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return errno == ENOENT ? "no such file" : std::strerror(errno);
    if (S_ISDIR(status.st_mode)) return "is a folder, not a clip file";
    if (!S_ISREG(status.st_mode)) return "not a regular file";
    if (status.st_size == 0) return "empty file";
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::string("cannot be read: ") + std::strerror(errno);
    return "";
}

// Empty when a header partition pack starts the file, after at most a run-in.
std::string NotMXF(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> head(kMaxRunIn + kPartitionKeyPrefix + 1);
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<size_t>(in.gcount()));
    const auto& key = mxf_label::HeaderPartitionClosedComplete;
    const auto found =
        std::search(head.begin(), head.end(), key.begin(), key.begin() + kPartitionKeyPrefix,
                    [](char a, uint8_t b) { return static_cast<uint8_t>(a) == b; });
    if (found == head.end() || head.end() - found <= static_cast<long>(kPartitionKeyPrefix))
        return "not an MXF file: no partition pack at its start";
    if (static_cast<uint8_t>(found[kPartitionKeyPrefix]) != kHeaderPartitionKind)
        return "not an MXF file: it does not start with a header partition";
    return "";
}

// Why one MXF file does not open on its own as the camera's MXF reader opens it.
std::string MXFProblem(const std::string& path) {
    if (std::string problem = NotMXF(path); !problem.empty()) return problem;
    CUSharedPtr<MXFWrapper> wrapper = CUCreate<MXFWrapper>();
    CUSharedPtr<CUStringWin> text = CUCreate<CUStringWin>(path.c_str());
    if (!wrapper || !text) return "out of memory";
    try {
        if (wrapper->Open(text) == 1) return "";
    } catch (...) {
        return "the MXF reader failed: " + DescribeCurrentException();
    }
    return wrapper->FailureReason().empty() ? "not a readable MXF file of the camera family"
                                            : wrapper->FailureReason();
}

// Why a listed member cannot take part in a file-list clip; empty when it opens.
std::string MemberProblem(const std::string& path) {
    if (std::string problem = FileProblem(path); !problem.empty()) return problem;
    return MXFProblem(path);
}

const char* VersionOfShape(ClipNameShape shape) {
    switch (shape) {
        case ClipNameShape::V200:
            return "2";
        case ClipNameShape::V300:
            return "3";
        default:
            return "3 (AVC)";
    }
}

// Why the manager did not open a lone path; `thrown` is what it threw, if anything.
std::string PathProblem(StreamManager& manager, const std::string& path,
                        const std::string& thrown) {
    if (std::string problem = FileProblem(path); !problem.empty()) return problem;
    const std::string extension = UpperExtension(path);
    if (extension != ".MXF" && extension != ".CIF" && extension != ".MP4")
        return "unknown extension \"" + extension +
               "\": a clip is an .MXF file, a .CIF clip information file or an .MP4 file";
    if (extension == ".MXF") {
        const CUSharedPtr<CUStringWin> text = CUCreate<CUStringWin>(path.c_str());
        const ClipNameShape shape = text ? StreamManager::ShapeOfName(*text) : ClipNameShape::None;
        if (shape != ClipNameShape::None) {
            const size_t slash = path.find_last_of("/\\");
            const std::string mif =
                (slash == std::string::npos ? std::string() : path.substr(0, slash + 1)) +
                "INDEX.MIF";
            std::string why = std::string("named like a clip of clip information version ") +
                              VersionOfShape(shape) + ", which opens only through INDEX.MIF: ";
            return why + (FileProblem(mif).empty() ? "INDEX.MIF beside it does not list it, or "
                                                     "the clip it lists could not be loaded"
                                                   : "there is no INDEX.MIF beside it");
        }
        if (std::string problem = NotMXF(path); !problem.empty()) return problem;
        if (manager.mxfWrapper && !manager.mxfWrapper->FailureReason().empty())
            return manager.mxfWrapper->FailureReason();
    }
    if (!thrown.empty()) return "the reader failed: " + thrown;
    return "could not be opened as a clip";
}

std::string Utf8(const CUSharedPtr<CUObject>& object) {
    const CUSharedPtr<CUStringWin> text(object);
    return text ? text->UTF8String() : std::string();
}

}  // namespace

ClipSession ClipSession::OpenPath(const std::string& path) {
    ClipSession session;
    session.name = path;
    session.manager = CUCreate<StreamManager>();
    CUSharedPtr<HostClip> clip = CUCreate<HostClip>(path);
    CUSharedPtr<CUStringWin> text = CUCreate<CUStringWin>(path.c_str());
    if (!session.manager || !clip || !text) throw ClipError(path + ": out of memory");
    uint32_t result = 0;
    std::string thrown;
    try {
        result = session.manager->Open(text, clip);
    } catch (...) {
        thrown = DescribeCurrentException();
    }
    if (result != 1) throw ClipError(path + ": " + PathProblem(*session.manager, path, thrown));
    return session;
}

ClipSession ClipSession::OpenMembers(const std::vector<std::string>& members) {
    if (members.empty()) throw ClipError("--members: no files listed");
    ClipSession session;
    session.name = members.front();
    session.manager = CUCreate<StreamManager>();
    CUSharedPtr<HostClip> clip = CUCreate<HostClip>(members);
    CUSharedPtr<CUStringWin> text = CUCreate<CUStringWin>(members.front().c_str());
    if (!session.manager || !clip || !text) throw ClipError(session.name + ": out of memory");
    // The manager picks the reader of a file list by the extension of the path it is given.
    if (UpperExtension(members.front()) != ".MXF")
        throw ClipError(members.front() + ": a clip of listed files takes .MXF files only");
    uint32_t result = 0;
    std::string thrown;
    try {
        result = session.manager->Open(text, clip);
    } catch (...) {
        thrown = DescribeCurrentException();
    }
    if (result != 1) {
        for (const std::string& member : members)
            if (std::string problem = MemberProblem(member); !problem.empty())
                throw ClipError(member + ": " + problem);
        throw ClipError(session.name + ": the listed files could not be opened as one clip" +
                        (thrown.empty() ? "" : ": " + thrown));
    }
    // The reader leaves out the files it cannot open; a user who listed a file wants to know.
    const std::vector<std::string> files = session.Files();
    for (const std::string& member : members) {
        if (std::find(files.begin(), files.end(), member) != files.end()) continue;
        if (files.size() >= members.size()) break;  // the reader may spell paths its own way
        std::string problem = MemberProblem(member);
        throw ClipError(member + ": left out of the clip: " +
                        (problem.empty() ? "the reader did not take it" : problem));
    }
    return session;
}

uint64_t ClipSession::FrameCount() const {
    return manager->GetFrameCount(-1);
}

uint32_t ClipSession::SoundElements() const {
    return std::min<uint32_t>(manager->GetAudioChannels(), FrameElementLayout::kSoundElements);
}

std::vector<std::string> ClipSession::Files() const {
    std::vector<std::string> files;
    CUSharedPtr<CUArray> array;
    manager->GetFileList(array);
    if (!array) return files;
    for (uint64_t i = 0; i < array->Count(); ++i) files.push_back(Utf8(array->ObjectAtIndex(i)));
    return files;
}

const FrameElements& ClipSession::Read(uint64_t frame, uint32_t elements) {
    const std::string where = name + ": frame " + std::to_string(frame);
    const uint64_t count = FrameCount();
    if (frame >= count)
        throw ClipError(where + " is beyond the clip's " + std::to_string(count) + " frames");
    FrameElementLayout& layout = frameElements.layout;
    try {
        if (buffer.empty()) buffer.resize(kFirstFrameBuffer);
        while (manager->ReadFrame(frame, buffer.data(), static_cast<uint32_t>(buffer.size()),
                                  &layout, elements) != 1) {
            // Without an index entry no buffer helps; say so instead of growing it for nothing.
            uint8_t temporalOffset = 0, keyFrameOffset = 0, flags = 0;
            if (manager->GetIndexEntry(static_cast<uint32_t>(frame), &temporalOffset,
                                       &keyFrameOffset, &flags) != 1)
                throw ClipError(where + " has no index entry: the index is missing or cut off");
            if (buffer.size() >= kMaxFrameBuffer)
                throw ClipError(where + " cannot be read: its bytes are not all in the file");
            buffer.resize(std::min(buffer.size() * 2, kMaxFrameBuffer));
        }
    } catch (const ClipError&) {
        throw;
    } catch (...) {
        throw ClipError(where + " cannot be read: " + DescribeCurrentException());
    }
    auto slice = [&](uint64_t offset, uint64_t size) -> std::span<const uint8_t> {
        if (offset > buffer.size() || size > buffer.size() - offset)
            throw ClipError(where + ": an element lies outside the frame buffer");
        return {buffer.data() + offset, static_cast<size_t>(size)};
    };
    frameElements.picture = slice(layout.pictureOffset, layout.pictureSize);
    frameElements.system = slice(layout.systemOffset, layout.systemSize);
    frameElements.ancillary = slice(layout.ancillaryOffset, layout.ancillarySize);
    frameElements.sound.clear();
    if (elements & ClipElementSound)
        for (uint32_t i = 0; i < SoundElements(); ++i)
            frameElements.sound.push_back(slice(layout.soundOffset[i], layout.soundSize[i]));
    return frameElements;
}

}  // namespace qvclip
