// ICVCProp: the one face every clip shows the filters, whatever its container: a picture size, a
// frame rate, sound parameters, a numbered sequence of frames (from 0) and a way to fetch the
// bytes of one frame. StreamManager implements it by forwarding to the wrapper it holds; each
// wrapper implements it for its container.
//
// Threads: implementations have no lock of their own except StreamManager, which holds its lock
// around every operation; wrappers are reached only through it.
#pragma once

#include <cstdint>
#include <utility>

#include "clipmodel/FrameElementLayout.h"
#include "foundation/CUArray.h"

// What ReadFrame fetches.
enum ClipElement : uint32_t {
    ClipElementPicture = 1,
    ClipElementSound = 2,
    ClipElementSystem = 4,  // the system item and the ancillary data element
};

// Container kinds of GetContainerType.
inline constexpr uint32_t ClipContainerMXF = 1;
inline constexpr uint32_t ClipContainerMP4 = 2;

// Index flags of the MXF index table: both top bits mark a random access point, bits 5-4 give the
// prediction class.
inline constexpr uint8_t ClipIndexRandomAccess = 0xC0;
inline constexpr uint8_t ClipIndexPredictionMask = 0x30;

// Codes of a clip's picture, the module's own code space.
inline constexpr uint32_t ClipCodeUnknown = 0xFFFFFFFF;
inline constexpr uint32_t ClipChromaRGB = 1;
inline constexpr uint32_t ClipChroma422 = 2;
inline constexpr uint32_t ClipChroma420 = 3;
inline constexpr uint32_t ClipBitDepth12 = 1;
inline constexpr uint32_t ClipBitDepth10 = 2;
inline constexpr uint32_t ClipBitDepth8 = 3;

class ICVCProp {
public:
    virtual ~ICVCProp() = default;

    // Lets go of the files.
    virtual void Close() = 0;
    // Paths of the member files (CUStringWin objects); gives `out` back.
    virtual CUSharedPtr<CUArray>& GetFileList(CUSharedPtr<CUArray>& out) = 0;
    // Frames of the whole clip for -1, else of that member.
    virtual uint64_t GetFrameCount(int64_t member) = 0;
    virtual uint32_t GetWidth() = 0;
    virtual uint32_t GetHeight() = 0;
    // Numerator first; gives `out` back.
    virtual std::pair<uint32_t, uint32_t>& GetFrameRate(std::pair<uint32_t, uint32_t>& out) = 0;
    virtual uint32_t GetColorGamut() = 0;
    virtual uint32_t GetGammaType() = 0;
    virtual uint32_t GetHLGColor() = 0;
    virtual uint32_t GetLookType() = 0;
    virtual uint32_t GetAudioChannels() = 0;
    virtual uint32_t GetAudioSampleRate() = 0;
    virtual uint32_t GetAudioBitDepth() = 0;
    virtual bool IsIntraCoded() = 0;
    virtual uint32_t GetContainerType() = 0;
    virtual uint32_t GetCodecTag() = 0;
    // The frame where decoding has to start to reach `frame`.
    virtual uint64_t GetKeyFrame(uint64_t frame) = 0;
    // The next frame at or after `frame` that decodes without later frames.
    virtual bool FindDecodableFrame(uint64_t frame, bool intraOnly, uint64_t* found) = 0;
    // The next frame at or after `frame` with the random access flags.
    virtual bool FindRandomAccessFrame(uint64_t frame, uint64_t* found) = 0;
    // Copies the frame's elements (ClipElement bits) into `buffer`; 1 on success, 0 otherwise.
    // `layout` is zeroed first on every call.
    virtual uint8_t ReadFrame(uint64_t frame, uint8_t* buffer, uint32_t size,
                              FrameElementLayout* layout, uint32_t elements) = 0;
    // The frame's row of the MXF index; 1 on success.
    virtual int32_t GetIndexEntry(uint32_t frame, uint8_t* temporalOffset,
                                  uint8_t* keyFrameOffset, uint8_t* flags) = 0;
};
