// Scales pixels without padding from stdin to stdout as the model says: ModelFrame LAYOUT CX_IN CY_IN CX_OUT CY_OUT
// LAYOUT is a layout's name or its bits per pixel.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "conformance/Model.h"

int main(int argc, char** argv) {
  if (argc != 6) return 1;
  using namespace conformance;
  auto const traits = std::ranges::find_if(Layouts(), [name = std::string(argv[1])](LayoutTraits const& layout) {
    return layout.name == name || std::to_string(layout.bitsPerPixel) == name;
  });
  if (traits == Layouts().end()) return 1;
  Sizes const sizes{std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5])};
  auto const pixels = static_cast<size_t>(sizes.cxIn) * static_cast<size_t>(sizes.cyIn);
  Bytes picture(pixels * static_cast<size_t>(traits->BytesPerPixel()));
  if (std::fread(picture.data(), 1, picture.size(), stdin) != picture.size()) return 1;
  Bytes const scaled = ModelFrame(traits->layout, sizes, picture);
  return std::fwrite(scaled.data(), 1, scaled.size(), stdout) == scaled.size() ? 0 : 1;
}
