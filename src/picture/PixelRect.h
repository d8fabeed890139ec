#pragma once

namespace fourtap {

struct PixelRect {
  int x, y, cx, cy;
};

}  // namespace fourtap
