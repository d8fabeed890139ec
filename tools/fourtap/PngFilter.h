// What PNG does to lines before they are compressed.
#pragma once

#include <cstddef>
#include <vector>

namespace tool {

// What it takes to compress lines well: the longest repetitions in them as they are, as in screens full of text; or in
// their differences, as in drawn shades; or, as in photos, nothing but the right code for each difference.
enum class PngContent { repetitions, shades, noise };

// Lines of a picture, a group of them at a time. Groups end where the sizes say, wherever the lines come from.
struct PngFilter {
  // Bytes of a pixel, and of a line, in the file.
  //   triesBoth  lines are compressed as they are and filtered, where a glance does not tell which is shorter
  PngFilter(size_t bytesPerPixel, size_t bytesPerLine, bool triesBoth);

  // Takes the next line, the top one first, of `count` pixels that lie `step` bytes apart. True where the group is
  // full.
  bool Take(unsigned char const* line, size_t count, size_t step);
  // Filters the lines taken so far, by the filters that suit what they hold, and begins the next group.
  PngContent Filter();

  std::vector<unsigned char> filtered;  // the lines of that group, as they are compressed
  bool IsEmpty() const { return lineCount == 0; }

 private:
  unsigned char* Line(size_t y) { return lines.data() + stride * y + pixelBytes; }
  void AppendFiltered(size_t y);

  size_t const pixelBytes, lineBytes, stride, linesPerGroup;
  bool const tries;
  std::vector<unsigned char> lines;  // of the group behind the one above it; zeros before each
  size_t lineCount = 0;
  std::vector<unsigned char> candidates[5];  // a line by each filter
};

}  // namespace tool
