// Scales pixels without padding from stdin to stdout as the model says:
// ModelFrame PIXELS CX_IN CY_IN CX_OUT CY_OUT REDUCTION ALPHA
// PIXELS is a layout's name or its bits per pixel, or a number of the public header for pixels with alpha; REDUCTION and
// ALPHA are numbers from there.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "conformance/PictureModel.h"

int main(int argc, char** argv) {
  if (argc != 8) return 1;
  using namespace conformance;
  std::string const pixels = argv[1];
  fourtap_rules rules{};
  auto const traits = std::ranges::find_if(Layouts(), [&](LayoutTraits const& layout) {
    return layout.name == pixels || std::to_string(layout.bitsPerPixel) == pixels;
  });
  rules.pixels = traits == Layouts().end() ? std::atoi(argv[1]) : static_cast<int>(traits->layout);
  rules.reduction = std::atoi(argv[6]);
  rules.alpha = std::atoi(argv[7]);
  Sizes const sizes{std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5])};
  auto const count = static_cast<size_t>(sizes.cxIn) * static_cast<size_t>(sizes.cyIn);
  Bytes picture(count * static_cast<size_t>(Traits(SourceLayout(rules)).BytesPerPixel()));
  if (std::fread(picture.data(), 1, picture.size(), stdin) != picture.size()) return 1;
  Bytes const scaled = ModelPicture(rules, sizes, picture);
  return std::fwrite(scaled.data(), 1, scaled.size(), stdout) == scaled.size() ? 0 : 1;
}
