// What the command line asks for.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fourtap/Notes.h"
#include "fourtap/SizeGrammar.h"

namespace tool {

enum class AlphaRule {
  multiply,       // colours are multiplied by alpha, scaled, and divided again
  drop,           // there is no alpha in the result
  straight,       // colours and alpha are scaled as they are
  premultiplied,  // the same, for colours that are multiplied already, and stay so
};

enum class Framing {
  none,
  fit,   // the same as a box for its size
  fill,  // of the picture that covers the box, what the box holds
  pad,   // the picture that fits into the box, on a canvas of the box's size
};

// Where something lies in something larger: -1, 0 or 1 for its beginning, middle or end.
struct Gravity {
  int x = 0, y = 0;
};

enum class Progress {
  automatic,  // text when stderr is a terminal
  text,
  json,
};

using Colour = std::array<unsigned char, 3>;  // red, green, blue

struct Options {
  bool selfTest = false;  // alone; the rest is then empty
  bool info = false;
  std::vector<std::string> inputs;  // "-" is stdin; one, unless `output` is a pattern
  std::string output;               // "-" is stdout; may contain {name} when `outputIsPattern`
  bool outputIsPattern = false;
  bool outputIsFolder = false;  // a pattern that names the folder of the results
  bool makesFolders = false;    // that are missing around them
  std::string format;           // of the output, when its name doesn't say
  std::optional<SizeRequest> size;
  std::string sizeOption = "--size";  // that gave it
  Framing framing = Framing::none;    // if not none, `size` is a box
  Gravity gravity;                    // of the part that fills, and of the picture that is padded
  std::optional<PictureRect> rect;    // of the scaled picture
  bool even = false;                  // sides are rounded down to even numbers
  bool oneStep = false;               // the plain filter: whatever the ratio in one step, equal sizes filtered too
  AlphaRule alpha = AlphaRule::multiply;
  std::optional<Colour> background;  // that a picture with alpha is laid on, and others are padded with
  bool keepOrientation = false;      // instead of turning the picture upright
  unsigned keptNotes = allNotes;     // kinds of what describes a picture
  std::optional<int> quality;        // of formats that have one, 1 to 100
  std::optional<int> level;          // of compression of PNG files, 1 to 9
  bool lossless = false;             // of formats that can be either
  bool progressiveJpeg = false;
  int linesPerSlice = 0;        // handed to the scaler at once; 0: as many as suit
  int64_t maxPixels = 1 << 30;  // of an input picture or frame
  std::string raw;              // layout and size of headerless frames, such as nv12:1920x1080; empty: none
  int threads = 0;              // that scale a frame, or compress a PNG file; 0: as many as pay
  int jobs = 0;                 // inputs that are worked on at a time; 0: one per processor
  std::string set;              // of instructions; empty: the widest there is
  bool force = false;           // overwrite
  bool quiet = false;
  bool verbose = false;
  Progress progress = Progress::automatic;
};

}  // namespace tool
