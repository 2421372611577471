#include "filters/SoundSplitterOutputPin.h"

#include <cwchar>
#include <string>

#include "filters/SoundSplitterFilter.h"
#include "filters/SoundSplitterInputPin.h"
#include "filters/WaveFormat.h"

namespace {

constexpr uint16_t kStereo = 2;

std::wstring PinName(int number) {
    wchar_t name[32];
    std::swprintf(name, sizeof name / sizeof name[0], L"Audio Out %d", number);
    return name;
}

}  // namespace

CSoundSplitterOutputPin::CSoundSplitterOutputPin(CSoundSplitterFilter* filter,
                                                 CURecursiveLock* lock, HRESULT* phr, int number)
    : CQueuedOutputPin("sound splitter output", filter, lock, phr, PinName(number).c_str()) {}

HRESULT CSoundSplitterOutputPin::CheckMediaType(const CMediaType* pmt) {
    if (!pmt) return E_POINTER;
    return wave_format::IsPCMAudio(*pmt) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CSoundSplitterOutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition < 0) return E_INVALIDARG;
    if (iPosition > 0) return VFW_S_NO_MORE_ITEMS;
    if (!pMediaType) return E_UNEXPECTED;
    CSoundSplitterInputPin* input = m_pSplitter ? m_pSplitter->InputPin() : nullptr;
    wave_format::WaveFormat in;
    if (!input || !input->IsConnected() || !wave_format::Read(input->CurrentMediaType(), &in))
        return E_INVALIDARG;
    wave_format::WaveFormat out;
    out.channels = kStereo;
    out.samplesPerSec = in.samplesPerSec;
    out.avgBytesPerSec =
        static_cast<uint32_t>(uint64_t{in.bitsPerSample} * in.samplesPerSec * kStereo / 8);
    out.blockAlign = static_cast<uint16_t>(in.bitsPerSample * kStereo / 8);
    out.bitsPerSample = in.bitsPerSample;
    return wave_format::MakePCMType(pMediaType, out) ? S_OK : E_INVALIDARG;
}

HRESULT CSoundSplitterOutputPin::DecideBufferSize(IMemAllocator* pAlloc,
                                                  ALLOCATOR_PROPERTIES* pProps) {
    return SetPool(pAlloc, pProps, kBuffers, kBufferSize);
}
