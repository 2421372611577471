#include "mxf/MXFWrapper.h"
