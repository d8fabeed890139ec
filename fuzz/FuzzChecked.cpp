// The functions for C with arbitrary arguments, over memory that ends where it is said to: they accept or refuse, but
// touch nothing else; and what they refuse is as it was. Of pictures every part, from any number of lines, is that of
// the whole.
#include <fourtapscale/FourTapScale.h>
#include <fourtapscale/fourtap.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "conformance/Cases.h"
#include "conformance/GuardedImage.h"
#include "conformance/PictureModel.h"
#include "conformance/Variants.h"

namespace {

using conformance::Access;
using conformance::GuardedBytes;

struct Input {
  uint8_t const* data;
  size_t size;

  int Byte() {
    if (size == 0) return 0;
    --size;
    return *data++;
  }
  // Small numbers mostly, and those at the ends.
  int Number() {
    int const kind = Byte();
    int const ends[] = {INT_MIN, -1, 0, INT_MAX, INT_MAX - 1, 1 << 30, -40};
    return kind < 7 ? ends[kind] : kind % 41;
  }
  int Small() { return 1 + Byte() % 24; }
  int Below(int end) { return (Byte() * 256 + Byte()) % end; }
};

void Expect(bool holds, char const* what) {
  if (holds) return;
  std::fprintf(stderr, "FuzzChecked: expected %s; last refusal: %s\n", what, fourtap_error());
  std::abort();
}

// Memory of some size, handed over with any stride.
struct Handed {
  GuardedBytes bytes;
  ptrdiff_t stride;
  bool null;

  explicit Handed(Input& input)
      : bytes(static_cast<size_t>(input.Byte() * 8 + input.Byte() % 8),
              input.Byte() % 2 ? conformance::Flush::start : conformance::Flush::end),
        stride(input.Number()),
        null(input.Byte() % 16 == 1) {}
  fourtap_source Source() const { return {null ? nullptr : bytes.Data(), bytes.Size(), stride}; }
  fourtap_target Target() const { return {null ? nullptr : bytes.Data(), bytes.Size(), stride}; }
};

// What a target held before a call.
struct Before {
  GuardedBytes const& target;
  std::vector<unsigned char> contents{target.Contents(), target.Contents() + target.Size()};

  void ExpectUntouched() const {
    Expect(std::equal(contents.begin(), contents.end(), target.Contents()), "nothing written where a call is refused");
  }
};

struct MaybeRect {
  bool there;
  fourtap_rect rect;

  explicit MaybeRect(Input& input)
      : there(input.Byte() % 3 != 0), rect{input.Number(), input.Number(), input.Number(), input.Number()} {}
  fourtap_rect const* Get() const { return there ? &rect : nullptr; }
};

// Calls of the functions that scalers and pictures both have.
template <class Opened, class Needed, class Scale>
void CallScale(Input& input, Opened* opened, Needed needed, Scale scale) {
  Handed const source(input), target(input);
  MaybeRect part(input);
  MaybeRect const out(input);
  // What is needed is a part that is accepted, more often than chance would have it.
  if (input.Byte() % 2) part.there = needed(opened, out.Get(), &part.rect) == FOURTAP_OK;
  source.bytes.Allow(Access::read);
  Before const before{target.bytes};
  fourtap_status const status = scale(opened, source.Source(), part.Get(), target.Target(), out.Get());
  Expect(status == FOURTAP_OK || status == FOURTAP_INVALID, "one of two statuses");
  if (status != FOURTAP_OK) before.ExpectUntouched();
  Expect(target.bytes.MarginsIntact(), "nothing written beside the target");
}

//   push        (source, lines, target, room, address for the lines written)
//   mostLines   that it may write
template <class Push, class MostLines>
void CallPush(Input& input, Push push, MostLines mostLines) {
  Handed const source(input), target(input);
  source.bytes.Allow(Access::read);
  int const lines = input.Number(), room = input.Number();
  Before const before{target.bytes};
  int written = -1;
  fourtap_status const status =
      push(source.Source(), lines, target.Target(), room, input.Byte() == 1 ? nullptr : &written);
  if (status == FOURTAP_OK) {
    Expect(0 <= written && written <= room && written <= mostLines(lines), "lines in the room");
  } else {
    Expect(written == -1, "no count where lines are refused");
    before.ExpectUntouched();
  }
  Expect(target.bytes.MarginsIntact(), "nothing written beside the target");
}

void CallScaler(Input& input, fourtap_scaler* scaler) {
  switch (input.Byte() % 6) {
    case 0:
    case 1:
      CallScale(input, scaler, fourtap_needed, fourtap_scale);
      break;
    case 2:
      CallPush(
          input,
          [scaler](fourtap_source source, int lines, fourtap_target target, int room, int* written) {
            return fourtap_push(scaler, source, lines, target, room, written);
          },
          [scaler](int lines) { return fourtap_most_written(scaler, lines); });
      break;
    case 3:
      fourtap_use_set(scaler, input.Number());
      break;
    case 4:
      fourtap_reset(scaler);
      break;
    default:
      fourtap_lines_needed(scaler, input.Number());
      fourtap_most_written(scaler, input.Number());
  }
}

// Sizes that are refused, or take little.
bool TakesLittle(int layout, int cxIn, int cyIn, int cxOut, int cyOut) {
  bool const known = 0 <= layout && static_cast<size_t>(layout) < conformance::Layouts().size();
  int const bitsPerPixel = known ? conformance::Layouts()[static_cast<size_t>(layout)].bitsPerPixel : 0;
  return FourTapScaleContextBytes(cxIn, cyIn, cxOut, cyOut, bitsPerPixel) < 1 << 24;
}

void CallScalers(Input& input) {
  fourtap_scaler* scaler = nullptr;
  int const layout = input.Number(), cxIn = input.Number(), cyIn = input.Number();
  int const cxOut = input.Small(), cyOut = input.Small();
  if (TakesLittle(layout, cxIn, cyIn, cxOut, cyOut)) fourtap_open(&scaler, layout, cxIn, cyIn, cxOut, cyOut);
  if (!scaler)
    fourtap_open(&scaler, input.Byte() % 7, 2 * input.Small(), input.Small(), 2 * input.Small(), input.Small());
  while (input.size > 0) CallScaler(input, scaler);
  fourtap_close(scaler);
}

// A picture that was opened, noise for it, and what becomes of all of that.
struct Picture {
  fourtap_picture* opened;
  conformance::Layout layoutIn, layoutOut;
  int unit;  // columns that belong together
  int cxIn, cyIn, cxOut, cyOut;
  conformance::Bytes noise, whole;
};

fourtap_rules RulesOf(Input& input) {
  int const pixels = input.Byte() % 2 ? input.Byte() % 7 : FOURTAP_GRAY_ALPHA + input.Byte() % 3;
  fourtap_rules rules{pixels, input.Byte() % 4 == 1, input.Byte() % 4, {}};
  for (unsigned char& colour : rules.background) colour = static_cast<unsigned char>(input.Byte());
  return rules;
}

conformance::Bytes BytesFor(conformance::Layout layout, int cx, int cy) {
  return conformance::Bytes(static_cast<size_t>(cx * cy * conformance::Traits(layout).BytesPerPixel()));
}

Picture PictureOf(Input& input) {
  fourtap_rules const rules = RulesOf(input);
  Picture picture{};
  picture.layoutIn = conformance::SourceLayout(rules);
  picture.layoutOut = conformance::TargetLayout(rules);
  picture.unit = conformance::Traits(picture.layoutIn).pairs ? 2 : 1;
  int const ratio = 1 + input.Byte() % 20;
  picture.cxIn = picture.unit * (1 + input.Below(600));
  picture.cyIn = 1 + input.Below(200);
  picture.cxOut = picture.unit * (1 + input.Below(1000 / ratio));
  picture.cyOut = 1 + input.Below(300 / ratio);
  fourtap_status const status =
      fourtap_picture_open(&picture.opened, &rules, picture.cxIn, picture.cyIn, picture.cxOut, picture.cyOut);
  Expect(status == FOURTAP_OK, "a picture");
  picture.noise = BytesFor(picture.layoutIn, picture.cxIn, picture.cyIn);
  conformance::Random random(static_cast<uint64_t>(input.Byte()));
  // Half of the noises are of the ends alone.
  bool const ends = input.Byte() % 2;
  for (unsigned char& byte : picture.noise) {
    byte = static_cast<unsigned char>(ends ? random.OneIn(2) * 255 : random.Next());
  }
  picture.whole = BytesFor(picture.layoutOut, picture.cxOut, picture.cyOut);
  Expect(fourtap_picture_scale(picture.opened, {picture.noise.data(), picture.noise.size(), 0}, nullptr,
                               {picture.whole.data(), picture.whole.size(), 0}, nullptr) == FOURTAP_OK,
         "the whole");
  return picture;
}

// Lines of a rectangle of the source, in memory of just their size.
GuardedBytes CutFrom(Picture const& picture, fourtap_rect const& rect, int line, int lines) {
  conformance::Bytes const cut =
      Crop(picture.layoutIn, picture.noise, picture.cxIn, {rect.x, rect.y + line, rect.cx, lines});
  GuardedBytes guarded(cut.size());
  std::copy(cut.begin(), cut.end(), guarded.Contents());
  guarded.Allow(Access::read);
  return guarded;
}

void ExpectLines(Picture const& picture, fourtap_rect const& out, int line, int lines, GuardedBytes const& made) {
  conformance::Bytes const expected =
      Crop(picture.layoutOut, picture.whole, picture.cxOut, {out.x, out.y + line, out.cx, lines});
  Expect(std::equal(expected.begin(), expected.end(), made.Contents()), "a part to be that of the whole");
  Expect(made.MarginsIntact(), "nothing written beside the target");
}

// A part from just what it needs: at once, or by pushes.
void MakePart(Input& input, Picture const& picture) {
  fourtap_picture* const opened = picture.opened;
  int const unit = picture.unit;
  fourtap_rect out{unit * input.Below(picture.cxOut / unit), input.Below(picture.cyOut), 0, 0};
  out.cx = unit * (1 + input.Below((picture.cxOut - out.x) / unit));
  out.cy = 1 + input.Below(picture.cyOut - out.y);
  if (input.Byte() % 4 == 1) out = {0, 0, picture.cxOut, picture.cyOut};
  fourtap_rect needed;
  Expect(fourtap_picture_needed(opened, &out, &needed) == FOURTAP_OK, "what is needed");
  auto const targetOf = [&](int lines) { return GuardedBytes(BytesFor(picture.layoutOut, out.cx, lines).size()); };
  if (input.Byte() % 2) {
    GuardedBytes const source = CutFrom(picture, needed, 0, needed.cy), target = targetOf(out.cy);
    fourtap_status const status = fourtap_picture_scale(opened, {source.Data(), source.Size(), 0}, &needed,
                                                        {target.Data(), target.Size(), 0}, &out);
    // It is refused while one is under way.
    if (status == FOURTAP_OK) ExpectLines(picture, out, 0, out.cy, target);
    return;
  }
  Expect(fourtap_picture_begin(opened, &out) == FOURTAP_OK, "a beginning");
  int in = 0, done = 0;
  while (done < out.cy) {
    bool const all = input.size == 0;
    int const lines = std::min(all ? needed.cy : input.Byte() % 40, needed.cy - in);
    int const room = std::min(all ? out.cy : input.Byte() % 20, out.cy - done);
    GuardedBytes const source = CutFrom(picture, needed, in, lines), target = targetOf(room);
    int taken = -1, written = -1;
    Expect(fourtap_picture_push(opened, {source.Data(), source.Size(), 0}, lines, &taken,
                                {target.Data(), target.Size(), 0}, room, &written) == FOURTAP_OK,
           "lines to be taken");
    Expect(taken == lines || written == room, "all lines taken or no room left");
    Expect(!all || written == room, "all lines to give all of the output");
    ExpectLines(picture, out, done, written, target);
    in += taken;
    done += written;
  }
}

void CallPicture(Input& input, Picture const& picture) {
  fourtap_picture* const opened = picture.opened;
  switch (input.Byte() % 6) {
    case 0:
      CallScale(input, opened, fourtap_picture_needed, fourtap_picture_scale);
      break;
    case 1:
      CallPush(
          input,
          [opened](fourtap_source source, int lines, fourtap_target target, int room, int* written) {
            int taken = -1;
            fourtap_status const status = fourtap_picture_push(opened, source, lines, &taken, target, room, written);
            Expect(status == FOURTAP_OK ? taken == lines || (taken < lines && *written == room) : taken == -1,
                   "all lines taken or no room left, and no count where lines are refused");
            return status;
          },
          [&picture](int) { return picture.cyOut; });
      break;
    case 2:
      fourtap_picture_begin(opened, MaybeRect(input).Get());
      break;
    case 3:
      fourtap_picture_use_set(opened, input.Number() % 5);
      break;
    default:
      MakePart(input, picture);
  }
}

void CallPictures(Input& input) {
  fourtap_rules const rules{input.Byte() % 110, input.Number() % 4, input.Number() % 6, {}};
  int const cxIn = input.Number(), cyIn = input.Number(), cxOut = input.Number(), cyOut = input.Number();
  fourtap_picture* any = nullptr;
  if (std::max(cxIn, cxOut) < 1 << 12 && TakesLittle(FOURTAP_RGBA32, cxIn, cyIn, cxOut, cyOut)) {
    fourtap_status const status = fourtap_picture_open(&any, &rules, cxIn, cyIn, cxOut, cyOut);
    Expect((status == FOURTAP_OK) == (any != nullptr), "a picture or a refusal");
  }
  fourtap_picture_close(any);
  Picture const picture = PictureOf(input);
  while (input.size > 0) CallPicture(input, picture);
  fourtap_picture_close(picture.opened);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  Input input{data, size};
  input.Byte() % 2 ? CallPictures(input) : CallScalers(input);
  return 0;
}
