// The functions for C with arbitrary arguments, over memory that ends where it is said to: they accept or refuse, but
// touch nothing else; and what they refuse is as it was.
#include <fourtapscale/FourTapScale.h>
#include <fourtapscale/fourtap.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "conformance/GuardedImage.h"
#include "conformance/Variants.h"

namespace {

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

struct MaybeRect {
  bool there;
  fourtap_rect rect;

  explicit MaybeRect(Input& input)
      : there(input.Byte() % 3 != 0), rect{input.Number(), input.Number(), input.Number(), input.Number()} {}
  fourtap_rect const* Get() const { return there ? &rect : nullptr; }
};

// One call; where it is refused the target must be as it was.
void Call(Input& input, fourtap_scaler* scaler) {
  switch (input.Byte() % 6) {
    case 0:
    case 1: {
      Handed const source(input), target(input);
      MaybeRect part(input);
      MaybeRect const out(input);
      // What is needed is a part that is accepted, more often than chance would have it.
      if (input.Byte() % 2) part.there = fourtap_needed(scaler, out.Get(), &part.rect) == FOURTAP_OK;
      source.bytes.Allow(conformance::Access::read);
      std::vector<unsigned char> const before(target.bytes.Contents(), target.bytes.Contents() + target.bytes.Size());
      fourtap_status const status = fourtap_scale(scaler, source.Source(), part.Get(), target.Target(), out.Get());
      Expect(status == FOURTAP_OK || status == FOURTAP_INVALID, "one of two statuses");
      Expect(status == FOURTAP_OK || before.empty() ||
                 std::memcmp(before.data(), target.bytes.Contents(), before.size()) == 0,
             "nothing written where a frame is refused");
      Expect(target.bytes.MarginsIntact(), "nothing written beside the target");
      break;
    }
    case 2: {
      Handed const source(input), target(input);
      source.bytes.Allow(conformance::Access::read);
      int const lines = input.Number(), room = input.Number();
      std::vector<unsigned char> const before(target.bytes.Contents(), target.bytes.Contents() + target.bytes.Size());
      int written = -1;
      fourtap_status const status =
          fourtap_push(scaler, source.Source(), lines, target.Target(), room, input.Byte() == 1 ? nullptr : &written);
      if (status == FOURTAP_OK) {
        Expect(0 <= written && written <= room && written <= fourtap_most_written(scaler, lines), "lines in the room");
      } else {
        Expect(written == -1, "no count where lines are refused");
        Expect(before.empty() || std::memcmp(before.data(), target.bytes.Contents(), before.size()) == 0,
               "nothing written where lines are refused");
      }
      Expect(target.bytes.MarginsIntact(), "nothing written beside the target");
      break;
    }
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  Input input{data, size};
  fourtap_scaler* scaler = nullptr;
  int const layout = input.Number(), cxIn = input.Number(), cyIn = input.Number();
  int const cxOut = input.Small(), cyOut = input.Small();
  // Sizes that are refused, or take little.
  bool const known = 0 <= layout && layout < static_cast<int>(conformance::Layouts().size());
  int const bitsPerPixel = known ? conformance::Layouts()[static_cast<size_t>(layout)].bitsPerPixel : 0;
  if (FourTapScaleContextBytes(cxIn, cyIn, cxOut, cyOut, bitsPerPixel) < 1 << 24) {
    fourtap_open(&scaler, layout, cxIn, cyIn, cxOut, cyOut);
  }
  if (!scaler)
    fourtap_open(&scaler, input.Byte() % 7, 2 * input.Small(), input.Small(), 2 * input.Small(), input.Small());
  while (input.size > 0) Call(input, scaler);
  fourtap_close(scaler);
  return 0;
}
