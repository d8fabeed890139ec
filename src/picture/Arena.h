// Memory that is asked for in one piece: counted first, then given out.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fourtap {

struct Arena {
  unsigned char* base = nullptr;  // null while counting
  int64_t used = 0;

  // Null while counting.
  template <class Item>
  Item* Take(int64_t count) {
    int64_t const alignment = 64;
    used = (used + alignment - 1) / alignment * alignment;
    Item* const taken = base ? reinterpret_cast<Item*>(base + used) : nullptr;
    used += count * int64_t{sizeof(Item)};
    return taken;
  }
};

}  // namespace fourtap
