/* What the library takes without WebAssembly: for each line "KIND SET" on stdin, the least microseconds of processor
 * time that 1920x1080 to 1280x720 took, of five. Kinds are gray, rgba and rgba-alpha. */
#include <fourtapscale/fourtap.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { cx_in = 1920, cy_in = 1080, cx_out = 1280, cy_out = 720 };

static double now(void) {
  struct timespec at;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &at);
  return (double)at.tv_sec * 1e6 + (double)at.tv_nsec / 1e3;
}

int main(void) {
  unsigned char* const in = malloc((size_t)cx_in * cy_in * 4);
  unsigned char* const out = malloc((size_t)cx_out * cy_out * 4);
  if (!in || !out) return 1;
  uint32_t state = 1;
  for (size_t i = 0; i < (size_t)cx_in * cy_in * 4; ++i) {
    state = state * 1664525 + 1013904223;
    in[i] = (unsigned char)(state >> 24);
  }
  char kind[16];
  int set;
  while (scanf("%15s %d", kind, &set) == 2) {
    fourtap_rules rules = {FOURTAP_PLANE, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {0}};
    if (strcmp(kind, "gray") != 0) rules.pixels = FOURTAP_RGB_ALPHA;
    if (strcmp(kind, "rgba") == 0) rules.alpha = FOURTAP_ALPHA_STRAIGHT;
    size_t const bytes = rules.pixels == FOURTAP_PLANE ? 1 : 4;
    fourtap_picture* picture;
    if (fourtap_picture_open(&picture, &rules, cx_in, cy_in, cx_out, cy_out) != FOURTAP_OK ||
        fourtap_picture_use_set(picture, set) != FOURTAP_OK) {
      puts(fourtap_error());
      return 1;
    }
    fourtap_source const source = {in, bytes * cx_in * cy_in, 0};
    fourtap_target const target = {out, bytes * cx_out * cy_out, 0};
    double least = 1e12;
    for (int i = 0; i < 5; ++i) {
      double const start = now();
      fourtap_picture_scale(picture, source, NULL, target, NULL);
      double const taken = now() - start;
      if (taken < least) least = taken;
    }
    fourtap_picture_close(picture);
    printf("%.1f\n", least);
    fflush(stdout);
  }
  free(in);
  free(out);
  return 0;
}
