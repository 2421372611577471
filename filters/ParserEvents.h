// Events a parser filter sends to the graph besides the platform's own: a host that wants to show
// how playback keeps up reads them from the graph's event queue.
#pragma once

#include "platform/MediaEvent.h"

// Codes from here on belong to the filters.
inline constexpr long EC_QV_USER = 0x8000;
// The video pin jumped forward in the clip to catch up: param1 the frame that was next, param2
// the frame delivered instead.
inline constexpr long EC_QV_FRAME_JUMP = EC_QV_USER + 1;
