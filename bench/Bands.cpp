#include "bench/Bands.h"

#include "crew/Crew.h"

namespace bench {

Scale BandScale(Job const& job, Scalers const& scalers, int threads) {
  std::vector<Scale> bands;
  for (int i = 0; i < threads; ++i) {
    int const yFirst = job.out.cy * i / threads;
    int const yEnd = job.out.cy * (i + 1) / threads;
    bands.push_back(FrameScale(job, scalers, yFirst, yEnd));
  }
  auto const crew = std::make_shared<crew::Crew>(std::move(bands));
  return [crew] { crew->DoJob(); };
}

}  // namespace bench
