#include "bench/Bands.h"

#include <barrier>
#include <thread>

namespace bench {
namespace {

struct Crew {
  std::vector<Scale> bands;
  std::barrier<> start, done;
  bool quit = false;  // read by the workers after `start` only
  std::vector<std::jthread> workers;

  explicit Crew(std::vector<Scale> scales)
      : bands(std::move(scales)), start(std::ssize(bands)), done(std::ssize(bands)) {
    for (std::size_t i = 1; i < bands.size(); ++i) {
      workers.emplace_back([this, i] {
        for (;;) {
          start.arrive_and_wait();
          if (quit) return;
          bands[i]();
          done.arrive_and_wait();
        }
      });
    }
  }

  Crew(Crew const&) = delete;
  Crew& operator=(Crew const&) = delete;

  ~Crew() {
    quit = true;
    start.arrive_and_wait();
  }

  void ScaleFrame() {
    start.arrive_and_wait();
    bands[0]();
    done.arrive_and_wait();
  }
};

}  // namespace

Scale BandScale(Job const& job, conformance::Variant const& variant, int threads) {
  std::vector<Scale> bands;
  for (int i = 0; i < threads; ++i) {
    int const yFirst = job.out.cy * i / threads;
    int const yEnd = job.out.cy * (i + 1) / threads;
    bands.push_back(FrameScale(job, variant, yFirst, yEnd));
  }
  auto const crew = std::make_shared<Crew>(std::move(bands));
  return [crew] { crew->ScaleFrame(); };
}

}  // namespace bench
