// The command line.
#pragma once

#include <optional>
#include <string>

namespace tool {

struct PictureSize {
  int cx, cy;  // at least 1
};

struct Arguments {
  bool selfTest = false;  // alone; the rest is then empty
  std::string input;      // file names
  std::string output;
  PictureSize size = {0, 0};
  int linesPerSlice = 0;  // 0: the whole picture at once
};

// Nothing when the user asked for help or the version, which has then been printed. Throws a Failure for what it can't
// make sense of.
std::optional<Arguments> ParseArguments(int argc, char** argv);

}  // namespace tool
