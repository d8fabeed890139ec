/* Times the functions for C, for comparison: calls PIXELS CX_IN CY_IN CX_OUT CY_OUT COUNT, PIXELS being a number of
 * fourtap.h. Prints nanoseconds of this thread per call, of COUNT calls into the same memory. */
#include <fourtapscale/fourtap.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static long long Now(void) {
  struct timespec time;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return time.tv_sec * 1000000000LL + time.tv_nsec;
}

int main(int argc, char** argv) {
  if (argc != 7) return 1;
  int const pixels = atoi(argv[1]), cxIn = atoi(argv[2]), cyIn = atoi(argv[3]), cxOut = atoi(argv[4]),
            cyOut = atoi(argv[5]), count = atoi(argv[6]);
  fourtap_rules const rules = {pixels, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {0, 0, 0}};
  size_t const bytesIn = (size_t)cxIn * (size_t)cyIn * 4, bytesOut = (size_t)cxOut * (size_t)cyOut * 4;
  unsigned char* const picture = malloc(bytesIn);
  unsigned char* const scaled = calloc(bytesOut, 1);
  fourtap_picture* opened = NULL;
  if (!picture || !scaled || fourtap_picture_open(&opened, &rules, cxIn, cyIn, cxOut, cyOut) != FOURTAP_OK) return 1;
  for (size_t i = 0; i < bytesIn; ++i) picture[i] = (unsigned char)(i * 7 ^ i >> 9);
  fourtap_source const source = {picture, bytesIn, 0};
  fourtap_target const target = {scaled, bytesOut, 0};
  long long start = 0;
  for (int i = -1; i < count; ++i) {
    if (i == 0) start = Now();
    if (fourtap_picture_scale(opened, source, NULL, target, NULL) != FOURTAP_OK) return 1;
  }
  printf("%lld\n", (Now() - start) / count);
  fourtap_picture_close(opened);
  free(picture);
  free(scaled);
  return 0;
}
