// ClipSession: one clip opened for a qvclip command, through StreamManager exactly as a parser
// filter opens it: from one path, or from a list of member files (a file-list clip).
//
// Every failure ends in ClipError, whose text is one line that names the file and says what is
// wrong with it (missing, not MXF, not of the camera family and why, a listed member left out, a
// frame that cannot be read). The reader's own exceptions (narrow strings, foundation codes) are
// caught here and never travel further.
// Not shared between threads; one session owns its manager and its frame buffer.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "clipmodel/FrameElementLayout.h"
#include "clipmodel/StreamManager.h"
#include "tools/qvclip/HostClip.h"

namespace qvclip {

class ClipError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The elements of one frame as ReadFrame placed them; valid until the session's next read.
struct FrameElements {
    FrameElementLayout layout;
    std::span<const uint8_t> picture, system, ancillary;
    std::vector<std::span<const uint8_t>> sound;  // one a sound element the clip has
};

class ClipSession {
public:
    static ClipSession OpenPath(const std::string& path);
    static ClipSession OpenMembers(const std::vector<std::string>& members);

    StreamManager& Manager() const { return *manager; }
    // The path, or the first member, for messages.
    const std::string& Name() const { return name; }
    uint64_t FrameCount() const;
    // Sound elements a frame carries (at most FrameElementLayout::kSoundElements).
    uint32_t SoundElements() const;
    // The member files as the clip reports them.
    std::vector<std::string> Files() const;

    // Reads the ClipElement bits `elements` of `frame`, growing the buffer as far as a frame can
    // need; ClipError when the frame cannot be read.
    const FrameElements& Read(uint64_t frame, uint32_t elements);

private:
    ClipSession() = default;

    CUSharedPtr<StreamManager> manager;
    std::string name;
    std::vector<uint8_t> buffer;
    FrameElements frameElements;
};

}  // namespace qvclip
