/* Scales through the functions for C. */
#include <fourtapscale/fourtap.h>
#include <stdio.h>

int main(void) {
  unsigned char const picture[2] = {10, 40};
  unsigned char scaled[2] = {0, 0};
  fourtap_source const source = {picture, sizeof picture, 0};
  fourtap_target const target = {scaled, sizeof scaled, 0};
  fourtap_scaler* scaler = NULL;
  if (fourtap_open(&scaler, FOURTAP_PLANE, 2, 1, 2, 1) != FOURTAP_OK ||
      fourtap_scale(scaler, source, NULL, target, NULL) != FOURTAP_OK) {
    fprintf(stderr, "Consumer: %s\n", fourtap_error());
    return 1;
  }
  fourtap_close(scaler);
  /* At equal sizes the taps are 14, 36 and 14 of 64. */
  if (scaled[0] == (50 * 10 + 14 * 40) / 64 && scaled[1] == (14 * 10 + 50 * 40) / 64) return 0;
  fprintf(stderr, "Consumer: scaled to %d %d, expected 16 33\n", scaled[0], scaled[1]);
  return 1;
}
