#include "clipmodel/CIFWrapperBase.h"
