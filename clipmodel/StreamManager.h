// StreamManager: the object between a parser filter and a clip on disk. Open decides from the
// extension, one question to the host's clip and the shape of the file name which wrapper reads
// the clip, makes it and lets it load. From then on every ICVCProp operation takes the manager's
// lock and forwards to the wrapper it holds: cifWrapper first, then mxfWrapper, then mp4Wrapper.
//
// One manager holds one clip; an unopened manager is safe to query and answers the defaults.
// Threads: every ICVCProp operation and the MP4 operations hold the manager's recursive lock for
// their whole run. Open takes no lock: it runs before any streaming thread exists.
// Failures: Open answers 1 when the clip is open, anything else when not; the narrow-string
// exceptions of the MXF reader's constructors travel on to its caller.
#pragma once

#include <cstdint>

#include "clipmodel/CIFWrapperBase.h"
#include "clipmodel/CMBXClip.h"
#include "clipmodel/ICVCProp.h"
#include "foundation/CURecursiveLock.h"
#include "foundation/CUStringWin.h"

class MXFWrapper;
class CIFMP4Wrapper;

// clipVersion: what kind of clip was opened.
inline constexpr uint32_t ClipVersionNone = 0;          // lone MXF, or an MP4-family clip
inline constexpr uint32_t ClipVersionFileList = 255;    // MXF files listed by the host's clip
inline constexpr uint32_t ClipVersionCIF1 = 256;        // a ".CIF" clip information file
inline constexpr uint32_t ClipVersionCIF2 = 512;
inline constexpr uint32_t ClipVersionCIF3 = 768;
inline constexpr uint32_t ClipVersionCIF3AVC = 1024;

// The file name shapes of the later clip information versions, tested in this order.
enum class ClipNameShape { None, V200, V300, V300AVC };

class StreamManager : public ICVCProp, public virtual CURecursiveLock {
public:
    StreamManager();
    ~StreamManager() override;

    uint32_t Open(CUSharedPtr<CUStringWin> path, CUSharedPtr<CMBXClip> clip);

    // The name test of a path's last component (".MXF" in capitals, the stem's shape).
    static ClipNameShape ShapeOfName(const CUStringWin& path);

    void Close() override;
    CUSharedPtr<CUArray>& GetFileList(CUSharedPtr<CUArray>& out) override;
    uint64_t GetFrameCount(int64_t member) override;
    uint32_t GetWidth() override;
    uint32_t GetHeight() override;
    std::pair<uint32_t, uint32_t>& GetFrameRate(std::pair<uint32_t, uint32_t>& out) override;
    uint32_t GetColorGamut() override;
    uint32_t GetGammaType() override;
    uint32_t GetHLGColor() override;
    uint32_t GetLookType() override;
    // At most 4.
    uint32_t GetAudioChannels() override;
    uint32_t GetAudioSampleRate() override;
    uint32_t GetAudioBitDepth() override;
    bool IsIntraCoded() override;
    uint32_t GetContainerType() override;
    uint32_t GetCodecTag() override;
    uint64_t GetKeyFrame(uint64_t frame) override;
    bool FindDecodableFrame(uint64_t frame, bool intraOnly, uint64_t* found) override;
    bool FindRandomAccessFrame(uint64_t frame, uint64_t* found) override;
    uint8_t ReadFrame(uint64_t frame, uint8_t* buffer, uint32_t size, FrameElementLayout* layout,
                      uint32_t elements) override;
    int32_t GetIndexEntry(uint32_t frame, uint8_t* temporalOffset, uint8_t* keyFrameOffset,
                          uint8_t* flags) override;

    // For the MP4 pins; the defaults until the MP4 wrappers exist.
    bool IsAACAudio();
    uint64_t GetAudioSampleCount();
    bool FindSyncFrame(uint32_t frame, uint64_t* found);

    // The held wrapper's chromaFormat and bitDepthCode, under the lock; ClipCodeUnknown without one.
    uint32_t GetChromaFormat();
    uint32_t GetBitDepthCode();

    CUSharedPtr<CUStringWin> path;
    CUSharedPtr<CIFWrapperBase> cifWrapper;
    CUSharedPtr<MXFWrapper> mxfWrapper;
    CUSharedPtr<CIFMP4Wrapper> mp4Wrapper;
    uint32_t clipVersion = ClipVersionNone;  // set by Open, constant afterwards
};
