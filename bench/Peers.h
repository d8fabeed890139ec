// Other scalers, as far as they were installed when the benchmark was configured.
#pragma once

#include "bench/Job.h"

namespace bench {

struct Peer {
  char const* name;
  int taps;     // source samples per direction and output sample
  bool widens;  // takes more than `taps` when the picture shrinks
  // Sets everything up; empty where the peer can't scale this layout.
  std::function<Scale(Job const&)> prepare;
};

std::vector<Peer> Peers();

// One per library, each in its own file under peers/.
std::vector<Peer> SwscalePeers();
std::vector<Peer> LibyuvPeers();
std::vector<Peer> ZimgPeers();
std::vector<Peer> OpenCvPeers();
std::vector<Peer> GStreamerPeers();

}  // namespace bench
