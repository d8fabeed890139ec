#include "fourtap/PngFilter.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace tool {

namespace {

using Byte = unsigned char;

// Long enough for repetitions to show.
size_t const groupBytes = 1 << 17;

// What becomes of a byte beside the ones to its left, above it, and above to the left. Loops of these over plain arrays
// are what compilers turn into vectors.
Byte LessNothing(Byte byte, Byte, Byte, Byte) { return byte; }
Byte LessLeft(Byte byte, Byte left, Byte, Byte) { return static_cast<Byte>(byte - left); }
Byte LessAbove(Byte byte, Byte, Byte above, Byte) { return static_cast<Byte>(byte - above); }
Byte LessMean(Byte byte, Byte left, Byte above, Byte) { return static_cast<Byte>(byte - ((left + above) >> 1)); }
// The neighbour that is nearest to left + above - aboveLeft; the first of them where several are.
Byte LessNearest(Byte byte, Byte left, Byte above, Byte aboveLeft) {
  auto const distance = [](int16_t far) { return static_cast<int16_t>(far < 0 ? -far : far); };
  auto const toLeft = static_cast<int16_t>(above - aboveLeft), toAbove = static_cast<int16_t>(left - aboveLeft);
  int16_t const left16 = distance(toLeft), above16 = distance(toAbove);
  int16_t const both16 = distance(static_cast<int16_t>(toLeft + toAbove));
  Byte const other = above16 <= both16 ? above : aboveLeft;
  return static_cast<Byte>(byte - (left16 <= above16 && left16 <= both16 ? left : other));
}

// Lines have zeros before them, a pixel of them.
template <auto Less>
void FilterLine(Byte const* __restrict line, Byte const* __restrict above, size_t pixelBytes, size_t count,
                Byte* __restrict dst) {
  Byte const* const left = line - pixelBytes;
  Byte const* const aboveLeft = above - pixelBytes;
  for (size_t i = 0; i < count; ++i) dst[i] = Less(line[i], left[i], above[i], aboveLeft[i]);
}

using FilterFunction = void(Byte const* line, Byte const* above, size_t pixelBytes, size_t count, Byte* dst);
// By their numbers in the file.
FilterFunction* const filters[] = {FilterLine<LessNothing>, FilterLine<LessLeft>, FilterLine<LessAbove>,
                                   FilterLine<LessMean>, FilterLine<LessNearest>};

// How far from zero the bytes are, as differences of either sign.
uint64_t Weight(std::vector<Byte> const& bytes) {
  uint64_t sum = 0;
  for (Byte const byte : bytes) sum += static_cast<unsigned>(std::abs(static_cast<signed char>(byte)));
  return sum;
}

size_t const keyBytes = 6;

// These next bytes, and two more are there; the same number on every machine.
uint64_t KeyOf(Byte const* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  return word << 8 * (sizeof word - keyBytes);
}

// In 1/256, of a number from 1 on.
uint64_t Log2(uint64_t number) {
  auto const whole = static_cast<uint64_t>(std::bit_width(number)) - 1;
  uint64_t mantissa = number << 31 >> whole, log = whole;  // from 1 to 2, in 2^-31
  for (int bit = 0; bit < 8; ++bit) {
    mantissa = mantissa * mantissa >> 31;
    bool const carries = mantissa >> 32 != 0;
    mantissa >>= carries;
    log = log * 2 + carries;
  }
  return log;
}

struct Estimate {
  uint64_t bits = 0;      // in 1/256
  size_t bytesFound = 0;  // repetitions of what stands before
};

size_t const anywhere = 1 << 15;

// About what these bytes become: what the code for those that are new takes, and for each repetition what says where
// and how long it is. Where there is little to be found it looks at fewer and fewer places.
//   farthest  that a repetition is from what it repeats; 1 finds runs alone
Estimate EstimateDeflated(Byte const* bytes, size_t count, size_t farthest) {
  size_t const wordBytes = sizeof(uint64_t), longest = 258, bitsBesidePlace = 8;
  size_t const missesPerStep = 16, longestStep = 16;
  int const hashBits = 13;
  std::vector<uint32_t> last(1 << hashBits);  // where those with that hash were, and one; 0: nowhere
  std::array<uint64_t, 256> counts{};
  Estimate estimate;
  uint64_t newBytes = 0;
  size_t misses = 0;
  for (size_t at = 0; at + wordBytes <= count;) {
    uint64_t const key = KeyOf(bytes + at);
    uint32_t& place = last[key * 0x9E3779B97F4A7C15u >> (64 - hashBits)];
    size_t const before = place;
    place = static_cast<uint32_t>(at + 1);
    if (before && at + 1 - before <= farthest && KeyOf(bytes + before - 1) == key) {
      Byte const* const from = bytes + before - 1;
      size_t length = keyBytes;
      while (at + length < count && length < longest && from[length] == bytes[at + length]) ++length;
      estimate.bits += uint64_t{bitsBesidePlace + static_cast<size_t>(std::bit_width(at + 1 - before))} << 8;
      estimate.bytesFound += length;
      at += length;
      misses /= 2;
    } else {
      size_t const step = std::min(1 + misses++ / missesPerStep, longestStep);
      counts[bytes[at]] += step;
      newBytes += step;
      at += step;
    }
  }
  for (uint64_t const number : counts) {
    if (number) estimate.bits += number * (Log2(newBytes) - Log2(number));
  }
  return estimate;
}

// What they really become, which takes a hundred times as long to find out.
uint64_t DeflatedBits(Byte* bytes, size_t count, int strategy) {
  z_stream stream{};
  int const windowBits = -15, memoryLevel = 9;
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, windowBits, memoryLevel, strategy) != Z_OK) {
    throw std::bad_alloc();
  }
  stream.next_in = bytes;
  stream.avail_in = static_cast<unsigned>(count);
  std::array<Byte, 1 << 12> out;
  do {
    stream.next_out = out.data();
    stream.avail_out = out.size();
  } while (deflate(&stream, Z_FINISH) == Z_OK);
  uint64_t const bits = stream.total_out * 8;
  deflateEnd(&stream);
  return bits;
}

}  // namespace

PngFilter::PngFilter(size_t bytesPerPixel, size_t bytesPerLine, bool triesBoth)
    : pixelBytes(bytesPerPixel),
      lineBytes(bytesPerLine),
      stride(pixelBytes + lineBytes),
      linesPerGroup(std::max<size_t>(1, groupBytes / stride)),
      tries(triesBoth),
      lines(stride * 2) {
  for (auto& candidate : candidates) candidate.resize(lineBytes);
}

bool PngFilter::Take(Byte const* line, size_t count, size_t step) {
  ++lineCount;
  if (lines.size() < stride * (lineCount + 1)) lines.resize(stride * (lineCount + 1));
  Byte* const dst = Line(lineCount);
  if (step == pixelBytes) {
    std::memcpy(dst, line, lineBytes);
  } else {
    for (size_t x = 0; x < count; ++x) std::memcpy(dst + x * pixelBytes, line + x * step, pixelBytes);
  }
  return lineCount == linesPerGroup;
}

PngContent PngFilter::Filter() {
  filtered.clear();
  for (size_t y = 1; y <= lineCount; ++y) AppendFiltered(y);
  PngContent content = PngContent::repetitions;
  // With zeros before each line instead of a filter's number.
  Estimate const asIs = EstimateDeflated(Line(1), stride * lineCount - pixelBytes, anywhere);
  Estimate const ofDifferences = EstimateDeflated(filtered.data(), filtered.size(), anywhere);
  bool isShorter = asIs.bits < ofDifferences.bits;
  if (tries && asIs.bits / 2 < ofDifferences.bits && ofDifferences.bits / 2 < asIs.bits) {
    isShorter = DeflatedBits(Line(1), stride * lineCount - pixelBytes, Z_DEFAULT_STRATEGY) <
                DeflatedBits(filtered.data(), filtered.size(), Z_FILTERED);
  }
  if (isShorter) {
    filtered.clear();
    for (size_t y = 1; y <= lineCount; ++y) {
      filtered.push_back(0);
      filtered.insert(filtered.end(), Line(y), Line(y) + lineBytes);
    }
  } else {
    bool const isFlat = 2 * static_cast<size_t>(std::ranges::count(filtered, 0)) > filtered.size();
    // What is worth a search shortens them by a quarter at least.
    bool const repeats = 8 * ofDifferences.bytesFound > filtered.size() &&
                         4 * ofDifferences.bits < 3 * EstimateDeflated(filtered.data(), filtered.size(), 1).bits;
    content = isFlat || repeats ? PngContent::shades : PngContent::noise;
  }
  std::memcpy(Line(0), Line(lineCount), lineBytes);
  lineCount = 0;
  return content;
}

// By the filter that leaves the smallest differences.
void PngFilter::AppendFiltered(size_t y) {
  size_t best = 0;
  uint64_t least = UINT64_MAX;
  for (size_t i = 0; i < std::size(filters); ++i) {
    filters[i](Line(y), Line(y - 1), pixelBytes, lineBytes, candidates[i].data());
    uint64_t const weight = Weight(candidates[i]);
    if (weight >= least) continue;
    least = weight;
    best = i;
  }
  filtered.push_back(static_cast<Byte>(best));
  filtered.insert(filtered.end(), candidates[best].begin(), candidates[best].end());
}

}  // namespace tool
