#include "fourtap/PngFilter.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

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

// Whether most of it has been there before, as far as a look at every eighth byte tells.
bool Repeats(Byte const* bytes, size_t count) {
  size_t const step = sizeof(uint64_t);
  int const hashBits = 14;
  std::vector<uint32_t> last(1 << hashBits);  // where those with that hash were, and one; 0: nowhere
  size_t seen = 0;
  for (size_t at = 0; at + step <= count; at += step) {
    uint64_t word, before;
    std::memcpy(&word, bytes + at, step);
    uint32_t& place = last[word * 0x9E3779B97F4A7C15u >> (64 - hashBits)];
    if (place) {
      std::memcpy(&before, bytes + place - 1, step);
      seen += before == word;
    }
    place = static_cast<uint32_t>(at + 1);
  }
  return 2 * seen * step > count;
}

}  // namespace

PngFilter::PngFilter(size_t bytesPerPixel, size_t bytesPerLine)
    : pixelBytes(bytesPerPixel),
      lineBytes(bytesPerLine),
      stride(pixelBytes + lineBytes),
      linesPerGroup(std::max<size_t>(1, groupBytes / stride)),
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
  PngContent content = PngContent::repetitions;
  if (Repeats(Line(1), stride * lineCount - pixelBytes)) {
    for (size_t y = 1; y <= lineCount; ++y) {
      filtered.push_back(0);
      filtered.insert(filtered.end(), Line(y), Line(y) + lineBytes);
    }
  } else {
    for (size_t y = 1; y <= lineCount; ++y) AppendFiltered(y);
    auto const zeros = static_cast<size_t>(std::ranges::count(filtered, 0));
    content = 2 * zeros > filtered.size() ? PngContent::shades : PngContent::noise;
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
