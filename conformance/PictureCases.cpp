#include "conformance/PictureCases.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

#include "conformance/Calls.h"
#include "conformance/CaseText.h"

namespace conformance {

namespace {

// Half of the cases reduce one direction or both so far that halving comes into it.
Sizes FartherSizes(Random& random, Layout layout) {
  auto const most = [&] { return random.OneIn(8) ? 400 : 120; };
  Sizes sizes{random.Between(1, most()), random.Between(1, most()), random.Between(1, 12), random.Between(1, 12)};
  if (Traits(layout).pairs) {
    sizes.cxIn = (sizes.cxIn + 1) & ~1;
    sizes.cxOut = (sizes.cxOut + 1) & ~1;
  }
  return sizes;
}

Rect SomeRect(Random& random, Layout layout, Sizes const& sizes) {
  int const unit = Traits(layout).pairs && sizes.HorzPass() ? 2 : 1;
  int const cx = random.Between(1, sizes.cxOut / unit), cy = random.Between(1, sizes.cyOut);
  return {random.Between(0, sizes.cxOut / unit - cx) * unit, random.Between(0, sizes.cyOut - cy), cx * unit, cy};
}

fourtap_rect RectOf(Rect const& rect) { return {rect.x, rect.y, rect.cx, rect.cy}; }

struct Workplace {
  PictureTrial const& trial;
  fourtap_picture* picture;
  Fences fences;

  Case const& What() const { return trial.drawn.what; }
  Sizes const& GetSizes() const { return What().sizes; }
};

// A part of the output, from the part that it needs; at once, or line by line.
std::string CheckPart(Workplace const& at, Rect const& rect, bool byLines) {
  Layout const layoutIn = SourceLayout(at.trial.drawn.rules), layoutOut = TargetLayout(at.trial.drawn.rules);
  fourtap_rect const out = RectOf(rect);
  fourtap_rect needed{};
  std::string error = Refused("needed", fourtap_picture_needed(at.picture, &out, &needed));
  if (!error.empty()) return error;
  GuardedImage const source = ImageOf(layoutIn, needed.cx, needed.cy, at.What().source, at.fences);
  GuardedImage const target = ImageOf(layoutOut, rect.cx, rect.cy, at.What().destination, at.fences);
  source.CopyFrom(
      Crop(layoutIn, at.trial.picture, at.GetSizes().cxIn, {needed.x, needed.y, needed.cx, needed.cy}).data());
  source.Allow(Access::read);
  target.Fill(untouched);
  target.Allow(Access::readWrite);
  if (!byLines) {
    fourtap_status status = FOURTAP_OK;
    error = CallError([&] {
      status = fourtap_picture_scale(at.picture, MemoryOf<fourtap_source>(source, 0, needed.cy), &needed,
                                     MemoryOf<fourtap_target>(target, 0, rect.cy), &out);
    });
    if (error.empty()) error = Refused("scale", status);
  } else {
    error = Refused("begin", fourtap_picture_begin(at.picture, &out));
    Random random(at.What().seed + static_cast<uint64_t>(rect.cx));
    int in = 0, made = 0, idle = 0;
    while (error.empty() && made < rect.cy) {
      // Now and then nothing at all, but not for ever.
      int const most = idle > 3 ? 400 : random.OneIn(4) ? 40 : 5;
      int const lines = std::min(random.Between(idle > 3, most), needed.cy - in);
      int const room = std::min(random.Between(idle > 3, most), rect.cy - made);
      int taken = 0, written = 0;
      fourtap_status status = FOURTAP_OK;
      error = CallError([&] {
        status = fourtap_picture_push(at.picture, MemoryOf<fourtap_source>(source, in, in + lines), lines, &taken,
                                      MemoryOf<fourtap_target>(target, made, made + room), room, &written);
      });
      if (error.empty()) error = Refused("push", status);
      if (error.empty() && taken < lines && written < room) error = "leaves lines, though there is room";
      in += taken;
      made += written;
      idle = taken + written > 0 ? 0 : idle + 1;
      if (idle > 9) error = "goes no further after " + std::to_string(made) + " lines";
    }
  }
  if (error.empty()) {
    error = Difference(target, Crop(layoutOut, at.trial.scaled, at.GetSizes().cxOut, rect).data(), 0, rect.cy);
  }
  if (error.empty() && !target.GapsIntact()) error = "writes between or around the lines";
  return error;
}

std::string NameOf(Set const& set, PictureCase const& drawn) {
  return "Picture " + std::string(set.name) + ", pixels " + std::to_string(drawn.rules.pixels) + ", reduction " +
         std::to_string(drawn.rules.reduction) + ", alpha " + std::to_string(drawn.rules.alpha) + ", case " +
         std::to_string(drawn.what.seed) + " (" + TextOf(drawn.what) + "): ";
}

}  // namespace

PictureCase RandomPictureCase(uint64_t seed) {
  Random random(seed + 77);
  fourtap_rules rules{};
  int const kind = random.Between(0, static_cast<int>(Layouts().size()) + 4);
  int const withAlpha[] = {FOURTAP_GRAY_ALPHA, FOURTAP_RGB_ALPHA, FOURTAP_ALPHA_RGB};
  rules.pixels = kind < 5 ? withAlpha[kind % 3] : kind - 5;
  rules.reduction = random.OneIn(8) ? FOURTAP_REDUCE_BY_FOUR_TAPS : FOURTAP_REDUCE_WIDELY;
  rules.alpha = random.Between(FOURTAP_ALPHA_MULTIPLY, FOURTAP_ALPHA_BACKGROUND);
  for (unsigned char& colour : rules.background) colour = static_cast<unsigned char>(random.Between(0, 255));
  Layout const layout = SourceLayout(rules);
  Case what = RandomCase(layout, seed);
  if (random.OneIn(2)) what = CaseOfSizes(layout, FartherSizes(random, layout), seed);
  what.rect = SomeRect(random, layout, what.sizes);
  return {what, rules};
}

PictureTrial::PictureTrial(PictureCase const& which)
    : drawn(which), picture(PictureOf(which.what)), scaled(ModelPicture(which.rules, which.what.sizes, picture)) {}

std::string RunPictureTrial(Set const& set, PictureTrial const& trial, Fences fences) {
  Sizes const& sizes = trial.drawn.what.sizes;
  std::string const name = NameOf(set, trial.drawn);
  fourtap_picture* opened = nullptr;
  std::string error = Refused(
      "open", fourtap_picture_open(&opened, &trial.drawn.rules, sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut));
  if (!error.empty()) return name + error;
  std::unique_ptr<fourtap_picture, void (*)(fourtap_picture*)> const picture(opened, fourtap_picture_close);
  error = Refused("use_set", fourtap_picture_use_set(opened, set.number));
  if (!error.empty()) return name + error;
  Workplace const at{trial, opened, fences};
  Rect const whole{0, 0, sizes.cxOut, sizes.cyOut};
  std::pair<char const*, std::function<std::string()>> const steps[] = {
      {"whole: ", [&] { return CheckPart(at, whole, false); }},
      {"rectangle by lines: ", [&] { return CheckPart(at, trial.drawn.what.rect, true); }},
      {"rectangle: ", [&] { return CheckPart(at, trial.drawn.what.rect, false); }},
      {"whole by lines: ", [&] { return CheckPart(at, whole, true); }},
  };
  for (auto const& [step, check] : steps) {
    error = CatchingFaults(fences, check);
    if (!error.empty()) return name + step + error;
  }
  return "";
}

}  // namespace conformance
