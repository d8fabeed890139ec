// Scales the planes of frames, the output in bands of lines, each on a thread of its own.
#pragma once

#include <fourtapscale/fourtap.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Crew.h"

namespace gstfourtap {

// What is scaled, in pixels of the plane.
struct PlaneJob {
  fourtap_rules rules;
  int cxIn, cyIn, cxOut, cyOut;
};

// The lines of a plane in mapped memory: the top one is at `top`, the next `stride` bytes on; all that may be touched
// ends at `end`.
template <class Byte>
struct PlaneLines {
  Byte* top;
  std::ptrdiff_t stride;
  Byte* end;
};
using SourceLines = PlaneLines<unsigned char const>;
using TargetLines = PlaneLines<unsigned char>;

class FrameScaler {
 public:
  // Makes a scaler for each plane and band: fewer bands than `threads` where planes are low or threads can't be had.
  // Throws std::runtime_error, with a sentence, where the sizes or the memory can't be had.
  FrameScaler(std::vector<PlaneJob> const& jobs, int threads, int widestSet);

  FrameScaler(FrameScaler const&) = delete;
  FrameScaler& operator=(FrameScaler const&) = delete;

  // Scales a frame, plane by plane in the order of the jobs; one call at a time. Nothing is allocated. What was wrong,
  // or null: a sentence that is good until the next call.
  char const* Scale(SourceLines const* sources, TargetLines const* targets);

  int BytesPerPixel(std::size_t plane) const {
    return fourtap_picture_pixel_bytes(bands.front().pictures[plane].get());
  }
  int Set() const { return fourtap_picture_set(bands.front().pictures.front().get()); }
  int Threads() const { return static_cast<int>(bands.size()); }
  std::size_t Bytes() const;

 private:
  struct Close {
    void operator()(fourtap_picture* picture) const { fourtap_picture_close(picture); }
  };
  struct Band {
    std::vector<std::unique_ptr<fourtap_picture, Close>> pictures;  // for each plane
    char refusal[256];
  };

  void OpenBands(int count, int widestSet);
  void ScaleBand(int number);

  std::vector<PlaneJob> jobs;
  std::vector<Band> bands;
  std::unique_ptr<Crew> crew;
  SourceLines const* from = nullptr;  // of the frame that is being scaled
  TargetLines const* to = nullptr;
};

}  // namespace gstfourtap
