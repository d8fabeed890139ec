// Scales packed pixels from stdin to stdout as the model says: ModelFrame BITS_PER_PIXEL CX_IN CY_IN CX_OUT CY_OUT
#include <cstdio>
#include <cstdlib>

#include "conformance/Model.h"

int main(int argc, char** argv) {
  if (argc != 6) return 1;
  using conformance::Layout;
  Layout const layout = std::atoi(argv[1]) == 32 ? Layout::rgb32 : Layout::rgb24;
  conformance::Sizes const sizes{std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5])};
  auto const pixels = static_cast<size_t>(sizes.cxIn) * static_cast<size_t>(sizes.cyIn);
  conformance::Bytes picture(pixels * static_cast<size_t>(conformance::Traits(layout).BytesPerPixel()));
  if (std::fread(picture.data(), 1, picture.size(), stdin) != picture.size()) return 1;
  conformance::Bytes const scaled = conformance::ModelFrame(layout, sizes, picture);
  return std::fwrite(scaled.data(), 1, scaled.size(), stdout) == scaled.size() ? 0 : 1;
}
