// The rotations against their definition, between protected pages.
#include <fourtapscale/FourTapFilters.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "ThisProcessor.h"
#include "conformance/Cases.h"
#include "conformance/GuardedImage.h"

namespace {

using conformance::Access;
using conformance::Flush;
using conformance::GuardedBytes;

int const lanesToSaturate[] = {-1, 0, 255, 256, 32767, -32768, 128, 1, -256, 254, 300};

template <int lineCount, class Column>
void CheckRotations(void (*clockwise)(unsigned char**, int, Column*),
                    void (*counterClockwise)(Column const*, unsigned char**, int)) {
  conformance::Random random(1);
  for (int n = 0; n <= 40; ++n) {
    for (auto const& [flush, shift] :
         {std::pair{Flush::end, 0U}, {Flush::end, 1U}, {Flush::start, 0U}, {Flush::start, 1U}}) {
      SCOPED_TRACE(testing::Message() << n << " columns, lines shifted by " << shift);
      auto const size = static_cast<size_t>(n);
      std::vector<GuardedBytes> lineBytes;
      unsigned char* lines[lineCount];
      for (unsigned char*& line : lines) {
        lineBytes.emplace_back(size, flush, shift);
        line = lineBytes.back().Data();
        std::generate_n(line, n, [&] { return static_cast<unsigned char>(random.Next()); });
      }
      std::vector<unsigned char*> const table(lines, lines + lineCount);
      auto const allow = [&](Access access) {
        for (GuardedBytes const& line : lineBytes) line.Allow(access);
      };

      GuardedBytes const columnBytes(size * sizeof(Column), flush);
      auto* const columns = reinterpret_cast<Column*>(columnBytes.Data());
      short lanes[40][lineCount];
      allow(Access::read);
      clockwise(lines, n, columns);
      EXPECT_TRUE(processor::StateIsClean());
      std::memcpy(lanes, columns, size * sizeof(Column));
      for (int c = 0; c < n; ++c) {
        for (int k = 0; k < lineCount; ++k) ASSERT_EQ(lanes[c][k], lines[k][c]) << "column " << c << " line " << k;
      }
      EXPECT_TRUE(columnBytes.MarginsIntact());

      for (int i = 0; i < n * lineCount; ++i) {
        lanes[i / lineCount][i % lineCount] =
            static_cast<short>(lanesToSaturate[static_cast<size_t>(i + n) % std::size(lanesToSaturate)]);
      }
      std::memcpy(columns, lanes, size * sizeof(Column));
      columnBytes.Allow(Access::read);
      allow(Access::readWrite);
      counterClockwise(columns, lines, n);
      EXPECT_TRUE(processor::StateIsClean());
      for (int c = 0; c < n; ++c) {
        for (int k = 0; k < lineCount; ++k) {
          ASSERT_EQ(lines[k][c], std::clamp<int>(lanes[c][k], 0, 255)) << "column " << c << " line " << k;
        }
      }
      for (GuardedBytes const& line : lineBytes) EXPECT_TRUE(line.MarginsIntact());
      EXPECT_TRUE(std::equal(table.begin(), table.end(), lines));
    }
  }
}

TEST(Rotate, FourLines) { CheckRotations<4>(Rotate4LinesClockwise_mmx, Rotate4LinesCounterClockwise_mmx); }

TEST(Rotate, EightLines) { CheckRotations<8>(Rotate8LinesClockwise_sse2, Rotate8LinesCounterClockwise_sse2); }

}  // namespace
