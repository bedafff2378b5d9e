#pragma once
// Moved to tests/support; kept for the includes that still name this path.
#include "../../support/ApplyModeReference.h"
