// Characters of a text in UTF-8 that may be none.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tool {

struct Character {
  size_t length;  // in bytes
  int32_t code;   // negative for a byte that belongs to no character

  bool IsControl() const { return (code >= 0 && code < ' ') || (code >= 0x7f && code < 0xa0); }
};

// Of a text that is not empty.
inline Character FirstCharacter(std::string_view text) {
  auto const byte = [text](size_t i) { return int32_t{static_cast<unsigned char>(text[i])}; };
  int32_t const lead = byte(0);
  if (lead < 0x80) return {1, lead};
  size_t const length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  if (lead < 0xc2 || lead > 0xf4 || length > text.size()) return {1, -1};
  int32_t code = lead & (0x7f >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return {1, -1};
    code = code << 6 | (byte(i) & 0x3f);
  }
  int32_t const least[] = {0x80, 0x800, 0x10000};
  bool const isNone = code < least[length - 2] || code > 0x10ffff || (code >= 0xd800 && code < 0xe000);
  return isNone ? Character{1, -1} : Character{length, code};
}

}  // namespace tool
