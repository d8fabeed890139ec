// Scales packed 4:2:2 frames with the classes that check: the first lines of the README, as a program.
#include <algorithm>
#include <cstdio>
#include <fourtapscale/fourtap.hpp>
#include <vector>

int main() {
  std::vector<unsigned char> const frame(2 * 1920 * 1080, 100);
  std::vector<unsigned char> scaled(2 * 1280 * 720), window(2 * 320 * 200);

  using namespace fourtapscale;
  // Once: a scaler for the layout and the sizes, the fastest on this processor.
  Scaler scaler(Layout::XYXY, {1920, 1080}, {1280, 720});
  // For each frame: where it lies and where the scaled one goes. What does not fit throws, and nothing is written.
  auto const source = SourceView::Within(Layout::XYXY, {1920, 1080}, frame.data(), frame.size());
  scaler.Scale(source, TargetView::Within(Layout::XYXY, {1280, 720}, scaled.data(), scaled.size()));
  // Or just a rectangle of the output, here the one that begins at column 600 and line 300.
  scaler.Scale(source, TargetView::Within(Layout::XYXY, {320, 200}, window.data(), window.size()), 600, 300);

  for (auto const& picture : {scaled, window}) {
    if (std::all_of(picture.begin(), picture.end(), [](unsigned char byte) { return byte == 100; })) continue;
    std::fputs("Checked: a flat picture did not stay what it was\n", stderr);
    return 1;
  }
}
