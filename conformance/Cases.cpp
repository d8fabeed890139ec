#include "conformance/Cases.h"

#include <algorithm>
#include <cstddef>
#include <functional>

#include "ThisProcessor.h"
#include "conformance/Calls.h"
#include "conformance/CaseText.h"
#include "conformance/Fences.h"
#include "conformance/OwnedContext.h"

namespace conformance {

uint64_t Random::Next() {
  state += 0x9e3779b97f4a7c15;
  uint64_t mixed = (state ^ (state >> 30)) * 0xbf58476d1ce4e5b9;
  mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
  return mixed ^ (mixed >> 31);
}

namespace {

struct InOut {
  int in, out;
};

InOut RandomInOut(Random& random) {
  int const kind = random.Between(0, 9);
  if (kind < 5) {
    int const most = random.OneIn(8) ? 70 : 18;
    return {random.Between(1, most), random.Between(1, most)};
  }
  int const small = random.Between(1, 4);
  int const many = small * random.Between(1, 40) + random.Between(0, small - 1);
  int const n = random.Between(1, 40);
  switch (kind) {
    case 5:
      return {small, std::min(many, 40 * small)};
    case 6:
      return {std::min(many, 40 * small), small};
    case 7:
      return {n, n};
    case 8:
      return {n, std::max(1, n - random.Between(1, 8))};
    default:
      return {std::max(1, n - random.Between(1, 8)), n};
  }
}

// With a horizontal pass, pairs need even sizes.
int Aligned(int n, Layout layout, Sizes const& sizes) { return Traits(layout).pairs && sizes.HorzPass() ? n & ~1 : n; }

Rect RandomRect(Random& random, Layout layout, Sizes const& sizes) {
  int const cx = random.Between(0, sizes.cxOut);
  int const cy = random.Between(0, sizes.cyOut);
  int const x = random.Between(0, sizes.cxOut - cx);
  int const y = random.Between(0, sizes.cyOut - cy);
  return {Aligned(x, layout, sizes), y, Aligned(cx, layout, sizes), cy};
}

// One in four so that all lines are aligned alike.
Placement RandomPlacement(Random& random, int lineBytes) {
  int gap = random.OneIn(3) ? 0 : random.Between(1, 20);
  if (random.OneIn(4)) gap = -lineBytes & 15;
  int const shift = random.OneIn(2) ? 0 : random.Between(1, 15);
  return {gap, random.OneIn(3), random.OneIn(3) ? Flush::start : Flush::end, shift};
}

}  // namespace

Bytes PictureOf(Case const& what) {
  std::size_t const size = static_cast<std::size_t>(what.sizes.cxIn) * static_cast<std::size_t>(what.sizes.cyIn) *
                           static_cast<std::size_t>(Traits(what.layout).BytesPerPixel());
  Bytes picture(size, 255);
  if (what.content == Content::white) return picture;
  Random random(what.seed);
  uint64_t bits = 0;
  for (std::size_t i = 0; i < size; ++i, bits >>= 8) {
    if (i % 8 == 0) bits = random.Next();
    picture[i] = static_cast<unsigned char>(what.content == Content::noise ? bits : (bits & 1) * 255);
  }
  return picture;
}

std::string CallError(std::function<void()> const& call) {
  if (char const* const refused = RefusedOf(call)) return std::string(refused) + " where it must not";
  if (processor::StateIsClean()) return "";
  processor::CleanState();
  return processor::uncleanState;
}

std::string Difference(GuardedImage const& image, unsigned char const* expected, int firstLine, int lastLine) {
  for (int y = firstLine; y < lastLine; ++y) {
    unsigned char const* const line = image.Contents(y);
    unsigned char const* const wanted = expected + static_cast<std::ptrdiff_t>(y) * image.LineBytes();
    if (!std::equal(line, line + image.LineBytes(), wanted)) {
      auto const [is, should] = std::mismatch(line, line + image.LineBytes(), wanted);
      return "line " + std::to_string(y) + ", byte " + std::to_string(is - line) + " is " + std::to_string(*is) +
             ", not " + std::to_string(*should);
    }
  }
  return "";
}

namespace {

// One variant at work on one case, in one context.
struct Workplace {
  Variant const& variant;
  Trial const& trial;
  _SCALE_CONTEXT* context;
  Fences fences;

  Case const& What() const { return trial.what; }
};

// What a scaler is handed of the source: all of it, or the part that it needs.
enum class Handed { whole, part };

std::string CheckRect(Workplace const& at, Rect const& rect, Handed handed) {
  Case const& what = at.What();
  Sizes const& sizes = what.sizes;
  Rect given{0, 0, sizes.cxIn, sizes.cyIn};
  if (handed == Handed::part) {
    FourTapScaleSourceNeeded(static_cast<int>(what.layout), sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut, rect.x,
                             rect.y, rect.cx, rect.cy, given.x, given.y, given.cx, given.cy);
  }
  GuardedImage const source = ImageOf(what.layout, given.cx, given.cy, what.source, at.fences);
  GuardedImage const output = ImageOf(what.layout, rect.cx, rect.cy, what.destination, at.fences);
  bool const empty = rect.cx == 0 || rect.cy == 0;
  source.CopyFrom(Crop(what.layout, at.trial.picture, sizes.cxIn, given).data());
  source.Allow(empty ? Access::none : Access::read);
  output.Fill(untouched);
  output.Allow(empty ? Access::none : Access::readWrite);
  if (handed == Handed::part) FourTapScaleSourceOrigin(at.context, given.x, given.y);
  std::string error = CallError([&] {
    at.variant.frame(at.context, source.Top(), source.Stride(), output.Top(), output.Stride(), rect.x, rect.y, rect.cx,
                     rect.cy);
  });
  FourTapScaleSourceOrigin(at.context, -1, -1);
  if (error.empty()) {
    error = Difference(output, Crop(what.layout, at.trial.frame, sizes.cxOut, rect).data(), 0, rect.cy);
  }
  if (error.empty() && !output.GapsIntact()) error = "writes between or around the lines";
  return error;
}

// Hands in slices, and looks at the output after each.
std::string CheckSlices(Workplace const& at, std::vector<int> const& slices) {
  if (slices.empty()) return "";
  Case const& what = at.What();
  int const lineBytesIn = what.sizes.cxIn * Traits(what.layout).BytesPerPixel();
  GuardedImage const output = ImageOf(what.layout, what.sizes.cxOut, what.sizes.cyOut, what.destination, at.fences);
  Bytes const blank(at.trial.frame.size(), untouched);
  std::vector<GuardedImage> handedIn;  // and never to be touched again
  int cyInDone = 0;
  int cyOutDone = 0;
  output.Fill(untouched);
  for (std::size_t i = 0; i < slices.size(); ++i) {
    // Lines beyond the last one of the picture do not exist.
    int const cyReal = std::min(slices[i], what.sizes.cyIn - cyInDone);
    GuardedImage const& slice =
        handedIn.emplace_back(ImageOf(what.layout, what.sizes.cxIn, cyReal, what.source, at.fences));
    slice.CopyFrom(at.trial.picture.data() + static_cast<std::ptrdiff_t>(cyInDone) * lineBytesIn);
    slice.Allow(cyReal == 0 ? Access::none : Access::read);
    cyInDone += cyReal;
    int const cyExpected = ModelLinesWritten(what.sizes, at.variant.set->blockLines, cyInDone) - cyOutDone;
    output.AllowOnly(Access::readWrite, cyOutDone, cyOutDone + cyExpected);
    int cyWritten = -1;
    std::string error = CallError([&] {
      unsigned char* const next = output.Top() + static_cast<std::ptrdiff_t>(cyOutDone) * output.Stride();
      at.variant.slice(at.context, slice.Top(), slice.Stride(), slices[i], next, output.Stride(), cyWritten);
    });
    slice.Allow(Access::none);
    if (error.empty() && cyWritten != cyExpected) {
      error = "cyWritten is " + std::to_string(cyWritten) + ", not " + std::to_string(cyExpected);
    }
    if (error.empty()) error = Difference(output, at.trial.frame.data(), 0, cyOutDone + cyExpected);
    if (error.empty()) error = Difference(output, blank.data(), cyOutDone + cyExpected, what.sizes.cyOut);
    if (error.empty() && !output.GapsIntact()) error = "writes between or around the lines";
    if (!error.empty()) return "slice " + std::to_string(i) + ": " + error;
    cyOutDone += cyExpected;
  }
  return "";
}

}  // namespace

GuardedImage ImageOf(Layout layout, int cx, int cy, Placement const& placement, Fences fences) {
  int const lineBytes = cx * Traits(layout).BytesPerPixel();
  int const distance = lineBytes + placement.gap;
  return {lineBytes,
          cy,
          placement.bottomUp ? -distance : distance,
          placement.flush,
          static_cast<std::size_t>(placement.shift),
          Access::none,
          fences};
}

std::vector<int> RandomSlices(Random& random, int cyIn) {
  std::vector<int> slices;
  int const most = random.OneIn(4) ? std::min(cyIn, 3 + cyIn / 40) : cyIn;
  for (int left = cyIn; left > 0; left -= slices.back()) slices.push_back(random.Between(0, most));
  slices.back() += random.OneIn(4) ? 3 : 0;
  if (random.OneIn(2)) slices.push_back(random.Between(0, 2));
  return slices;
}

Case CaseOfSizes(Layout layout, Sizes const& sizes, uint64_t seed) {
  Random random(seed);
  Case what{seed, layout, sizes, RandomRect(random, layout, sizes), {}, {}, {}, Content::noise};
  if (random.OneIn(4)) what.content = random.OneIn(8) ? Content::white : Content::extremes;
  what.slices[0] = RandomSlices(random, sizes.cyIn);
  if (random.OneIn(4)) what.slices[1] = RandomSlices(random, sizes.cyIn);
  what.source = RandomPlacement(random, sizes.cxIn * Traits(layout).BytesPerPixel());
  what.destination = RandomPlacement(random, sizes.cxOut * Traits(layout).BytesPerPixel());
  return what;
}

Case RandomCase(Layout layout, uint64_t seed) {
  Random random(~seed);
  InOut const widths = RandomInOut(random);
  InOut const heights = RandomInOut(random);
  Sizes sizes{widths.in, heights.in, widths.out, heights.out};
  if (Traits(layout).pairs && sizes.HorzPass()) {
    sizes.cxIn = (sizes.cxIn + 1) & ~1;
    sizes.cxOut = (sizes.cxOut + 1) & ~1;
  }
  return CaseOfSizes(layout, sizes, seed);
}

Trial::Trial(Case const& drawn)
    : what(drawn), picture(PictureOf(drawn)), frame(ModelFrame(drawn.layout, drawn.sizes, picture)) {}

std::string RunTrial(Variant const& variant, Trial const& trial, Fences fences) {
  Case const& what = trial.what;
  Sizes const& sizes = what.sizes;
  std::string const name = std::string(Traits(variant.layout).name) + " " + variant.set->name + ", case " +
                           std::to_string(what.seed) + " (" + TextOf(what) + "): ";
  OwnedContext const context(
      InitScaleContext(sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut, Traits(variant.layout).bitsPerPixel));
  if (!context) return name + "no context";

  Workplace const at{variant, trial, context.get(), fences};
  std::vector<int> const& second = what.slices[1];
  std::vector<int> const givenUp(second.begin(), second.begin() + static_cast<std::ptrdiff_t>(second.size() / 2));
  std::pair<char const*, std::function<std::string()>> const steps[] = {
      {"whole frame: ",
       [&] {
         return CheckRect(at, {0, 0, sizes.cxOut, sizes.cyOut}, Handed::whole);
       }},
      {"progressive frame, ", [&] { return CheckSlices(at, what.slices[0]); }},
      {"rectangle: ", [&] { return CheckRect(at, what.rect, Handed::whole); }},
      {"rectangle from a part: ", [&] { return CheckRect(at, what.rect, Handed::part); }},
      {"frame to be given up, ", [&] { return CheckSlices(at, givenUp); }},
      {"second progressive frame, ", [&] { return CheckSlices(at, second); }},
  };
  for (auto const& [step, check] : steps) {
    FourTapScaleProgressiveReset(context.get());
    std::string const error = CatchingFaults(fences, check);
    if (!error.empty()) return name + step + error;
  }
  return "";
}

}  // namespace conformance
