#include "clipmodel/TimecodeInfo.h"
