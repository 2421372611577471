#include "filters/MP4ParseFilter.h"

#include <new>

#include "clipmodel/CIFMP4Wrapper.h"
#include "codecs/NLTPKLManagerDLL.h"
#include "foundation/CUAutoLock.h"
#include "filters/AudioOutputPins.h"
#include "filters/MP4VideoOutputPin.h"
#include "filters/TimecodeOutputPins.h"
#include "platform/SystemInfo.h"

CUnknown* MP4ParseFilter::CreateInstance(IUnknown* outer, HRESULT* phr) {
    return new (std::nothrow) MP4ParseFilter(outer, phr);
}

MP4ParseFilter::MP4ParseFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid)
    : CParseFilter("MP4ParseFilter", outer, clsid) {
    HRESULT pinResult = S_OK;
    auto* video = new (std::nothrow) MP4VideoOutputPin(&pinResult, this, &m_csShared);
    auto* audio = new (std::nothrow) MP4AudioOutputPin(&pinResult, this, &m_csShared);
    auto* timecode = new (std::nothrow) MP4TimecodeOutputPin(&pinResult, this, &m_csShared);
    AdoptPins(video, audio, timecode, pinResult, phr);
}

HRESULT MP4ParseFilter::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMP4ParserFilter)
        return GetInterface(static_cast<IMP4ParserFilter*>(this), ppv);
    return CParseFilter::NonDelegatingQueryInterface(riid, ppv);
}

void MP4ParseFilter::SetPictureScale(uint32_t scale) {
    if (auto* video = static_cast<MP4VideoOutputPin*>(m_pVideoPin)) video->SetPictureScale(scale);
}

void MP4ParseFilter::BeforeOpen() {
    // The image library sits beside the host program.
    const std::string host = CSystemInfo::ModulePath();
    std::string library;
    if (!host.empty()) {
        const size_t slash = host.find_last_of('/');
        library = (slash == std::string::npos ? std::string() : host.substr(0, slash + 1)) +
                  "ipZorelPKL.dll";
    }
    NLTPKLManagerDLL::InitializePKL(CUStringWin(library.c_str()));
}

void MP4ParseFilter::GiveClip(CParserOutputPin* pin, StreamManager* manager) {
    CParseFilter::GiveClip(pin, manager);
    uint32_t gopLength = 0;
    {
        CUAutoLock guard(static_cast<CULockAbstract*>(manager));
        if (manager->mp4Wrapper) gopLength = manager->mp4Wrapper->videoGopLength;
    }
    static_cast<MP4ParserOutputPin*>(pin)->SetGopLength(gopLength);
}
