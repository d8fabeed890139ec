// Every layout of whole pixels that can be said, on every set: channels are planes, and the other bytes come out as 0
// wherever there is a horizontal pass.
#include <gtest/gtest.h>

#include <ostream>

#include "Scaling.h"
#include "conformance/Cases.h"
#include "layouts/PixelLayout.h"
#include "variants/Variants.h"

#include FOURTAP_SET_SCALERS

namespace {

using namespace conformance;

struct PixelScaler {
  int bytes, channels;
  Set const* set;
  fourtap::Scaler scaler;
};

std::ostream& operator<<(std::ostream& out, PixelScaler const& scaler) {
  return out << scaler.channels << "of" << scaler.bytes << '_' << scaler.set->name;
}

template <int bytes, int channels>
void AddScalers(std::vector<PixelScaler>& scalers) {
#define SCALER_OF(with, set, ...) fourtap::scalerOf_##set<fourtap::PixelLayout<bytes, channels>>,
  fourtap::Scaler const bySet[] = {FOURTAP_SETS(SCALER_OF, )};
  for (std::size_t i = 0; i < Sets().size(); ++i) scalers.push_back({bytes, channels, &Sets()[i], bySet[i]});
  if constexpr (channels < bytes) {
    AddScalers<bytes, channels + 1>(scalers);
  } else if constexpr (bytes < 4) {
    AddScalers<bytes + 1, 1>(scalers);
  }
}

std::vector<PixelScaler> AllScalers() {
  std::vector<PixelScaler> scalers;
  AddScalers<1, 1>(scalers);
  return scalers;
}

class PixelLayout : public testing::TestWithParam<PixelScaler> {
 protected:
  void SetUp() override { SkipUnlessRunnable(*GetParam().set); }

  static Bytes Picture(Sizes const& sizes, uint64_t seed) {
    Random random(seed);
    Bytes picture(static_cast<std::size_t>(sizes.cxIn * sizes.cyIn * GetParam().bytes));
    for (unsigned char& byte : picture) byte = static_cast<unsigned char>(random.Next());
    return picture;
  }

  // By planes.
  static Bytes Expected(Sizes const& sizes, Bytes const& picture) {
    auto const bytes = static_cast<std::size_t>(GetParam().bytes);
    auto const channels = static_cast<std::size_t>(sizes.HorzPass() ? GetParam().channels : GetParam().bytes);
    Bytes expected(static_cast<std::size_t>(sizes.cxOut * sizes.cyOut) * bytes);
    for (std::size_t c = 0; c < channels; ++c) {
      Bytes plane;
      for (std::size_t i = c; i < picture.size(); i += bytes) plane.push_back(picture[i]);
      Bytes const scaled = ModelFrame(Layout::Plane, sizes, plane);
      for (std::size_t i = 0; i < scaled.size(); ++i) expected[i * bytes + c] = scaled[i];
    }
    return expected;
  }
};

TEST_P(PixelLayout, ChannelsArePlanesAndTheRestIsZero) {
  auto const& [bytes, channels, set, scaler] = GetParam();
  for (uint64_t seed = 0; seed < 150; ++seed) {
    Case const what = RandomCase(Layout::Plane, seed);
    Sizes const& sizes = what.sizes;
    Bytes const picture = Picture(sizes, seed);
    Bytes const expected = Expected(sizes, picture);
    int const strideIn = sizes.cxIn * bytes, strideOut = sizes.cxOut * bytes;
    OwnedContext const context = MakeContext({sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut, 8 * bytes});
    for (Rect const& rect : {Rect{0, 0, sizes.cxOut, sizes.cyOut}, what.rect}) {
      Bytes part(static_cast<std::size_t>(rect.cx * rect.cy * bytes), 0x5a);
      fourtap::ScaleFrame(scaler, *context, picture.data(), strideIn, part.data(), rect.cx * bytes, rect.x, rect.y,
                          rect.cx, rect.cy);
      Bytes wanted;
      for (int y = rect.y; y < rect.y + rect.cy; ++y) {
        auto const line = expected.begin() + std::ptrdiff_t{y} * strideOut + rect.x * bytes;
        wanted.insert(wanted.end(), line, line + rect.cx * bytes);
      }
      ASSERT_EQ(part, wanted) << "case " << seed << ", " << rect.cx << "x" << rect.cy;
    }
    Bytes sliced(expected.size(), 0x5a);
    int yIn = 0, yOut = 0;
    for (int const cySlice : {sizes.cyIn / 3, sizes.cyIn - sizes.cyIn / 3}) {
      int cyWritten = 0;
      fourtap::ScaleSlice(scaler, *context, picture.data() + std::ptrdiff_t{yIn} * strideIn, strideIn, cySlice,
                          sliced.data() + std::ptrdiff_t{yOut} * strideOut, strideOut, cyWritten);
      yIn += cySlice;
      yOut += cyWritten;
    }
    ASSERT_EQ(sliced, expected) << "case " << seed;
  }
}

std::string NameOf(testing::TestParamInfo<PixelScaler> const& info) { return testing::PrintToString(info.param); }

INSTANTIATE_TEST_SUITE_P(, PixelLayout, testing::ValuesIn(AllScalers()), NameOf);

}  // namespace
