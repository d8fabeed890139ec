// The horizontal pass of one layout, over columns of any kind: a byte of one line, or a vector of a block of lines.
//
// A layout is a record with
//   bytesPerPixel, edges (EdgeRule), Needed (NeededRange), cleared (ClearedBytes: no filter writes them)
//   keepsPixels       whether its blocks of 8 lines are turned by whole pixels; their filter then packs its sums
//   FourTapHorzFilterLine_c, FourTapHorzFilter4Lines_mmx, FourTapHorzFilter8Lines_sse2
//                     (_SCALE_CONTEXT const&, HorzRange const&, in, out): from the extended stretch to output columns
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/ClearedBytes.h"
#include "filters/FourTapSum.h"
#include "scheme/Scaler.h"
#include "turned/Rotate.h"

namespace fourtap {

// How a stretch of a line is extended: by copies of its first and of its last unit (a pixel, or a pair), byte by byte.
struct EdgeRule {
  int unitBytes;
  int left[4];   // for each byte of a copy the byte of the first unit, or -1: never read, left alone
  int right[4];  // and of the last unit
};

// Extends `count` columns from `real` on; returns where the extended stretch starts.
template <EdgeRule const& edges, class Column>
Column* RepeatEdges(Column* real, HorzRange const& range) {
  Column const* const lastUnit = real + range.count - edges.unitBytes;
  for (int copy = 0; copy < range.padRight; ++copy) {
    Column* const unit = real + range.count + copy * edges.unitBytes;
    for (int b = 0; b < edges.unitBytes; ++b) unit[b] = lastUnit[edges.right[b]];
  }
  if (range.padLeft == 0) return real;
  Column* const unit = real - edges.unitBytes;
  for (int b = 0; b < edges.unitBytes; ++b) {
    if (edges.left[b] >= 0) unit[b] = real[edges.left[b]];
  }
  return unit;
}

// Where the samples of a kind lie within a line.
struct SampleGrid {
  int distance;         // from a sample to the next of its channel, columns
  int channels;         // filtered alike; of whole pixels the columns, each of some lines
  int channelDistance;  // from one to the next
  bool packs = false;   // sums leave as bytes, those of two channels in a column
};

// Where samples of a kind lie in the source, from a first one on.
struct SampleSteps {
  uint64_t const* positions;  // in sixteenths of a sample
  int period;                 // so many samples on, the phase is the same again,
  int advance;                // and the place so many source samples further
};

inline SampleSteps StepsOf(_SCALE_CONTEXT const& context, uint64_t const* positions) {
  return {positions, context.horzPeriod, context.horzAdvance};
}

// The sums of neighbouring samples, each of all channels. All are taken before any is stored: the compiler has to take
// a store for one that may change what is still to be loaded.
template <SampleGrid grid, class Column, int samples>
struct SampleSums {
  Column sums[samples][grid.channels];

  template <TapForm form, class Taps>
  void Take(int s, Column const* from, Taps const* phase) {
    Taps const taps[4] = {phase[0], phase[1], phase[2], phase[3]};
    for (int c = 0; c < grid.channels; ++c)
      sums[s][c] = FourTapSum<form>(from + c * grid.channelDistance, grid.distance, taps);
  }

  void Store(Column* out, ptrdiff_t step) const {
    for (int s = 0; s < samples; ++s) {
      Column* const to = out + s * step;
      if constexpr (grid.packs) {
        for (int c = 0; c < grid.channels / 2; ++c) to[c] = _mm_packus_epi16(sums[s][2 * c], sums[s][2 * c + 1]);
      } else {
        for (int c = 0; c < grid.channels; ++c) to[c * grid.channelDistance] = sums[s][c];
      }
    }
  }
};

// Every period-th sample: all have the same taps.
template <SampleGrid grid, TapForm form, class Column, class Taps>
void FilterPhase(Column const* in, ptrdiff_t advance, int count, Column* out, ptrdiff_t step, Taps const* phase) {
  Taps const taps[4] = {phase[0], phase[1], phase[2], phase[3]};
  int constexpr abreast = grid.channels == 1 ? 2 : 1;
  for (; count >= abreast; count -= abreast, in += abreast * advance, out += abreast * step) {
    SampleSums<grid, Column, abreast> sums;
    for (int s = 0; s < abreast; ++s) sums.template Take<form>(s, in + s * advance, taps);
    sums.Store(out, step);
  }
  if (count > 0) {
    SampleSums<grid, Column, 1> sums;
    sums.template Take<form>(0, in, taps);
    sums.Store(out, step);
  }
}

template <SampleGrid grid, int samples, class Column, class Taps>
void FilterAbreast(uint64_t const* positions, uint64_t origin, Column* out, Taps const (*coefs)[4]) {
  SampleSums<grid, Column, samples> sums;
  for (int s = 0; s < samples; ++s) {
    uint64_t const at = origin + (positions[s] >> 4) * (grid.distance * sizeof(Column));
    sums.template Take<TapForm::general>(s, reinterpret_cast<Column const*>(at), coefs[positions[s] & 15]);
  }
  sums.Store(out, grid.distance);
}

// Phase by phase, with the taps in registers.
template <SampleGrid grid, class Column, class Taps>
void FilterPhases(SampleSteps const& steps, int count, Column const* in, Column* out, Taps const (*coefs)[4]) {
  ptrdiff_t const advance = ptrdiff_t{steps.advance} * grid.distance;
  ptrdiff_t const step = ptrdiff_t{steps.period} * grid.distance;
  for (int first = 0; first < steps.period; ++first) {
    uint64_t const at = steps.positions[first];
    Column const* const from = in + ((at >> 4) - (steps.positions[0] >> 4)) * grid.distance;
    int const ofPhase = (count - first + steps.period - 1) / steps.period;
    WithFormOf(coefs[at & 15], [&](auto form) {
      FilterPhase<grid, form>(from, advance, ofPhase, out + first * grid.distance, step, coefs[at & 15]);
    });
  }
}

// Filters `count` output samples of each channel. `in` stands at the first tap of the first sample, `out` at that
// sample.
template <SampleGrid grid, class Column, class Taps>
void FilterSamples(SampleSteps const& steps, int count, Column const* in, Column* out, Taps const (*coefs)[4]) {
  // So many sums a phase has to have, or what it takes to set it up (taps, form, a loop's end) is more than it saves.
  int const worthAPhase = 8;
  if (int64_t{steps.period} * worthAPhase <= int64_t{count} * grid.channels && steps.period <= count) {
    FilterPhases<grid>(steps, count, in, out, coefs);
    return;
  }
  uint64_t const* const positions = steps.positions;
  // Positions count from the line's first sample, `in` from the first tap: the difference is taken once, as an address.
  uint64_t const origin = reinterpret_cast<uintptr_t>(in) - (positions[0] >> 4) * (grid.distance * sizeof(Column));
  int constexpr abreast = grid.channels == 1 ? 2 : 1;
  ptrdiff_t i = 0;
  for (; i + abreast <= count; i += abreast)
    FilterAbreast<grid, abreast>(positions + i, origin, out + i * grid.distance, coefs);
  if (i < count) FilterAbreast<grid, 1>(positions + i, origin, out + i * grid.distance, coefs);
}

// The two kinds of blocks of lines: how many, their columns, and the layout's filter for them.
struct Block8Lines_sse2 {
  static constexpr int lineCount = 8;
  typedef FourTapColumnOf8 Column;
  static Column* In(_SCALE_CONTEXT& context) { return context.colsIn_sse2; }
  static Column* Out(_SCALE_CONTEXT& context) { return context.colsOut_sse2; }
  template <class Layout>
  static constexpr auto* const rotateIn =
      Layout::keepsPixels ? LinesToPixelColumns_sse2 : LinesToColumns_sse2<Layout::cleared>;
  template <class Layout>
  static constexpr auto* const rotateOut =
      Layout::keepsPixels ? PixelColumnsToLines_sse2 : ByteColumnsToLines_sse2<Layout::cleared>;
  template <class Layout>
  static constexpr auto* const filter = Layout::FourTapHorzFilter8Lines_sse2;
};

struct Block4Lines_mmx {
  static constexpr int lineCount = 4;
  typedef FourTapColumnOf4 Column;
  static Column* In(_SCALE_CONTEXT& context) { return context.colsIn_mmx; }
  static Column* Out(_SCALE_CONTEXT& context) { return context.colsOut_mmx; }
  template <class Layout>
  static constexpr auto* const rotateIn = LinesToColumns_mmx;
  template <class Layout>
  static constexpr auto* const rotateOut = ColumnsToLines_mmx<Layout::cleared>;
  template <class Layout>
  static constexpr auto* const filter = Layout::FourTapHorzFilter4Lines_mmx;
};

// A block of lines, in strips of output columns: so the columns on their way stay in the first-level cache. Where there
// are fewer lines than the block has, the last one is done again in place of each missing one.
template <class Layout, class Block>
void ScaleBlock(_SCALE_CONTEXT& context, unsigned char const* const* lines, int lineCount, HorzRange const& range,
                unsigned char* dst, int dstStride) {
  // Columns of 16 bytes, in and out, at 2:1: 24 KiB with 4 bytes a pixel, 18 KiB with 2 or 3. That leaves room beside
  // them in a first-level cache of 32 KiB; wider strips have fewer edges to make.
  int const stripWidth = Layout::bytesPerPixel <= 2 ? 192 : 128;
  for (int x = 0; x < range.cxDest; x += stripWidth) {
    HorzRange const strip = Layout::Needed(context, range.xDest + x, std::min(stripWidth, range.cxDest - x));
    unsigned char const* srcLines[Block::lineCount];
    unsigned char* dstLines[Block::lineCount];
    for (int k = 0; k < Block::lineCount; ++k) {
      int const line = std::min(k, lineCount - 1);
      srcLines[k] = lines[line] + (strip.firstByte - range.firstByte);
      dstLines[k] = dst + ptrdiff_t{line} * dstStride + x * Layout::bytesPerPixel;
    }
    typename Block::Column* const real = Block::In(context) + strip.padLeft * Layout::edges.unitBytes;
    Block::template rotateIn<Layout>(srcLines, strip.count, real);
    Block::template filter<Layout>(context, strip, RepeatEdges<Layout::edges>(real, strip), Block::Out(context));
    Block::template rotateOut<Layout>(Block::Out(context), dstLines, strip.cxDest * Layout::bytesPerPixel);
  }
}

template <class Layout>
void FourTapHorzScale8Lines_sse2(_SCALE_CONTEXT& context, unsigned char const* const* lines, HorzRange const& range,
                                 unsigned char const*, unsigned char* dst, int dstStride) {
  ScaleBlock<Layout, Block8Lines_sse2>(context, lines, Block8Lines_sse2::lineCount, range, dst, dstStride);
}

template <class Layout>
void FourTapHorzScale4Lines_mmx(_SCALE_CONTEXT& context, unsigned char const* const* lines, HorzRange const& range,
                                unsigned char const*, unsigned char* dst, int dstStride) {
  ScaleBlock<Layout, Block4Lines_mmx>(context, lines, Block4Lines_mmx::lineCount, range, dst, dstStride);
}

// An extended line, into a destination line.
template <class Layout>
void FilterExtended_c(_SCALE_CONTEXT const& context, HorzRange const& range, unsigned char const* extended,
                      unsigned char* dst) {
  Layout::FourTapHorzFilterLine_c(context, range, extended, dst);
  if constexpr (Layout::cleared.Any()) {
    for (int i = 0; i < range.cxDest * Layout::bytesPerPixel; ++i) {
      if (Layout::cleared.Has(i)) dst[i] = 0;
    }
  }
}

template <class Layout>
void FourTapHorzScaleLines_c(_SCALE_CONTEXT& context, unsigned char* const* lines, int lineCount,
                             HorzRange const& range, unsigned char* dst, int dstStride) {
  for (int k = 0; k < lineCount; ++k) {
    unsigned char const* const extended = RepeatEdges<Layout::edges>(lines[k], range);
    FilterExtended_c<Layout>(context, range, extended, dst + ptrdiff_t{k} * dstStride);
  }
}

// Source lines are copied where edges are missing, into the first intermediate line, and never written.
template <class Layout>
void FourTapHorzScaleSrcLines_c(_SCALE_CONTEXT& context, unsigned char const* const* lines, int lineCount,
                                HorzRange const& range, unsigned char* dst, int dstStride) {
  for (int k = 0; k < lineCount; ++k) {
    unsigned char const* extended = lines[k];
    if (range.padLeft != 0 || range.padRight != 0) {
      std::memcpy(context.tempLines[0], lines[k], static_cast<size_t>(range.count));
      extended = RepeatEdges<Layout::edges>(context.tempLines[0], range);
    }
    FilterExtended_c<Layout>(context, range, extended, dst + ptrdiff_t{k} * dstStride);
  }
}

}  // namespace fourtap
