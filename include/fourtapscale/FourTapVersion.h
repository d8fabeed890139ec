/* The version of these headers. What they declare stays as it is as long as the first number does. */
#ifndef FOURTAPSCALE_FOURTAPVERSION_H
#define FOURTAPSCALE_FOURTAPVERSION_H

#define FOURTAP_VERSION_MAJOR 1
#define FOURTAP_VERSION_MINOR 0
#define FOURTAP_VERSION_PATCH 0
#define FOURTAP_VERSION (10000 * FOURTAP_VERSION_MAJOR + 100 * FOURTAP_VERSION_MINOR + FOURTAP_VERSION_PATCH)

#endif
