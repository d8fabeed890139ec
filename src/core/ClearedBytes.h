// Bytes of a line that no horizontal pass fills from the source.
#pragma once

namespace fourtap {

// Of every `period` bytes those from `first` on come out as 0, whatever went in.
struct ClearedBytes {
  int period;
  int first;

  constexpr bool Has(int byte) const { return byte % period >= first; }
  constexpr bool Any() const { return first < period; }
};

inline constexpr ClearedBytes nothingCleared{1, 1};

}  // namespace fourtap
