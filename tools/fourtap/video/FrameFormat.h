// What a frame of video consists of, and the names that this goes by: the library's formats, and what only streams
// know.
#pragma once

#include <fourtapscale/fourtap.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "fourtap/SizeGrammar.h"

namespace tool {

// Bytes of a pixel of that layout.
int BytesPerPixel(int layout);

// Bytes of a pixel before its channels.
int FirstChannel(fourtap_format const& format);

// Pixels that can't be parted: frames' widths are multiples.
int CxMultiple(fourtap_format const& format);

// Neighbouring pixels that share samples of some plane; where the frame ends they may be fewer.
PictureSize SharingPixels(fourtap_format const& format);

// A plane's size in its own pixels, for a frame's size. Planes lie one after the other, lines without padding.
PictureSize PlaneSize(fourtap_format const& format, int plane, PictureSize frame);
int64_t PlaneBytes(fourtap_format const& format, int plane, PictureSize frame);
int64_t FrameBytes(fourtap_format const& format, PictureSize frame);
// Of the plane with the longest lines.
int64_t LongestLineBytes(fourtap_format const& format, PictureSize frame);

// Null for an unknown name; upper and lower case are the same.
fourtap_format const* RawFormat(std::string const& name);
// What RawFormat knows, each format by its usual name.
std::string RawFormatNames();

// Fills a frame with a colour, red, green and blue; where there is alpha, with what is opaque or else transparent and
// black.
//   name     of the format, as RawFormat knows it
//   isRanged  luma goes from 16 to 235, chroma from 16 to 240. Has no effect on other colours
void FillFrame(std::string const& name, bool isRanged, std::optional<std::array<unsigned char, 3>> const& colour,
               PictureSize frame, unsigned char* dst);
// Whether raw frames of that name have luma and chroma in these ranges.
bool IsRanged(std::string const& name);

// In lower case.
std::string Lower(std::string name);

// Of a Y4M stream's C parameter, null for an unknown one.
fourtap_format const* Y4MFormat(std::string const& chroma);
std::string Y4MFormatNames();
// The raw format of the same planes, by its usual name.
std::string Y4MRawName(std::string const& chroma);
// Of the raw format of that name, whose samples lie as in a Y4M stream; nothing where they don't.
std::optional<std::string> Y4MChroma(std::string const& rawName);

}  // namespace tool
