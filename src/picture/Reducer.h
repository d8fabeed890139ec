// Reduces pictures of one kind of samples: takes lines as they come, makes fewer and shorter ones.
#pragma once

#include "picture/Arena.h"
#include "picture/PixelRect.h"
#include "reduced/ReducingKernels.h"
#include "reduced/ReducingTaps.h"

namespace fourtap {

struct Reducer {
  int channels;
  Reduction lines, columns;
  bool reducesLines, reducesColumns;

  // Of each output column.
  int32_t* firsts;
  signed char* taps;
  bool eightTaps;  // none has more

  // Lines on their way through the halvings: those that a halving takes by two wait in pairs.
  static int const mostHalvings = 31;
  struct Level {
    unsigned char* waiting[2];
    int count;
  };
  Level levels[mostHalvings];
  int levelCount;
  // What the cubic filters downwards.
  static int const ringLines = mostTaps + 1;
  unsigned char* ring;
  int64_t ringStride;
  // What it filters along the lines, with copies of the picture's outermost pixels.
  unsigned char* unreduced;
  int64_t unreducedStride;

  // The part that is being made, and what it needs.
  PixelRect out, in;
  int firstColumn;   // of `in`, halved
  int columnCount;   // likewise
  int nextLine;      // source lines before this one were taken
  int nextBlock;     // lines that the cubic sees, before this one, were made
  int nextFiltered;  // output lines before this one were filtered downwards
  int unreducedFirst, unreducedCount;
};

// Pictures of cxIn x cyIn pixels to cxOut x cyOut, one direction or both beyond four taps; the other keeps its size.
void PlanReducer(Reducer&, int channels, Cubic cubic, int cxIn, int cyIn, int cxOut, int cyOut, Arena&);
// Writes the tables, once the memory is there.
void FillTables(Reducer&);

// The part of the source that a part of the output is made of.
PixelRect SourceOf(Reducer const&, PixelRect const& out);

void StartReducer(Reducer&, PixelRect const& out);
// Takes some of the next lines of the source part, at least one unless lines have to be made first. Returns how many.
int TakeLines(Reducer&, ReducingKernels const&, unsigned char const* lines, ptrdiff_t stride, int lineCount);
// Makes output lines, as far as there is room. Returns how many: some are held back until there are four.
int MakeLines(Reducer&, ReducingKernels const&, unsigned char* dst, ptrdiff_t stride, int room);

}  // namespace fourtap
