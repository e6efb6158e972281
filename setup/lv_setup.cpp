#include "setup/lv_setup.h"

LvSetup* stp = nullptr;
