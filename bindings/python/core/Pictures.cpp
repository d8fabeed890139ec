#include "Pictures.h"

#include <algorithm>
#include <new>

namespace binding {

bool Request::operator==(Request const& other) const {
  return cxIn == other.cxIn && cyIn == other.cyIn && cxOut == other.cxOut && cyOut == other.cyOut &&
         rules.pixels == other.rules.pixels && rules.reduction == other.rules.reduction &&
         rules.alpha == other.rules.alpha && std::equal(rules.background, rules.background + 3, other.rules.background);
}

Shelf::~Shelf() {
  for (Idle const& idle : idle_) fourtap_picture_close(idle.picture);
}

fourtap_picture* Shelf::Take(Request const& request) {
  for (size_t i = idle_.size(); i-- > 0;) {
    if (!(idle_[i].request == request)) continue;
    fourtap_picture* const picture = idle_[i].picture;
    idle_.erase(idle_.begin() + static_cast<ptrdiff_t>(i));
    bytes_ -= fourtap_picture_bytes(picture);
    return picture;
  }
  return nullptr;
}

void Shelf::Put(Request const& request, fourtap_picture* picture) noexcept {
  size_t const bytes = fourtap_picture_bytes(picture);
  try {
    if (bytes > mostBytes_) throw std::bad_alloc();
    idle_.push_back({request, picture});
  } catch (std::bad_alloc const&) {
    fourtap_picture_close(picture);
    return;
  }
  bytes_ += bytes;
  while (idle_.size() > most_ || bytes_ > mostBytes_) {
    bytes_ -= fourtap_picture_bytes(idle_.front().picture);
    fourtap_picture_close(idle_.front().picture);
    idle_.erase(idle_.begin());
  }
}

fourtap_status Borrowed::Add() {
  pictures_.reserve(pictures_.size() + 1);
  fourtap_picture* picture = shelf_.Take(request_);
  if (!picture) {
    fourtap_status const status =
        fourtap_picture_open(&picture, &request_.rules, request_.cxIn, request_.cyIn, request_.cxOut, request_.cyOut);
    if (status != FOURTAP_OK) return status;
  }
  pictures_.push_back(picture);
  return FOURTAP_OK;
}

}  // namespace binding
