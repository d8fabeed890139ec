// All that the module has comes out of the library: an executable wants a file of its own.
#include <fourtapscale/fourtap.h>
