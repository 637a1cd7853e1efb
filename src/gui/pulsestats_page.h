// The Pulse Statistics tool page: pulse histogram and file speeds of the
// attached tape (see core/pulsestats.h).
#pragma once
#include "core/pulsestats.h"

void pulse_statistics_module_init();

// The histogram on show (for the tests).
const PulseHistogram &pulse_statistics_histogram();
