// Placeholder translation unit; the string class is implemented here.
#include "foundation/CUStringWin.h"
