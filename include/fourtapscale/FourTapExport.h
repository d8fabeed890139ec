/* What leaves the shared library; everything else is hidden. The static library exports nothing: it is compiled without
 * the mark, so that a plug-in that links it keeps all of it to itself. */
#ifndef FOURTAPSCALE_FOURTAPEXPORT_H
#define FOURTAPSCALE_FOURTAPEXPORT_H

#ifdef FOURTAP_BUILDING_STATIC
#define FOURTAP_API
#else
#define FOURTAP_API __attribute__((visibility("default")))
#endif

#endif
