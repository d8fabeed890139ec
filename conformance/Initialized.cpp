// Whether every byte that is written follows from bytes that were given, for MemorySanitizer: each variant, and the
// functions for C. That knows nothing of what the C++ library does, which is not compiled for it, so nothing of that
// library runs here.
#include <fourtapscale/FourTapScale.h>
#include <fourtapscale/fourtap.h>
#include <sanitizer/msan_interface.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "conformance/Variants.h"

namespace {

using namespace conformance;

struct Sizes {
  int cxIn, cyIn, cxOut, cyOut;
};

// Both directions, one alone, lines shorter than any window, and reductions that no window reaches.
constexpr Sizes allSizes[] = {{64, 20, 96, 30}, {96, 30, 64, 20},  {300, 9, 300, 17}, {300, 9, 200, 9},
                              {4, 3, 400, 5},   {700, 12, 40, 11}, {2, 1, 2, 1},      {130, 11, 128, 90}};

// Just what is asked for: what was in it before is unknown.
struct Buffer {
  size_t size;
  unsigned char* bytes;

  explicit Buffer(int cx, int cy, int bytesPerPixel)
      : size(static_cast<size_t>(cx) * static_cast<size_t>(cy * bytesPerPixel)),
        bytes(static_cast<unsigned char*>(std::malloc(size))) {
    if (!bytes) std::abort();
  }
  Buffer(Buffer const&) = delete;
  Buffer& operator=(Buffer const&) = delete;
  ~Buffer() { std::free(bytes); }

  void Fill() const {
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 37 ^ i >> 5);
  }
  // Ends the program unless all of it is known.
  void Check() const { __msan_check_mem_is_initialized(bytes, size); }
};

void RunVariant(Variant const& variant, Sizes const& sizes) {
  LayoutTraits const& traits = Traits(variant.layout);
  int const bytesPerPixel = traits.BytesPerPixel();
  int const strideIn = sizes.cxIn * bytesPerPixel, strideOut = sizes.cxOut * bytesPerPixel;
  _SCALE_CONTEXT* const context =
      InitScaleContext(sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut, traits.bitsPerPixel);
  if (!context) std::abort();
  Buffer const source(sizes.cxIn, sizes.cyIn, bytesPerPixel);
  source.Fill();
  Buffer const whole(sizes.cxOut, sizes.cyOut, bytesPerPixel), sliced(sizes.cxOut, sizes.cyOut, bytesPerPixel);
  variant.frame(context, source.bytes, strideIn, whole.bytes, strideOut, 0, 0, sizes.cxOut, sizes.cyOut);
  whole.Check();
  FourTapScaleProgressiveReset(context);
  unsigned char* to = sliced.bytes;
  for (int y = 0; y < sizes.cyIn; y += 4) {
    int written = 0;
    variant.slice(context, source.bytes + ptrdiff_t{y} * strideIn, strideIn, 4, to, strideOut, written);
    to += ptrdiff_t{written} * strideOut;
  }
  sliced.Check();
  DoneScaleContext(context);
}

void Expect(fourtap_status status) {
  if (status == FOURTAP_OK) return;
  std::fprintf(stderr, "%s\n", fourtap_error());
  std::abort();
}

void RunChecked(LayoutTraits const& traits, Set const& set, Sizes const& sizes) {
  fourtap_scaler* scaler = nullptr;
  Expect(fourtap_open(&scaler, static_cast<int>(traits.layout), sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut));
  Expect(fourtap_use_set(scaler, set.number));
  Buffer const source(sizes.cxIn, sizes.cyIn, traits.BytesPerPixel());
  source.Fill();
  Buffer const target(sizes.cxOut, sizes.cyOut, traits.BytesPerPixel());
  Expect(fourtap_scale(scaler, {source.bytes, source.size, 0}, nullptr, {target.bytes, target.size, 0}, nullptr));
  target.Check();
  fourtap_close(scaler);
}

void RunPicture(int pixels, int bytesPerPixel, Set const& set, Sizes const& sizes) {
  fourtap_rules const rules{pixels, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {}};
  fourtap_picture* picture = nullptr;
  Expect(fourtap_picture_open(&picture, &rules, sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut));
  Expect(fourtap_picture_use_set(picture, set.number));
  Buffer const source(sizes.cxIn, sizes.cyIn, bytesPerPixel);
  source.Fill();
  Buffer const target(sizes.cxOut, sizes.cyOut, fourtap_picture_pixel_bytes(picture));
  Expect(
      fourtap_picture_scale(picture, {source.bytes, source.size, 0}, nullptr, {target.bytes, target.size, 0}, nullptr));
  target.Check();
  fourtap_picture_close(picture);
}

}  // namespace

int main() {
  int runs = 0;
  for (Sizes const& sizes : allSizes) {
    for (Variant const& variant : Variants()) {
      if (!variant.set->runnable) continue;
      RunVariant(variant, sizes);
      ++runs;
      if (variant.set->number == FourTapSetNone) continue;
      RunChecked(Traits(variant.layout), *variant.set, sizes);
      RunPicture(static_cast<int>(variant.layout), Traits(variant.layout).BytesPerPixel(), *variant.set, sizes);
      runs += 2;
    }
    for (Set const& set : Sets()) {
      if (!set.runnable || set.number == FourTapSetNone) continue;
      RunPicture(FOURTAP_GRAY_ALPHA, 2, set, sizes);
      RunPicture(FOURTAP_RGB_ALPHA, 4, set, sizes);
      runs += 2;
    }
  }
  std::printf("%d runs wrote only what follows from what they were given\n", runs);
  return 0;
}
