#pragma once
#include "tests/core/system/mac/standin/StandIn.h"
