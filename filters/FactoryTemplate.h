// CFactoryTemplate: one row of the module's class table, and the table itself. A row names a
// creatable class (friendly name, class id, creator) and, for the filter mapper, the filter's
// setup data: its merit and the pins it declares with their media types. The host creates by
// class id through DllGetClassObject; registration writes the rows into the manifest.
//
// Threads: the table is constant data, readable from any thread.
// Ownership: everything a row points to is static; nothing is allocated.
// Failures: FindFactoryTemplate answers null for a class id that no row has.
#pragma once

#include <cstdint>
#include <span>

#include "platform/Guid.h"
#include "platform/Unknown.h"

// Makes an object of a row's class; leaves a failure code in *phr when it could not. The object
// comes back with no reference taken.
using FilterCreator = CUnknown* (*)(IUnknown* outer, HRESULT* phr);
// Called with true when the module loads and false when it unloads.
using FilterLoadRoutine = void (*)(bool loading, const CLSID* clsid);

// A media type a setup pin declares.
struct FilterSetupMediaType {
    const GUID* majorType;
    const GUID* minorType;
};

// A pin as the filter mapper sees it.
struct FilterSetupPin {
    const wchar_t* name;
    bool rendered;  // an input whose stream ends at this filter
    bool output;
    bool zero;  // the filter may have none of this pin
    bool many;  // ... or several
    const CLSID* connectsToFilter;
    const wchar_t* connectsToPin;
    std::span<const FilterSetupMediaType> mediaTypes;
};

struct FilterSetup {
    const wchar_t* name;
    const CLSID* clsid;
    uint32_t merit;
    std::span<const FilterSetupPin> pins;
};

struct CFactoryTemplate {
    const wchar_t* name;
    const CLSID* clsid;
    FilterCreator create;
    FilterLoadRoutine loadRoutine;  // null: the class needs none
    const FilterSetup* setup;       // null: nothing for the mapper

    bool IsClassId(REFCLSID id) const { return *clsid == id; }
};

// The rows in registration order.
std::span<const CFactoryTemplate> FactoryTemplates();
// The first row with this class id, or null.
const CFactoryTemplate* FindFactoryTemplate(REFCLSID clsid);

inline constexpr uint32_t MERIT_NORMAL = 0x600000;
inline constexpr uint32_t MERIT_UNLIKELY = 0x400000;
