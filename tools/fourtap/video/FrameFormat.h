// What a frame of video consists of, and the names that this goes by.
#pragma once

#include <fourtapscale/FourTapScale.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "fourtap/SizeGrammar.h"

namespace tool {

// Planes one after the other, lines without padding. A frame of several planes has one byte a pixel in the first, and
// smaller ones for chroma.
struct FrameFormat {
  FourTapLayout layout;  // of each plane
  int bytesPerPixel;
  int cxMultiple = 1;    // pixels that can't be parted from each other
  int firstChannel = 0;  // bytes of a pixel before its channels
  int planes = 1;
  int cxPerChroma = 1, cyPerChroma = 1;  // pixels to each chroma sample; the last ones may be fewer
};

// A plane's size in its own pixels, for a frame's size.
PictureSize PlaneSize(FrameFormat const& format, int plane, PictureSize frame);
int64_t PlaneBytes(FrameFormat const& format, int plane, PictureSize frame);
int64_t FrameBytes(FrameFormat const& format, PictureSize frame);

// Null for an unknown name; upper and lower case are the same.
FrameFormat const* RawFormat(std::string_view name);
// What RawFormat knows, each format by its first name.
std::string RawFormatNames();

// Of a Y4M stream's C parameter, null for an unknown one.
FrameFormat const* Y4MFormat(std::string_view chroma);
std::string Y4MFormatNames();

}  // namespace tool
