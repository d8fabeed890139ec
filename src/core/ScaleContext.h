// The scale context: tables, scratch memory and frame progress for one pair of sizes.
#pragma once

#include <fourtapscale/FourTapFilters.h>
#include <fourtapscale/FourTapScale.h>

#include <cstdint>

#include "core/SourceStepping.h"

namespace fourtap {

struct GatherPlan;

// Lines of a context: the intermediate ones of the narrow sets and of the wide sets, each as many as a block may have;
// and those kept of a progressive frame, as many as the next output line's taps may still need.
int const mostBlockLines = 8;
int const wideBlockLines = 4;
int const keptLines = 3;

}  // namespace fourtap

struct _SCALE_CONTEXT {
  int cxIn, cyIn;               // pixels, lines
  int cxOut, cyOut;             // pixels, lines
  unsigned char* savedLineBuf;  // owned: three line slots
  // Into savedLineBuf, permuted: the last input lines of a progressive frame.
  unsigned char* savedLines[fourtap::keptLines];
  int cyInDone;                    // progressive: input lines received
  int cyOutDone;                   // progressive: output lines filtered vertically
  int bitsPerPixel;                // sizes the buffers only
  unsigned char const** srcLines;  // owned: cyIn + 3 entries, filled by each call; entry e is a tap line
  unsigned char* tempBuf;          // owned: eight line slots
  // Into tempBuf, 16-byte aligned: lines filtered vertically. Each has room for one pixel before it (a pair if packed),
  // and for cxIn + 4 pixels from its start.
  unsigned char* tempLines[fourtap::mostBlockLines];
  short vertCoef[16][4];  // taps of each phase
  short horzCoef[16][4];
  FourTapColumnOf8* colsIn_sse2;          // owned: a vector per byte of a line of cxIn + 6 pixels
  FourTapColumnOf8* colsOut_sse2;         // owned: a vector per byte of an output line
  FourTapColumnOf8 horzCoef_sse2[16][4];  // horzCoef, each tap in all lanes
  FourTapColumnOf4* colsIn_mmx;           // owned: as colsIn_sse2
  FourTapColumnOf4* colsOut_mmx;          // owned: as colsOut_sse2
  FourTapColumnOf4 horzCoef_mmx[16][4];
  uint64_t* horzPositions;    // owned: where each output column lies in the source, in sixteenths of a pixel; then the
                              // chroma samples of packed layouts
  uint64_t* chromaPositions;  // into horzPositions: as if the widths were halved, in sixteenths of a pair
  int horzPeriod;             // so many output columns on, the phase is the same again,
  int horzAdvance;            // and the place so many source columns further; of chroma samples as well
  unsigned char* gatherBuf;   // owned: what the wide sets need (gathered/GatherPlan.h)
  // Into gatherBuf, 64-byte aligned: their intermediate lines, each at least as long as the widest window.
  unsigned char* wideLines[fourtap::wideBlockLines];
  fourtap::GatherPlan* gatherPlan;   // into gatherBuf
  fourtap::SourceStepping nextLine;  // progressive: where output line cyOutDone lies
  bool holdsPart;                    // frame calls are handed a part of the source only,
  int xOrigin, yOrigin;              // which begins at this pixel
};
