#include "filters/SoundSplitterFilter.h"

#include <cstddef>
#include <limits>
#include <new>
#include <span>

#include "filters/AudioLevelOutputPin.h"
#include "filters/FilterCreators.h"
#include "filters/SoundSplit.h"
#include "filters/SoundSplitterInputPin.h"
#include "filters/SoundSplitterOutputPin.h"
#include "foundation/CUAutoLock.h"
#include "platform/MediaEvent.h"
#include "platform/SoundDevices.h"

namespace {

// Buffer request hints of the platform; our pool takes them and has no use for them.
constexpr uint32_t kPreviousFrameSkipped = 0x1;  // AM_GBF_PREVFRAMESKIPPED
constexpr uint32_t kNotASyncPoint = 0x2;         // AM_GBF_NOTASYNCPOINT

constexpr int kFirstOutputNumber = 1;

}  // namespace

CUnknown* CreateSoundSplitterFilterMXF(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) CSoundSplitterFilter(outer, phr, CLSID_SoundSplitterFilter, false);
}

CUnknown* CreateSoundSplitterFilterMP4(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) CSoundSplitterFilter(outer, phr, CLSID_MP4SoundSplitterFilter, true);
}

CSoundSplitterFilter::CSoundSplitterFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid,
                                           bool mp4Flavour)
    : CBaseFilter("CSoundSplitterFilter", outer, &m_csFilter, clsid), m_bMp4Flavour(mp4Flavour) {
    HRESULT hr = S_OK;
    m_pInputPin = new (std::nothrow) CSoundSplitterInputPin(this, &m_csFilter, &hr);
    if (!m_pInputPin) hr = E_OUTOFMEMORY;
    if (FAILED(hr) && phr) *phr = hr;
}

CSoundSplitterFilter::~CSoundSplitterFilter() {
    delete m_pOutputPin.load();
    delete m_pLevelPin.load();
    delete m_pInputPin;
}

HRESULT CSoundSplitterFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMSFSoundSplitterFilter)
        return GetInterface(static_cast<IMSFSoundSplitterFilter*>(this), ppv);
    return CBaseFilter::NonDelegatingQueryInterface(riid, ppv);
}

void CSoundSplitterFilter::SetChannelRole(int32_t index, uint32_t role) {
    std::lock_guard<std::mutex> guard(m_csProcess);
    if (index < 0 || static_cast<uint32_t>(index) >= m_nChannels.load() || !m_pChannelRoles) return;
    m_pChannelRoles[index] = role;
}

int CSoundSplitterFilter::GetPinCount() {
    return 1 + (m_pOutputPin.load() ? 1 : 0) + (m_pLevelPin.load() ? 1 : 0);
}

CBasePin* CSoundSplitterFilter::GetPin(int n) {
    if (n == 0) return m_pInputPin;
    CSoundSplitterOutputPin* output = m_pOutputPin.load();
    if (n == 1) return output;
    if (n == 2 && output) return m_pLevelPin.load();
    return nullptr;
}

CQueuedOutputPin* CSoundSplitterFilter::OutputPin(int i) const {
    if (i == 0) return m_pOutputPin.load();
    if (i == 1) return m_pLevelPin.load();
    return nullptr;
}

bool CSoundSplitterFilter::OutputsConnected() const {
    for (int i = 0; i < kOutputPins; ++i) {
        const CQueuedOutputPin* pin = OutputPin(i);
        if (!pin || !pin->IsConnected()) return false;
    }
    return true;
}

HRESULT CSoundSplitterFilter::Stop() {
    CUAutoLock lock(&m_csFilter);
    // From here the input refuses samples, and a Receive waiting for a buffer gives up, so that
    // the pins' Inactive gets the receive lock.
    m_State.store(State_Stopped);
    for (int i = 0; i < kOutputPins; ++i) {
        CQueuedOutputPin* pin = OutputPin(i);
        if (pin && pin->IsConnected()) pin->Decommit();
    }
    return CBaseFilter::Stop();
}

HRESULT CSoundSplitterFilter::TakeFormat(uint32_t channels, uint32_t bitsPerSample) {
    std::unique_ptr<uint32_t[]> roles(new (std::nothrow) uint32_t[channels]());
    if (!roles) return E_OUTOFMEMORY;
    std::lock_guard<std::mutex> guard(m_csProcess);
    m_pChannelRoles = std::move(roles);
    m_nChannels.store(channels);
    m_nBitsPerSample = bitsPerSample;
    return S_OK;
}

HRESULT CSoundSplitterFilter::CreateOutputPins() {
    CUAutoLock lock(&m_csFilter);
    HRESULT hr = S_OK;
    if (!m_pOutputPin.load()) {
        auto* pin =
            new (std::nothrow) CSoundSplitterOutputPin(this, &m_csFilter, &hr, kFirstOutputNumber);
        if (!pin) return E_OUTOFMEMORY;
        if (FAILED(hr)) {
            delete pin;
            return hr;
        }
        m_pOutputPin.store(pin);
    }
    if (!m_pLevelPin.load()) {
        auto* pin = new (std::nothrow) CAudioLevelOutputPin(this, &m_csFilter, &hr, m_bMp4Flavour);
        if (!pin) return E_OUTOFMEMORY;
        if (FAILED(hr)) {
            delete pin;
            return hr;
        }
        m_pLevelPin.store(pin);
    }
    return S_OK;
}

HRESULT CSoundSplitterFilter::InitializeOutputSample(const AM_SAMPLE2_PROPERTIES& props,
                                                     IMediaSample* pSample, IMediaSample** ppOut) {
    *ppOut = nullptr;
    REFERENCE_TIME start = props.tStart;
    REFERENCE_TIME stop = props.tStop;
    uint32_t flags = 0;
    if (m_bSampleSkipped) flags |= kPreviousFrameSkipped;
    if (!(props.dwSampleFlags & AM_SAMPLE_SPLICEPOINT)) flags |= kNotASyncPoint;
    IMediaSample* out = nullptr;
    const HRESULT hr = m_pOutputPin.load()->GetDeliveryBuffer(
        &out, (props.dwSampleFlags & AM_SAMPLE_TIMEVALID) ? &start : nullptr,
        (props.dwSampleFlags & AM_SAMPLE_STOPVALID) ? &stop : nullptr, flags);
    if (FAILED(hr)) return hr;

    IMediaSample2* out2 = nullptr;
    bool copied = false;
    if (SUCCEEDED(out->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&out2)))) {
        AM_SAMPLE2_PROPERTIES outProps;
        constexpr uint32_t kSize = offsetof(AM_SAMPLE2_PROPERTIES, dwStreamId);
        if (SUCCEEDED(out2->GetProperties(kSize, reinterpret_cast<uint8_t*>(&outProps)))) {
            // The input's type change concerns the input's type, not the output's.
            outProps.dwTypeSpecificFlags = props.dwTypeSpecificFlags;
            outProps.dwSampleFlags = (outProps.dwSampleFlags & AM_SAMPLE_TYPECHANGED) |
                                     (props.dwSampleFlags & ~AM_SAMPLE_TYPECHANGED);
            outProps.tStart = props.tStart;
            outProps.tStop = props.tStop;
            outProps.cbData = kSize;
            copied = SUCCEEDED(out2->SetProperties(kSize, reinterpret_cast<uint8_t*>(&outProps)));
        }
        out2->Release();
    }
    if (!copied) {
        REFERENCE_TIME timeStart = 0;
        REFERENCE_TIME timeStop = 0;
        const HRESULT timed = pSample->GetTime(&timeStart, &timeStop);
        if (timed == S_OK) out->SetTime(&timeStart, &timeStop);
        if (timed == VFW_S_NO_STOP_TIME) out->SetTime(&timeStart, nullptr);
        out->SetSyncPoint(pSample->IsSyncPoint() == S_OK);
        out->SetDiscontinuity(pSample->IsDiscontinuity() == S_OK);
    }
    int64_t mediaStart = 0;
    int64_t mediaStop = 0;
    if (pSample->GetMediaTime(&mediaStart, &mediaStop) == S_OK)
        out->SetMediaTime(&mediaStart, &mediaStop);
    if (props.dwSampleFlags & AM_SAMPLE_DATADISCONTINUITY) m_bSampleSkipped = false;
    *ppOut = out;
    return S_OK;
}

HRESULT CSoundSplitterFilter::Process(IMediaSample* pSample, const AM_SAMPLE2_PROPERTIES& props) {
    if (!platform::HasSoundOutputDevice()) {
        // Upstream sees no failure; the graph's owner hears of it, at every sample.
        NotifyEvent(EC_ERRORABORT, AUDCLNT_E_DEVICE_INVALIDATED, 0);
        return S_OK;
    }
    CSoundSplitterOutputPin* output = m_pOutputPin.load();
    CAudioLevelOutputPin* level = m_pLevelPin.load();
    if (!output || !level) return E_FAIL;

    IMediaSample* out = nullptr;
    HRESULT hr = InitializeOutputSample(props, pSample, &out);
    if (FAILED(hr)) return hr;
    if (!level->HasAllocator()) {
        out->Release();
        return E_POINTER;
    }
    IMediaSample* levels = nullptr;
    if (SUCCEEDED(level->GetDeliveryBuffer(&levels, nullptr, nullptr, 0)) && levels) {
        // The input's times whether they are valid or not: the meters follow the sound.
        REFERENCE_TIME start = props.tStart;
        REFERENCE_TIME stop = props.tStop;
        levels->SetTime(&start, &stop);
    } else {
        levels = nullptr;
    }

    hr = SplitAndMeasure(pSample, out, levels);
    if (hr == S_OK) {
        output->Deliver(out);
        level->Deliver(levels);
        m_bSampleSkipped = false;
    } else if (hr == S_FALSE) {
        m_bSampleSkipped = true;
        hr = S_OK;
    }
    out->Release();
    if (levels) levels->Release();
    return hr;
}

HRESULT CSoundSplitterFilter::SplitAndMeasure(IMediaSample* pIn, IMediaSample* pOut,
                                              IMediaSample* pLevel) {
    std::lock_guard<std::mutex> guard(m_csProcess);
    if (!pIn || !pOut) return S_FALSE;
    if (!m_pInputPin->IsConnected()) return E_UNEXPECTED;
    const uint32_t channels = m_nChannels.load();
    if (channels == 0 || !m_pChannelRoles) return S_FALSE;

    const int32_t length = pIn->GetActualDataLength();
    uint8_t* in = nullptr;
    if (length < 0 || length > pIn->GetSize() || pIn->GetPointer(&in) != S_OK || !in)
        return S_FALSE;
    const size_t stereoLength = sound_split::StereoLength(static_cast<size_t>(length), channels);
    uint8_t* stereo = nullptr;
    if (stereoLength > static_cast<size_t>(std::numeric_limits<int32_t>::max()) ||
        FAILED(pOut->SetActualDataLength(static_cast<int32_t>(stereoLength))) ||
        FAILED(pOut->GetPointer(&stereo)) || !stereo)
        return S_FALSE;

    if (!pLevel) return S_FALSE;
    const auto levelLength = static_cast<int32_t>(2 * channels);  // channels <= kMaxChannels
    uint8_t* levelBytes = nullptr;
    if (FAILED(pLevel->SetActualDataLength(levelLength)) ||
        FAILED(pLevel->GetPointer(&levelBytes)) || !levelBytes)
        return S_FALSE;

    std::unique_ptr<int16_t[]> levels(new (std::nothrow) int16_t[channels]);
    if (!levels) return S_FALSE;
    if (!sound_split::SplitAndMeasure(
            std::span<const uint8_t>(in, static_cast<size_t>(length)), channels, m_nBitsPerSample,
            std::span<const uint32_t>(m_pChannelRoles.get(), channels),
            std::span<uint8_t>(stereo, stereoLength), std::span<int16_t>(levels.get(), channels)))
        return S_FALSE;
    for (uint32_t c = 0; c < channels; ++c) {
        const auto value = static_cast<uint16_t>(levels[c]);
        levelBytes[2 * c] = static_cast<uint8_t>(value);
        levelBytes[2 * c + 1] = static_cast<uint8_t>(value >> 8);
    }

    // A format change travels on with the sound, not with the levels.
    AM_MEDIA_TYPE* type = nullptr;
    if (pIn->GetMediaType(&type) == S_OK) {
        pOut->SetMediaType(type);
        DeleteMediaType(type);
    }
    return S_OK;
}
