// The horizontal pass of sets with registers of 16 bytes and a look-up among the bytes of one: windows of 16 bytes, one
// for each table vector. Included by files compiled for newer processors, so all of it stays theirs.
//
// Ops is the set's vocabulary, as for the vertical filter, with LookUp and SumsOfFour.
#pragma once

#include <cstddef>
#include <cstring>
#include <iterator>

#include "filters/Hold.h"
#include "gathered/FilterSegments.h"
#include "gathered/GatherPlan.h"

namespace {

// A group is 32 output bytes, eight to a pair of vectors. With a0 to a7 for a pair's outputs, and 0.t for a0's tap t:
//
//   inHalves  first vector   0.0 1.0 2.0 3.0 4.0 5.0 6.0 7.0   0.1 1.1 2.1 3.1 4.1 5.1 6.1 7.1
//             second vector  0.2 1.2 2.2 3.2 4.2 5.2 6.2 7.2   0.3 1.3 2.3 3.3 4.3 5.3 6.3 7.3
//             summed         the products of all halves
//   inFours   first vector   0.0 0.1 0.2 0.3 1.0 1.1 1.2 1.3   2.0 2.1 2.2 2.3 3.0 3.1 3.2 3.3
//             second vector  4.0 4.1 4.2 4.3 5.0 5.1 5.2 5.3   6.0 6.1 6.2 6.3 7.0 7.1 7.2 7.3
//             summed         four neighbouring products; a window reaches further this way, for four outputs only
enum class Order { inHalves, inFours };

template <Order order>
constexpr fourtap::GatherItem ItemAt16(int vector, int byte) {
  if (order == Order::inFours) return {.output = 4 * vector + byte / 4, .tap = byte % 4, .window = vector, .offset = 0};
  return {.output = 8 * (vector / 2) + byte % 8, .tap = 2 * (vector % 2) + byte / 8, .window = vector, .offset = 0};
}

template <class Ops, Order order>
struct Kernel16 {
  static int const groupBytes = 32;
  static int const vectors = 8;
  typedef typename Ops::Register Register;

  struct Bytes {
    Register half[2];
  };

  static auto Sums(unsigned char const* const* starts, ptrdiff_t at, Register const* index, Register const* taps) {
    Register const a = Ops::LookUp(Ops::Load(starts[0] + at), index[0]);
    Register const b = Ops::LookUp(Ops::Load(starts[1] + at), index[1]);
    if constexpr (order == Order::inFours) {
      return Ops::SumsOfFour(a, taps[0], b, taps[1]);
    } else {
      auto const ofFirst = Ops::MultiplyAddHigh(Ops::MultiplyLow(a, taps[0]), a, taps[0]);
      return Ops::MultiplyAddHigh(Ops::MultiplyAddLow(ofFirst, b, taps[1]), b, taps[1]);
    }
  }

  template <int lineCount, class Store>
  [[gnu::always_inline]] void FilterGroup(unsigned char const* groupTables, int32_t const* windows,
                                          unsigned char const* from, ptrdiff_t step, unsigned char* to, int dstStride,
                                          Store const& store) const {
    Bytes bytes[lineCount];
    for (int half = 0; half < 2; ++half) {
      Register index[4], taps[4];
      unsigned char const* starts[4];
      for (int v = 0; v < 4; ++v) {
        index[v] = Ops::Load(groupTables + 16 * (4 * half + v));
        taps[v] = Ops::Load(groupTables + 16 * (vectors + 4 * half + v));
        if (lineCount > 1) {
          Ops::Hold(index[v]);
          Ops::Hold(taps[v]);
        }
        starts[v] = from + windows[4 * half + v];
        HoldInRegister(starts[v]);
      }
      for (int k = 0; k < lineCount; ++k) {
        bytes[k].half[half] =
            Ops::NarrowBy6(Sums(starts, k * step, index, taps), Sums(starts + 2, k * step, index + 2, taps + 2));
      }
    }
    for (int k = 0; k < lineCount; ++k) store(to + ptrdiff_t{k} * dstStride, bytes[k]);
  }

  static void StoreWhole(unsigned char* to, Bytes const& bytes) {
    for (int half = 0; half < 2; ++half) Ops::Store(to + 16 * half, bytes.half[half]);
  }

  // It ends with the line, and overlaps the group before it, unless it is the only one.
  template <class FilterGroupInto>
  [[gnu::always_inline]] static void FilterLast(fourtap::GatherPlan const& plan, int last, unsigned char* dst,
                                                FilterGroupInto const& filterGroup) {
    if (last > 0) {
      filterGroup(plan.groups[last], dst + plan.dstBytes - groupBytes, StoreWhole);
      return;
    }
    filterGroup(plan.groups[0], dst, [&plan](unsigned char* to, Bytes const& bytes) {
      unsigned char whole[groupBytes];
      StoreWhole(whole, bytes);
      std::memcpy(to, whole, static_cast<size_t>(plan.dstBytes));
    });
  }
};

template <class Ops, Order order>
constexpr fourtap::GatherScheme SchemeOf16() {
  typedef Kernel16<Ops, order> Kernel;
  return {.vectorBytes = 16,
          .groupBytes = Kernel::groupBytes,
          .windowBytes = 16,
          .reachBytes = 16,
          .windowCount = Kernel::vectors,
          .straight = false,
          .lastGroupEndsAtEnd = true,
          .keepsTables = keepsTables<Kernel>,
          .lanes = &fourtap::gatherLanesBy<ItemAt16<order>, Kernel::groupBytes, 16>,
          .filter = Filter<Kernel>};
}

}  // namespace

// gatherSet_<set> with its schemes, fastest first.
#define FOURTAP_DEFINE_GATHER_SET(set, ...)                                                       \
  namespace {                                                                                     \
  constexpr fourtap::GatherScheme schemes_##set[] = {__VA_ARGS__};                                \
  static_assert(fourtap::FitBuffers(schemes_##set));                                              \
  }                                                                                               \
  fourtap::GatherSet const fourtap::gatherSet_##set{.filterName = "FourTapHorzFilterLines_" #set, \
                                                    .schemes = schemes_##set,                     \
                                                    .schemeCount = std::size(schemes_##set)};
