#include "filters/FactoryTemplate.h"

#include "filters/FilterCreators.h"
#include "filters/FilterIds.h"
#include "filters/MP4ParseFilter.h"
#include "filters/MovieDecodeFilter.h"
#include "filters/MXFParseFilter.h"

namespace {

constexpr FilterSetupMediaType kVideoMpeg2[] = {{&MEDIATYPE_Video, &MEDIASUBTYPE_MPEG2_VIDEO}};
constexpr FilterSetupMediaType kAudioPcm[] = {{&MEDIATYPE_Audio, &MEDIASUBTYPE_PCM}};
constexpr FilterSetupMediaType kVideoH264[] = {{&MEDIATYPE_Video, &MEDIASUBTYPE_H264}};
constexpr FilterSetupMediaType kVideoYv12[] = {{&MEDIATYPE_Video, &MEDIASUBTYPE_YV12}};
constexpr FilterSetupMediaType kVideoYuy2[] = {{&MEDIATYPE_Video, &MEDIASUBTYPE_YUY2}};
constexpr FilterSetupMediaType kMxfTimecode[] = {
    {&MEDIATYPE_MXFTimecode, &MEDIASUBTYPE_PrivateStream}};
constexpr FilterSetupMediaType kMp4Timecode[] = {
    {&MEDIATYPE_MP4Timecode, &MEDIASUBTYPE_PrivateStream}};
constexpr FilterSetupMediaType kMxfAudioLevel[] = {
    {&MEDIATYPE_MXFAudioLevel, &MEDIASUBTYPE_PrivateStream}};
constexpr FilterSetupMediaType kMp4AudioLevel[] = {
    {&MEDIATYPE_MP4AudioLevel, &MEDIASUBTYPE_PrivateStream}};

// A parser's output, a transform's input and output, a renderer's input.
constexpr FilterSetupPin ParserOut(const wchar_t* name,
                                   std::span<const FilterSetupMediaType> types) {
    return {name, false, true, false, false, &GUID_NULL, L"Input", types};
}
constexpr FilterSetupPin TransformIn(std::span<const FilterSetupMediaType> types) {
    return {L"Input", false, false, false, false, &GUID_NULL, L"Output", types};
}
constexpr FilterSetupPin TransformOut(std::span<const FilterSetupMediaType> types) {
    return {L"output", false, true, false, false, &GUID_NULL, L"input", types};
}
constexpr FilterSetupPin RendererIn(std::span<const FilterSetupMediaType> types) {
    return {L"Input", true, false, false, false, &GUID_NULL, L"Output", types};
}

constexpr FilterSetupPin kMxfParserPins[] = {ParserOut(L"OutMxfMv", kVideoMpeg2),
                                             ParserOut(L"OutMxfAd", kAudioPcm),
                                             ParserOut(L"OutMxfTc", kMxfTimecode)};
constexpr FilterSetupPin kMp4ParserPins[] = {ParserOut(L"OutMp4Mv", kVideoMpeg2),
                                             ParserOut(L"OutMp4Ad", kAudioPcm),
                                             ParserOut(L"OutMp4Tc", kMp4Timecode)};
constexpr FilterSetupPin kMxfTimecodePins[] = {RendererIn(kMxfTimecode)};
constexpr FilterSetupPin kMp4TimecodePins[] = {RendererIn(kMp4Timecode)};
constexpr FilterSetupPin kSoundPins[] = {TransformIn(kAudioPcm), TransformOut(kAudioPcm)};
constexpr FilterSetupPin kMxfAudioLevelPins[] = {RendererIn(kMxfAudioLevel)};
constexpr FilterSetupPin kMp4AudioLevelPins[] = {RendererIn(kMp4AudioLevel)};
constexpr FilterSetupPin kMoviePins[] = {TransformIn(kVideoH264), TransformOut(kVideoYv12)};
constexpr FilterSetupPin kConvertPins[] = {TransformIn(kVideoYuy2), TransformOut(kVideoYuy2)};

constexpr const wchar_t* kMxfParserName = L"Zorel QV Clip Parser 3";
constexpr const wchar_t* kTimecodeName = L"Zorel QV Timecode Renderer 3";
constexpr const wchar_t* kMixerName = L"Zorel QV Sound Mixer 3";
constexpr const wchar_t* kSplitterName = L"Zorel QV Sound Splitter 3";
constexpr const wchar_t* kAudioLevelName = L"Zorel QV AudioLevel Renderer 3";
constexpr const wchar_t* kDecoderName = L"Zorel QV Movie Decoder 3";
constexpr const wchar_t* kResizeName = L"Zorel QV Movie Resize 3";
constexpr const wchar_t* kConvertName = L"Zorel QV Convert Filter 3";
constexpr const wchar_t* kMp4ParserName = L"Zorel MP4 Clip Parser 3";

const FilterSetup kMxfParserSetup{kMxfParserName, &CLSID_MXFParseFilter, MERIT_NORMAL,
                                  kMxfParserPins};
const FilterSetup kTimecodeSetup{kTimecodeName, &CLSID_TimecodeRenderer, MERIT_NORMAL,
                                 kMxfTimecodePins};
const FilterSetup kMixerSetup{kMixerName, &CLSID_SoundMixerFilter, MERIT_UNLIKELY, kSoundPins};
// Shared by both splitter rows: the MP4 splitter has no mapper entry of its own.
const FilterSetup kSplitterSetup{kSplitterName, &CLSID_SoundSplitterFilter, MERIT_UNLIKELY,
                                 kSoundPins};
const FilterSetup kAudioLevelSetup{kAudioLevelName, &CLSID_AudioLevelRenderer, MERIT_NORMAL,
                                   kMxfAudioLevelPins};
const FilterSetup kDecoderSetup{kDecoderName, &CLSID_MovieDecodeFilter, MERIT_UNLIKELY, kMoviePins};
const FilterSetup kResizeSetup{kResizeName, &CLSID_MovieResizeFilter, MERIT_UNLIKELY, kMoviePins};
const FilterSetup kConvertSetup{kConvertName, &CLSID_ConvertFilter, MERIT_UNLIKELY, kConvertPins};
const FilterSetup kMp4ParserSetup{kMp4ParserName, &CLSID_MP4ParseFilter, MERIT_NORMAL,
                                  kMp4ParserPins};
const FilterSetup kMp4AudioLevelSetup{kAudioLevelName, &CLSID_MP4AudioLevelRenderer, MERIT_NORMAL,
                                      kMp4AudioLevelPins};
const FilterSetup kMp4TimecodeSetup{kTimecodeName, &CLSID_MP4TimecodeRenderer, MERIT_NORMAL,
                                    kMp4TimecodePins};

const CFactoryTemplate kTemplates[] = {
    {kMxfParserName, &CLSID_MXFParseFilter, &MXFParseFilter::CreateInstance, nullptr,
     &kMxfParserSetup},
    {kTimecodeName, &CLSID_TimecodeRenderer, &CreateTimecodeRenderer, nullptr, &kTimecodeSetup},
    {kMixerName, &CLSID_SoundMixerFilter, &CreateSoundMixerFilter, nullptr, &kMixerSetup},
    {kSplitterName, &CLSID_SoundSplitterFilter, &CreateSoundSplitterFilterMXF, nullptr,
     &kSplitterSetup},
    {kAudioLevelName, &CLSID_AudioLevelRenderer, &CreateAudioLevelRendererMXF, nullptr,
     &kAudioLevelSetup},
    {kDecoderName, &CLSID_MovieDecodeFilter, &CMovieDecodeFilter::CreateInstance, nullptr, &kDecoderSetup},
    {kResizeName, &CLSID_MovieResizeFilter, &CreateMovieResizeFilter, nullptr, &kResizeSetup},
    {kConvertName, &CLSID_ConvertFilter, &CreateConvertFilter, nullptr, &kConvertSetup},
    {kMp4ParserName, &CLSID_MP4ParseFilter, &MP4ParseFilter::CreateInstance, nullptr,
     &kMp4ParserSetup},
    {kAudioLevelName, &CLSID_MP4AudioLevelRenderer, &CreateAudioLevelRendererMP4, nullptr,
     &kMp4AudioLevelSetup},
    {kTimecodeName, &CLSID_MP4TimecodeRenderer, &CreateMP4TimecodeRenderer, nullptr,
     &kMp4TimecodeSetup},
    {kSplitterName, &CLSID_MP4SoundSplitterFilter, &CreateSoundSplitterFilterMP4, nullptr,
     &kSplitterSetup},
};

}  // namespace

std::span<const CFactoryTemplate> FactoryTemplates() {
    return kTemplates;
}

const CFactoryTemplate* FindFactoryTemplate(REFCLSID clsid) {
    for (const CFactoryTemplate& row : kTemplates) {
        if (row.IsClassId(clsid)) return &row;
    }
    return nullptr;
}
