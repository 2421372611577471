// CIFWrapperBase: ICVCProp for a clip made of several MXF members. It keeps the clip's cached
// facts, filled once by the subclass's LoadClipInfo, and numbers frames across the members by
// what each member's own index says.
// Threads: no lock of its own; reached only through StreamManager, under its lock.
// Failures: queries give the initial values of a fact the clip does not carry; frame operations
// give 0 or false for a frame beyond the members.
#pragma once

#include <cstdint>

#include "clipmodel/ClipFacts.h"
#include "clipmodel/ICVCProp.h"
#include "foundation/CUArray.h"

class CIFWrapperBase : public ICVCProp, public CUObject, public ClipFacts {
public:
    CIFWrapperBase();

    // Fills the cached facts from the clip information; true when loaded.
    virtual bool LoadClipInfo() = 0;

    void Close() override;
    CUSharedPtr<CUArray>& GetFileList(CUSharedPtr<CUArray>& out) override;
    uint64_t GetFrameCount(int64_t member) override;
    uint32_t GetWidth() override { return width; }
    uint32_t GetHeight() override { return height; }
    std::pair<uint32_t, uint32_t>& GetFrameRate(std::pair<uint32_t, uint32_t>& out) override;
    uint32_t GetColorGamut() override { return colorGamut; }
    uint32_t GetGammaType() override { return gammaType; }
    uint32_t GetHLGColor() override { return hlgColor; }
    uint32_t GetLookType() override { return lookType; }
    uint32_t GetAudioChannels() override { return audioChannels; }
    uint32_t GetAudioSampleRate() override { return audioSampleRate; }
    uint32_t GetAudioBitDepth() override { return audioBitDepth; }
    bool IsIntraCoded() override { return intraCoded != 0; }
    uint32_t GetContainerType() override { return ClipContainerMXF; }
    uint32_t GetCodecTag() override { return 0; }
    uint64_t GetKeyFrame(uint64_t frame) override;
    bool FindDecodableFrame(uint64_t frame, bool intraOnly, uint64_t* found) override;
    bool FindRandomAccessFrame(uint64_t frame, uint64_t* found) override;
    uint8_t ReadFrame(uint64_t frame, uint8_t* buffer, uint32_t size, FrameElementLayout* layout,
                      uint32_t elements) override;
    int32_t GetIndexEntry(uint32_t frame, uint8_t* temporalOffset, uint8_t* keyFrameOffset,
                          uint8_t* flags) override;

    // The member that holds `frame` and the frame's number inside it; false with no members or
    // past the last one. Frames are 32-bit here.
    bool FindMember(uint32_t frame, uint64_t* member, uint32_t* localFrame);
    // Member `index` as a clip, or null.
    ICVCProp* Member(uint64_t index) const;

    CUSharedPtr<CUMutableArray> filePaths;  // CUStringWin paths of the members that opened
    CUSharedPtr<CUMutableArray> members;    // one ICVCProp wrapper (an MXFWrapper) for each path
    uint32_t lookType = ClipCodeUnknown;    // the clip information's look code
};
