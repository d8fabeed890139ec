// Which output columns a call makes, and what of a source line they need.
#pragma once

#include <cstdint>

struct _SCALE_CONTEXT;

namespace fourtap {

// The output columns of a call, and the stretch of a source line that they need. The stretch is whole pixels (packed:
// whole pairs), handed to the horizontal passes as the real bytes; these extend it by copies of its edge pixels
// (pairs).
struct HorzRange {
  int xDest, cxDest;     // output columns, pixels
  int firstByte;         // of the real bytes in a line of the source
  int count;             // real bytes
  int srcByte = 0;       // the first of them in a line as it was handed in, which may begin later
  int padLeft = 0;       // copies before them, pixels or pairs
  int padRight = 0;      // and after them
  int lumaOffset = 0;    // packed: the first luma tap, in bytes from the start of the extended stretch
  int chromaOffset = 0;  // packed: the first chroma tap
};

// The columns, of a picture without edges, that the taps of neighbouring output columns are within, by the source
// positions of the first and the last one: whole units of pixels that share samples.
struct TapColumns {
  int first, last;
};
inline TapColumns TapColumnsOf(int unitPixels, int firstPosition, int lastPosition) {
  return {(firstPosition / unitPixels - 1) * unitPixels, (lastPosition / unitPixels + 3) * unitPixels - 1};
}

// The range of some output columns, by a layout's rule.
typedef HorzRange NeededRange(_SCALE_CONTEXT const&, int xDest, int cxDest);

// The source pixel (or pair) of an entry of the context's positions.
inline int HorzPosition(uint64_t sixteenths) { return static_cast<int>(sixteenths >> 4); }

}  // namespace fourtap
