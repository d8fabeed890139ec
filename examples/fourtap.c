/* Halves a picture of 24-bit pixels, in C. */
#include <fourtapscale/fourtap.h>
#include <stdio.h>

int main(void) {
  enum { cxIn = 8, cyIn = 8, cxOut = 4, cyOut = 4 };
  unsigned char picture[3 * cxIn * cyIn], half[3 * cxOut * cyOut];
  /* Each channel rises by 3 a pixel and by 24 a line. */
  for (int i = 0; i < 3 * cxIn * cyIn; ++i) picture[i] = (unsigned char)i;

  fourtap_scaler* scaler = NULL;
  fourtap_source const source = {picture, sizeof picture, 0};
  fourtap_target const target = {half, sizeof half, 0};
  fourtap_status status = fourtap_open(&scaler, FOURTAP_RGB24, cxIn, cyIn, cxOut, cyOut);
  if (status == FOURTAP_OK) status = fourtap_scale(scaler, source, NULL, target, NULL);
  fourtap_close(scaler);
  if (status != FOURTAP_OK) {
    fprintf(stderr, "fourtap: %s\n", fourtap_error());
    return 1;
  }

  /* Output pixel (2, 1) lies in the middle of source pixels (4, 2) to (5, 3). */
  unsigned char const* const pixel = half + 3 * (1 * cxOut + 2);
  int const middle = (3 * (4 + 5) + 24 * (2 + 3)) / 2;
  if (pixel[0] == middle && pixel[1] == middle + 1 && pixel[2] == middle + 2) return 0;
  fprintf(stderr, "fourtap: pixel (2, 1) begins with %d, expected %d\n", pixel[0], middle);
  return 1;
}
