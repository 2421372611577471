// CUSetErrorModeCaller: a guard that lives on the stack around platform file calls, so that no
// system dialog can interrupt them.
//
// This platform shows no dialogs for failing file calls and has no process-wide error mode, so
// the guard keeps its shape (a member for the previous mode, construction and destruction at the
// same places) and does nothing. Safe on any thread; it never fails.
#pragma once

#include <cstdint>

#include "foundation/CUObject.h"

class CUSetErrorModeCaller : public CUObject {
public:
    // The mode the guard would set: no critical-error box, no open-file box.
    static constexpr uint32_t kSilentMode = 0x8001;

    CUSetErrorModeCaller() noexcept = default;
    CUSetErrorModeCaller(const CUSetErrorModeCaller&) = delete;
    CUSetErrorModeCaller& operator=(const CUSetErrorModeCaller&) = delete;
    ~CUSetErrorModeCaller() override = default;

    uint32_t PreviousMode() const noexcept { return previousMode; }

private:
    uint32_t previousMode = 0;
};
