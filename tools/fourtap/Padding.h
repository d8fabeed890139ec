// Pictures on a larger canvas: lines of one colour come before and behind them, and pixels of it beside them.
#pragma once

#include <memory>

#include "fourtap/Options.h"
#include "fourtap/Picture.h"

namespace tool {

// Of a picture that is padded with a colour.
PixelKind KindPadded(PixelKind kind, Colour colour);

// Takes the lines of a picture that lies at `place` of the canvas, and gives the canvas's, which are of KindPadded, to
// `writer`. Pictures with alpha are padded with what is transparent.
std::unique_ptr<PictureWriter> PaddingWriter(std::unique_ptr<PictureWriter> writer, PixelKind kind,
                                             PictureRect const& place, PictureSize canvas, Colour colour);

}  // namespace tool
