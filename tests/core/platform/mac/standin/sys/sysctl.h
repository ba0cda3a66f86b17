#pragma once
#include "tests/core/platform/mac/standin/StandIn.h"
