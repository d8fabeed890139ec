// A case as one line of text, to be printed where it fails and to be run again from.
#pragma once

#include <optional>
#include <string>

#include "conformance/Cases.h"

namespace conformance {

// Such as: layout=Plane in=6x4 out=10x9 seed=17 content=noise rect=0,0,10,9 slices=1,3 second= source=3,down,end,0
// destination=0,up,start,5
std::string TextOf(Case const& what);

// Nothing for a text that TextOf does not write.
std::optional<Case> CaseOfText(std::string const& text);

}  // namespace conformance
