// Splitting pixels into planes and merging them, with strides of both signs.
#include <fourtapscale/ImageUtil.h>
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "conformance/GuardedImage.h"

namespace {

using conformance::Access;
using conformance::GuardedImage;

struct Picture {
  Picture(int cx, int cy, int stride, int planeStride)
      : pixels(3 * cx, cy, stride),
        planes{GuardedImage(cx, cy, planeStride), GuardedImage(cx, cy, planeStride),
               GuardedImage(cx, cy, planeStride)} {}

  template <class Function>
  void Run(Function function, int cx, int cy, int bitsPerPixel) const {
    function(pixels.Top(), cx, cy, pixels.Stride(), bitsPerPixel, planes[0].Top(), planes[1].Top(), planes[2].Top(),
             planes[0].Stride());
  }

  GuardedImage pixels;
  GuardedImage planes[3];
};

void AllowPlanes(Picture const& picture, Access access) {
  for (GuardedImage const& plane : picture.planes) plane.Allow(access);
}

TEST(Planes, SplitAndMerge) {
  struct {
    int cx, cy, stride, planeStride;
  } const cases[] = {{1, 1, 3, 1},    {5, 4, 16, 5},    {5, 4, -16, 9}, {7, 3, 21, -7},
                     {7, 3, -24, -8}, {64, 2, 200, 70}, {2, 0, 8, 2}};
  for (auto const& [cx, cy, stride, planeStride] : cases) {
    SCOPED_TRACE(testing::Message() << cx << 'x' << cy << " strides " << stride << ' ' << planeStride);
    Picture const picture(cx, cy, stride, planeStride);
    std::vector<unsigned char> bytes(static_cast<size_t>(3 * cx * cy));
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    picture.pixels.CopyFrom(bytes.data());
    picture.pixels.Allow(Access::read);
    picture.Run(GetPlanes, cx, cy, 24);
    for (size_t k = 0; k < 3; ++k) {
      std::vector<unsigned char> want;
      for (size_t i = k; i < bytes.size(); i += 3) want.push_back(bytes[i]);
      EXPECT_EQ(picture.planes[k].Copy(), want);
      EXPECT_TRUE(picture.planes[k].GapsIntact());
    }
    picture.pixels.Allow(Access::readWrite);
    picture.pixels.Fill(0);
    AllowPlanes(picture, Access::read);
    picture.Run(SetPlanes, cx, cy, 24);
    EXPECT_EQ(picture.pixels.Copy(), bytes);
    EXPECT_TRUE(picture.pixels.GapsIntact());
  }
}

TEST(Planes, NothingIsTouchedAtOtherBitCountsAndEmptySizes) {
  Picture const picture(4, 4, 12, 4);
  picture.pixels.Allow(Access::none);
  AllowPlanes(picture, Access::none);
  struct {
    int cx, cy, bitsPerPixel;
  } const cases[] = {{4, 4, 8}, {4, 4, 32}, {4, 4, 0}, {4, 4, 16}, {0, 4, 24}, {4, 0, 24}, {-1, 4, 24}, {4, -1, 24}};
  for (auto const& [cx, cy, bitsPerPixel] : cases) {
    picture.Run(GetPlanes, cx, cy, bitsPerPixel);
    picture.Run(SetPlanes, cx, cy, bitsPerPixel);
  }
}

}  // namespace
