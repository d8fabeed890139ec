// A plain alphabet.
#pragma once

namespace chart {

int const cxLetter = 5, cyLetter = 7;

// Whether a letter has ink in that one of its 5x7 squares; outside of them, and for names not known, it has none.
bool InLetter(char name, int x, int y);

}  // namespace chart
