#include "conformance/PictureModel.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace conformance {

namespace {

int64_t RoundedDown(int64_t dividend, int64_t divisor) { return dividend / divisor - (dividend % divisor < 0); }
int Nearest(int64_t dividend, int64_t divisor) {
  return static_cast<int>(RoundedDown(2 * dividend + divisor, 2 * divisor));
}

// Samples of one kind: cx x cy of them, by lines.
struct Samples {
  int cx, cy;
  std::vector<int> values;

  // Indices beyond the edges stand for the edges.
  int At(int64_t x, int64_t y) const {
    int64_t const column = std::clamp<int64_t>(x, 0, cx - 1), line = std::clamp<int64_t>(y, 0, cy - 1);
    return values[static_cast<std::size_t>(line * cx + column)];
  }
};

bool IsFar(int nIn, int nOut) { return int64_t{nIn} > 2 * int64_t{nOut}; }

int Halvings(int nIn, int nOut) {
  int halvings = 0;
  while (IsFar(nIn, nOut) && nIn >= (int64_t{4} * nOut) << halvings) ++halvings;
  return halvings;
}

// Halves go up; in one direction alone, up and down in turn.
Samples Halved(Samples const& from, bool down, bool along, bool halvesUp) {
  int const stepX = along ? 2 : 1, stepY = down ? 2 : 1;
  Samples halved{(from.cx - 1) / stepX + 1, (from.cy - 1) / stepY + 1, {}};
  for (int y = 0; y < halved.cy; ++y) {
    for (int x = 0; x < halved.cx; ++x) {
      int sum = 0;
      for (int v = 0; v < stepY; ++v) {
        for (int u = 0; u < stepX; ++u) sum += from.At(x * stepX + u, y * stepY + v);
      }
      int const count = stepX * stepY;
      halved.values.push_back(halvesUp ? Nearest(sum, count) : -Nearest(-sum, count));
    }
  }
  return halved;
}

int64_t const one = 1 << 16;

int64_t Cubic(int64_t t, bool gentle) {
  if (gentle) return RoundedDown(2 * t * t * t - 3 * t * t * one + one * one * one, one * one);
  int64_t const twice = t < one ? 3 * t * t * t - 5 * t * t * one + 2 * one * one * one
                                : -t * t * t + 5 * t * t * one - 8 * t * one * one + 4 * one * one * one;
  return RoundedDown(twice, 2 * one * one);
}

struct Tap {
  int64_t block;
  int64_t weight;
};

// Of output sample i.
std::vector<Tap> CubicTaps(int nIn, int nOut, int halvings, bool gentle, int i) {
  std::vector<Tap> taps;
  int64_t all = 0;
  int64_t const middle = (2 * int64_t{i} + 1) * nIn;
  int64_t const between = (int64_t{2} * nOut) << halvings;  // two blocks
  int64_t const reach = (gentle ? 2 : 4) * int64_t{nIn};
  for (int64_t block = (middle - 4 * int64_t{nIn}) / between - 2; block * between < middle + 4 * int64_t{nIn};
       ++block) {
    int64_t const distance = std::abs(block * between + between / 2 - middle);
    if (distance >= reach) continue;
    taps.push_back({block, Cubic(distance * (one / 2) / nIn, gentle)});
    all += taps.back().weight;
  }
  int64_t sum = 0, before = 0;
  for (Tap& tap : taps) {
    sum += tap.weight;
    int const upToHere = Nearest(128 * sum, all);
    tap.weight = upToHere - before;
    before = upToHere;
  }
  return taps;
}

Samples Reduced(Samples from, int cxOut, int cyOut, bool gentle) {
  int const cxIn = from.cx, cyIn = from.cy;
  int const along = Halvings(cxIn, cxOut), down = Halvings(cyIn, cyOut);
  for (int level = 0; level < std::max(along, down); ++level) {
    bool const both = level < down && level < along;
    from = Halved(from, level < down, level < along, both || level % 2 == 0);
  }
  if (IsFar(cyIn, cyOut)) {
    Samples filtered{from.cx, cyOut, {}};
    for (int y = 0; y < cyOut; ++y) {
      std::vector<Tap> const taps = CubicTaps(cyIn, cyOut, down, gentle, y);
      for (int x = 0; x < from.cx; ++x) {
        int64_t sum = 0;
        for (Tap const& tap : taps) sum += tap.weight * from.At(x, tap.block);
        filtered.values.push_back(std::clamp(Nearest(sum, 128), 0, 255));
      }
    }
    from = filtered;
  }
  if (IsFar(cxIn, cxOut)) {
    Samples filtered{cxOut, from.cy,
                     std::vector<int>(static_cast<std::size_t>(cxOut) * static_cast<std::size_t>(from.cy))};
    for (int x = 0; x < cxOut; ++x) {
      std::vector<Tap> const taps = CubicTaps(cxIn, cxOut, along, gentle, x);
      for (int y = 0; y < from.cy; ++y) {
        int64_t sum = 0;
        for (Tap const& tap : taps) sum += tap.weight * from.At(tap.block, y);
        filtered.values[static_cast<std::size_t>(int64_t{y} * cxOut + x)] = std::clamp(Nearest(sum, 128), 0, 255);
      }
    }
    from = filtered;
  }
  return from;
}

// The bytes of a layout that are filtered as if they were a picture of their own.
struct Component {
  int firstByte, distance, pixelsPerSample;
};

std::vector<Component> ComponentsOf(Layout layout, bool alongToo) {
  LayoutTraits const& traits = Traits(layout);
  std::vector<Component> components;
  if (traits.pairs && alongToo) {
    int const luma = layout == Layout::XYXY ? 1 : 0;
    return {{luma, 2, 1}, {1 - luma, 4, 2}, {3 - luma, 4, 2}};
  }
  for (int byte = 0; byte < traits.BytesPerPixel(); ++byte) {
    bool const cleared = layout == Layout::RGB32 && byte == 3 && alongToo;
    if (!cleared) components.push_back({byte, traits.BytesPerPixel(), 1});
  }
  return components;
}

Bytes ReducedPicture(Layout layout, Sizes const& sizes, bool gentle, Bytes const& picture) {
  std::ptrdiff_t const pixelBytes = Traits(layout).BytesPerPixel();
  std::ptrdiff_t const lineBytesIn = sizes.cxIn * pixelBytes, lineBytesOut = sizes.cxOut * pixelBytes;
  Bytes reduced(static_cast<std::size_t>(lineBytesOut * sizes.cyOut));
  for (Component const& component : ComponentsOf(layout, IsFar(sizes.cxIn, sizes.cxOut))) {
    Samples samples{sizes.cxIn / component.pixelsPerSample, sizes.cyIn, {}};
    auto const placeOf = [&](std::ptrdiff_t lineBytes, int x, int y) {
      return static_cast<std::size_t>(y * lineBytes + x * component.distance + component.firstByte);
    };
    for (int y = 0; y < samples.cy; ++y) {
      for (int x = 0; x < samples.cx; ++x) samples.values.push_back(picture[placeOf(lineBytesIn, x, y)]);
    }
    samples = Reduced(samples, sizes.cxOut / component.pixelsPerSample, sizes.cyOut, gentle);
    for (int y = 0; y < samples.cy; ++y) {
      for (int x = 0; x < samples.cx; ++x) {
        reduced[placeOf(lineBytesOut, x, y)] = static_cast<unsigned char>(samples.At(x, y));
      }
    }
  }
  return reduced;
}

bool HasAlpha(fourtap_rules const& rules) { return rules.pixels >= FOURTAP_GRAY_ALPHA; }
bool LosesAlpha(fourtap_rules const& rules) {
  return HasAlpha(rules) && (rules.alpha == FOURTAP_ALPHA_DROP || rules.alpha == FOURTAP_ALPHA_BACKGROUND);
}

// Makes other pixels of pixels with alpha: change(colour, alpha, number of the colour).
template <class Change>
Bytes ChangedColours(fourtap_rules const& rules, Bytes const& pixels, bool keepsAlpha, Change const& change) {
  std::size_t const colours = rules.pixels == FOURTAP_GRAY_ALPHA ? 1 : 3;
  std::size_t const alphaAt = rules.pixels == FOURTAP_ALPHA_RGB ? 0 : colours;
  Bytes changed;
  for (std::size_t pixel = 0; pixel < pixels.size(); pixel += colours + 1) {
    int const alpha = pixels[pixel + alphaAt];
    std::size_t colour = 0;
    for (std::size_t i = 0; i <= colours; ++i) {
      if (i != alphaAt) {
        changed.push_back(static_cast<unsigned char>(change(pixels[pixel + i], alpha, colour++)));
      } else if (keepsAlpha) {
        changed.push_back(pixels[pixel + i]);
      }
    }
  }
  return changed;
}

}  // namespace

Layout SourceLayout(fourtap_rules const& rules) {
  if (!HasAlpha(rules)) return static_cast<Layout>(rules.pixels);
  return rules.pixels == FOURTAP_GRAY_ALPHA ? Layout::UV16 : Layout::RGBA32;
}

Layout TargetLayout(fourtap_rules const& rules) {
  if (!LosesAlpha(rules)) return SourceLayout(rules);
  return rules.pixels == FOURTAP_GRAY_ALPHA ? Layout::Plane : Layout::RGB24;
}

Bytes ModelPicture(fourtap_rules const& rules, Sizes const& sizes, Bytes const& given) {
  bool const widely = rules.reduction == FOURTAP_REDUCE_WIDELY;
  bool const filters = !widely || sizes.cxIn != sizes.cxOut || sizes.cyIn != sizes.cyOut;
  bool const multiplies = HasAlpha(rules) && rules.alpha == FOURTAP_ALPHA_MULTIPLY && filters;
  Layout const layout = TargetLayout(rules);
  Bytes picture = given;
  if (multiplies) {
    picture = ChangedColours(rules, given, true,
                             [](int colour, int alpha, std::size_t) { return Nearest(colour * alpha, 255); });
  } else if (LosesAlpha(rules)) {
    picture = ChangedColours(rules, given, false, [&](int colour, int alpha, std::size_t number) {
      if (rules.alpha == FOURTAP_ALPHA_DROP) return colour;
      return Nearest(colour * alpha + rules.background[number] * (255 - alpha), 255);
    });
  }
  Sizes between = sizes;
  if (widely && IsFar(sizes.cxIn, sizes.cxOut)) between.cxIn = sizes.cxOut;
  if (widely && IsFar(sizes.cyIn, sizes.cyOut)) between.cyIn = sizes.cyOut;
  if (between.cxIn != sizes.cxIn || between.cyIn != sizes.cyIn) {
    picture = ReducedPicture(layout, {sizes.cxIn, sizes.cyIn, between.cxIn, between.cyIn},
                             HasAlpha(rules) && !LosesAlpha(rules), picture);
  }
  bool const equal = between.cxIn == between.cxOut && between.cyIn == between.cyOut;
  if (!equal || !widely) picture = ModelFrame(layout, between, picture);
  if (!multiplies) return picture;
  return ChangedColours(rules, picture, true, [](int colour, int alpha, std::size_t) {
    return alpha == 0 ? 0 : std::min(255, Nearest(colour * 255, alpha));
  });
}

}  // namespace conformance
