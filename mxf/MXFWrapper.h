// MXFWrapper: one camera MXF file through the clip interface. It opens the file, refuses what did
// not come from the camera family (operational pattern label and CompanyName "ZOREL", in any
// case), reads the picture and sound parameters out of the descriptors into cached members, and
// answers frame questions from the index.
//
// Elements of a content package: 0 the system item, 1 the picture, 2 and up one sound element a
// channel, the last track's element the ancillary data.
// Threads: no lock of its own; reached through StreamManager (or a CIF wrapper) under its lock;
// MXFStream locks its own cursor inside.
// Failures: Open answers 1 or 0 and lets the narrow-string exceptions of the reader's
// constructors through; frame operations never throw: a frame whose index cannot be had behaves
// as a frame without data.
#pragma once

#include <cstdint>

#include "clipmodel/ClipFacts.h"
#include "clipmodel/ICVCProp.h"
#include "foundation/CUStringWin.h"
#include "mxf/MXFStream.h"
#include "mxf/STTrack.h"

class MXFWrapper : public ICVCProp, public CUObject, public ClipFacts {
public:
    MXFWrapper();

    // 1 when the file opened, is of the family and its parameters could be read; 0 otherwise.
    uint32_t Open(CUSharedPtr<CUStringWin> path);
    // Why the last Open gave 0, for people ("not of the camera family: CompanyName is ...").
    const std::string& FailureReason() const { return failure; }

    void Close() override;
    CUSharedPtr<CUArray>& GetFileList(CUSharedPtr<CUArray>& out) override;
    uint64_t GetFrameCount(int64_t member) override;
    uint32_t GetWidth() override { return width; }
    uint32_t GetHeight() override { return height; }
    std::pair<uint32_t, uint32_t>& GetFrameRate(std::pair<uint32_t, uint32_t>& out) override;
    uint32_t GetColorGamut() override { return colorGamut; }
    uint32_t GetGammaType() override { return gammaType; }
    uint32_t GetHLGColor() override { return hlgColor; }
    uint32_t GetLookType() override { return ClipCodeUnknown; }  // the format has no such field
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

    CUSharedPtr<CUStringWin> path;
    CUSharedPtr<MXFStream> stream;
    CUSharedPtr<CUMutableArray> filePaths;

private:
    bool IsOfFamily();
    uint32_t ReadParameters();
    void ReadPicture(const STTrack& track);
    void ReadSound(const STTrack& track);
    // Walks forward from `frame` to the first frame whose index flags `take` accepts.
    template <class Take>
    bool Walk(uint64_t frame, uint64_t* found, Take take);

    std::string failure;
};
