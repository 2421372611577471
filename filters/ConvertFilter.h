// CConvertFilter: the colour stage. Decoded pictures ("YUY2", or "BGR4" for RGB clips) in, 32-bit
// pictures out (RGB32, "BGR4"), each one written by a CMBXMatchingImageMaker from the clip's
// gamma, gamut and look to a target gamma and gamut. Receive only queues: a CConvertThread
// converts and a CConvertDeliverThread delivers, both made when the output connects and living
// until the filter goes.
//
// The conversion's parameters come from the input's format block (gamma, gamut, HLG colour, look,
// size, layout), each code outside its known set taken as 0; the target follows TargetFor, with
// target conversion off by default (the picture keeps its own gamma and gamut).
// SetTargetConversion switches it; CheckTransform lets a downstream filter ask for a wider
// output, whose extra width becomes the line padding, or for the other row order.
//
// Threads: Receive, EndOfStream, NewSegment on the upstream thread; flushes on the controlling
// thread; SetTargetConversion on a host thread; CheckTransform on the connecting thread. The
// parameters are guarded by m_csParameters; the worker pointer is set once at connection.
// Ownership: the filter owns the parameters and the worker (deleted first in the destructor).
// Failures: CheckTransform answers VFW_E_TYPE_NOT_ACCEPTED for a narrower output or another
// height; DecideBufferSize E_POINTER without arguments or input pin, E_UNEXPECTED unconnected;
// GetMediaType E_UNEXPECTED without a connected input.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "filters/ConvertThread.h"
#include "filters/FilterIds.h"
#include "filters/PipelineFilter.h"
#include "image/MatchingParameters.h"

class IConvertFilter : public IUnknown {
public:
    // `enable` switches target conversion. Mode 0 runs the target table; any other mode only
    // moves HLG pictures (gamut 3, gamma 15, colour 1 or 2) to gamma 14. Mode 1 also works when
    // `enable` did not change; other modes then do nothing. The maker takes the result from its
    // next picture.
    virtual void SetTargetConversion(uint8_t enable, int8_t mode) = 0;
};

class CConvertFilter : public CPipelineFilter<CConvertThread>, public IConvertFilter {
public:
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

    CConvertFilter(IUnknown* outer, HRESULT* phr, REFCLSID clsid);
    ~CConvertFilter() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    void SetTargetConversion(uint8_t enable, int8_t mode) override;

    HRESULT CheckInputType(const CMediaType* mtIn) override;
    HRESULT CheckTransform(const CMediaType* mtIn, const CMediaType* mtOut) override;
    HRESULT DecideBufferSize(IMemAllocator* pAllocator, ALLOCATOR_PROPERTIES* pProp) override;
    HRESULT GetMediaType(int iPosition, CMediaType* pMediaType) override;
    HRESULT CompleteConnect(PIN_DIRECTION direction, IPin* pReceivePin) override;

    struct Target {
        uint32_t gamma = 0;
        uint32_t gamut = 0;
        bool operator==(const Target&) const = default;
    };
    // The target table: `gamut`, `gamma` and `hlgColor` are tested; "keep" answers are the
    // stored source fields `sourceGamut` and `sourceGamma`.
    static Target TargetFor(bool conversion, uint32_t gamut, uint32_t gamma, uint32_t hlgColor,
                            uint32_t sourceGamut, uint32_t sourceGamma);

    // The parameters an input type gives, with target conversion on or off (GetMediaType).
    static MatchingParameters ParametersFor(const CMediaType& input, bool conversion);

    // For tests and the host: a copy of the parameters (false before GetMediaType ran).
    bool Parameters(MatchingParameters* out);

    static constexpr int32_t kOutputBufferSize = 0xCA80000;
    static constexpr int32_t kOutputBuffers = 1;

private:
    // Hands the parameters to the worker's maker; under m_csParameters.
    void HandOver();

    std::mutex m_csParameters;
    std::unique_ptr<MatchingParameters> m_pConvertParameters;  // guarded by m_csParameters
    uint8_t m_bTargetConversion = 0;                           // guarded by m_csParameters
};
