// The dictionary labels of the local tags that the writer of test clips uses, for its primer
// pack. Readers of the camera family recognise the tags by number; other readers map them
// through the primer, so every tag written must be found here.
#pragma once

#include <cstdint>

#include "mxf/MXFLabels.h"

namespace synth {

// The label of `tag`; throws std::logic_error for a tag the writer has no label for.
mxf_label::Label ItemLabel(uint16_t tag);

}  // namespace synth
