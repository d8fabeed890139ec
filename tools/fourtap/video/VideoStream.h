// Video as a stream of bytes: what stands before the frames, and between them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fourtap/InputFile.h"
#include "fourtap/Options.h"
#include "fourtap/video/FrameFormat.h"

namespace tool {

// What stands before a frame of a Y4M stream, if it has no parameters; and the longest such line, its end included.
inline constexpr char y4mFrameHeader[] = "FRAME\n";
inline constexpr size_t longestHeader = 4096;

struct VideoStream {
  bool isY4M;
  fourtap_format const* format;
  std::string formatName;  // as it was given
  std::string rawName;     // the same for raw frames
  bool isRanged;           // see FillFrame
  PictureSize size;
  std::vector<std::string> parameters{};  // of a Y4M stream, a letter and a value each
  int64_t headerBytes = 0;                // before the first frame
};

// Reads up to the first frame. Throws a Failure for what is not handled.
VideoStream OpenVideo(Options const& options, InputFile& input);

// Whether a stream becomes Y4M, or else raw frames: by the output's name and options.format. Throws a Failure where the
// name promises neither, or the frames can't be either.
bool BecomesY4M(Options const& options, VideoStream const& stream, std::string const& outputName);

// What stands before the frames of a Y4M stream that a stream becomes.
//   scaled  the size that frames are scaled to, which may change the proportions of a pixel
//   size    of the part of them that is taken
std::string StreamHeader(VideoStream const& stream, PictureSize scaled, PictureSize size);

// Reads the next frame, `bytes` of them after its header, which is nothing for raw frames. Nothing at the stream's end.
//   frameNumber  for messages: 1 for the first one
std::optional<std::string> ReadFrame(VideoStream const& stream, InputFile& input, int64_t frameNumber,
                                     unsigned char* frame, size_t bytes);

}  // namespace tool
