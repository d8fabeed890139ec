// The classes for C++: the model's bytes whichever way they are asked for, and an exception for every wrong argument.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <fourtapscale/fourtap.hpp>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "conformance/Cases.h"
#include "conformance/PictureModel.h"

namespace {

using conformance::Bytes;
using fourtapscale::AlphaRule;
using fourtapscale::BasicView;
using fourtapscale::FrameFormat;
using fourtapscale::FrameScaler;
using fourtapscale::InstructionSet;
using fourtapscale::Layout;
using fourtapscale::PictureScaler;
using fourtapscale::Pixels;
using fourtapscale::Rect;
using fourtapscale::Reduction;
using fourtapscale::Rules;
using fourtapscale::Scaler;
using fourtapscale::Size;
using fourtapscale::SourceFrame;
using fourtapscale::SourceView;
using fourtapscale::TargetFrame;
using fourtapscale::TargetView;

unsigned char const untouched = 0xee;

// How lines lie in memory.
struct Placement {
  int gap;
  bool bottomUp;
};

constexpr Placement tight{0, false};

// A picture without gaps between its lines, as the model gives it, in memory of just its size.
Bytes LaidOut(Bytes const& picture, int lineBytes, Placement const& placement) {
  int const cy = static_cast<int>(picture.size()) / lineBytes, distance = lineBytes + placement.gap;
  Bytes memory(static_cast<std::size_t>(distance * (cy - 1) + lineBytes), untouched);
  for (int y = 0; y < cy; ++y) {
    int const line = placement.bottomUp ? cy - 1 - y : y;
    std::copy_n(picture.data() + y * lineBytes, lineBytes, memory.data() + line * distance);
  }
  return memory;
}

template <class Byte>
BasicView<Byte> ViewOf(Layout layout, Size size, Byte* data, std::size_t bytes, Placement const& placement) {
  std::ptrdiff_t const distance = LineBytes(layout, size.cx) + placement.gap;
  return BasicView<Byte>::Within(layout, size, data, bytes, placement.bottomUp ? -distance : distance);
}

struct Target {
  Target(Layout layout, Size size, Placement const& placement = tight)
      : memory(LaidOut(
            Bytes(static_cast<std::size_t>(LineBytes(layout, size.cx)) * static_cast<std::size_t>(size.cy), untouched),
            static_cast<int>(LineBytes(layout, size.cx)), placement)),
        view(ViewOf(layout, size, memory.data(), memory.size(), placement)) {}

  Bytes memory;
  TargetView view;
};

class CppWrapperBytes : public testing::TestWithParam<conformance::Layout> {
 protected:
  static Layout Given() { return static_cast<Layout>(GetParam()); }
  static int BytesOf(int pixels) { return pixels * conformance::Traits(GetParam()).BytesPerPixel(); }
};

constexpr uint64_t caseCount = 200;

TEST_P(CppWrapperBytes, OfWholePicturesAreTheModels) {
  for (uint64_t seed = 0; seed < caseCount; ++seed) {
    conformance::Trial const trial(conformance::RandomCase(GetParam(), seed));
    conformance::Sizes const& sizes = trial.what.sizes;
    Placement const from{trial.what.source.gap, trial.what.source.bottomUp};
    Placement const to{trial.what.destination.gap, trial.what.destination.bottomUp};
    Bytes const picture = LaidOut(trial.picture, BytesOf(sizes.cxIn), from);
    Scaler scaler(Given(), {sizes.cxIn, sizes.cyIn}, {sizes.cxOut, sizes.cyOut});
    Target target(Given(), scaler.TargetSize(), to);
    scaler.Scale(ViewOf(Given(), scaler.SourceSize(), picture.data(), picture.size(), from), target.view);
    ASSERT_EQ(target.memory, LaidOut(trial.frame, BytesOf(sizes.cxOut), to)) << "case " << seed;
  }
}

TEST_P(CppWrapperBytes, OfRectanglesAreThoseOfTheWhole) {
  for (uint64_t seed = 0; seed < caseCount; ++seed) {
    conformance::Trial const trial(conformance::RandomCase(GetParam(), seed));
    conformance::Sizes const& sizes = trial.what.sizes;
    conformance::Rect const& rect = trial.what.rect;
    if (rect.cx == 0 || rect.cy == 0) continue;
    Placement const to{trial.what.destination.gap, trial.what.destination.bottomUp};
    Bytes const expected = LaidOut(Crop(GetParam(), trial.frame, sizes.cxOut, rect), BytesOf(rect.cx), to);
    Scaler scaler(Given(), {sizes.cxIn, sizes.cyIn}, {sizes.cxOut, sizes.cyOut});
    SourceView const whole =
        SourceView::Within(Given(), scaler.SourceSize(), trial.picture.data(), trial.picture.size());
    Target target(Given(), {rect.cx, rect.cy}, to);
    scaler.Scale(whole, target.view, rect.x, rect.y);
    ASSERT_EQ(target.memory, expected) << "case " << seed;

    Rect const needed = scaler.Needed({rect.x, rect.y, rect.cx, rect.cy});
    Bytes const part = Crop(GetParam(), trial.picture, sizes.cxIn, {needed.x, needed.y, needed.cx, needed.cy});
    Target fromPart(Given(), {rect.cx, rect.cy}, to);
    scaler.ScalePart(SourceView::Within(Given(), {needed.cx, needed.cy}, part.data(), part.size()), needed.x, needed.y,
                     fromPart.view, rect.x, rect.y);
    ASSERT_EQ(fromPart.memory, expected) << "case " << seed;
  }
}

TEST_P(CppWrapperBytes, OfPushedLinesAreThoseOfTheWhole) {
  for (uint64_t seed = 0; seed < caseCount; ++seed) {
    conformance::Trial const trial(conformance::RandomCase(GetParam(), seed));
    conformance::Sizes const& sizes = trial.what.sizes;
    Scaler scaler(Given(), {sizes.cxIn, sizes.cyIn}, {sizes.cxOut, sizes.cyOut});
    SourceView const whole =
        SourceView::Within(Given(), scaler.SourceSize(), trial.picture.data(), trial.picture.size());
    conformance::Random random(seed);
    Bytes pushed;
    int cyPushed = 0, cyWritten = 0;
    while (cyPushed < sizes.cyIn) {
      int const cy = random.Between(1, std::min(7, sizes.cyIn - cyPushed));
      Target target(Given(), {sizes.cxOut, scaler.Room(cy)});
      int const written = scaler.Push(whole.Part({0, cyPushed, sizes.cxIn, cy}), target.view);
      cyPushed += cy;
      cyWritten += written;
      ASSERT_LE(scaler.LinesNeeded(cyWritten - 1), cyPushed) << "case " << seed;
      pushed.insert(pushed.end(), target.memory.begin(), target.memory.begin() + BytesOf(sizes.cxOut) * written);
    }
    ASSERT_EQ(pushed, trial.frame) << "case " << seed;
  }
}

std::vector<conformance::Layout> AllLayouts() {
  std::vector<conformance::Layout> all;
  for (conformance::LayoutTraits const& traits : conformance::Layouts()) all.push_back(traits.layout);
  return all;
}

std::string NameOf(testing::TestParamInfo<conformance::Layout> const& info) {
  return conformance::Traits(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(, CppWrapperBytes, testing::ValuesIn(AllLayouts()), NameOf);

constexpr unsigned char memory[60] = {};

// Whether calling it is a constant expression: what a view refuses is none.
template <class Action, int = (Action{}(), 0)>
constexpr bool IsConstant(Action) {
  return true;
}
constexpr bool IsConstant(...) { return false; }

constexpr SourceView fiveByFour = SourceView::Within(Layout::RGB24, {5, 4}, memory, 60);
static_assert(fiveByFour.GetLayout() == Layout::RGB24 && fiveByFour.GetSize() == Size{5, 4});
static_assert(fiveByFour.Data() == memory && fiveByFour.Stride() == 15 && fiveByFour.Bytes() == 60);
static_assert(SourceView::Within(Layout::Plane, {5, 4}, memory, 60, -10).Bytes() == 35);
static_assert(SourceView::Trusted(Layout::XYXY, {3, 10}, memory).Bytes() == 60);
static_assert(fiveByFour.Part({1, 2, 4, 2}).Data() == memory + 33 && fiveByFour.Part({1, 2, 4, 2}).Bytes() == 27);
static_assert(SourceView::Within(Layout::Plane, {5, 4}, memory, 60, -10).Part({1, 0, 2, 3}).Data() == memory + 11);

static_assert(IsConstant([] { SourceView::Within(Layout::RGB24, {5, 4}, memory, 60); }));
static_assert(!IsConstant([] { SourceView::Within(Layout::RGB24, {5, 4}, memory, 59); }));
static_assert(!IsConstant([] { SourceView::Within(Layout::RGB24, {5, 4}, memory, 60, 14); }));
static_assert(!IsConstant([] { SourceView::Within(Layout::RGB24, {0, 4}, memory, 60); }));
static_assert(!IsConstant([] { SourceView::Within(Layout::RGB24, {5, 0}, memory, 60); }));
static_assert(!IsConstant([] { SourceView::Within(Layout::RGBA32, {1 << 29, 1}, memory, SIZE_MAX); }));
static_assert(!IsConstant([] { SourceView::Trusted(Layout::RGB24, {5, 4}, memory, -14); }));
static_assert(!IsConstant([] { fiveByFour.Part({1, 1, 5, 1}); }));

static_assert(!std::is_copy_constructible_v<Scaler> && !std::is_copy_assignable_v<Scaler>);
static_assert(std::is_nothrow_move_constructible_v<Scaler> && std::is_nothrow_move_assignable_v<Scaler>);
static_assert(!std::is_copy_constructible_v<PictureScaler> && std::is_nothrow_move_assignable_v<PictureScaler>);
static_assert(std::is_convertible_v<TargetView, SourceView> && !std::is_convertible_v<SourceView, TargetView>);

// The sentence of the exception that it throws.
template <class Action>
std::string Refusal(Action action) {
  try {
    action();
  } catch (std::invalid_argument const& refusal) {
    return refusal.what();
  }
  return "";
}

// The argument that it names.
template <class Action>
std::string RefusedFor(Action action) {
  std::string const sentence = Refusal(action);
  return sentence.substr(0, sentence.find(':'));
}

TEST(CppWrapper, ViewsRefuseWhatDoesNotFit) {
  auto const within = [](Layout layout, Size size, std::size_t bytes, std::ptrdiff_t stride) {
    return Refusal([&] { SourceView::Within(layout, size, memory, bytes, stride); });
  };
  EXPECT_EQ(within(Layout::RGB24, {5, 4}, 60, -15), "");
  EXPECT_EQ(within(Layout::RGB24, {5, 4}, 59, 0),
            "bytes: 59 given, expected at least 60 for 4 lines that are 15 bytes apart");
  EXPECT_EQ(within(Layout::Plane, {5, 4}, 34, -10),
            "bytes: 34 given, expected at least 35 for 4 lines that are -10 bytes apart");
  EXPECT_EQ(within(Layout::RGB24, {5, 4}, 60, 14),
            "stride: 14 given, expected 0, or 15 to 2147483647 bytes up or down");
  EXPECT_EQ(within(Layout::RGB24, {5, 1}, 60, PTRDIFF_MIN),
            "stride: -9223372036854775808 given, expected 0, or 15 to 2147483647 bytes up or down");
  EXPECT_EQ(within(Layout::RGB24, {0, 4}, 60, 0),
            "width: 0 given, expected at least 1 and lines of at most 2147483647 bytes");
  EXPECT_EQ(within(Layout::XYXY, {1 << 30, 1}, SIZE_MAX, 0),
            "width: 1073741824 given, expected at least 1 and lines of at most 2147483647 bytes");
  EXPECT_EQ(within(Layout::RGB24, {5, -1}, 60, 0), "height: -1 given, expected at least 1");
  EXPECT_EQ(within(static_cast<Layout>(7), {5, 4}, 60, 0), "layout: 7 given, expected one of Layout");
  EXPECT_EQ(Refusal([] {
              TargetView::Trusted(Layout::Plane, {1, 1}, nullptr);
            }),
            "data: null given, expected an address");
}

TEST(CppWrapper, PartsOfViewsLieInside) {
  SourceView const pairs = SourceView::Within(Layout::XYXY, {6, 5}, memory, 60);
  EXPECT_EQ(Refusal([&] { pairs.Part({0, 0, 6, 5}); }), "");
  for (Rect const& rect :
       {Rect{-2, 0, 2, 1}, {0, -1, 2, 1}, {0, 0, 0, 1}, {0, 0, 2, 0}, {4, 0, 4, 1}, {0, 4, 2, 2}, {INT_MAX, 0, 2, 1}}) {
    EXPECT_EQ(RefusedFor([&] { pairs.Part(rect); }), "part") << rect.x << " " << rect.y;
  }
  EXPECT_EQ(Refusal([&] {
              pairs.Part({1, 0, 2, 1});
            }),
            "part: column 1 given, expected an even one: two pixels share chroma");
}

TEST(CppWrapper, RefusesSizesThatCantBe) {
  EXPECT_EQ(RefusedFor([] { Scaler(static_cast<Layout>(7), {4, 4}, {2, 2}); }), "layout");
  EXPECT_EQ(RefusedFor([] { Scaler(Layout::Plane, {4, 0}, {2, 2}); }), "sizes");
  EXPECT_EQ(RefusedFor([] { Scaler(Layout::XYXY, {4, 4}, {3, 2}); }), "sizes");
  EXPECT_EQ(RefusedFor([] { Scaler(Layout::RGBA32, {1 << 29, 4}, {3, 2}); }), "sizes");
  EXPECT_EQ(Refusal([] { Scaler(Layout::XYXY, {3, 4}, {3, 2}); }), "");
}

// Scales 4x6 packed pixels to 8x4.
class CppWrapperRefusals : public testing::Test {
 protected:
  SourceView Source(Size size, Layout layout = Layout::XYXY) const {
    return SourceView::Within(layout, size, from.data(), from.size());
  }
  TargetView To(Size size, Layout layout = Layout::XYXY) {
    return TargetView::Within(layout, size, to.data(), to.size());
  }
  void TearDown() override { EXPECT_EQ(to, Bytes(to.size(), untouched)); }

  Bytes const from = Bytes(4 * 8 * 8);
  Bytes to = Bytes(4 * 8 * 8, untouched);
  Scaler scaler{Layout::XYXY, {4, 6}, {8, 4}};
};

TEST_F(CppWrapperRefusals, OfViewsOfAnotherKind) {
  EXPECT_EQ(Refusal([&] {
              scaler.Scale(Source({4, 6}, Layout::YXYX), To({8, 4}));
            }),
            "source: layout 4 given, expected 3");
  EXPECT_EQ(Refusal([&] {
              scaler.Scale(Source({4, 6}), To({8, 4}, Layout::UV16));
            }),
            "target: layout 5 given, expected 3");
  EXPECT_EQ(Refusal([&] { scaler.Scale(Source({4, 5}), To({8, 4})); }), "source: 4x5 pixels given, expected 4x6");
  EXPECT_EQ(Refusal([&] { scaler.Scale(Source({4, 6}), To({6, 4})); }), "target: 6x4 pixels given, expected 8x4");
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(Source({4, 5}), To({2, 1}), 0, 0); }), "source");
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(Source({4, 6}), To({2, 1}, Layout::YXYX), 0, 0); }), "target");
  EXPECT_EQ(RefusedFor([&] { scaler.ScalePart(Source({4, 6}, Layout::YXYX), 0, 0, To({8, 4}), 0, 0); }), "part");
}

TEST_F(CppWrapperRefusals, OfRectanglesOutside) {
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(Source({4, 6}), To({4, 4}), 6, 0); }), "out");
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(Source({4, 6}), To({4, 4}), 0, -1); }), "out");
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(Source({4, 6}), To({4, 4}), 1, 0); }), "out");
  EXPECT_EQ(RefusedFor([&] { scaler.Needed({0, 0, 10, 1}); }), "out");
  EXPECT_EQ(RefusedFor([&] { scaler.ScalePart(Source({4, 6}), 2, 0, To({8, 4}), 0, 0); }), "part");
  EXPECT_EQ(RefusedFor([&] { scaler.ScalePart(Source({4, 3}), 0, 0, To({8, 4}), 0, 0); }), "part");
}

TEST_F(CppWrapperRefusals, OfLinesWithoutRoom) {
  EXPECT_EQ(RefusedFor([&] { scaler.Push(Source({2, 1}), To({8, 4})); }), "lines");
  EXPECT_EQ(RefusedFor([&] { scaler.Push(Source({4, 1}, Layout::YXYX), To({8, 4})); }), "lines");
  EXPECT_EQ(RefusedFor([&] { scaler.Push(Source({4, 1}), To({6, 4})); }), "target");
  EXPECT_EQ(RefusedFor([&] { scaler.Push(Source({4, 7}), To({8, 4})); }), "lines");
  EXPECT_EQ(RefusedFor([&] { scaler.Push(Source({4, 6}), To({8, 3})); }), "room");
}

TEST_F(CppWrapperRefusals, OfOtherCallsWithinAFrame) {
  EXPECT_EQ(scaler.Push(Source({4, 1}), To({8, 1})), 0);
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(Source({4, 6}), To({8, 4})); }), "scaler");
  EXPECT_EQ(RefusedFor([&] { scaler.UseSet(InstructionSet::Plain); }), "scaler");
  EXPECT_EQ(RefusedFor([&] { scaler.Push(Source({4, 6}), To({8, 4})); }), "lines");
  scaler.Reset();
  EXPECT_EQ(RefusedFor([&] { scaler.UseSet(static_cast<InstructionSet>(77)); }), "widest");
  scaler.UseSet(InstructionSet::Plain);
  EXPECT_EQ(scaler.Set(), InstructionSet::Plain);
}

TEST_F(CppWrapperRefusals, OfScalersThatWereMovedFrom) {
  Scaler const moved = std::move(scaler);
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(Source({4, 6}), To({8, 4})); }), "scaler");
  EXPECT_EQ(RefusedFor([&] { scaler.Push(Source({4, 1}), To({8, 4})); }), "scaler");
  EXPECT_EQ(RefusedFor([&] { scaler.Needed({0, 0, 2, 1}); }), "scaler");
  EXPECT_EQ(RefusedFor([&] { scaler.Reset(); }), "scaler");
  EXPECT_EQ(scaler.Bytes(), 0u);
  EXPECT_GT(moved.Bytes(), 0u);

  FrameScaler frames("gray", {4, 6}, {8, 4});
  FrameScaler const movedFrames = std::move(frames);
  // NOLINTNEXTLINE(bugprone-use-after-move)
  EXPECT_EQ(RefusedFor([&] { frames.Scale({Source({4, 6}, Layout::Plane)}, {To({8, 4}, Layout::Plane)}); }), "picture");
  EXPECT_GT(movedFrames.Bytes(), 0u);
}

TEST(CppWrapper, MovesTakeTheFrameAlong) {
  conformance::Sizes const sizes{5, 9, 7, 12};
  conformance::Trial const trial(CaseOfSizes(conformance::Layout::RGB24, sizes, 1));
  SourceView const whole = SourceView::Within(Layout::RGB24, {5, 9}, trial.picture.data(), trial.picture.size());
  Target target(Layout::RGB24, {7, 12});
  Scaler first(Layout::RGB24, {5, 9}, {7, 12});
  int const written = first.Push(whole.Part({0, 0, 5, 6}), target.view);
  Scaler second(Layout::Plane, {1, 1}, {2, 2});
  second = std::move(first);
  EXPECT_EQ(second.SourceSize(), (Size{5, 9}));
  EXPECT_EQ(second.Push(whole.Part({0, 6, 5, 3}), target.view.Part({0, written, 7, 12 - written})), 12 - written);
  EXPECT_EQ(target.memory, trial.frame);
}

Bytes Noise(std::size_t count) {
  Bytes noise(count);
  conformance::Random random(count);
  for (unsigned char& byte : noise) byte = static_cast<unsigned char>(random.Next());
  return noise;
}

// The lines of a view without what lies between them.
Bytes LinesOf(SourceView const& view) {
  Bytes lines;
  for (int y = 0; y < view.GetSize().cy; ++y) {
    SourceView const line = view.Part({0, y, view.GetSize().cx, 1});
    lines.insert(lines.end(), line.Data(), line.Data() + line.Bytes());
  }
  return lines;
}

// Pushes a few lines at a time into room for a few.
void PushAll(PictureScaler& scaler, SourceView const& lines, TargetView const& target) {
  Size const in = lines.GetSize(), out = target.GetSize();
  int taken = 0, written = 0;
  while (written < out.cy) {
    TargetView const room = target.Part({0, written, out.cx, std::min(2, out.cy - written)});
    if (taken == in.cy) {
      written += scaler.Push(room);
    } else {
      auto const pushed = scaler.Push(lines.Part({0, taken, in.cx, std::min(5, in.cy - taken)}), room);
      taken += pushed.taken;
      written += pushed.written;
    }
  }
}

// By every rule, in every direction, whichever way they are asked for.
TEST(CppWrapperPictures, AreTheModels) {
  struct {
    Rules rules;
    Size in, out;
    Layout source, target;
  } const cases[] = {
      {{Pixels::RGB24}, {50, 70}, {9, 8}, Layout::RGB24, Layout::RGB24},
      {{Pixels::RGBAlpha}, {31, 20}, {9, 33}, Layout::RGBA32, Layout::RGBA32},
      {{Pixels::AlphaRGB, AlphaRule::Straight}, {31, 20}, {40, 33}, Layout::RGBA32, Layout::RGBA32},
      {{Pixels::GrayAlpha, AlphaRule::Drop}, {31, 20}, {31, 20}, Layout::UV16, Layout::Plane},
      {{Pixels::AlphaRGB, AlphaRule::Background, Reduction::Widely, {9, 99, 200}},
       {60, 41},
       {22, 13},
       Layout::RGBA32,
       Layout::RGB24},
      {{Pixels::XYXY}, {60, 41}, {10, 30}, Layout::XYXY, Layout::XYXY},
      {{Pixels::Plane, AlphaRule::Drop, Reduction::ByFourTaps}, {60, 40}, {9, 9}, Layout::Plane, Layout::Plane},
  };
  for (auto const& [rules, in, out, source, target] : cases) {
    SCOPED_TRACE(static_cast<int>(rules.pixels));
    Bytes const picture = Noise(static_cast<std::size_t>(LineBytes(source, in.cx) * in.cy));
    SourceView const whole = SourceView::Within(source, in, picture.data(), picture.size());
    fourtap_rules const given{static_cast<int>(rules.pixels),
                              static_cast<int>(rules.reduction),
                              static_cast<int>(rules.alpha),
                              {rules.background[0], rules.background[1], rules.background[2]}};
    Bytes const expected = conformance::ModelPicture(given, {in.cx, in.cy, out.cx, out.cy}, picture);
    Target scaled(target, out), pushed(target, out);
    PictureScaler scaler(rules, in, out);
    ASSERT_TRUE(scaler.SourceLayout() == source && scaler.TargetLayout() == target);
    ASSERT_TRUE(scaler.SourceSize() == in && scaler.TargetSize() == out);
    scaler.Scale(whole, scaled.view);
    EXPECT_EQ(scaled.memory, expected);
    scaler.Begin();
    PushAll(scaler, whole, pushed.view);
    EXPECT_EQ(pushed.memory, expected);

    Rect const rect{2, 3, 6, 5};
    Target ofWhole(target, {6, 5}), ofPart(target, {6, 5}, {7, true}), ofLines(target, {6, 5});
    Bytes const cut = LinesOf(scaled.view.Part(rect));
    scaler.Scale(whole, ofWhole.view, rect.x, rect.y);
    EXPECT_EQ(ofWhole.memory, cut);
    Rect const needed = scaler.Needed(rect);
    scaler.ScalePart(whole.Part(needed), needed.x, needed.y, ofPart.view, rect.x, rect.y);
    EXPECT_EQ(LinesOf(ofPart.view), cut);
    PushAll(scaler, whole.Part(scaler.Begin(rect)), ofLines.view);
    EXPECT_EQ(ofLines.memory, cut);
  }
}

TEST(CppWrapperPictures, RefuseWhatDoesNotFitAndWriteNothing) {
  EXPECT_EQ(RefusedFor([] { PictureScaler({static_cast<Pixels>(7)}, {4, 4}, {2, 2}); }), "rules.pixels");
  EXPECT_EQ(RefusedFor([] {
              PictureScaler({Pixels::Plane, static_cast<AlphaRule>(9)}, {4, 4}, {2, 2});
            }),
            "rules.alpha");
  EXPECT_EQ(RefusedFor([] { PictureScaler({Pixels::Plane}, {4, 0}, {2, 2}); }), "sizes");

  PictureScaler scaler({Pixels::GrayAlpha, AlphaRule::Drop}, {8, 8}, {2, 3});
  Bytes const from(2 * 8 * 8);
  Target to(Layout::Plane, {2, 3}), pairs(Layout::UV16, {2, 3});
  auto const source = [&](Layout layout, Size size) {
    return SourceView::Within(layout, size, from.data(), from.size());
  };
  SourceView const whole = source(Layout::UV16, {8, 8});
  EXPECT_EQ(Refusal([&] { scaler.Scale(whole, pairs.view); }), "target: layout 5 given, expected 0");
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(source(Layout::Plane, {8, 8}), to.view); }), "source");
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(source(Layout::UV16, {8, 7}), to.view); }), "source");
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(whole, to.view, 1, 0); }), "out");
  EXPECT_EQ(RefusedFor([&] { scaler.ScalePart(source(Layout::UV16, {8, 7}), 0, 0, to.view, 0, 0); }), "part");
  EXPECT_EQ(RefusedFor([&] { scaler.Begin({0, 0, 2, 4}); }), "out");
  EXPECT_EQ(RefusedFor([&] { scaler.Push(whole, to.view); }), "picture");
  scaler.Begin();
  EXPECT_EQ(RefusedFor([&] { scaler.Push(source(Layout::UV16, {7, 8}), to.view); }), "lines");
  EXPECT_EQ(RefusedFor([&] { scaler.Push(whole, pairs.view); }), "target");
  EXPECT_EQ(RefusedFor([&] { scaler.Push(whole, to.view.Part({0, 0, 1, 3})); }), "target");
  EXPECT_EQ(RefusedFor([&] { scaler.Scale(whole, to.view); }), "picture");
  EXPECT_EQ(RefusedFor([&] { scaler.UseSet(InstructionSet::Plain); }), "picture");
  EXPECT_EQ(to.memory, Bytes(6, untouched));

  PictureScaler moved = std::move(scaler);
  // NOLINTNEXTLINE(bugprone-use-after-move)
  EXPECT_EQ(RefusedFor([&] { scaler.Push(to.view); }), "picture");
  EXPECT_EQ(RefusedFor([&] { scaler.Begin(); }), "picture");
  EXPECT_EQ(scaler.Bytes(), 0u);
  EXPECT_GT(moved.Bytes(), 0u);
  PushAll(moved, whole, to.view);
  EXPECT_EQ(to.memory, Bytes(6));
  moved.UseSet(InstructionSet::Plain);
  EXPECT_EQ(moved.Set(), InstructionSet::Plain);
}

TEST(CppWrapperFrames, PlanesMeasureTheFrameDividedAndRoundedUp) {
  FrameFormat const nv12("NV12"), i420("i420"), i411("i411");
  EXPECT_EQ(nv12.PlaneCount(), 2);
  EXPECT_EQ(nv12.PlaneLayout(1), Layout::UV16);
  EXPECT_EQ(nv12.PlaneSize(1, {5, 3}), (Size{3, 2}));
  EXPECT_EQ(nv12.PlaneOffset(1, {5, 3}), 15u);
  EXPECT_EQ(nv12.FrameBytes({5, 3}), 15u + 12);
  EXPECT_EQ(i420.PlaneOffset(2, {5, 3}), 15u + 6);
  EXPECT_EQ(i420.FrameBytes({5, 3}), 15u + 6 + 6);
  EXPECT_EQ(i411.PlaneSize(2, {5, 3}), (Size{2, 3}));
}

TEST(CppWrapperFrames, EachPlaneIsScaledBetweenItsOwnSizes) {
  for (char const* name : {"nv12", "i420", "i422", "nv16", "i444", "gbrap", "uyvy"}) {
    for (auto const& [in, out] : {std::pair{Size{21, 13}, Size{15, 17}}, {{8, 6}, {3, 3}}, {{7, 1}, {1, 5}}}) {
      FrameFormat const format(name);
      if (format.PlaneLayout(0) == Layout::XYXY && (in.cx % 2 != 0 || out.cx % 2 != 0)) continue;
      Bytes const frame = Noise(format.FrameBytes(in));
      Bytes scaled(format.FrameBytes(out), untouched);
      SourceFrame const source = format.Within(in, frame.data(), frame.size());
      FrameScaler(format, in, out, Reduction::ByFourTaps)
          .Scale(source, format.Within(out, scaled.data(), scaled.size()));

      Bytes expected, widely(scaled.size(), untouched);
      TargetFrame const target = format.Within(out, widely.data(), widely.size());
      FrameScaler(format, in, out).Scale(source, target);
      for (int plane = 0; plane < format.PlaneCount(); ++plane) {
        Layout const layout = format.PlaneLayout(plane);
        Size const planeIn = format.PlaneSize(plane, in), planeOut = format.PlaneSize(plane, out);
        Bytes const model =
            ModelFrame(static_cast<conformance::Layout>(layout), {planeIn.cx, planeIn.cy, planeOut.cx, planeOut.cy},
                       LinesOf(source.Plane(plane)));
        expected.insert(expected.end(), model.begin(), model.end());
        Target picture(layout, planeOut);
        PictureScaler({static_cast<Pixels>(layout)}, planeIn, planeOut).Scale(source.Plane(plane), picture.view);
        EXPECT_EQ(LinesOf(target.Plane(plane)), picture.memory) << name << " " << plane;
      }
      EXPECT_EQ(scaled, expected) << name << " " << in.cx << "x" << in.cy;
    }
  }
}

TEST(CppWrapperFrames, TheHostsOwnFormatWillDo) {
  fourtap_format own{"own", 2, {{FOURTAP_RGB24, 1, 1}, {FOURTAP_PLANE, 4, 4}}};
  FrameFormat const format(&own);
  own.planes[1].columns = 0;
  EXPECT_EQ(format.FrameBytes({9, 8}), 3u * 9 * 8 + 3 * 2);
  EXPECT_EQ(RefusedFor([&] { FrameFormat{&own}; }), "format");
  own.plane_count = 5;
  EXPECT_EQ(Refusal([&] { FrameFormat{&own}; }), "format: 5 planes given, expected 1 to 4");
  own = {"own", 1, {{99, 1, 1}}};
  EXPECT_EQ(RefusedFor([&] { FrameFormat{&own}; }), "layout");
}

TEST(CppWrapperFrames, RefuseWhatDoesNotFitAndWriteNothing) {
  EXPECT_EQ(Refusal([] {
              FrameScaler("i440", {4, 4}, {2, 2});
            }),
            "format: i440 given, expected a name that the library knows");
  EXPECT_EQ(RefusedFor([] { FrameFormat(static_cast<char const*>(nullptr)); }), "format");
  EXPECT_EQ(RefusedFor([] { FrameFormat(static_cast<fourtap_format const*>(nullptr)); }), "format");
  EXPECT_EQ(RefusedFor([] { FrameScaler("nv12", {4, 4}, {0, 2}); }), "size");

  FrameFormat const format("nv12");
  EXPECT_EQ(RefusedFor([&] { format.PlaneLayout(2); }), "plane");
  EXPECT_EQ(RefusedFor([&] { format.PlaneSize(-1, {4, 4}); }), "plane");
  EXPECT_EQ(RefusedFor([&] { format.PlaneOffset(2, {4, 4}); }), "plane");
  EXPECT_EQ(RefusedFor([&] { format.FrameBytes({4, 0}); }), "size");
  Bytes const frame(24);
  EXPECT_EQ(Refusal([&] {
              format.Within({4, 4}, frame.data(), 23);
            }),
            "bytes: 23 given, expected at least 24 for a frame of 4x4");
  EXPECT_EQ(RefusedFor([&] { format.Within<unsigned char>({4, 4}, nullptr, 24); }), "data");

  Bytes scaled(60, untouched);
  FrameScaler scaler(format, {4, 4}, {6, 6});
  SourceFrame const source = format.Within({4, 4}, frame.data(), frame.size());
  TargetFrame const target = format.Within({6, 6}, scaled.data(), scaled.size());
  // The chroma that comes in lies where the luma goes to.
  SourceView const shared = SourceView::Within(Layout::UV16, {2, 2}, scaled.data() + 35, 8);
  EXPECT_EQ(Refusal([&] { scaler.Scale({source.Plane(0)}, target); }), "source: 1 planes given, expected 2");
  EXPECT_EQ(Refusal([&] {
              SourceFrame({shared, shared, shared, shared, shared});
            }),
            "planes: 5 given, expected 1 to 4");
  EXPECT_EQ(RefusedFor([&] { target.Plane(2); }), "plane");
  EXPECT_EQ(Refusal([&] {
              scaler.Scale({source.Plane(0), source.Plane(0)}, target);
            }),
            "source plane 1: layout 0 given, expected 5");
  EXPECT_EQ(Refusal([&] {
              scaler.Scale(source, {target.Plane(0), target.Plane(1).Part({0, 0, 3, 2})});
            }),
            "target plane 1: 3x2 pixels given, expected 3x3");
  EXPECT_EQ(RefusedFor([&] { scaler.Scale({source.Plane(0), shared}, target); }), "target");
  EXPECT_EQ(scaled, Bytes(60, untouched));
}

// Chroma planes of the same size take one scaler's memory.
TEST(CppWrapperFrames, PlanesOfOneSizeShareAScaler) {
  std::size_t const gray = FrameScaler("gray", {40, 30}, {20, 10}).Bytes();
  EXPECT_EQ(FrameScaler("i444", {40, 30}, {20, 10}).Bytes(), gray);
  EXPECT_EQ(FrameScaler("i420", {40, 30}, {20, 10}).Bytes(),
            gray + PictureScaler({Pixels::Plane}, {20, 15}, {10, 5}).Bytes());
}

}  // namespace
