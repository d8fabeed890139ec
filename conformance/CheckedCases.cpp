#include "conformance/CheckedCases.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

#include "conformance/Calls.h"
#include "conformance/CaseText.h"

namespace conformance {

namespace {

struct Workplace {
  Set const& set;
  Trial const& trial;
  fourtap_scaler* scaler;
  Fences fences;

  Case const& What() const { return trial.what; }
};

enum class Handed { whole, part };

std::string CheckRect(Workplace const& at, Rect const& rect, Handed handed) {
  if (rect.cx == 0 || rect.cy == 0) return "";
  Case const& what = at.What();
  Sizes const& sizes = what.sizes;
  fourtap_rect const out{rect.x, rect.y, rect.cx, rect.cy};
  fourtap_rect part{0, 0, sizes.cxIn, sizes.cyIn};
  if (handed == Handed::part) {
    std::string refused = Refused("needed", fourtap_needed(at.scaler, &out, &part));
    if (!refused.empty()) return refused;
  }
  GuardedImage const source = ImageOf(what.layout, part.cx, part.cy, what.source, at.fences);
  GuardedImage const target = ImageOf(what.layout, rect.cx, rect.cy, what.destination, at.fences);
  source.CopyFrom(Crop(what.layout, at.trial.picture, sizes.cxIn, {part.x, part.y, part.cx, part.cy}).data());
  source.Allow(Access::read);
  target.Fill(untouched);
  target.Allow(Access::readWrite);
  fourtap_status status = FOURTAP_OK;
  std::string error = CallError([&] {
    status =
        fourtap_scale(at.scaler, MemoryOf<fourtap_source>(source, 0, part.cy), handed == Handed::part ? &part : nullptr,
                      MemoryOf<fourtap_target>(target, 0, rect.cy), &out);
  });
  if (error.empty()) error = Refused("scale", status);
  if (error.empty()) {
    error = Difference(target, Crop(what.layout, at.trial.frame, sizes.cxOut, rect).data(), 0, rect.cy);
  }
  if (error.empty() && !target.GapsIntact()) error = "writes between or around the lines";
  return error;
}

std::string CheckPush(Workplace const& at) {
  Case const& what = at.What();
  Sizes const& sizes = what.sizes;
  int const lineBytesIn = sizes.cxIn * Traits(what.layout).BytesPerPixel();
  std::string error = Refused("reset", fourtap_reset(at.scaler));
  int in = 0, out = 0;
  for (int const cySlice : what.slices[0]) {
    int const lines = std::min(cySlice, sizes.cyIn - in);
    int const coming = lines == 0 ? 0 : ModelLinesWritten(sizes, at.set.blockLines, in + lines) - out;
    GuardedImage const source = ImageOf(what.layout, sizes.cxIn, lines, what.source, at.fences);
    GuardedImage const target = ImageOf(what.layout, sizes.cxOut, coming, what.destination, at.fences);
    source.CopyFrom(at.trial.picture.data() + std::ptrdiff_t{in} * lineBytesIn);
    source.Allow(lines == 0 ? Access::none : Access::read);
    target.Fill(untouched);
    target.Allow(coming == 0 ? Access::none : Access::readWrite);
    auto const push = [&](int room, int& written) {
      fourtap_status status = FOURTAP_OK;
      std::string const fault = CallError([&] {
        status = fourtap_push(at.scaler, MemoryOf<fourtap_source>(source, 0, lines), lines,
                              MemoryOf<fourtap_target>(target, 0, room), room, &written);
      });
      if (error.empty()) error = fault;
      return status;
    };
    int written = -1;
    if (error.empty() && coming > 0 && (push(coming - 1, written) != FOURTAP_INVALID || written != -1)) {
      error = "push is not refused for want of room";
    }
    if (error.empty() && coming > fourtap_most_written(at.scaler, lines)) error = "writes more than the most";
    if (error.empty()) error = Refused("push", push(coming, written));
    if (error.empty() && written != coming) {
      error = "writes " + std::to_string(written) + " lines, not " + std::to_string(coming);
    }
    if (error.empty()) {
      error = Difference(target, Crop(what.layout, at.trial.frame, sizes.cxOut, {0, out, sizes.cxOut, coming}).data(),
                         0, coming);
    }
    if (error.empty() && !target.GapsIntact()) error = "writes between or around the lines";
    if (!error.empty()) return "after " + std::to_string(in) + " lines: " + error;
    in += lines;
    out += written;
  }
  return out == sizes.cyOut ? error : "leaves lines unwritten";
}

}  // namespace

std::string RunCheckedTrial(Set const& set, Trial const& trial, Fences fences) {
  Case const& what = trial.what;
  Sizes const& sizes = what.sizes;
  std::string const name = std::string("Checked ") + Traits(what.layout).name + " " + set.name + ", case " +
                           std::to_string(what.seed) + " (" + TextOf(what) + "): ";
  fourtap_scaler* opened = nullptr;
  std::string error = Refused(
      "open", fourtap_open(&opened, static_cast<int>(what.layout), sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut));
  if (!error.empty()) return name + error;
  std::unique_ptr<fourtap_scaler, void (*)(fourtap_scaler*)> const scaler(opened, fourtap_close);
  error = Refused("use_set", fourtap_use_set(opened, set.number));
  if (error.empty() && fourtap_set(opened) != set.number) error = "uses another set";
  if (!error.empty()) return name + error;
  Workplace const at{set, trial, opened, fences};
  Rect const whole{0, 0, sizes.cxOut, sizes.cyOut};
  std::pair<char const*, std::function<std::string()>> const steps[] = {
      {"whole frame: ", [&] { return CheckRect(at, whole, Handed::whole); }},
      {"slices ", [&] { return CheckPush(at); }},
      {"rectangle: ", [&] { return CheckRect(at, what.rect, Handed::whole); }},
      {"rectangle from a part: ", [&] { return CheckRect(at, what.rect, Handed::part); }},
  };
  for (auto const& [step, check] : steps) {
    error = CatchingFaults(fences, check);
    if (!error.empty()) return name + step + error;
  }
  return "";
}

}  // namespace conformance
