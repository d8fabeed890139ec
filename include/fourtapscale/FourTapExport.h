#pragma once

// Marks what leaves the shared library; everything else is hidden.
#define FOURTAP_API __attribute__((visibility("default")))
