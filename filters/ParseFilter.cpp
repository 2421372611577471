#include "filters/ParseFilter.h"

#include <exception>
#include <new>

#include "filters/ParserOutputPin.h"
#include "foundation/CULog.h"

CParseFilter::CParseFilter(const char* name, IUnknown* outer, REFCLSID clsid)
    : CSource(name, outer, clsid) {}

CParseFilter::~CParseFilter() {
    // The pins go first: a pin's worker may still read through the stream manager.
    delete m_pVideoPin;
    delete m_pAudioPin;
    delete m_pTimecodePin;
    delete m_pStreamManager;
}

void CParseFilter::AdoptPins(CParserOutputPin* video, CParserOutputPin* audio,
                             CParserOutputPin* timecode, HRESULT pinResult, HRESULT* phr) {
    m_pVideoPin = video;
    m_pAudioPin = audio;
    m_pTimecodePin = timecode;
    if (phr && (!video || !audio || !timecode || FAILED(pinResult))) *phr = E_FAIL;
}

HRESULT CParseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IFileSourceCustomFilter)
        return GetInterface(static_cast<IFileSourceCustomFilter*>(this), ppv);
    return CSource::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT CParseFilter::Load(const wchar_t* path, CUSharedPtr<CMBXClip> clip) {
    std::lock_guard<CURecursiveLock> guard(m_cStateLock);
    // One clip per filter: a second Load would pull the clip from under pins that hold it.
    if (m_pStreamManager) {
        Log(1, "a parser filter takes one clip; a second Load is refused");
        return E_FAIL;
    }
    BeforeOpen();
    CUSharedPtr<CUStringWin> pathText = CUCreate<CUStringWin>(path);
    m_pStreamManager = new (std::nothrow) StreamManager();
    if (!pathText || !m_pStreamManager) {
        delete m_pStreamManager;
        m_pStreamManager = nullptr;
        return E_FAIL;
    }
    uint32_t opened = 0;
    try {
        opened = m_pStreamManager->Open(pathText, std::move(clip));
    } catch (...) {
        // The readers report a file they cannot read by throwing; for the host it is a clip that
        // does not open.
        opened = 0;
    }
    if (opened != 1) {
        // Nothing holds the manager yet: it goes, and the host may try another clip.
        delete m_pStreamManager;
        m_pStreamManager = nullptr;
        return E_FAIL;
    }
    for (int i = 0; i < GetPinCount(); ++i) {
        auto* pin = static_cast<CParserOutputPin*>(GetPin(i));
        if (!pin) return E_FAIL;
        GiveClip(pin, m_pStreamManager);
    }
    return S_OK;
}

void CParseFilter::GiveClip(CParserOutputPin* pin, StreamManager* manager) {
    const uint64_t count = manager->GetFrameCount(-1);
    pin->SetStreamManager(manager, count > static_cast<uint64_t>(INT64_MAX)
                                       ? INT64_MAX
                                       : static_cast<int64_t>(count));
}

HRESULT CParseFilter::GetCurFile(wchar_t**, AM_MEDIA_TYPE*) {
    return E_FAIL;
}

bool CParseFilter::ClaimSeeking(CParserOutputPin* pin) {
    std::lock_guard<std::mutex> guard(m_csSeekingPin);
    if (!m_pSeekingPin) m_pSeekingPin = pin;
    return m_pSeekingPin == pin;
}

HRESULT CParseFilter::RestartStreams() {
    CParserOutputPin* seeking = nullptr;
    {
        std::lock_guard<std::mutex> guard(m_csSeekingPin);
        seeking = m_pSeekingPin;
    }
    if (!seeking || !seeking->ThreadExists()) return 0;

    CParserOutputPin* const pins[] = {m_pVideoPin, m_pAudioPin, m_pTimecodePin};
    auto forConnected = [&pins](auto&& step) {
        for (CParserOutputPin* pin : pins)
            if (pin && pin->IsConnected()) step(pin);
    };
    forConnected([](CParserOutputPin* pin) { pin->DeliverBeginFlush(); });
    forConnected([](CParserOutputPin* pin) { pin->StopWorkerIfRunning(); });
    forConnected([](CParserOutputPin* pin) { pin->DeliverEndFlush(); });
    const int64_t start = seeking->StartPosition();
    const int64_t preroll = seeking->PrerollStart();
    forConnected([&](CParserOutputPin* pin) { pin->SetStartAndPreroll(start, preroll); });
    {
        std::lock_guard<CURecursiveLock> guard(m_csShared);
        m_nJumpFrame = 0;
    }
    HRESULT result = S_OK;
    forConnected([&result](CParserOutputPin* pin) {
        const HRESULT hr = pin->RunWorkerIfExists();
        if (FAILED(hr) && SUCCEEDED(result)) result = hr;
    });
    return result;
}
