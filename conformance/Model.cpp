#include "conformance/Model.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace conformance {

namespace {

constexpr int coefs[16][4] = {
    {14, 36, 14, 0}, {13, 35, 16, 0}, {11, 35, 18, 0}, {9, 35, 20, 0},  {8, 34, 21, 1}, {6, 33, 24, 1},
    {5, 32, 25, 2},  {4, 30, 28, 2},  {3, 29, 29, 3},  {2, 28, 30, 4},  {2, 25, 32, 5}, {1, 24, 33, 6},
    {1, 21, 34, 8},  {0, 20, 35, 9},  {0, 18, 35, 11}, {0, 16, 35, 13},
};

// The source samples of an output sample, inside the picture, and their weights.
struct Taps {
  int64_t samples[4];
  int weights[4];
};

std::vector<Taps> TapsOf(int nIn, int nOut) {
  std::vector<Taps> all;
  for (int i = 0; i < nOut; ++i) {
    Place const place = PlaceOf(nIn, nOut, i);
    Taps& taps = all.emplace_back();
    for (int t = 0; t < 4; ++t) {
      taps.samples[t] = std::clamp<int64_t>(place.before - 1 + t, 0, nIn - 1);
      taps.weights[t] = WeightsOf(place.phase)[t];
    }
  }
  return all;
}

// One output sample from source samples that lie `distance` bytes apart.
unsigned char Filter(Taps const& taps, unsigned char const* samples, std::ptrdiff_t distance) {
  int sum = 0;
  for (int t = 0; t < 4; ++t) sum += taps.weights[t] * samples[taps.samples[t] * distance];
  return static_cast<unsigned char>(std::clamp(sum >> 6, 0, 255));
}

Bytes FilterVertically(Sizes const& sizes, std::ptrdiff_t lineBytes, Bytes const& picture) {
  Bytes filtered(static_cast<std::size_t>(lineBytes * sizes.cyOut));
  unsigned char* to = filtered.data();
  // A copy, of which the compiler knows that nothing written changes it.
  for (Taps const taps : TapsOf(sizes.cyIn, sizes.cyOut)) {
    for (std::ptrdiff_t b = 0; b < lineBytes; ++b) *to++ = Filter(taps, picture.data() + b, lineBytes);
  }
  return filtered;
}

Bytes FilterHorizontally(Layout layout, Sizes const& sizes, Bytes const& picture) {
  std::ptrdiff_t const lineBytesIn = std::ptrdiff_t{sizes.cxIn} * Traits(layout).BytesPerPixel();
  std::ptrdiff_t const lineBytesOut = std::ptrdiff_t{sizes.cxOut} * Traits(layout).BytesPerPixel();
  Bytes filtered(static_cast<std::size_t>(lineBytesOut * sizes.cyOut));
  for (Component const& component : ComponentsOf(layout)) {
    std::vector<Taps> const taps =
        TapsOf(sizes.cxIn / component.pixelsPerSample, sizes.cxOut / component.pixelsPerSample);
    for (int y = 0; y < sizes.cyOut; ++y) {
      unsigned char const* const from = picture.data() + y * lineBytesIn + component.firstByte;
      unsigned char* to = filtered.data() + y * lineBytesOut + component.firstByte;
      for (Taps const& sample : taps) {
        *to = Filter(sample, from, component.distance);
        to += component.distance;
      }
    }
  }
  return filtered;
}

}  // namespace

Place PlaceOf(int nIn, int nOut, int i) {
  int64_t const numerator = int64_t{i} * nIn + std::max(0, nIn - nOut) / 2;
  return {numerator / nOut, static_cast<int>((16 * numerator / nOut) & 15)};
}

int const (&WeightsOf(int phase))[4] { return coefs[phase]; }

std::vector<Component> ComponentsOf(Layout layout) {
  switch (layout) {
    case Layout::Plane:
      return {{0, 1, 1}};
    case Layout::RGB24:
      return {{0, 3, 1}, {1, 3, 1}, {2, 3, 1}};
    case Layout::RGB32:
      return {{0, 4, 1}, {1, 4, 1}, {2, 4, 1}};
    case Layout::XYXY:
      return {{0, 4, 2}, {1, 2, 1}, {2, 4, 2}};
    case Layout::YXYX:
      return {{0, 2, 1}, {1, 4, 2}, {3, 4, 2}};
    case Layout::UV16:
      return {{0, 2, 1}, {1, 2, 1}};
    case Layout::RGBA32:
      return {{0, 4, 1}, {1, 4, 1}, {2, 4, 1}, {3, 4, 1}};
  }
  return {};
}

Bytes ModelFrame(Layout layout, Sizes const& sizes, Bytes const& picture) {
  std::ptrdiff_t const lineBytes = std::ptrdiff_t{sizes.cxIn} * Traits(layout).BytesPerPixel();
  Bytes const lines = sizes.VertPass() ? FilterVertically(sizes, lineBytes, picture) : picture;
  return sizes.HorzPass() ? FilterHorizontally(layout, sizes, lines) : lines;
}

Bytes Crop(Layout layout, Bytes const& picture, int cx, Rect const& rect) {
  int const bytesPerPixel = Traits(layout).BytesPerPixel();
  Bytes cropped;
  for (int y = rect.y; y < rect.y + rect.cy; ++y) {
    auto const line = picture.begin() + (std::ptrdiff_t{y} * cx + rect.x) * bytesPerPixel;
    cropped.insert(cropped.end(), line, line + std::ptrdiff_t{rect.cx} * bytesPerPixel);
  }
  return cropped;
}

int ModelLinesWritten(Sizes const& sizes, int blockLines, int cyInDone) {
  if (!sizes.VertPass()) return cyInDone;
  if (cyInDone == sizes.cyIn) return sizes.cyOut;
  int filtered = 0;
  while (filtered < sizes.cyOut && PlaceOf(sizes.cyIn, sizes.cyOut, filtered).before + 2 < cyInDone) ++filtered;
  return sizes.HorzPass() ? filtered - filtered % blockLines : filtered;
}

}  // namespace conformance
