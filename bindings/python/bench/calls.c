/* For bench.py: times the functions for C on memory of its own. Returns nanoseconds of this thread per call, of `count`
 * calls; -1 for a refusal. `pixels` is a number of fourtap.h. */
#include <fourtapscale/fourtap.h>
#include <time.h>

static long long Now(void) {
  struct timespec time;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return time.tv_sec * 1000000000LL + time.tv_nsec;
}

FOURTAP_API long long TimeCalls(int pixels, fourtap_source source, int cxIn, int cyIn, fourtap_target target, int cxOut,
                                int cyOut, int count) {
  fourtap_rules const rules = {pixels, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {0, 0, 0}};
  fourtap_picture* opened = NULL;
  if (fourtap_picture_open(&opened, &rules, cxIn, cyIn, cxOut, cyOut) != FOURTAP_OK) return -1;
  fourtap_status status = FOURTAP_OK;
  long long start = 0;
  for (int i = -1; i < count && status == FOURTAP_OK; ++i) {
    if (i == 0) start = Now();
    status = fourtap_picture_scale(opened, source, NULL, target, NULL);
  }
  long long const taken = Now() - start;
  fourtap_picture_close(opened);
  return status == FOURTAP_OK ? taken / count : -1;
}
