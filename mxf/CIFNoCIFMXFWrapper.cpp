#include "mxf/CIFNoCIFMXFWrapper.h"

#include "mxf/MXFWrapper.h"

namespace {
// The clip has no look field of its own; this marks "no clip information" for the filters.
constexpr uint32_t kLookWithoutClipInfo = 255;
}  // namespace

uint32_t CIFNoCIFMXFWrapper::LoadFromClip(CUSharedPtr<CMBXClip> clip) {
    if (!clip) return 0;
    CUSharedPtr<CUArray> paths;
    clip->GetMediaFilePaths(&paths);
    if (!paths) return 0;
    if (!filePaths) filePaths = CUCreate<CUMutableArray>();
    if (!members) members = CUCreate<CUMutableArray>();
    if (!filePaths || !members) return 0;

    for (uint64_t i = 0; i < paths->Count(); ++i) {
        CUSharedPtr<CUStringWin> path(paths->ObjectAtIndex(i));
        if (!path) continue;
        CUSharedPtr<MXFWrapper> member = CUCreate<MXFWrapper>();
        // A member that does not open is left out; the clip plays what remains.
        if (!member || member->Open(path) != 1) continue;
        filePaths->AddObject(path);
        members->AddObject(member);
        frameCount += member->GetFrameCount(-1);
    }
    return LoadClipInfo() ? 1 : 0;
}

bool CIFNoCIFMXFWrapper::LoadClipInfo() {
    if (!members || members->Count() == 0) return false;
    CUSharedPtr<MXFWrapper> model(members->ObjectAtIndex(0));
    if (!model) return false;
    width = model->width;
    height = model->height;
    frameRateNumerator = model->frameRateNumerator;
    frameRateDenominator = model->frameRateDenominator;
    chromaFormat = model->chromaFormat;
    bitDepthCode = model->bitDepthCode;
    colorGamut = model->colorGamut;
    gammaType = model->gammaType;
    hlgColor = model->hlgColor;
    audioChannels = model->audioChannels;
    audioSampleRate = model->audioSampleRate;
    audioBitDepth = model->audioBitDepth;
    intraCoded = model->intraCoded;
    lookType = kLookWithoutClipInfo;
    return true;
}
