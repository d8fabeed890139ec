#include "bench/Peers.h"

namespace bench {

std::vector<Peer> Peers() {
  std::vector<std::vector<Peer> (*)()> const libraries{
#ifdef BENCH_SWSCALE
      SwscalePeers,
#endif
#ifdef BENCH_LIBYUV
      LibyuvPeers,
#endif
#ifdef BENCH_ZIMG
      ZimgPeers,
#endif
#ifdef BENCH_OPENCV
      OpenCvPeers,
#endif
#ifdef BENCH_GSTREAMER
      GStreamerPeers,
#endif
  };
  std::vector<Peer> peers;
  for (auto* peersOf : libraries) {
    for (Peer& peer : peersOf()) peers.push_back(std::move(peer));
  }
  return peers;
}

}  // namespace bench
