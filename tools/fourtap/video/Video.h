// Video: Y4M streams and raw frames, from one pipe or file to another.
#pragma once

#include <string>

#include "fourtap/InputFile.h"
#include "fourtap/Options.h"

namespace tool {

// What a Y4M stream begins with.
inline constexpr char y4mSignature[] = "YUV4MPEG2";

// Scales all frames of an input that is either Y4M or, when options.raw says so, frames one after the other. The output
// is made once the input has shown that it can be scaled. Throws a Failure; whole frames before it have then been
// written, if the output is stdout.
void ScaleVideo(Options const& options, InputFile& input, std::string const& outputName);

// Prints on stdout what ScaleVideo would do: format, sizes, the way, memory.
void DescribeVideo(Options const& options, InputFile& input);

}  // namespace tool
