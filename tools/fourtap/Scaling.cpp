#include "fourtap/Scaling.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "fourtap/Failure.h"
#include "fourtap/Scalers.h"

namespace tool {

namespace {

PixelKind WithoutAlpha(PixelKind kind) {
  return kind == PixelKind::grayAlpha ? PixelKind::gray : kind == PixelKind::rgba ? PixelKind::rgb : kind;
}

fourtap_rules RulesFor(Options const& options, PixelKind kind) {
  int const pixels[] = {FOURTAP_PLANE, FOURTAP_GRAY_ALPHA, FOURTAP_RGB24, FOURTAP_RGB32, FOURTAP_RGB_ALPHA};
  fourtap_rules rules{};
  rules.pixels = pixels[static_cast<int>(kind)];
  rules.reduction = options.oneStep ? FOURTAP_REDUCE_BY_FOUR_TAPS : FOURTAP_REDUCE_WIDELY;
  rules.alpha = options.alpha == AlphaRule::multiply ? FOURTAP_ALPHA_MULTIPLY
                : options.alpha == AlphaRule::drop   ? FOURTAP_ALPHA_DROP
                                                     : FOURTAP_ALPHA_STRAIGHT;
  return rules;
}

}  // namespace

void CheckRect(PictureRect const& rect, PictureSize scaled) {
  if (int64_t{rect.x} + rect.cx > scaled.cx || int64_t{rect.y} + rect.cy > scaled.cy) {
    throw Failure{badUsage, "--rect: " + SizeText(rect.cx, rect.cy) + " pixels at " + std::to_string(rect.x) + "," +
                                std::to_string(rect.y) + " given, expected them inside the scaled picture of " +
                                SizeText(scaled)};
  }
}

ScalePlan PlanScale(Options const& options, PictureSize in, PixelKind kind) {
  ScalePlan plan;
  plan.in = in;
  plan.kindIn = kind;
  plan.kindOut = options.alpha == AlphaRule::drop ? WithoutAlpha(kind) : kind;
  plan.rules = RulesFor(options, kind);
  auto const scaled = options.size ? ResolveSize(*options.size, in) : in;
  if (!scaled) {
    throw Failure{badUsage, options.sizeOption + ": the result of " + SizeText(in) +
                                " would be beyond 2147483647 pixels at a side"};
  }
  plan.scaled = *scaled;
  plan.bytes = ScalerBytes(plan.rules, in, *scaled);
  if (plan.bytes < 0) {
    throw Failure{badUsage, options.sizeOption + ": " + SizeText(in) + " pixels can't be scaled to " +
                                SizeText(*scaled) + ", expected lines below 2 GiB"};
  }
  plan.rect = options.rect.value_or(PictureRect{0, 0, scaled->cx, scaled->cy});
  CheckRect(plan.rect, *scaled);
  fourtap_rect const out{plan.rect.x, plan.rect.y, plan.rect.cx, plan.rect.cy};
  fourtap_rect needed{};
  Expect(fourtap_picture_plan(&plan.rules, in.cx, in.cy, scaled->cx, scaled->cy, &out, &needed, nullptr));
  plan.needed = {needed.x, needed.y, needed.cx, needed.cy};
  return plan;
}

int64_t ScalerBytes(fourtap_rules const& rules, PictureSize in, PictureSize scaled) {
  size_t bytes = 0;
  bool const fits =
      fourtap_picture_plan(&rules, in.cx, in.cy, scaled.cx, scaled.cy, nullptr, nullptr, &bytes) == FOURTAP_OK;
  return fits ? static_cast<int64_t>(bytes) : -1;
}

OwnedPicture OpenPicture(fourtap_rules const& rules, PictureSize in, PictureSize scaled) {
  fourtap_picture* opened = nullptr;
  Expect(fourtap_picture_open(&opened, &rules, in.cx, in.cy, scaled.cx, scaled.cy));
  OwnedPicture picture(opened);
  Expect(fourtap_picture_use_set(opened, SetInUse()));
  return picture;
}

void Expect(fourtap_status status) {
  if (status == FOURTAP_OK) return;
  if (status == FOURTAP_MEMORY) throw std::bad_alloc();
  throw Failure{badInput, std::string("the scaler refuses what was planned: ") + fourtap_error()};
}

std::string WayText(PictureSize in, PictureSize scaled, bool filters, bool byFourTaps) {
  if (!filters) return SizeText(in) + ", passed on unfiltered";
  auto const isFar = [](int nIn, int nOut) { return nIn > 2 * int64_t{nOut}; };
  bool const isWide = !byFourTaps && (isFar(in.cx, scaled.cx) || isFar(in.cy, scaled.cy));
  return SizeText(in) + " -> " + SizeText(scaled) + (isWide ? ", by the wide filter" : ", by four taps");
}

}  // namespace tool
