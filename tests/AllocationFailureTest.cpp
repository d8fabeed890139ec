// What a context asks of the allocator, and what becomes of it when the allocator refuses. The program's malloc is its
// own, so the sanitizers, which bring theirs, do without this test.
#include <fourtapscale/fourtap.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fourtapscale/fourtap.hpp>
#include <new>
#include <numeric>
#include <vector>

#include "OwnedContext.h"

namespace {

struct {
  bool watching;
  std::size_t refused;  // the request to refuse, counted from 1
  std::size_t requests;
  int live;
  std::array<std::size_t, 64> sizes;
} allocator;

}  // namespace

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void __libc_free(void* memory);

// Null if the request is to be refused.
template <class Grant>
void* Request(std::size_t size, Grant grant) {
  if (!allocator.watching) return grant();
  if (allocator.requests < allocator.sizes.size()) allocator.sizes[allocator.requests] = size;
  if (++allocator.requests == allocator.refused) return nullptr;
  ++allocator.live;
  return grant();
}

void* malloc(std::size_t size) noexcept {
  return Request(size, [size] { return __libc_malloc(size); });
}

// Compilers make this of a malloc that is cleared at once.
void* calloc(std::size_t count, std::size_t size) noexcept {
  return Request(count * size, [count, size] { return __libc_calloc(count, size); });
}

void free(void* memory) noexcept {
  if (allocator.watching && memory) --allocator.live;
  __libc_free(memory);
}

namespace {

template <class Action>
std::vector<std::size_t> RequestsOf(std::size_t refused, Action action) {
  allocator.requests = 0;
  allocator.live = 0;
  allocator.refused = refused;
  allocator.watching = true;
  action();
  allocator.watching = false;
  EXPECT_EQ(allocator.live, 0) << "leaked, or released twice";
  return {allocator.sizes.begin(), allocator.sizes.begin() + std::min(allocator.requests, allocator.sizes.size())};
}

std::vector<std::size_t> RequestsOfContext(ContextSizes const& sizes, std::size_t refused, bool& made) {
  return RequestsOf(refused, [&] { made = MakeContext(sizes) != nullptr; });
}

TEST(Allocation, BuffersHaveTheirSizes) {
  bool made;
  auto const sizes = RequestsOfContext({100, 50, 40, 20, 8}, 0, made);
  ASSERT_TRUE(made);
  std::vector<std::size_t> const expected = {53 * sizeof(void*), 1024, 384, 106 * 8, 40 * 8, 106 * 16, 40 * 16};
  ASSERT_GT(sizes.size(), expected.size());
  EXPECT_EQ(std::vector(sizes.begin() + 1, sizes.begin() + 8), expected);
  EXPECT_EQ(RequestsOfContext({100'000'000, 9, 9, 9, 24}, 3, made).back(), std::size_t{8} * 300'000'032);
}

TEST(Allocation, IsWhatTheQuerySays) {
  for (ContextSizes const& of : {ContextSizes{100, 50, 40, 20, 8}, {33, 7, 91, 300, 24}, {640, 1, 2, 9, 16}}) {
    bool made;
    auto const sizes = RequestsOfContext(of, 0, made);
    EXPECT_EQ(std::accumulate(sizes.begin(), sizes.end(), 0LL),
              FourTapScaleContextBytes(of.cxIn, of.cyIn, of.cxOut, of.cyOut, of.bitsPerPixel));
  }
  EXPECT_EQ(FourTapScaleContextBytes(1 << 30, 10, 10, 10, 32), -1);
}

// Whatever request is refused; `words` begin the sentence, `least` requests there are.
template <class Opened, class Open>
void ExpectMemoryToBeMissed(char const* words, std::size_t least, Open open, void (*close)(Opened*)) {
  auto const openRefused = [&](std::size_t refused, fourtap_status& status) {
    return RequestsOf(refused, [&] {
      Opened* opened = nullptr;
      status = open(&opened);
      close(opened);
    });
  };
  fourtap_status status;
  std::size_t const requests = openRefused(0, status).size();
  ASSERT_EQ(status, FOURTAP_OK);
  EXPECT_GE(requests, least);
  for (std::size_t refused = 1; refused <= requests; ++refused) {
    openRefused(refused, status);
    EXPECT_EQ(status, FOURTAP_MEMORY) << refused;
    EXPECT_EQ(std::strstr(fourtap_error(), words), fourtap_error()) << fourtap_error();
  }
}

TEST(Allocation, FunctionsForCSayThatThereIsNone) {
  auto const openScaler = [](fourtap_scaler** scaler) { return fourtap_open(scaler, FOURTAP_RGBA32, 30, 20, 50, 10); };
  ExpectMemoryToBeMissed("memory: none for a scaler of ", 9, openScaler, fourtap_close);
  // Columns are reduced, and lines filtered by four taps.
  auto const openPicture = [](fourtap_picture** picture) {
    fourtap_rules const rules{FOURTAP_RGB_ALPHA, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {}};
    return fourtap_picture_open(picture, &rules, 300, 20, 50, 30);
  };
  ExpectMemoryToBeMissed("memory: none for a picture of ", 10, openPicture, fourtap_picture_close);
}

TEST(Allocation, EveryRefusalGivesNullAndLeavesNothing) {
  ContextSizes const sizes{30, 20, 50, 10, 16};
  bool made;
  auto const all = RequestsOfContext(sizes, 0, made);
  for (std::size_t refused = 1; refused <= all.size(); ++refused) {
    auto const asked = RequestsOfContext(sizes, refused, made);
    EXPECT_FALSE(made) << refused;
    // The record and the line buffers end it at once; the four column buffers are asked for in one go.
    if (refused <= 4) {
      EXPECT_EQ(asked.size(), refused);
    } else {
      EXPECT_GE(asked.size(), std::max(refused, std::size_t{8}));
    }
    EXPECT_TRUE(std::equal(asked.begin(), asked.end(), all.begin()));
  }
}

TEST(Allocation, RefusalsReachTheClassesAsBadAlloc) {
  for (std::size_t refused = 1;; ++refused) {
    bool made = false;
    RequestsOf(refused, [&made] {
      try {
        fourtapscale::FrameScaler const scaler("uyvy", {30, 20}, {50, 10});
        made = true;
      } catch (std::bad_alloc const&) {
      }
    });
    if (made) {
      EXPECT_GT(refused, 8u);
      break;
    }
  }
}

}  // namespace
