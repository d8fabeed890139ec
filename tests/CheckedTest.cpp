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

#include "conformance/Cases.h"
#include "conformance/CheckedCases.h"
#include "conformance/PictureModel.h"

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

class Checked : public testing::TestWithParam<Layout> {};

TEST_P(Checked, ScalesAndPushesAsTheModelSays) {
  for (uint64_t seed = 0; seed < 300; ++seed) {
    Trial const trial(RandomCase(GetParam(), seed));
    for (Set const& set : Sets()) {
      if (set.number == FourTapSetNone || !set.runnable) continue;
      ASSERT_EQ(RunCheckedTrial(set, trial), "");
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

struct ClosePicture {
  void operator()(fourtap_picture* picture) const { fourtap_picture_close(picture); }
};
typedef std::unique_ptr<fourtap_picture, ClosePicture> OwnedPicture;

OwnedPicture OpenPicture(fourtap_rules const& rules, Sizes const& sizes) {
  fourtap_picture* picture = nullptr;
  EXPECT_EQ(fourtap_picture_open(&picture, &rules, sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut), FOURTAP_OK)
      << fourtap_error();
  return OwnedPicture(picture);
}

fourtap_rules RulesOf(int pixels, int reduction, int alpha) { return {pixels, reduction, alpha, {}}; }

// What calls are given that scale 20x10 pixels of a plane to 30x15, and what they leave alone if they refuse.
struct Arguments {
  std::vector<unsigned char> picture = std::vector<unsigned char>(200, 7);
  std::vector<unsigned char> scaled = std::vector<unsigned char>(450, 0x5a);
  fourtap_source source{picture.data(), 200, 0};
  fourtap_target target{scaled.data(), 450, 0};
  fourtap_rect rect{}, given{-1, -1, -1, -1};
  bool opened = false;
  int taken = -1, written = -1;

  fourtap_rect const* Rectangle(int x, int y, int cx, int cy) { return rect = {x, y, cx, cy}, &rect; }
};

struct Refused {
  char const* words;
  std::function<fourtap_status()> call;
};

// Each says the argument's name, what it was, and what was expected.
void ExpectRefused(Arguments const& with, std::vector<Refused> const& refusals) {
  for (Refused const& refused : refusals) {
    EXPECT_EQ(refused.call(), FOURTAP_INVALID) << refused.words;
    EXPECT_NE(std::string(fourtap_error()).find(refused.words), std::string::npos)
        << "expected: " << refused.words << "\nsaid: " << fourtap_error();
    EXPECT_TRUE(!with.opened && with.given.x == -1 && with.taken == -1 && with.written == -1) << refused.words;
    EXPECT_EQ(with.scaled, std::vector<unsigned char>(450, 0x5a)) << refused.words;
  }
}

// The functions that scalers and pictures both have.
template <class Opened>
struct Functions {
  std::function<fourtap_status(Opened**, int layout, int cxIn, int cyIn, int cxOut, int cyOut)> open;
  fourtap_status (*needed)(Opened const*, fourtap_rect const*, fourtap_rect*);
  fourtap_status (*scale)(Opened*, fourtap_source, fourtap_rect const*, fourtap_target, fourtap_rect const*);
  std::function<fourtap_status(Opened*, fourtap_source, int lines, fourtap_target, int room, int* written)> push;
  fourtap_status (*useSet)(Opened*, int);
};

template <class Opened>
void ExpectWhatBothRefuse(Functions<Opened> const& call, char const* null, Opened* s, Opened* packed, Arguments& with) {
  auto const open = [&](int layout, int cxIn, int cyIn, int cxOut, int cyOut) {
    Opened* opened = nullptr;
    fourtap_status const status = call.open(&opened, layout, cxIn, cyIn, cxOut, cyOut);
    with.opened = opened != nullptr;
    return status;
  };
  auto const needed = [&](Opened* of, int x, int y, int cx, int cy) {
    return call.needed(of, with.Rectangle(x, y, cx, cy), &with.given);
  };
  auto const scaleRect = [&](int x, int y, int cx, int cy) {
    return call.scale(s, with.source, nullptr, with.target, with.Rectangle(x, y, cx, cy));
  };
  auto const scalePart = [&](int x, int y, int cx, int cy) {
    return call.scale(s, with.source, with.Rectangle(x, y, cx, cy), with.target, nullptr);
  };
  auto const scaleFrom = [&](void const* data, std::size_t bytes, std::ptrdiff_t stride) {
    return call.scale(s, {data, bytes, stride}, nullptr, with.target, nullptr);
  };
  auto const scaleTo = [&](void* data, std::size_t bytes, std::ptrdiff_t stride) {
    return call.scale(s, with.source, nullptr, {data, bytes, stride}, nullptr);
  };
  auto const push = [&](void const* data, std::size_t bytes, int lines, int room) {
    return call.push(s, {data, bytes, 0}, lines, with.target, room, &with.written);
  };
  unsigned char *const from = with.picture.data(), *const to = with.scaled.data();
  fourtap_target const onePixel{to + 199, 1, 0};
  std::vector<Refused> const refusals = {
      {null, [&] { return call.open(nullptr, 0, 1, 1, 1, 1); }},
      {"sizes: 0x1 to 1x1 given, expected at least 1x1", [&] { return open(0, 0, 1, 1, 1); }},
      {"sizes: 1x-1 to 1x1", [&] { return open(0, 1, -1, 1, 1); }},
      {"sizes: 1x1 to 0x1", [&] { return open(0, 1, 1, 0, 1); }},
      {"sizes: 1x1 to 1x0", [&] { return open(0, 1, 1, 1, 0); }},
      {"sizes: 1x1 to 1x-2147483648", [&] { return open(0, 1, 1, 1, INT_MIN); }},
      {"below 2 GiB", [&] { return open(FOURTAP_RGB32, 1 << 29, 1, 1, 1); }},
      {"sizes: 3 and 2 pixels wide", [&] { return open(FOURTAP_XYXY, 3, 2, 2, 2); }},
      {"sizes: 3 and 3 pixels wide", [&] { return open(FOURTAP_YXYX, 3, 2, 3, 2); }},

      {null, [&] { return call.needed(nullptr, nullptr, &with.given); }},
      {"source: null", [&] { return call.needed(s, nullptr, nullptr); }},
      {"out: 31x1 pixels at 0,0 given, expected at least one and all of them inside 30x15",
       [&] { return needed(s, 0, 0, 31, 1); }},
      {"out: columns 1 and 2 more given, expected even", [&] { return needed(packed, 1, 0, 2, 1); }},
      {"out: columns 2 and 3 more", [&] { return needed(packed, 2, 0, 3, 1); }},

      {null, [&] { return call.scale(nullptr, with.source, nullptr, with.target, nullptr); }},
      {"out: 1x1 pixels at -1,0", [&] { return scaleRect(-1, 0, 1, 1); }},
      {"out: 1x1 pixels at 0,15", [&] { return scaleRect(0, 15, 1, 1); }},
      {"out: 0x1 pixels", [&] { return scaleRect(0, 0, 0, 1); }},
      {"out: 2147483647x1 pixels at 2147483647,0", [&] { return scaleRect(INT_MAX, 0, INT_MAX, 1); }},
      {"part: 20x11 pixels at 0,0", [&] { return scalePart(0, 0, 20, 11); }},
      {"part: 19x10 pixels at 0,0 given, expected at least 20x10 at 0,0", [&] { return scalePart(0, 0, 19, 10); }},
      {"source.data: null", [&] { return scaleFrom(nullptr, 200, 0); }},
      {"source.bytes: 199 given, expected at least 200 for 10 lines of 20 bytes",
       [&] { return scaleFrom(from, 199, 0); }},
      {"source.bytes: 200 given, expected at least 209", [&] { return scaleFrom(from, 200, -21); }},
      {"source.stride: 19 given, expected 0, or 20 to 2147483647", [&] { return scaleFrom(from, 200, 19); }},
      {"source.stride: -19", [&] { return scaleFrom(from, 200, -19); }},
      {"source.stride: 2147483648", [&] { return scaleFrom(from, SIZE_MAX, ptrdiff_t{1} << 31); }},
      {"source.stride: -9223372036854775808", [&] { return scaleFrom(from, SIZE_MAX, PTRDIFF_MIN); }},
      {"source.bytes: 18446744073709551615 given, expected memory that does not wrap",
       [&] { return scaleFrom(reinterpret_cast<void*>(UINTPTR_MAX - 100), SIZE_MAX, 0); }},
      {"target.data: null", [&] { return scaleTo(nullptr, 450, 0); }},
      {"target.bytes: 449", [&] { return scaleTo(to, 449, 0); }},
      {"target.stride: 29", [&] { return scaleTo(to, 450, 29); }},
      {"target: shares memory with the source", [&] { return scaleFrom(to + 250, 200, 0); }},
      {"target: shares memory",
       [&] {
         return call.scale(s, {to, 200, 0}, nullptr, onePixel, with.Rectangle(0, 0, 1, 1));
       }},

      {null, [&] { return call.push(nullptr, with.source, 1, with.target, 15, &with.written); }},
      {"written: null", [&] { return call.push(s, with.source, 1, with.target, 15, nullptr); }},
      {"lines: -1 given, expected 0 to 10", [&] { return push(from, 200, -1, 15); }},
      {"lines: 11 given, expected 0 to 10", [&] { return push(from, 200, 11, 15); }},
      {"room: -1 ", [&] { return push(from, 200, 1, -1); }},
      {"source.bytes: 19", [&] { return push(from, 19, 1, 15); }},
      {"target: shares", [&] { return push(to, 200, 10, 15); }},

      {null, [&] { return call.useSet(nullptr, FOURTAP_SET_PLAIN); }},
      {"widest: 0 given", [&] { return call.useSet(s, 0); }},
      {"widest: 1000 given", [&] { return call.useSet(s, 1000); }},
  };
  ExpectRefused(with, refusals);
}

TEST(CheckedRefusals, OfScalersNameTheArgumentAndChangeNothing) {
  OwnedScaler const plane = Open(Layout::Plane, {20, 10, 30, 15}), packed = Open(Layout::XYXY, {20, 10, 30, 15});
  fourtap_scaler *const s = plane.get(), *opened = nullptr;
  Arguments with;
  auto const push = [&](int lines, int room) {
    return fourtap_push(s, with.source, lines, with.target, room, &with.written);
  };
  Functions<fourtap_scaler> const call{fourtap_open, fourtap_needed, fourtap_scale, fourtap_push, fourtap_use_set};
  ExpectWhatBothRefuse(call, "scaler: null given, expected an address", s, packed.get(), with);
  std::vector<Refused> const refusals = {
      {"layout: -1 given, expected 0 to 6", [&] { return fourtap_open(&opened, -1, 1, 1, 1, 1); }},
      {"layout: 7 given", [&] { return fourtap_open(&opened, 7, 1, 1, 1, 1); }},
      {"below 2 GiB", [&] { return fourtap_open(&opened, 0, 1, INT_MAX, 1, 1); }},
      {"room: 14 lines given, expected at least 15", [&] { return push(10, 14); }},
      {"target.bytes: 450 given, expected at least 480", [&] { return push(1, 16); }},
      {"scaler: null", [] { return fourtap_reset(nullptr); }},
  };
  ExpectRefused(with, refusals);
  EXPECT_EQ(opened, nullptr);
  // No lines share no memory, wherever they are.
  ASSERT_EQ(fourtap_push(s, {with.scaled.data() + 100, 0, 0}, 0, with.target, 15, &with.written), FOURTAP_OK);
  EXPECT_EQ(with.written, 0);
  ASSERT_EQ(fourtap_scale(s, with.source, nullptr, with.target, nullptr), FOURTAP_OK);
  EXPECT_EQ(with.scaled, std::vector<unsigned char>(450, 7));
}

TEST(CheckedRefusals, OfPicturesNameTheArgumentAndChangeNothing) {
  OwnedPicture const plane = OpenPicture({}, {20, 10, 30, 15});
  OwnedPicture const packed = OpenPicture(RulesOf(FOURTAP_XYXY, 0, 0), {20, 10, 30, 15});
  OwnedPicture const reduced = OpenPicture({}, {20, 10, 2, 1});
  OwnedPicture const laidOnto = OpenPicture(RulesOf(FOURTAP_GRAY_ALPHA, 0, FOURTAP_ALPHA_BACKGROUND), {10, 10, 30, 15});
  fourtap_picture *const p = plane.get(), *opened = nullptr;
  fourtap_rules rules{};
  Arguments with;
  auto const open = [&](int pixels, int reduction, int alpha) {
    rules = RulesOf(pixels, reduction, alpha);
    return fourtap_picture_open(&opened, &rules, 4, 4, 4, 4);
  };
  auto const scale = [&](OwnedPicture const& by, std::size_t bytesIn, std::size_t bytesOut) {
    return fourtap_picture_scale(by.get(), {with.picture.data(), bytesIn, 0}, nullptr,
                                 {with.scaled.data(), bytesOut, 0}, nullptr);
  };
  auto const push = [&](int lines, int room, int* taken) {
    return fourtap_picture_push(p, with.source, lines, taken, with.target, room, &with.written);
  };
  std::vector<Refused> const beforeOne = {
      {"picture: none is under way, expected fourtap_picture_begin", [&] { return push(1, 15, &with.taken); }},
      {"rules: null", [&] { return fourtap_picture_open(&opened, nullptr, 4, 4, 4, 4); }},
      {"rules.pixels: 7 given, expected a layout's number or", [&] { return open(7, 0, 0); }},
      {"rules.pixels: 103 given", [&] { return open(103, 0, 0); }},
      {"rules.pixels: -1 given", [&] { return open(-1, 0, 0); }},
      {"rules.reduction: 2 given, expected FOURTAP_REDUCE_", [&] { return open(0, 2, 0); }},
      {"rules.reduction: -1 given", [&] { return open(0, -1, 0); }},
      {"rules.alpha: 4 given, expected FOURTAP_ALPHA_", [&] { return open(0, 0, 4); }},
      {"rules.alpha: -1 given", [&] { return open(0, 0, -1); }},
      {"part: 20x9 pixels at 0,0 given, expected at least 20x10",
       [&] {
         return fourtap_picture_scale(reduced.get(), with.source, with.Rectangle(0, 0, 20, 9), with.target, nullptr);
       }},
      {"source.bytes: 199 given, expected at least 200 for 10 lines of 20", [&] { return scale(laidOnto, 199, 450); }},
      {"target.bytes: 449 given, expected at least 450 for 15 lines of 30", [&] { return scale(laidOnto, 200, 449); }},
      {"picture: null", [] { return fourtap_picture_begin(nullptr, nullptr); }},
      {"out: 1x16 pixels at 0,0", [&] { return fourtap_picture_begin(p, with.Rectangle(0, 0, 1, 16)); }},
      {"picture: none is under way", [&] { return push(1, 15, &with.taken); }},
  };
  ExpectRefused(with, beforeOne);
  Functions<fourtap_picture> const call{
      [&](fourtap_picture** made, int layout, int cxIn, int cyIn, int cxOut, int cyOut) {
        rules = RulesOf(layout, 0, 0);
        return fourtap_picture_open(made, &rules, cxIn, cyIn, cxOut, cyOut);
      },
      fourtap_picture_needed, fourtap_picture_scale,
      [&](fourtap_picture* picture, fourtap_source source, int lines, fourtap_target target, int room, int* written) {
        fourtap_picture_begin(picture, nullptr);
        return fourtap_picture_push(picture, source, lines, &with.taken, target, room, written);
      },
      fourtap_picture_use_set};
  ExpectWhatBothRefuse(call, "picture: null given, expected an address", p, packed.get(), with);
  // Pushing has begun one.
  char const* const underWay =
      "picture: one is under way, 0 of 15 lines written so far; expected all of them or fourtap_picture_reset";
  std::vector<Refused> const withinOne = {
      {underWay, [&] { return scale(plane, 200, 450); }},
      {underWay, [&] { return fourtap_picture_use_set(p, FOURTAP_SET_PLAIN); }},
      {"taken: null", [&] { return push(1, 15, nullptr); }},
      {"out: 0x1 pixels", [&] { return fourtap_picture_begin(p, with.Rectangle(0, 0, 0, 1)); }},
  };
  ExpectRefused(with, withinOne);
  EXPECT_EQ(opened, nullptr);
  ASSERT_EQ(push(10, 15, &with.taken), FOURTAP_OK);
  EXPECT_TRUE(with.taken == 10 && with.written == 15);
  EXPECT_EQ(with.scaled, std::vector<unsigned char>(450, 7));
  EXPECT_EQ(scale(plane, 200, 450), FOURTAP_OK);
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

// Lines that were not taken are handed over again; once all output lines are there, the rest is forgotten, and the
// picture is free for other calls.
TEST(CheckedRefusals, OfPicturesEndWithTheLastLineWritten) {
  OwnedPicture const picture = OpenPicture({}, {1, 6, 1, 12});
  std::vector<unsigned char> const lines(6, 9);
  std::vector<unsigned char> scaled(12);
  fourtap_rect const top{0, 0, 1, 5};
  fourtap_rect needed;
  ASSERT_EQ(fourtap_picture_needed(picture.get(), &top, &needed), FOURTAP_OK);
  ASSERT_EQ(fourtap_picture_begin(picture.get(), &top), FOURTAP_OK);
  int in = 0, out = 0, taken = 0, written = 0;
  auto const push = [&](int count, int room) {
    return fourtap_picture_push(picture.get(), {lines.data(), std::size_t(count), 0}, count, &taken,
                                {scaled.data() + out, std::size_t(room), 0}, room, &written);
  };
  for (; out < top.cy; in += taken, out += written) {
    EXPECT_EQ(fourtap_picture_use_set(picture.get(), FOURTAP_SET_PLAIN), FOURTAP_INVALID);
    ASSERT_EQ(push(needed.cy - in, 1), FOURTAP_OK);
    ASSERT_EQ(written, 1);
  }
  EXPECT_EQ(fourtap_picture_use_set(picture.get(), FOURTAP_SET_PLAIN), FOURTAP_OK);
  EXPECT_EQ(push(needed.cy - in + 1, 0), FOURTAP_INVALID);
  ASSERT_EQ(push(needed.cy - in, 0), FOURTAP_OK);
  EXPECT_TRUE(taken == needed.cy - in && written == 0);
  EXPECT_EQ(scaled, (std::vector<unsigned char>{9, 9, 9, 9, 9, 0, 0, 0, 0, 0, 0, 0}));

  ASSERT_EQ(fourtap_picture_begin(picture.get(), nullptr), FOURTAP_OK);
  ASSERT_EQ(fourtap_picture_reset(picture.get()), FOURTAP_OK);
  EXPECT_EQ(fourtap_picture_use_set(picture.get(), FOURTAP_SET_WIDEST), FOURTAP_OK);
  EXPECT_EQ(push(1, 1), FOURTAP_INVALID);
  EXPECT_EQ(fourtap_picture_reset(nullptr), FOURTAP_INVALID);
}

// With room for more lines than are left, the target's memory need only hold these.
TEST(CheckedPictures, TakeRoomForMoreLinesThanAreLeft) {
  OwnedPicture const picture = OpenPicture({}, {4, 6, 4, 6});
  std::vector<unsigned char> const lines(24, 9);
  std::vector<unsigned char> scaled(24);
  int taken = 0, written = 0;
  ASSERT_EQ(fourtap_picture_begin(picture.get(), nullptr), FOURTAP_OK);
  ASSERT_EQ(fourtap_picture_push(picture.get(), {lines.data(), 24, 0}, 6, &taken, {scaled.data(), 24, 0}, 7, &written),
            FOURTAP_OK)
      << fourtap_error();
  EXPECT_EQ(written, 6);
  EXPECT_EQ(scaled, lines);
}

TEST(CheckedScalers, KeepNothingOfWhatCameBefore) {
  Sizes const sizes{40, 30, 20, 20};
  Case const what = CaseOfSizes(Layout::Plane, sizes, 1);
  Bytes const picture = PictureOf(what), expected = ModelFrame(Layout::Plane, sizes, picture);
  OwnedScaler const owned = Open(Layout::Plane, sizes);
  fourtap_scaler* const scaler = owned.get();
  Bytes const other(picture.size(), 0);
  Bytes scaled(expected.size());
  fourtap_source const source{picture.data(), picture.size(), 0};
  fourtap_target const target{scaled.data(), scaled.size(), 0};

  fourtap_rect const corner{10, 10, 10, 10};
  fourtap_rect part;
  ASSERT_EQ(fourtap_needed(scaler, &corner, &part), FOURTAP_OK);
  ASSERT_GT(part.x, 0);
  ASSERT_EQ(fourtap_scale(scaler, {other.data(), other.size(), 0}, &part, target, &corner), FOURTAP_OK);
  ASSERT_EQ(fourtap_scale(scaler, source, nullptr, target, nullptr), FOURTAP_OK);
  EXPECT_EQ(scaled, expected) << "after a rectangle";

  int written = 0;
  ASSERT_EQ(fourtap_push(scaler, {other.data(), other.size(), 0}, 7, target, 20, &written), FOURTAP_OK);
  ASSERT_GT(written, 0);
  ASSERT_EQ(fourtap_reset(scaler), FOURTAP_OK);
  scaled.assign(scaled.size(), 0);
  ASSERT_EQ(fourtap_push(scaler, source, 30, target, 20, &written), FOURTAP_OK);
  EXPECT_EQ(written, 20);
  EXPECT_EQ(scaled, expected) << "after lines that were given up";
}

// Given up after any line: those that wait for others, to be halved or filtered, must not come back.
TEST(CheckedPictures, KeepNothingOfLinesThatWereGivenUp) {
  fourtap_rules const rules = RulesOf(FOURTAP_PLANE, 0, 0);
  for (Sizes const& sizes : {Sizes{200, 300, 11, 7}, Sizes{200, 60, 11, 60}, Sizes{60, 300, 60, 7}}) {
    Bytes const picture = PictureOf(CaseOfSizes(Layout::Plane, sizes, 1)),
                expected = ModelPicture(rules, sizes, picture);
    OwnedPicture const owned = OpenPicture(rules, sizes);
    Bytes const other(picture.size(), 0);
    for (int lines = 1; lines < 20; ++lines) {
      Bytes scaled(expected.size());
      fourtap_target const target{scaled.data(), scaled.size(), 0};
      int taken = 0, written = 0;
      ASSERT_EQ(fourtap_picture_begin(owned.get(), nullptr), FOURTAP_OK);
      // With room for one line, others wait.
      ASSERT_EQ(fourtap_picture_push(owned.get(), {other.data(), other.size(), 0}, lines, &taken, target, 1, &written),
                FOURTAP_OK);
      ASSERT_GT(taken, 0);
      ASSERT_EQ(fourtap_picture_begin(owned.get(), nullptr), FOURTAP_OK);
      ASSERT_EQ(fourtap_picture_push(owned.get(), {picture.data(), picture.size(), 0}, sizes.cyIn, &taken, target,
                                     sizes.cyOut, &written),
                FOURTAP_OK);
      ASSERT_EQ(written, sizes.cyOut);
      ASSERT_EQ(scaled, expected) << lines << " lines of " << sizes.cxIn << "x" << sizes.cyIn;
    }
  }
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

TEST(CheckedQueries, AnswerForAPictureAndForNone) {
  struct {
    int pixels, alpha, pixelBytes;
  } const outputs[] = {
      {FOURTAP_RGB24, FOURTAP_ALPHA_DROP, 3},         {FOURTAP_UV16, FOURTAP_ALPHA_DROP, 2},
      {FOURTAP_GRAY_ALPHA, FOURTAP_ALPHA_DROP, 1},    {FOURTAP_GRAY_ALPHA, FOURTAP_ALPHA_STRAIGHT, 2},
      {FOURTAP_RGB_ALPHA, FOURTAP_ALPHA_MULTIPLY, 4}, {FOURTAP_ALPHA_RGB, FOURTAP_ALPHA_BACKGROUND, 3}};
  for (auto const& [pixels, alpha, pixelBytes] : outputs) {
    OwnedPicture const picture = OpenPicture(RulesOf(pixels, 0, alpha), {1920, 1080, 800, 300});
    EXPECT_EQ(fourtap_picture_pixel_bytes(picture.get()), pixelBytes) << pixels << " " << alpha;
    EXPECT_EQ(fourtap_picture_set(picture.get()), FourTapSetFor(FourTapSetWidest));
    // A few lines of what comes in.
    EXPECT_GT(fourtap_picture_bytes(picture.get()), 17u * 800);
    EXPECT_LT(fourtap_picture_bytes(picture.get()), 100u * 4 * 1920);
  }
  EXPECT_EQ(fourtap_picture_bytes(nullptr), 0u);
  EXPECT_EQ(fourtap_picture_set(nullptr) + fourtap_picture_pixel_bytes(nullptr), 0);
  fourtap_picture_close(nullptr);
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
