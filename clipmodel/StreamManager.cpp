#include "clipmodel/StreamManager.h"
