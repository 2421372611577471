// Quality and IQualityControl: messages about lateness that travel upstream, from a renderer
// through its input pin to the output pin that feeds it.
// Threads: Notify runs on the thread of whoever is late (a renderer's streaming thread); an
// implementation must not block. Failures: E_NOTIMPL when a pin does nothing with them.
#pragma once

#include <cstdint>

#include "platform/InterfaceIds.h"
#include "platform/ReferenceTime.h"
#include "platform/Unknown.h"

enum QualityMessageType { Famine = 0, Flood = 1 };

struct Quality {
    QualityMessageType Type = Famine;
    int32_t Proportion = 1000;     // the rate wished, in thousandths of the present one
    REFERENCE_TIME Late = 0;       // how late the sample was (negative: early)
    REFERENCE_TIME TimeStamp = 0;  // the stream time of that sample
};

class IBaseFilter;

class IQualityControl : public IUnknown {
public:
    // `pSelf`: the filter sending the message.
    virtual HRESULT Notify(IBaseFilter* pSelf, Quality q) = 0;
};
