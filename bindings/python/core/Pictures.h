// Picture scalers that are kept: opening one, and its first call, may take longer than all the others.
#pragma once

#include <fourtapscale/fourtap.h>

#include <cstddef>
#include <vector>

namespace binding {

struct Request {
  fourtap_rules rules;
  int cxIn, cyIn, cxOut, cyOut;

  bool operator==(Request const&) const;
};

// Those that nobody uses at the moment, the last used one at the end. Called with the interpreter's lock held.
class Shelf {
 public:
  Shelf(size_t most, size_t mostBytes) : most_(most), mostBytes_(mostBytes) {}
  ~Shelf();
  Shelf(Shelf const&) = delete;
  Shelf& operator=(Shelf const&) = delete;

  // Null if there is none.
  fourtap_picture* Take(Request const&);
  // Takes it back, and closes what has become too many or too large.
  void Put(Request const&, fourtap_picture*) noexcept;
  size_t Bytes() const { return bytes_; }

 private:
  struct Idle {
    Request request;
    fourtap_picture* picture;
  };
  std::vector<Idle> idle_;
  size_t const most_, mostBytes_;
  size_t bytes_ = 0;
};

// Pictures in use; they go back onto the shelf.
class Borrowed {
 public:
  Borrowed(Shelf& shelf, Request const& request) : shelf_(shelf), request_(request) {}
  ~Borrowed() {
    for (fourtap_picture* const picture : pictures_) shelf_.Put(request_, picture);
  }
  Borrowed(Borrowed const&) = delete;
  Borrowed& operator=(Borrowed const&) = delete;

  // One more, off the shelf or opened.
  fourtap_status Add();
  int Count() const { return static_cast<int>(pictures_.size()); }
  fourtap_picture* operator[](int i) const { return pictures_[static_cast<size_t>(i)]; }

 private:
  Shelf& shelf_;
  Request const& request_;
  std::vector<fourtap_picture*> pictures_;
};

}  // namespace binding
