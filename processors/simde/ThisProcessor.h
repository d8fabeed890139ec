#include "../x86_64/ThisProcessor.h"
