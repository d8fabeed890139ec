// The functions for C: what they refuse and how, and that what they accept gives the scalers' bytes.
#include <fourtapscale/fourtap.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "conformance/CaseText.h"
#include "conformance/Cases.h"
#include "conformance/GuardedImage.h"

namespace {

using namespace conformance;

struct CloseScaler {
  void operator()(fourtap_scaler* scaler) const { fourtap_close(scaler); }
};
typedef std::unique_ptr<fourtap_scaler, CloseScaler> OwnedScaler;

OwnedScaler Open(Layout layout, Sizes const& sizes) {
  fourtap_scaler* scaler = nullptr;
  EXPECT_EQ(fourtap_open(&scaler, static_cast<int>(layout), sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut),
            FOURTAP_OK)
      << fourtap_error();
  return OwnedScaler(scaler);
}

// An image as a caller hands it over: exactly its bytes from the lowest address on.
template <class Memory>
Memory MemoryOf(GuardedImage const& image) {
  if (image.LineCount() == 0) return {nullptr, 0, image.Stride()};
  unsigned char* const lowest = std::min(image.Top(), image.Line(image.LineCount() - 1));
  unsigned char* const highest = std::max(image.Top(), image.Line(image.LineCount() - 1));
  return {lowest, static_cast<std::size_t>(highest - lowest + image.LineBytes()), image.Stride()};
}

class Checked : public testing::TestWithParam<Layout> {};

// Whole, a rectangle, and a rectangle from just the part that it needs, by every set; memory ends where it is said to.
TEST_P(Checked, ScalesAsTheModelSays) {
  for (uint64_t seed = 0; seed < 300; ++seed) {
    Trial const trial(RandomCase(GetParam(), seed));
    Case const& what = trial.what;
    Sizes const& sizes = what.sizes;
    OwnedScaler const scaler = Open(GetParam(), sizes);
    for (Set const& set : Sets()) {
      if (set.number == FourTapSetNone || !set.runnable) continue;
      ASSERT_EQ(fourtap_use_set(scaler.get(), set.number), FOURTAP_OK);
      ASSERT_STREQ(fourtap_set_name(fourtap_set(scaler.get())), set.name);
      fourtap_rect const whole{0, 0, sizes.cxOut, sizes.cyOut};
      fourtap_rect const rect{what.rect.x, what.rect.y, what.rect.cx, what.rect.cy};
      for (fourtap_rect const* const out : {static_cast<fourtap_rect const*>(nullptr), &rect}) {
        for (bool const fromPart : {false, true}) {
          fourtap_rect const& to = out ? *out : whole;
          if (to.cx == 0 || to.cy == 0) continue;
          fourtap_rect part{0, 0, sizes.cxIn, sizes.cyIn};
          if (fromPart) {
            ASSERT_EQ(fourtap_needed(scaler.get(), out, &part), FOURTAP_OK);
          }
          GuardedImage const source = ImageOf(GetParam(), part.cx, part.cy, what.source);
          GuardedImage const target = ImageOf(GetParam(), to.cx, to.cy, what.destination);
          source.Allow(Access::read);
          target.Allow(Access::readWrite);
          source.CopyFrom(Crop(GetParam(), trial.picture, sizes.cxIn, {part.x, part.y, part.cx, part.cy}).data());
          ASSERT_EQ(fourtap_scale(scaler.get(), MemoryOf<fourtap_source>(source), fromPart ? &part : nullptr,
                                  MemoryOf<fourtap_target>(target), out),
                    FOURTAP_OK)
              << fourtap_error();
          ASSERT_EQ(target.Copy(), Crop(GetParam(), trial.frame, sizes.cxOut, {to.x, to.y, to.cx, to.cy}))
              << TextOf(what);
          ASSERT_TRUE(target.GapsIntact());
        }
      }
    }
  }
}

// Slices into room for exactly what they write; with less they are refused, and change nothing.
TEST_P(Checked, PushesAsTheModelSays) {
  for (uint64_t seed = 0; seed < 300; ++seed) {
    Trial const trial(RandomCase(GetParam(), seed));
    Sizes const& sizes = trial.what.sizes;
    int const bytesIn = sizes.cxIn * Traits(GetParam()).BytesPerPixel();
    int const bytesOut = sizes.cxOut * Traits(GetParam()).BytesPerPixel();
    OwnedScaler const scaler = Open(GetParam(), sizes);
    for (Set const& set : Sets()) {
      if (set.number == FourTapSetNone || !set.runnable) continue;
      ASSERT_EQ(fourtap_reset(scaler.get()), FOURTAP_OK);
      ASSERT_EQ(fourtap_use_set(scaler.get(), set.number), FOURTAP_OK);
      int in = 0, out = 0;
      for (int const cySlice : trial.what.slices[0]) {
        int const lines = std::min(cySlice, sizes.cyIn - in);
        int const coming = lines == 0 ? 0 : ModelLinesWritten(sizes, set.blockLines, in + lines) - out;
        fourtap_source const source{trial.picture.data() + std::ptrdiff_t{in} * bytesIn,
                                    static_cast<std::size_t>(lines * bytesIn), 0};
        GuardedBytes const target(static_cast<std::size_t>(coming * bytesOut));
        int written = -1;
        if (coming > 0) {
          ASSERT_EQ(fourtap_push(scaler.get(), source, lines, {target.Data(), target.Size(), 0}, coming - 1, &written),
                    FOURTAP_INVALID);
          ASSERT_EQ(written, -1);
        }
        ASSERT_LE(coming, fourtap_most_written(scaler.get(), lines));
        ASSERT_EQ(fourtap_push(scaler.get(), source, lines, {target.Data(), target.Size(), 0}, coming, &written),
                  FOURTAP_OK)
            << fourtap_error();
        ASSERT_EQ(written, coming);
        ASSERT_TRUE(std::equal(target.Data(), target.Data() + target.Size(),
                               trial.frame.begin() + std::ptrdiff_t{out} * bytesOut))
            << TextOf(trial.what);
        in += lines;
        out += written;
      }
      ASSERT_EQ(out, sizes.cyOut);
    }
  }
}

std::vector<Layout> AllLayouts() {
  std::vector<Layout> all;
  for (LayoutTraits const& traits : Layouts()) all.push_back(traits.layout);
  return all;
}

INSTANTIATE_TEST_SUITE_P(, Checked, testing::ValuesIn(AllLayouts()),
                         [](auto const& one) { return std::string(Traits(one.param).name); });

struct Refused {
  fourtap_status status;
  char const* words;
  std::function<fourtap_status()> call;
};

// Each says the argument's name, what it was, and what was expected; nothing is written, and the scaler goes on.
TEST(CheckedRefusals, NameTheArgumentAndChangeNothing) {
  fourtap_scaler* const untouched = reinterpret_cast<fourtap_scaler*>(16);
  fourtap_scaler* opened = untouched;
  OwnedScaler const plane = Open(Layout::Plane, {20, 10, 30, 15});
  OwnedScaler const packed = Open(Layout::XYXY, {20, 10, 30, 15});
  fourtap_scaler* const s = plane.get();
  std::vector<unsigned char> const picture(200, 7);
  std::vector<unsigned char> scaled(450, 0x5a);
  fourtap_source const source{picture.data(), 200, 0};
  fourtap_target const target{scaled.data(), 450, 0};
  fourtap_rect rect{}, given{-1, -1, -1, -1};
  int written = -1;
  auto const scale = [&](fourtap_source from, fourtap_target to) {
    return fourtap_scale(s, from, nullptr, to, nullptr);
  };
  auto const scaleRect = [&](fourtap_rect out) { return rect = out, fourtap_scale(s, source, nullptr, target, &rect); };
  auto const scalePart = [&](fourtap_rect part) {
    return rect = part, fourtap_scale(s, source, &rect, target, nullptr);
  };
  auto const open = [&](int layout, int cxIn, int cyIn, int cxOut, int cyOut) {
    return fourtap_open(&opened, layout, cxIn, cyIn, cxOut, cyOut);
  };
  auto const push = [&](fourtap_source from, int lines, fourtap_target to, int room) {
    return fourtap_push(s, from, lines, to, room, &written);
  };
  Refused const refusals[] = {
      {FOURTAP_INVALID, "scaler: null", [&] { return fourtap_open(nullptr, 0, 1, 1, 1, 1); }},
      {FOURTAP_INVALID, "layout: -1 given, expected 0 to 6", [&] { return open(-1, 1, 1, 1, 1); }},
      {FOURTAP_INVALID, "layout: 7 given", [&] { return open(7, 1, 1, 1, 1); }},
      {FOURTAP_INVALID, "sizes: 0x1 to 1x1 given, expected at least 1x1", [&] { return open(0, 0, 1, 1, 1); }},
      {FOURTAP_INVALID, "sizes: 1x-1 to 1x1", [&] { return open(0, 1, -1, 1, 1); }},
      {FOURTAP_INVALID, "sizes: 1x1 to 0x1", [&] { return open(0, 1, 1, 0, 1); }},
      {FOURTAP_INVALID, "sizes: 1x1 to 1x-2147483648", [&] { return open(0, 1, 1, 1, INT_MIN); }},
      {FOURTAP_INVALID, "below 2 GiB", [&] { return open(FOURTAP_RGB32, 1 << 29, 1, 1, 1); }},
      {FOURTAP_INVALID, "below 2 GiB", [&] { return open(FOURTAP_PLANE, 1, INT_MAX, 1, 1); }},
      {FOURTAP_INVALID, "sizes: 3 and 2 pixels wide", [&] { return open(FOURTAP_XYXY, 3, 2, 2, 2); }},
      {FOURTAP_INVALID, "sizes: 3 and 3 pixels wide", [&] { return open(FOURTAP_YXYX, 3, 2, 3, 2); }},

      {FOURTAP_INVALID, "scaler: null", [&] { return fourtap_needed(nullptr, nullptr, &given); }},
      {FOURTAP_INVALID, "source: null", [&] { return fourtap_needed(s, nullptr, nullptr); }},
      {FOURTAP_INVALID, "out: 31x1 pixels at 0,0 given, expected at least one and all of them inside 30x15",
       [&] {
         return rect = {0, 0, 31, 1}, fourtap_needed(s, &rect, &given);
       }},
      {FOURTAP_INVALID, "out: columns 1 and 2 more given, expected even",
       [&] {
         return rect = {1, 0, 2, 1}, fourtap_needed(packed.get(), &rect, &given);
       }},
      {FOURTAP_INVALID, "out: columns 2 and 3 more",
       [&] {
         return rect = {2, 0, 3, 1}, fourtap_needed(packed.get(), &rect, &given);
       }},

      {FOURTAP_INVALID, "scaler: null", [&] { return fourtap_scale(nullptr, source, nullptr, target, nullptr); }},
      {FOURTAP_INVALID, "out: 1x1 pixels at -1,0",
       [&] {
         return scaleRect({-1, 0, 1, 1});
       }},
      {FOURTAP_INVALID, "out: 1x1 pixels at 0,15",
       [&] {
         return scaleRect({0, 15, 1, 1});
       }},
      {FOURTAP_INVALID, "out: 0x1 pixels",
       [&] {
         return scaleRect({0, 0, 0, 1});
       }},
      {FOURTAP_INVALID, "out: 2147483647x1 pixels at 2147483647,0",
       [&] {
         return scaleRect({INT_MAX, 0, INT_MAX, 1});
       }},
      {FOURTAP_INVALID, "part: 20x11 pixels at 0,0",
       [&] {
         return scalePart({0, 0, 20, 11});
       }},
      {FOURTAP_INVALID, "part: 19x10 pixels at 0,0 given, expected at least 20x10 at 0,0",
       [&] {
         return scalePart({0, 0, 19, 10});
       }},
      {FOURTAP_INVALID, "source.data: null",
       [&] {
         return scale({nullptr, 200, 0}, target);
       }},
      {FOURTAP_INVALID, "source.bytes: 199 given, expected at least 200 for 10 lines of 20 bytes",
       [&] {
         return scale({picture.data(), 199, 0}, target);
       }},
      {FOURTAP_INVALID, "source.bytes: 200 given, expected at least 209",
       [&] {
         return scale({picture.data(), 200, -21}, target);
       }},
      {FOURTAP_INVALID, "source.stride: 19 given, expected 0, or 20 to 2147483647",
       [&] {
         return scale({picture.data(), 200, 19}, target);
       }},
      {FOURTAP_INVALID, "source.stride: -19",
       [&] {
         return scale({picture.data(), 200, -19}, target);
       }},
      {FOURTAP_INVALID, "source.stride: 2147483648",
       [&] {
         return scale({picture.data(), SIZE_MAX, ptrdiff_t{1} << 31}, target);
       }},
      {FOURTAP_INVALID, "source.stride: -9223372036854775808",
       [&] {
         return scale({picture.data(), SIZE_MAX, PTRDIFF_MIN}, target);
       }},
      {FOURTAP_INVALID, "source.bytes: 18446744073709551615 given, expected memory that does not wrap",
       [&] {
         return scale({reinterpret_cast<void*>(UINTPTR_MAX - 100), SIZE_MAX, 0}, target);
       }},
      {FOURTAP_INVALID, "target.data: null",
       [&] {
         return scale(source, {nullptr, 450, 0});
       }},
      {FOURTAP_INVALID, "target.bytes: 449",
       [&] {
         return scale(source, {scaled.data(), 449, 0});
       }},
      {FOURTAP_INVALID, "target.stride: 29",
       [&] {
         return scale(source, {scaled.data(), 450, 29});
       }},
      {FOURTAP_INVALID, "target: shares memory with the source",
       [&] {
         return scale({scaled.data() + 250, 200, 0}, target);
       }},
      {FOURTAP_INVALID, "target: shares memory",
       [&] {
         return rect = {0, 0, 1, 1},
                fourtap_scale(s, {scaled.data(), 200, 0}, nullptr, {scaled.data() + 199, 1, 0}, &rect);
       }},

      {FOURTAP_INVALID, "scaler: null", [&] { return fourtap_push(nullptr, source, 1, target, 15, &written); }},
      {FOURTAP_INVALID, "written: null", [&] { return fourtap_push(s, source, 1, target, 15, nullptr); }},
      {FOURTAP_INVALID, "lines: -1 given, expected 0 to 10", [&] { return push(source, -1, target, 15); }},
      {FOURTAP_INVALID, "lines: 11 given, expected 0 to 10", [&] { return push(source, 11, target, 15); }},
      {FOURTAP_INVALID, "room: 14 lines given, expected at least 15", [&] { return push(source, 10, target, 14); }},
      {FOURTAP_INVALID, "room: -1 lines", [&] { return push(source, 1, target, -1); }},
      {FOURTAP_INVALID, "source.bytes: 19",
       [&] {
         return push({picture.data(), 19, 0}, 1, target, 15);
       }},
      {FOURTAP_INVALID, "target.bytes: 450 given, expected at least 480", [&] { return push(source, 1, target, 16); }},
      {FOURTAP_INVALID, "target: shares",
       [&] {
         return push({scaled.data(), 200, 0}, 10, target, 15);
       }},

      {FOURTAP_INVALID, "scaler: null", [&] { return fourtap_reset(nullptr); }},
      {FOURTAP_INVALID, "scaler: null", [&] { return fourtap_use_set(nullptr, FOURTAP_SET_PLAIN); }},
      {FOURTAP_INVALID, "widest: 0 given", [&] { return fourtap_use_set(s, 0); }},
      {FOURTAP_INVALID, "widest: 1000 given", [&] { return fourtap_use_set(s, 1000); }},
  };
  for (Refused const& refused : refusals) {
    EXPECT_EQ(refused.call(), refused.status) << refused.words;
    EXPECT_NE(std::string(fourtap_error()).find(refused.words), std::string::npos)
        << "expected: " << refused.words << "\nsaid: " << fourtap_error();
    EXPECT_EQ(opened, untouched);
    EXPECT_EQ(given.x, -1);
    EXPECT_EQ(written, -1);
    EXPECT_TRUE(std::ranges::all_of(scaled, [](unsigned char byte) { return byte == 0x5a; })) << refused.words;
  }
  ASSERT_EQ(scale(source, target), FOURTAP_OK);
  EXPECT_EQ(scaled, std::vector<unsigned char>(450, 7));
}

TEST(CheckedRefusals, WithinAFrameThatIsBeingPushed) {
  OwnedScaler const scaler = Open(Layout::Plane, {4, 6, 4, 6});
  std::vector<unsigned char> const picture(24, 9);
  std::vector<unsigned char> scaled(24);
  fourtap_source const source{picture.data(), 24, 0};
  fourtap_target const target{scaled.data(), 24, 0};
  int written = 0;
  ASSERT_EQ(fourtap_push(scaler.get(), source, 2, target, 6, &written), FOURTAP_OK);
  EXPECT_EQ(fourtap_scale(scaler.get(), source, nullptr, target, nullptr), FOURTAP_INVALID);
  EXPECT_STREQ(fourtap_error(), "scaler: a frame is being pushed, 2 of 6 lines so far; expected all or fourtap_reset");
  EXPECT_EQ(fourtap_use_set(scaler.get(), FOURTAP_SET_PLAIN), FOURTAP_INVALID);
  EXPECT_EQ(fourtap_push(scaler.get(), source, 5, target, 6, &written), FOURTAP_INVALID);
  EXPECT_EQ(fourtap_push(scaler.get(), source, 4, target, 6, &written), FOURTAP_OK);
  EXPECT_EQ(fourtap_push(scaler.get(), source, 1, target, 6, &written), FOURTAP_INVALID) << "the frame is complete";
  EXPECT_EQ(fourtap_scale(scaler.get(), source, nullptr, target, nullptr), FOURTAP_OK);
  EXPECT_EQ(fourtap_reset(scaler.get()), FOURTAP_OK);
  EXPECT_EQ(fourtap_push(scaler.get(), source, 1, target, 6, &written), FOURTAP_OK);
}

TEST(CheckedRefusals, AreToldToTheThreadThatMadeThem) {
  EXPECT_EQ(fourtap_reset(nullptr), FOURTAP_INVALID);
  std::string const here = fourtap_error();
  std::thread([] {
    EXPECT_STREQ(fourtap_error(), "");
    EXPECT_EQ(fourtap_needed(nullptr, nullptr, nullptr), FOURTAP_INVALID);
  }).join();
  EXPECT_EQ(fourtap_error(), here);
}

TEST(CheckedQueries, AnswerForAScalerAndForNone) {
  OwnedScaler const scaler = Open(Layout::RGB24, {1920, 1080, 1280, 720});
  EXPECT_GT(fourtap_bytes(scaler.get()), std::size_t(FourTapScaleContextBytes(1920, 1080, 1280, 720, 24)));
  EXPECT_EQ(fourtap_set(scaler.get()), FourTapSetFor(FourTapSetWidest));
  EXPECT_EQ(fourtap_lines_needed(scaler.get(), 0), FourTapScaleLinesNeeded(1080, 720, 0));
  EXPECT_EQ(fourtap_lines_needed(scaler.get(), 720), 0);
  EXPECT_EQ(fourtap_version(), FOURTAP_VERSION);
  EXPECT_EQ(fourtap_bytes(nullptr), 0u);
  EXPECT_EQ(fourtap_set(nullptr) + fourtap_lines_needed(nullptr, 0) + fourtap_most_written(nullptr, 1), 0);
  EXPECT_STREQ(fourtap_set_name(0), "");
  fourtap_close(nullptr);
}

TEST(CheckedFormats, HaveNamesOfTheirOwnAndPlanesThatCover) {
  std::set<std::string> names;
  int number = 0;
  for (; fourtap_format const* const format = fourtap_format_at(number); ++number) {
    std::istringstream all(format->names);
    for (std::string name; all >> name;) {
      EXPECT_TRUE(names.insert(name).second) << name << " stands twice";
      EXPECT_EQ(fourtap_format_named(name.c_str()), format) << name;
    }
    ASSERT_GE(format->plane_count, 1);
    for (int plane = 0; plane < format->plane_count; ++plane) {
      int cx = 0, cy = 0;
      ASSERT_EQ(fourtap_plane_size(format, plane, 7, 5, &cx, &cy), FOURTAP_OK);
      EXPECT_TRUE(cx * format->planes[plane].columns >= 7 && cy * format->planes[plane].lines >= 5) << format->names;
      EXPECT_TRUE((cx - 1) * format->planes[plane].columns < 7 && (cy - 1) * format->planes[plane].lines < 5);
    }
  }
  EXPECT_GE(number, 12);
  EXPECT_EQ(fourtap_format_at(-1), nullptr);
  EXPECT_EQ(fourtap_format_named("NV12"), fourtap_format_named("nv12"));
  EXPECT_EQ(fourtap_format_named("nv1"), nullptr);
  EXPECT_EQ(fourtap_format_named("nv12 "), nullptr);
  EXPECT_EQ(fourtap_format_named(""), nullptr);
  EXPECT_EQ(fourtap_format_named(nullptr), nullptr);
  fourtap_format const* const nv12 = fourtap_format_named("nv12");
  int cx = -1, cy = -1;
  ASSERT_EQ(fourtap_plane_size(nv12, 1, INT_MAX, 3, &cx, &cy), FOURTAP_OK);
  EXPECT_TRUE(cx == 1 << 30 && cy == 2 && nv12->planes[1].layout == FOURTAP_UV16);
  EXPECT_EQ(fourtap_plane_size(nv12, 2, 1, 1, &cx, &cy), FOURTAP_INVALID);
  EXPECT_EQ(fourtap_plane_size(nv12, 0, 0, 1, &cx, &cy), FOURTAP_INVALID);
  EXPECT_EQ(fourtap_plane_size(nullptr, 0, 1, 1, &cx, &cy), FOURTAP_INVALID);
  for (fourtap_format const& own : {fourtap_format{"own", 5, {{0, 1, 1}}},
                                    {"own", 0, {{0, 1, 1}}},
                                    {"own", 1, {{0, 0, 1}}},
                                    {"own", 1, {{0, 1, -1}}}}) {
    EXPECT_EQ(fourtap_plane_size(&own, 0, 8, 8, &cx, &cy), FOURTAP_INVALID);
  }
  EXPECT_EQ(fourtap_plane_size(nv12, 0, 1, 1, nullptr, &cy), FOURTAP_INVALID);
}

}  // namespace
