// Rectangles of one picture, scaled at once in many threads, each with a context of its own.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Scaling.h"
#include "conformance/Cases.h"

namespace {

using namespace conformance;

class Threads : public PerVariantTest {};

TEST_P(Threads, RectanglesOfOnePicture) {
  Sizes const sizes{150, 90, 110, 70};
  Trial const trial(CaseOfSizes(GetParam().layout, sizes, 3));
  int const bytesPerPixel = Traits(GetParam().layout).BytesPerPixel();
  int const threadCount = 4;
  std::vector<Bytes> wanted(threadCount), got(threadCount);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < threadCount; ++i) {
    threads.emplace_back([&, i] {
      OwnedContext const context = MakeContext(GetParam().layout, sizes);
      Random random(i);
      for (int round = 0; round < 20; ++round) {
        int const x = random.Between(0, sizes.cxOut / 2 - 1) & ~1, y = random.Between(0, sizes.cyOut - 1);
        int const cx = random.Between(2, sizes.cxOut - x) & ~1, cy = random.Between(1, sizes.cyOut - y);
        std::size_t const start = got[i].size();
        got[i].resize(start + static_cast<std::size_t>(cx * cy * bytesPerPixel));
        GetParam().frame(context.get(), trial.picture.data(), sizes.cxIn * bytesPerPixel, &got[i][start],
                         cx * bytesPerPixel, x, y, cx, cy);
        Bytes const part = Crop(GetParam().layout, trial.frame, sizes.cxOut, {x, y, cx, cy});
        wanted[i].insert(wanted[i].end(), part.begin(), part.end());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(got, wanted);
}

FOR_EACH_VARIANT(Threads);

// Nobody sets anything up before.
TEST(ThreadsLookUp, AllFindTheSame) {
  std::vector<FourTapFrameScaler*> found(8);
  std::vector<std::thread> threads;
  for (FourTapFrameScaler*& scaler : found) {
    threads.emplace_back([&scaler] { scaler = FourTapFrameScalerFor(FourTapLayoutRGB24, FourTapSetWidest); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_NE(found[0], nullptr);
  EXPECT_EQ(found, std::vector<FourTapFrameScaler*>(8, found[0]));
}

}  // namespace
