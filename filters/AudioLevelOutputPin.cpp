#include "filters/AudioLevelOutputPin.h"

#include "filters/FilterIds.h"
#include "filters/SoundSplitterFilter.h"

static_assert(CSoundSplitterFilter::kMaxChannels * 2 <= CAudioLevelOutputPin::kBufferSize,
              "a level sample holds a level for every channel the splitter accepts");

CAudioLevelOutputPin::CAudioLevelOutputPin(CSoundSplitterFilter* filter, CURecursiveLock* lock,
                                           HRESULT* phr, bool mp4Flavour)
    : CQueuedOutputPin("audio level output", filter, lock, phr, L"Audio Level Out"),
      m_bMp4Flavour(mp4Flavour) {}

HRESULT CAudioLevelOutputPin::CheckMediaType(const CMediaType* pmt) {
    if (!pmt) return E_POINTER;
    const GUID& major = m_bMp4Flavour ? MEDIATYPE_MP4AudioLevel : MEDIATYPE_MXFAudioLevel;
    return *pmt->Type() == major && *pmt->Subtype() == MEDIASUBTYPE_PrivateStream ? S_OK : E_FAIL;
}

HRESULT CAudioLevelOutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!pMediaType) return E_UNEXPECTED;
    pMediaType->InitMediaType();
    pMediaType->SetType(m_bMp4Flavour ? &MEDIATYPE_MP4AudioLevel : &MEDIATYPE_MXFAudioLevel);
    pMediaType->SetSubtype(&MEDIASUBTYPE_PrivateStream);
    pMediaType->SetFormatType(&FORMAT_None);
    pMediaType->SetSampleSize(1);
    const uint32_t value = kPrivateStreamFormatValue;
    return pMediaType->SetFormat(reinterpret_cast<const uint8_t*>(&value), sizeof value)
               ? S_OK
               : E_INVALIDARG;
}

HRESULT CAudioLevelOutputPin::DecideBufferSize(IMemAllocator* pAlloc,
                                               ALLOCATOR_PROPERTIES* pProps) {
    return SetPool(pAlloc, pProps, kBuffers, kBufferSize);
}
