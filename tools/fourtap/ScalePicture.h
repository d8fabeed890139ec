// The way of a picture from a file to another.
#pragma once

#include <string>

#include "fourtap/InputFile.h"
#include "fourtap/Options.h"

namespace tool {

// Scales the picture in `input`, of which nothing has been read beyond Peek, into the file `output`. The scalers have
// been installed. Reading, scaling and writing go on at the same time. Throws a Failure.
void ScalePicture(Options const& options, InputFile& input, std::string const& output);

// Prints on stdout what ScalePicture would do: format, sizes, the way, memory. Throws a Failure.
void DescribePicture(Options const& options, InputFile& input);

}  // namespace tool
