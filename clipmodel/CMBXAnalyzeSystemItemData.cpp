#include "clipmodel/CMBXAnalyzeSystemItemData.h"
