#include "FrameScaler.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <system_error>

namespace gstfourtap {

namespace {

int const leastLinesOfBand = 16;

// The first line of a band of `lines`; of band `bands`, the end.
int FirstLine(int lines, int band, int bands) { return static_cast<int>(int64_t{lines} * band / bands); }

// Where lines [first, end) begin in memory: with the last one, if strides go up.
template <class Byte>
Byte* LowestOf(PlaneLines<Byte> const& plane, int first, int end) {
  return plane.top + plane.stride * (plane.stride < 0 ? end - 1 : first);
}

template <class Byte>
size_t BytesFrom(Byte* lowest, PlaneLines<Byte> const& plane) {
  return lowest < plane.end ? static_cast<size_t>(plane.end - lowest) : 0;
}

}  // namespace

FrameScaler::FrameScaler(std::vector<PlaneJob> const& planes, int threads, int widestSet) : jobs(planes) {
  int highest = 1;
  for (PlaneJob const& job : jobs) highest = std::max(highest, job.cyOut);
  OpenBands(std::clamp(threads, 1, std::max(1, highest / leastLinesOfBand)), widestSet);
  auto const share = [this](int number) { ScaleBand(number); };
  try {
    crew = std::make_unique<Crew>(Threads(), share);
  } catch (std::system_error const&) {
    OpenBands(1, widestSet);
    crew = std::make_unique<Crew>(1, share);
  }
}

void FrameScaler::OpenBands(int count, int widestSet) {
  bands.clear();
  bands.resize(static_cast<size_t>(count));
  for (Band& band : bands) {
    for (PlaneJob const& job : jobs) {
      fourtap_picture* picture = nullptr;
      if (fourtap_picture_open(&picture, &job.rules, job.cxIn, job.cyIn, job.cxOut, job.cyOut) != FOURTAP_OK) {
        throw std::runtime_error(fourtap_error());
      }
      band.pictures.emplace_back(picture);
      if (fourtap_picture_use_set(picture, widestSet) != FOURTAP_OK) throw std::runtime_error(fourtap_error());
    }
  }
}

char const* FrameScaler::Scale(SourceLines const* sources, TargetLines const* targets) {
  from = sources;
  to = targets;
  crew->DoJob();
  for (Band const& band : bands) {
    if (*band.refusal != '\0') return band.refusal;
  }
  return nullptr;
}

void FrameScaler::ScaleBand(int number) {
  Band& band = bands[static_cast<size_t>(number)];
  *band.refusal = '\0';
  for (size_t i = 0; i < jobs.size(); ++i) {
    PlaneJob const& job = jobs[i];
    int const first = FirstLine(job.cyOut, number, Threads()), end = FirstLine(job.cyOut, number + 1, Threads());
    if (first == end) continue;
    unsigned char const* const lowestFrom = LowestOf(from[i], 0, job.cyIn);
    unsigned char* const lowestTo = LowestOf(to[i], first, end);
    fourtap_source const source{lowestFrom, BytesFrom(lowestFrom, from[i]), from[i].stride};
    fourtap_target const target{lowestTo, BytesFrom(lowestTo, to[i]), to[i].stride};
    fourtap_rect const out{0, first, job.cxOut, end - first};
    if (fourtap_picture_scale(band.pictures[i].get(), source, nullptr, target, &out) != FOURTAP_OK) {
      std::snprintf(band.refusal, sizeof band.refusal, "%s", fourtap_error());
      return;
    }
  }
}

std::size_t FrameScaler::Bytes() const {
  std::size_t bytes = 0;
  for (Band const& band : bands) {
    for (auto const& picture : band.pictures) bytes += fourtap_picture_bytes(picture.get());
  }
  return bytes;
}

}  // namespace gstfourtap
