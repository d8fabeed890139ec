// Scales one picture on several threads: a band of the output and a context for each.
#include <fourtapscale/FourTapScale.h>

#include <cstdio>
#include <numeric>
#include <thread>
#include <vector>

int main() {
  constexpr int cxIn = 640, cyIn = 480, cxOut = 853, cyOut = 640, bandCount = 4;
  std::vector<unsigned char> picture(cxIn * cyIn), whole(cxOut * cyOut, 1), banded(cxOut * cyOut);
  std::iota(picture.begin(), picture.end(), 0);
  FourTapFrameScaler* const scale = FourTapFrameScalerFor(FourTapLayoutPlane, FourTapSetWidest);
  if (!scale) return 1;

  auto const scaleLines = [scale, &picture](int from, int to, unsigned char* dst) {
    _SCALE_CONTEXT* const context = InitScaleContext(cxIn, cyIn, cxOut, cyOut, 8);
    if (context) scale(context, picture.data(), cxIn, dst, cxOut, 0, from, cxOut, to - from);
    DoneScaleContext(context);
  };
  std::vector<std::thread> threads;
  for (int band = 0; band < bandCount; ++band) {
    int const from = cyOut * band / bandCount, to = cyOut * (band + 1) / bandCount;
    threads.emplace_back(scaleLines, from, to, banded.data() + from * cxOut);
  }
  for (std::thread& thread : threads) thread.join();
  scaleLines(0, cyOut, whole.data());

  if (banded == whole) return 0;
  std::fputs("Bands: the bands do not add up to the whole frame\n", stderr);
  return 1;
}
