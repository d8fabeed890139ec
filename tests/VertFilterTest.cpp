// The vertical filter against its formula: any count, any alignment, between protected pages.
#include <fourtapscale/FourTapFilters.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ThisProcessor.h"
#include "conformance/Cases.h"
#include "conformance/GuardedImage.h"
#include "conformance/Variants.h"
#include "core/FilterCoefs.h"

namespace {

using conformance::GuardedBytes;

int const pageSize = 4096;

struct Taps {
  short tap[4];
};

std::vector<Taps> TapsToTry() {
  std::vector<Taps> taps(16);
  short table[16 * 4];
  fourtap::ComputeFilterCoefs(1, table);
  std::memcpy(taps.data(), table, sizeof table);
  // Sums just beyond 64, a pair that is equal where the other is not, and a tap just below 0, which take other ways
  // than those of a context; the last four saturate at both ends and reach both ends of 16 bits.
  taps.insert(taps.end(), {{{15, 36, 14, 0}},
                           {{2, 0, 0, 63}},
                           {{5, 20, 30, 5}},
                           {{-1, 40, 25, 0}},
                           {{-3, 40, 30, -3}},
                           {{0, 64, 0, 0}},
                           {{0, 0, 64, 0}},
                           {{-128, 128, 0, 0}},
                           {{64, -64, 64, -64}},
                           {{0, 0, 28, 100}}});
  return taps;
}

typedef decltype(FourTapVertFilter_c) VertFilterOfLine;

#define FILTER_OF(with, set, ...) FourTapVertFilter_##set,
VertFilterOfLine* const filterOfSet[] = {FOURTAP_SETS(FILTER_OF, )};

struct Filter {
  std::string set;
  VertFilterOfLine* run;
  int alignment;  // that all lines must share for the aligned path; 0: all bytes go through vector lanes
};

std::vector<Filter> RunnableFilters() {
  std::vector<Filter> runnable;
  for (std::size_t i = 0; i < conformance::Sets().size(); ++i) {
    conformance::Set const& set = conformance::Sets()[i];
    std::string const name = set.name;
    int const alignment = name == "mmx" ? 8 : name == "sse2" ? 16 : 0;
    if (set.runnable) runnable.push_back({name, filterOfSet[i], alignment});
  }
  return runnable;
}
std::vector<Filter> const filters = RunnableFilters();

// Where the destination and the four lines start within their page.
struct Offsets {
  int dst;
  int line[4];
};

class VertFilter : public testing::Test {
 protected:
  VertFilter() {
    conformance::Random random(1);
    for (GuardedBytes const& line : lines) {
      std::generate_n(line.Data(), pageSize, [&] {
        uint64_t const value = random.Next();
        return static_cast<unsigned char>(value % 3 == 0 ? value >> 8 : value % 3 == 1 ? 0 : 255);
      });
      line.Allow(conformance::Access::read);
    }
  }

  void Check(Filter const& filter, Offsets const& at, int count, Taps const& taps) {
    unsigned char want[pageSize];
    std::memset(want, GuardedBytes::guardByte, sizeof want);
    for (int i = 0; i < count; ++i) {
      int sum = 0;
      for (int t = 0; t < 4; ++t) sum += taps.tap[t] * lines[t].Data()[at.line[t] + i];
      want[at.dst + i] = static_cast<unsigned char>(std::clamp(sum >> 6, 0, 255));
    }
    Run(filter, at, count, taps);
    ASSERT_EQ(std::memcmp(dst.Data(), want, pageSize), 0)
        << filter.set << " count " << count << " dst " << at.dst << " lines " << testing::PrintToString(at.line)
        << " taps " << testing::PrintToString(taps.tap);
    ASSERT_TRUE(processor::StateIsClean()) << filter.set << " count " << count;
  }

  void Run(Filter const& filter, Offsets const& at, int count, Taps const& taps) {
    std::memcpy(coefs.Data(), taps.tap, sizeof taps.tap);
    std::memset(dst.Data(), GuardedBytes::guardByte, pageSize);
    filter.run(dst.Data() + at.dst, lines[0].Data() + at.line[0], lines[1].Data() + at.line[1],
               lines[2].Data() + at.line[2], lines[3].Data() + at.line[3], count,
               reinterpret_cast<short*>(coefs.Data()));
  }

  GuardedBytes const lines[4] = {GuardedBytes(pageSize), GuardedBytes(pageSize), GuardedBytes(pageSize),
                                 GuardedBytes(pageSize)};
  GuardedBytes const dst{pageSize};
  GuardedBytes const coefs{sizeof(Taps)};
};

// As near to that end of the page as the alignment allows.
int AlignedOffset(bool atEnd, int alignment, int count) {
  return (atEnd ? (pageSize - count - alignment) & ~15 : 0) + alignment;
}

TEST_F(VertFilter, EveryCountAndSharedAlignment) {
  std::vector<Taps> const taps = TapsToTry();
  size_t next = 0;
  for (Filter const& filter : filters) {
    for (int place = 0; place < 2 * 16 * 16; ++place) {
      for (int count = 0; count <= 80; ++count) {
        int const line = AlignedOffset(place & 1, place / 2 % 16, count);
        int const to = AlignedOffset(place & 1, place / 32, count);
        Check(filter, {to, {line, line, line, line}}, count, taps[next++ % taps.size()]);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST_F(VertFilter, MixedAlignments) {
  std::vector<Taps> const taps = TapsToTry();
  conformance::Random random(2);
  for (int round = 0; round < 500; ++round) {
    int const count = random.Between(0, 140);
    // A line that ends with its page shows a read behind it, whatever the others do.
    auto const place = [&] { return random.OneIn(3) ? pageSize - count : random.Between(0, 63); };
    Offsets const at{place(), {place(), place(), place(), place()}};
    for (Filter const& filter : filters) {
      for (Taps const& each : taps) {
        Check(filter, at, count, each);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST_F(VertFilter, NothingIsTouchedAtCountZero) {
  for (GuardedBytes const& line : lines) line.Allow(conformance::Access::none);
  for (Filter const& filter : filters) {
    for (int shift = 0; shift < 16; ++shift) {
      Offsets const at{pageSize, {shift, shift, shift, shift}};
      Check(filter, at, 0, {{14, 36, 14, 0}});
      if (HasFatalFailure()) return;
    }
  }
}

// 255 for what is filtered in scalar code, else 0: of the head up to alignment and of the rest, what blocks leave over.
std::vector<int> ScalarBytes(Filter const& filter, int misalignment, int count) {
  std::vector<int> bytes(static_cast<size_t>(count));
  if (filter.alignment == 0) return bytes;
  int const head = misalignment > 0 ? std::min(filter.alignment - misalignment, count) : 0;
  int const headBlocks = filter.alignment == 16 ? head & ~7 : 0;
  std::fill(bytes.begin() + headBlocks, bytes.begin() + head, 255);
  std::fill(bytes.end() - ((count - head) & 7), bytes.end(), 255);
  return bytes;
}

// Taps of one line, and of two that a byte multiplication takes at once.
TEST_F(VertFilter, VectorLanesWrapBeyondTheRange) {
  for (int const t : {0, 1}) {
    lines[t].Allow(conformance::Access::readWrite);
    std::memset(lines[t].Data(), 255, pageSize);
  }
  for (Filter const& filter : filters) {
    for (int shift = 0; shift <= 16; ++shift) {
      // The last round has lines that share no alignment.
      Offsets const at{32 + shift % 3, {shift, shift, shift, shift == 16 ? 3 : shift}};
      int const misalignment = shift == 16 || filter.alignment == 0 ? 0 : shift % filter.alignment;
      for (int count = 0; count <= 80; ++count) {
        for (Taps const& taps : {Taps{{0, 200, 0, 0}}, {{100, 29, 0, 0}}, {{-128, -1, 0, 0}}}) {
          Run(filter, at, count, taps);
          std::vector<int> got(dst.Data() + at.dst, dst.Data() + at.dst + count);
          // A sum below the range wraps to one above 255.
          if (taps.tap[0] < 0) std::for_each(got.begin(), got.end(), [](int& byte) { byte = 255 - byte; });
          ASSERT_EQ(got, ScalarBytes(filter, misalignment, count))
              << filter.set << " count " << count << " shift " << shift << " first tap " << taps.tap[0];
        }
      }
    }
  }
}

}  // namespace
