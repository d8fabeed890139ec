// Frames in bands on threads: for a sanitizer that knows nothing of GStreamer's own.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "bindings/gstreamer/FrameScaler.h"
#include "conformance/Cases.h"
#include "conformance/PictureModel.h"

namespace {

using conformance::Bytes;
using gstfourtap::FrameScaler;
using gstfourtap::PlaneJob;

Bytes Noise(std::size_t count, uint64_t seed) {
  conformance::Random random(seed);
  Bytes noise(count);
  for (unsigned char& byte : noise) byte = static_cast<unsigned char>(random.Next());
  return noise;
}

TEST(Bands, GiveTheModelsBytes) {
  fourtap_rules const luma{FOURTAP_PLANE, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {}};
  fourtap_rules const chroma{FOURTAP_UV16, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {}};
  for (auto const& [cyIn, cyOut] : {std::pair{60, 100}, {100, 66}, {300, 40}, {40, 3}}) {
    PlaneJob const jobs[] = {{luma, 50, cyIn, 70, cyOut}, {chroma, 25, cyIn / 2, 35, (cyOut + 1) / 2}};
    for (int const threads : {1, 2, 3, 7, 100}) {
      FrameScaler scaler({std::begin(jobs), std::end(jobs)}, threads, FOURTAP_SET_WIDEST);
      EXPECT_LE(scaler.Threads(), threads);
      EXPECT_GT(scaler.Bytes(), 0u);
      for (uint64_t frame = 1; frame <= 20; ++frame) {
        Bytes in[2], out[2];
        gstfourtap::SourceLines sources[2];
        gstfourtap::TargetLines targets[2];
        for (std::size_t i = 0; i < 2; ++i) {
          std::size_t const bytes = i + 1;
          std::size_t const lineIn = bytes * static_cast<std::size_t>(jobs[i].cxIn),
                            lineOut = bytes * static_cast<std::size_t>(jobs[i].cxOut);
          in[i] = Noise(lineIn * static_cast<std::size_t>(jobs[i].cyIn), frame + i);
          out[i].resize(lineOut * static_cast<std::size_t>(jobs[i].cyOut));
          sources[i] = {in[i].data(), static_cast<std::ptrdiff_t>(lineIn), in[i].data() + in[i].size()};
          targets[i] = {out[i].data(), static_cast<std::ptrdiff_t>(lineOut), out[i].data() + out[i].size()};
        }
        ASSERT_EQ(scaler.Scale(sources, targets), nullptr);
        for (std::size_t i = 0; i < 2; ++i) {
          PlaneJob const& job = jobs[i];
          conformance::Sizes const sizes{job.cxIn, job.cyIn, job.cxOut, job.cyOut};
          ASSERT_TRUE(out[i] == conformance::ModelPicture(job.rules, sizes, in[i]))
              << "plane " << i << ", " << threads << " threads";
        }
        if (frame != 20) continue;
        // A plane that ends too early is refused, in whichever band, and only that frame is lost.
        --targets[1].end;
        char const* const why = scaler.Scale(sources, targets);
        ASSERT_TRUE(why);
        EXPECT_NE(std::string(why).find("target.bytes"), std::string::npos) << why;
        ++targets[1].end;
        EXPECT_EQ(scaler.Scale(sources, targets), nullptr);
      }
    }
  }
}

TEST(Bands, WhatCantBeHadIsSaid) {
  fourtap_rules const rules{FOURTAP_UV16, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {}};
  PlaneJob const jobs[] = {{rules, 2000000000, 1, 1, 1}};
  EXPECT_THROW(FrameScaler({std::begin(jobs), std::end(jobs)}, 1, FOURTAP_SET_WIDEST), std::runtime_error);
}

}  // namespace
