// What tests and tools do otherwise on each processor: on WebAssembly, nothing.
#pragma once

#include "processors/other/ThisProcessor.h"
