// What the pictures are drawn with. Those that come in any size are the same bytes on every machine: their random
// numbers are integers, and their arithmetic is what IEEE 754 rounds in one way only, + - * / and the square root.
#pragma once

#include <algorithm>
#include <cmath>
#include <functional>

#include "fourtap/Picture.h"

namespace chart {

struct Colour {
  double red, green, blue;  // 0 to 1
};

inline Colour Gray(double level) { return {level, level, level}; }

inline unsigned char Byte(double level) {
  return static_cast<unsigned char>(std::lround(255 * std::clamp(level, 0.0, 1.0)));
}

inline void StoreColour(unsigned char* pixel, Colour colour) {
  pixel[0] = Byte(colour.red);
  pixel[1] = Byte(colour.green);
  pixel[2] = Byte(colour.blue);
}

// Of a part of a full turn.
inline double Cosine(double turns) {
  double const quarters = 1 - 4 * std::abs(turns - std::floor(turns + 0.5));  // its sine is asked for, -1 to 1
  double const square = quarters * quarters;
  // The series of the sine for quarters of a turn, to five parts in a million.
  return quarters *
         (1.5707963268 -
          square * (0.6459640975 - square * (0.0796926262 - square * (0.0046817541 - square * 0.0001604412))));
}
inline double Sine(double turns) { return Cosine(turns - 0.25); }

struct Drawing {
  tool::PictureSize size;
  tool::PixelKind kind;
  std::function<void(int y, unsigned char* line)> drawLine;  // in any order
};

// The chart of this project's own: faults of a scaler at a glance.
Drawing TestChart(bool cutOut);
// RGB that is much like a photo: smooth and rough, soft and sharp, edges at all angles, lettering, grain.
Drawing Photo(tool::PictureSize size);
// Gray: rings around the centre that get finer evenly, to one per two pixels at the ends of the longer side.
Drawing ZonePlate(tool::PictureSize size);

}  // namespace chart
