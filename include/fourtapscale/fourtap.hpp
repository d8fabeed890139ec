// FourTapScale for C++17: the functions of fourtap.h as classes that can't be called wrongly without an exception.
//
//     using namespace fourtapscale;
//     Scaler scaler(Layout::RGB24, {1920, 1080}, {1280, 720});
//     scaler.Scale(SourceView::Within(Layout::RGB24, {1920, 1080}, picture, bytesOfPicture),
//                  TargetView::Within(Layout::RGB24, {1280, 720}, scaled, bytesOfScaled));
//
// PictureScaler for pictures, with reductions of any size and alpha; FrameScaler for frames of several planes; Scaler
// for four taps and nothing else.
//
// Units: sizes and positions are pixels and lines, strides and memory are bytes. The bytes of output pixel (x, y)
// depend on the picture and the sizes alone: not on the processor, nor on the part, lines or strides asked with.
//
// Errors: std::invalid_argument where an argument is at fault, with a sentence that names it, what it was and what was
// expected; std::bad_alloc; std::runtime_error where no scaler runs on this processor. What throws has changed nothing
// and written nothing.
//
// Memory: views own nothing, and nothing is kept of them after a call. Source and target must not share a byte.
//
// Threads: a scaler serves one call at a time; different scalers serve any threads at once. There is no other state.
// Nothing allocates but what makes a scaler or an exception.
#ifndef FOURTAPSCALE_FOURTAP_HPP
#define FOURTAPSCALE_FOURTAP_HPP

#if __cplusplus < 201703L
#error "fourtap.hpp needs C++17"
#endif

#include <fourtapscale/fourtap.h>

#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>

namespace fourtapscale {

// See the numbers in fourtap.h for what they hold. More may follow.
enum class Layout : int {
  Plane = FOURTAP_PLANE,
  RGB24 = FOURTAP_RGB24,
  RGB32 = FOURTAP_RGB32,
  XYXY = FOURTAP_XYXY,
  YXYX = FOURTAP_YXYX,
  UV16 = FOURTAP_UV16,
  RGBA32 = FOURTAP_RGBA32,
};

// What a scaler runs with. A number tells nothing of a set's rank; more may follow.
enum class InstructionSet : int {
  SSE2 = FOURTAP_SET_SSE2,
  AVX2 = FOURTAP_SET_AVX2,
  AVX512 = FOURTAP_SET_AVX512,
  Plain = FOURTAP_SET_PLAIN,
  NEON = FOURTAP_SET_NEON,
  SIMD128 = FOURTAP_SET_SIMD128,
  Widest = FOURTAP_SET_WIDEST,
};

// What the pixels of a picture are: a layout none of whose channels is alpha, or one of the last three.
enum class Pixels : int {
  Plane = FOURTAP_PLANE,
  RGB24 = FOURTAP_RGB24,
  RGB32 = FOURTAP_RGB32,
  XYXY = FOURTAP_XYXY,
  YXYX = FOURTAP_YXYX,
  UV16 = FOURTAP_UV16,
  RGBA32 = FOURTAP_RGBA32,
  GrayAlpha = FOURTAP_GRAY_ALPHA,  // views of them are UV16
  RGBAlpha = FOURTAP_RGB_ALPHA,    // RGBA32
  AlphaRGB = FOURTAP_ALPHA_RGB,    // RGBA32
};

// What becomes of reductions.
enum class Reduction : int {
  Widely = FOURTAP_REDUCE_WIDELY,            // what shrinks to less than half is filtered as widely as it needs
  ByFourTaps = FOURTAP_REDUCE_BY_FOUR_TAPS,  // what lies between the taps of such a reduction is not looked at
};

// What becomes of alpha, where a picture has it.
enum class AlphaRule : int {
  Multiply = FOURTAP_ALPHA_MULTIPLY,      // colours are multiplied by it before they are filtered, and divided after
  Straight = FOURTAP_ALPHA_STRAIGHT,      // filtered like a colour
  Drop = FOURTAP_ALPHA_DROP,              // left away
  Background = FOURTAP_ALPHA_BACKGROUND,  // the picture is laid onto a colour
};

// How a picture is scaled.
struct Rules {
  Pixels pixels;
  AlphaRule alpha = AlphaRule::Multiply;
  Reduction reduction = Reduction::Widely;
  unsigned char background[3] = {};  // in the order of the colours; gray is the first
};

struct Size {
  int cx, cy;

  friend constexpr bool operator==(Size a, Size b) { return a.cx == b.cx && a.cy == b.cy; }
  friend constexpr bool operator!=(Size a, Size b) { return !(a == b); }
};

struct Rect {
  int x, y, cx, cy;
};

namespace detail {

[[noreturn, gnu::format(printf, 1, 2)]] inline void Refuse(char const* format, ...) {
  // Not std::to_string: its tables would be shared by all modules of the process.
  char sentence[256];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(sentence, sizeof sentence, format, arguments);
  va_end(arguments);
  throw std::invalid_argument(sentence);
}

inline void Check(fourtap_status status) {
  switch (status) {
    case FOURTAP_OK:
      return;
    case FOURTAP_INVALID:
      throw std::invalid_argument(fourtap_error());
    case FOURTAP_MEMORY:
      throw std::bad_alloc();
    case FOURTAP_PROCESSOR:
      break;
  }
  throw std::runtime_error(fourtap_error());
}

}  // namespace detail

// Refuses a number that is no layout.
constexpr int BytesPerPixel(Layout layout) {
  switch (layout) {
    case Layout::Plane:
      return 1;
    case Layout::XYXY:
    case Layout::YXYX:
    case Layout::UV16:
      return 2;
    case Layout::RGB24:
      return 3;
    case Layout::RGB32:
    case Layout::RGBA32:
      return 4;
  }
  detail::Refuse("layout: %d given, expected one of Layout", static_cast<int>(layout));
}

// Bytes of a line of cx pixels. Refuses lines of no pixel, and of 2 GiB.
constexpr std::ptrdiff_t LineBytes(Layout layout, int cx) {
  std::ptrdiff_t const bytes = std::ptrdiff_t{cx} * BytesPerPixel(layout);
  if (cx < 1 || bytes > INT_MAX) {
    detail::Refuse("width: %d given, expected at least 1 and lines of at most %d bytes", cx, INT_MAX);
  }
  return bytes;
}

template <typename Byte>
class BasicFrame;

// A picture in somebody else's memory. Copied freely; the memory must outlive the use.
template <typename Byte>
class BasicView {
  static_assert(std::is_same_v<std::remove_const_t<Byte>, unsigned char>, "pictures are unsigned char");

 public:
  // A view that is held to the memory there is.
  //   data    the lowest address, whatever the stride
  //   bytes   how much memory there is from there on; more than the lines take is fine
  //   stride  bytes from a line to the one below it. 0: the lines follow each other without gaps. Negative: the bottom
  //           line comes first in memory
  // Refuses sizes below 1, lines of 2 GiB, strides below a line, memory that is shorter than its lines, and null.
  static constexpr BasicView Within(Layout layout, Size size, Byte* data, std::size_t bytes,
                                    std::ptrdiff_t stride = 0) {
    BasicView const view = Trusted(layout, size, data, stride);
    if (bytes < view.Bytes()) {
      detail::Refuse("bytes: %zu given, expected at least %zu for %d lines that are %td bytes apart", bytes,
                     view.Bytes(), size.cy, view.stride);
    }
    return view;
  }

  // The same where nobody knows how long the memory is: that it holds the lines is the caller's word.
  static constexpr BasicView Trusted(Layout layout, Size size, Byte* data, std::ptrdiff_t stride = 0) {
    std::ptrdiff_t const lineBytes = LineBytes(layout, size.cx);
    if (size.cy < 1) detail::Refuse("height: %d given, expected at least 1", size.cy);
    if (stride == 0) stride = lineBytes;
    if (stride > INT_MAX || stride < -INT_MAX || (stride < 0 ? -stride : stride) < lineBytes) {
      detail::Refuse("stride: %td given, expected 0, or %td to %d bytes up or down", stride, lineBytes, INT_MAX);
    }
    if (!data) detail::Refuse("data: null given, expected an address");
    return {layout, size, data, stride};
  }

  // What may be written may be read.
  template <typename Writable, typename = std::enable_if_t<std::is_same_v<Writable const, Byte>>>
  constexpr BasicView(BasicView<Writable> const& view)
      : BasicView(view.GetLayout(), view.GetSize(), view.Data(), view.Stride()) {}

  constexpr Layout GetLayout() const { return layout; }
  constexpr Size GetSize() const { return size; }
  // The lowest address.
  constexpr Byte* Data() const { return data; }
  // Never 0.
  constexpr std::ptrdiff_t Stride() const { return stride; }
  // From the lowest address to behind the last byte of the lines; gaps between lines count.
  constexpr std::size_t Bytes() const {
    return static_cast<std::size_t>(Distance() * (size.cy - 1) + LineBytes(layout, size.cx));
  }

  // A rectangle of the picture. Refuses one that is empty or not inside, and one that begins between two pixels which
  // share their chroma.
  constexpr BasicView Part(Rect const& rect) const {
    if (rect.x < 0 || rect.y < 0 || rect.cx < 1 || rect.cy < 1 || rect.x > size.cx - rect.cx ||
        rect.y > size.cy - rect.cy) {
      detail::Refuse("part: %dx%d pixels at %d,%d given, expected at least one and all of them inside %dx%d", rect.cx,
                     rect.cy, rect.x, rect.y, size.cx, size.cy);
    }
    if ((layout == Layout::XYXY || layout == Layout::YXYX) && rect.x % 2 != 0) {
      detail::Refuse("part: column %d given, expected an even one: two pixels share chroma", rect.x);
    }
    std::ptrdiff_t const linesBefore = stride < 0 ? size.cy - rect.y - rect.cy : rect.y;
    return {layout,
            {rect.cx, rect.cy},
            data + linesBefore * Distance() + std::ptrdiff_t{rect.x} * BytesPerPixel(layout),
            stride};
  }

 private:
  constexpr BasicView(Layout layoutOf, Size sizeOf, Byte* lowest, std::ptrdiff_t distance)
      : layout(layoutOf), size(sizeOf), data(lowest), stride(distance) {}

  // Of a frame without that plane.
  friend class BasicFrame<Byte>;
  constexpr BasicView() : BasicView(Layout::Plane, {0, 0}, nullptr, 0) {}

  constexpr std::ptrdiff_t Distance() const { return stride < 0 ? -stride : stride; }

  Layout layout;
  Size size;
  Byte* data;
  std::ptrdiff_t stride;
};

using SourceView = BasicView<unsigned char const>;
using TargetView = BasicView<unsigned char>;

namespace detail {

// A view of what the scaler is for: of any size, or of that one.
template <typename Byte>
void CheckLayout(char const* name, BasicView<Byte> const& view, Layout expected) {
  if (view.GetLayout() != expected) {
    Refuse("%s: layout %d given, expected %d", name, static_cast<int>(view.GetLayout()), static_cast<int>(expected));
  }
}

template <typename Byte>
void CheckPicture(char const* name, BasicView<Byte> const& view, Layout layout, Size expected) {
  CheckLayout(name, view, layout);
  Size const size = view.GetSize();
  if (size != expected) {
    Refuse("%s: %dx%d pixels given, expected %dx%d", name, size.cx, size.cy, expected.cx, expected.cy);
  }
}

inline fourtap_source Of(SourceView const& view) { return {view.Data(), view.Bytes(), view.Stride()}; }
inline fourtap_target Of(TargetView const& view) { return {view.Data(), view.Bytes(), view.Stride()}; }
inline fourtap_rect Of(Rect const& rect) { return {rect.x, rect.y, rect.cx, rect.cy}; }

// What scalers and pictures have in common, by their functions for C. Moved, not copied; what was moved from refuses
// everything, until it is assigned to.
template <typename Opened, auto close, auto needed, auto scale, auto bytes, auto set, auto useSet>
class Scaling {
 public:
  // Of views of the source, and of the target.
  Layout SourceLayout() const { return layoutIn; }
  Layout TargetLayout() const { return layoutOut; }
  Size SourceSize() const { return sizeIn; }
  Size TargetSize() const { return sizeOut; }

  // The part of the source that a rectangle of the output is made of.
  Rect Needed(Rect const& out) const {
    fourtap_rect const asked = Of(out);
    fourtap_rect source;
    Check(needed(opened.get(), &asked, &source));
    return {source.x, source.y, source.cx, source.cy};
  }

  // Scales the whole picture.
  void Scale(SourceView const& source, TargetView const& target) {
    CheckPicture("target", target, layoutOut, sizeOut);
    Scale(source, target, 0, 0);
  }

  // The rectangle of the output that begins at (x, y) and is as large as the target.
  void Scale(SourceView const& source, TargetView const& target, int x, int y) {
    CheckPicture("source", source, layoutIn, sizeIn);
    ScalePart(source, 0, 0, target, x, y);
  }

  // The same from a part of the picture, whose first pixel is the picture's (xPart, yPart): at least what Needed tells
  // for the rectangle. Packed layouts: it begins at an even column, unless the height alone changes.
  void ScalePart(SourceView const& part, int xPart, int yPart, TargetView const& target, int x, int y) {
    CheckLayout("part", part, layoutIn);
    CheckLayout("target", target, layoutOut);
    fourtap_rect const given{xPart, yPart, part.GetSize().cx, part.GetSize().cy};
    fourtap_rect const out{x, y, target.GetSize().cx, target.GetSize().cy};
    Check(scale(opened.get(), Of(part), &given, Of(target), &out));
  }

  // Memory that it takes.
  std::size_t Bytes() const { return bytes(opened.get()); }

  // The set in use.
  InstructionSet Set() const { return static_cast<InstructionSet>(set(opened.get())); }

  // From now on the widest set that the processor has and that is not wider than this one; for comparison, since all
  // give the same bytes. Refused while lines are being pushed.
  void UseSet(InstructionSet widest) { Check(useSet(opened.get(), static_cast<int>(widest))); }

 protected:
  Scaling() = default;
  Scaling(Opened* made, Layout layoutOfSource, Layout layoutOfTarget, Size in, Size out)
      : layoutIn(layoutOfSource), layoutOut(layoutOfTarget), sizeIn(in), sizeOut(out), opened(made) {}

  struct Close {
    void operator()(Opened* closed) const { close(closed); }
  };

  Layout layoutIn = Layout::Plane, layoutOut = Layout::Plane;
  Size sizeIn{}, sizeOut{};
  std::unique_ptr<Opened, Close> opened;
};

using ScalerScaling =
    Scaling<fourtap_scaler, fourtap_close, fourtap_needed, fourtap_scale, fourtap_bytes, fourtap_set, fourtap_use_set>;
using PictureScaling = Scaling<fourtap_picture, fourtap_picture_close, fourtap_picture_needed, fourtap_picture_scale,
                               fourtap_picture_bytes, fourtap_picture_set, fourtap_picture_use_set>;

}  // namespace detail

// What scales pictures of one layout from one size to another by four taps: tables, scratch lines, and the progress of
// a frame that is being pushed. The ways to scale a picture at once are those of detail::Scaling.
class Scaler : public detail::ScalerScaling {
 public:
  // With the widest set that the processor has. Refuses sizes below 1 and beyond what the scalers can count, and odd
  // widths of packed layouts, unless the height alone changes.
  Scaler(Layout layout, Size in, Size out) : Scaling(Open(layout, in, out), layout, layout, in, out) {}

  Layout GetLayout() const { return layoutIn; }

  // Takes a frame's next lines, writes the output lines that they allow, and returns how many it wrote.
  //   target  where the next output line goes; its lines are the room there is. Refused if there are more to write
  // Refused, too, are more lines than the frame has left: Reset begins the next one. Until all lines of a frame were
  // taken, or Reset was called, the other ways to scale are refused.
  int Push(SourceView const& lines, TargetView const& target) {
    detail::CheckPicture("lines", lines, layoutIn, {sizeIn.cx, lines.GetSize().cy});
    detail::CheckPicture("target", target, layoutOut, {sizeOut.cx, target.GetSize().cy});
    int written = 0;
    detail::Check(fourtap_push(opened.get(), detail::Of(lines), lines.GetSize().cy, detail::Of(target),
                               target.GetSize().cy, &written));
    return written;
  }

  // A number of output lines that no push of so many lines exceeds; at least 1 for 1 and more.
  int Room(int lines) const { return fourtap_most_written(opened.get(), lines); }

  // Lines that must have been pushed before that output line can be written; 0 for a line that is not there.
  int LinesNeeded(int line) const { return fourtap_lines_needed(opened.get(), line); }

  // Begins the next frame, whatever became of the one before.
  void Reset() { detail::Check(fourtap_reset(opened.get())); }

 private:
  static fourtap_scaler* Open(Layout layout, Size in, Size out) {
    fourtap_scaler* made = nullptr;
    detail::Check(fourtap_open(&made, static_cast<int>(layout), in.cx, in.cy, out.cx, out.cy));
    return made;
  }
};

// What scales pictures from one size to another by such rules: reductions of any size without aliasing, colours with
// alpha, line by line in the memory of a few. The ways to scale a picture at once are those of detail::Scaling. Views
// of pixels with alpha are UV16 or RGBA32; those of a target without it Plane or RGB24.
class PictureScaler : public detail::PictureScaling {
 public:
  // With the widest set that the processor has. Refuses rules that can't be, and sizes as Scaler does.
  PictureScaler(Rules const& rules, Size in, Size out)
      : Scaling(Open(rules, in, out), LayoutIn(rules), LayoutOut(rules), in, out), cxLines(in.cx), cxWritten(out.cx) {}

  // Gives up what is under way.
  void Reset() { detail::Check(fourtap_picture_reset(opened.get())); }

  // Begins a picture line by line, whatever became of the one before; or a rectangle of the output, from the part of
  // the source that it needs, which comes back. Until all its lines are written the other ways to scale are refused.
  void Begin() { Begin({0, 0, sizeOut.cx, sizeOut.cy}); }
  Rect Begin(Rect const& out) {
    Rect const source = Needed(out);
    fourtap_rect const asked = detail::Of(out);
    detail::Check(fourtap_picture_begin(opened.get(), &asked));
    cxLines = source.cx;
    cxWritten = out.cx;
    return source;
  }

  struct Pushed {
    int taken, written;
  };

  // Takes the next lines of the part that is needed, and writes the next lines of the output. Goes on until there are
  // no more lines to take or no more room. Returns how many it took, fewer than all only where it filled the target,
  // and how many it wrote.
  //   target  where the next output lines go
  // Refused before Begin, and where there are more lines than the part has left.
  Pushed Push(SourceView const& lines, TargetView const& target) {
    detail::CheckPicture("lines", lines, layoutIn, {cxLines, lines.GetSize().cy});
    return PushLines(detail::Of(lines), lines.GetSize().cy, target);
  }

  // Writes what the lines so far allow, and returns how many lines that were.
  int Push(TargetView const& target) { return PushLines({nullptr, 0, 0}, 0, target).written; }

 private:
  // Of a frame that takes fewer.
  friend class FrameScaler;
  PictureScaler() = default;

  static fourtap_picture* Open(Rules const& rules, Size in, Size out) {
    fourtap_rules const given{static_cast<int>(rules.pixels),
                              static_cast<int>(rules.reduction),
                              static_cast<int>(rules.alpha),
                              {rules.background[0], rules.background[1], rules.background[2]}};
    fourtap_picture* made = nullptr;
    detail::Check(fourtap_picture_open(&made, &given, in.cx, in.cy, out.cx, out.cy));
    return made;
  }

  static Layout LayoutIn(Rules const& rules) {
    if (rules.pixels == Pixels::GrayAlpha) return Layout::UV16;
    if (rules.pixels == Pixels::RGBAlpha || rules.pixels == Pixels::AlphaRGB) return Layout::RGBA32;
    return static_cast<Layout>(rules.pixels);
  }
  static Layout LayoutOut(Rules const& rules) {
    bool const isDropped = rules.alpha == AlphaRule::Drop || rules.alpha == AlphaRule::Background;
    if (isDropped && rules.pixels == Pixels::GrayAlpha) return Layout::Plane;
    if (isDropped && static_cast<int>(LayoutIn(rules)) != static_cast<int>(rules.pixels)) return Layout::RGB24;
    return LayoutIn(rules);
  }

  Pushed PushLines(fourtap_source const& lines, int count, TargetView const& target) {
    detail::CheckPicture("target", target, layoutOut, {cxWritten, target.GetSize().cy});
    Pushed pushed;
    detail::Check(fourtap_picture_push(opened.get(), lines, count, &pushed.taken, detail::Of(target),
                                       target.GetSize().cy, &pushed.written));
    return pushed;
  }

  int cxLines = 0, cxWritten = 0;  // of the part that was begun
};

// The planes of a frame, in the order of its format. They may lie anywhere.
template <typename Byte>
class BasicFrame {
 public:
  // Refuses none, and more than 4.
  constexpr BasicFrame(std::initializer_list<BasicView<Byte>> views) {
    if (views.size() < 1 || views.size() > 4) detail::Refuse("planes: %zu given, expected 1 to 4", views.size());
    for (BasicView<Byte> const& view : views) planes[count++] = view;
  }

  // What may be written may be read.
  template <typename Writable, typename = std::enable_if_t<std::is_same_v<Writable const, Byte>>>
  constexpr BasicFrame(BasicFrame<Writable> const& frame) {
    while (count < frame.PlaneCount()) {
      planes[count] = frame.Plane(count);
      ++count;
    }
  }

  constexpr int PlaneCount() const { return count; }
  // Refuses a plane that is not there.
  constexpr BasicView<Byte> const& Plane(int plane) const {
    if (plane < 0 || plane >= count) detail::Refuse("plane: %d given, expected 0 to %d", plane, count - 1);
    return planes[plane];
  }

 private:
  friend class FrameFormat;
  constexpr BasicFrame() = default;

  BasicView<Byte> planes[4] = {};
  int count = 0;
};

using SourceFrame = BasicFrame<unsigned char const>;
using TargetFrame = BasicFrame<unsigned char>;

// What planes a frame has. A plane with one pixel for so many columns and lines of the frame, as chroma is, measures
// the frame's size divided and rounded up: the chroma of 5x3 pixels of "nv12" or "i420" is 3x2.
class FrameFormat {
 public:
  // By name, in any case: "nv12", "i420", "i422", "nv16", "i444" and others that fourtap_format_at lists. Refuses names
  // that are not there.
  FrameFormat(char const* name) : FrameFormat(fourtap_format_named(name), name ? name : "null") {}

  // One of the library's, or the host's own, of which a copy is kept (the names stay where they are). Refuses null,
  // and planes that can't be.
  FrameFormat(fourtap_format const* given) : FrameFormat(given, "null") {}

  int PlaneCount() const { return format.plane_count; }
  // Both refuse a plane that is not there.
  Layout PlaneLayout(int plane) const {
    if (plane < 0 || plane >= PlaneCount()) {
      detail::Refuse("plane: %d given, expected 0 to %d", plane, PlaneCount() - 1);
    }
    return static_cast<Layout>(format.planes[plane].layout);
  }
  Size PlaneSize(int plane, Size frame) const {
    Size size;
    detail::Check(fourtap_plane_size(&format, plane, frame.cx, frame.cy, &size.cx, &size.cy));
    return size;
  }

  // Of frames whose planes, and their lines, follow each other without gaps: bytes before a plane, and of the frame.
  std::size_t PlaneOffset(int plane, Size frame) const {
    PlaneLayout(plane);
    return BytesBefore(plane, frame);
  }
  std::size_t FrameBytes(Size frame) const { return BytesBefore(PlaneCount(), frame); }

  // Such a frame in one block of memory. Refuses memory that is shorter, and null.
  template <typename Byte>
  BasicFrame<Byte> Within(Size frame, Byte* data, std::size_t bytes) const {
    std::size_t const needed = FrameBytes(frame);
    if (!data) detail::Refuse("data: null given, expected an address");
    if (bytes < needed) {
      detail::Refuse("bytes: %zu given, expected at least %zu for a frame of %dx%d", bytes, needed, frame.cx, frame.cy);
    }
    BasicFrame<Byte> block;
    for (; block.count < PlaneCount(); ++block.count) {
      block.planes[block.count] = BasicView<Byte>::Trusted(PlaneLayout(block.count), PlaneSize(block.count, frame),
                                                           data + BytesBefore(block.count, frame));
    }
    return block;
  }

 private:
  FrameFormat(fourtap_format const* given, char const* name) {
    if (!given) detail::Refuse("format: %.100s given, expected a name that the library knows", name);
    format = *given;
    if (format.plane_count < 1 || format.plane_count > 4) {
      detail::Refuse("format: %d planes given, expected 1 to 4", format.plane_count);
    }
    for (int plane = 0; plane < format.plane_count; ++plane) {
      BytesPerPixel(PlaneLayout(plane));
      fourtap_plane const& of = format.planes[plane];
      if (of.columns < 1 || of.lines < 1) {
        detail::Refuse("format: plane %d has a pixel for %dx%d, expected at least 1x1", plane, of.columns, of.lines);
      }
    }
  }

  std::size_t BytesBefore(int end, Size frame) const {
    std::size_t bytes = 0;
    for (int plane = 0; plane < end; ++plane) {
      Size const size = PlaneSize(plane, frame);
      bytes += static_cast<std::size_t>(LineBytes(PlaneLayout(plane), size.cx)) * static_cast<std::size_t>(size.cy);
    }
    return bytes;
  }

  fourtap_format format;
};

// Scales whole frames of several planes: chroma like luma, each plane as a picture between its own sizes. Planes that
// measure the same share a scaler. Channels of a plane are filtered alike, alpha too. Moved, not copied, like Scaler.
class FrameScaler {
 public:
  // Refuses what FrameFormat and PictureScaler refuse.
  //   in, out  what frames measure; see FrameFormat for what their planes do
  FrameScaler(FrameFormat const& formatOf, Size in, Size out, Reduction reduction = Reduction::Widely)
      : format(formatOf) {
    int count = 0;
    for (int plane = 0; plane < format.PlaneCount(); ++plane) {
      Layout const layout = format.PlaneLayout(plane);
      Size const planeIn = format.PlaneSize(plane, in), planeOut = format.PlaneSize(plane, out);
      int known = 0;
      while (known < count && (scalers[known].SourceLayout() != layout || scalers[known].SourceSize() != planeIn ||
                               scalers[known].TargetSize() != planeOut)) {
        ++known;
      }
      if (known == count) {
        Rules const rules{static_cast<Pixels>(layout), AlphaRule::Straight, reduction};
        scalers[count++] = PictureScaler(rules, planeIn, planeOut);
      }
      scalerOf[plane] = known;
    }
  }

  FrameFormat const& Format() const { return format; }

  // Scales a frame. No plane of the target may share memory with a plane of the source, nor a byte with another of the
  // target. All planes are looked at before the first is written.
  void Scale(SourceFrame const& source, TargetFrame const& target) {
    CheckPlanes("source", source, &PictureScaler::SourceSize);
    CheckPlanes("target", target, &PictureScaler::TargetSize);
    for (int from = 0; from < format.PlaneCount(); ++from) {
      for (int to = 0; to < format.PlaneCount(); ++to) CheckApart(source.Plane(from), target.Plane(to));
    }
    for (int plane = 0; plane < format.PlaneCount(); ++plane) {
      scalers[scalerOf[plane]].Scale(source.Plane(plane), target.Plane(plane));
    }
  }

  // Memory that the scalers take.
  std::size_t Bytes() const {
    std::size_t bytes = 0;
    for (PictureScaler const& scaler : scalers) bytes += scaler.Bytes();
    return bytes;
  }

 private:
  template <typename Byte>
  void CheckPlanes(char const* name, BasicFrame<Byte> const& frame, Size (PictureScaler::*size)() const) const {
    if (frame.PlaneCount() != format.PlaneCount()) {
      detail::Refuse("%s: %d planes given, expected %d", name, frame.PlaneCount(), format.PlaneCount());
    }
    for (int plane = 0; plane < frame.PlaneCount(); ++plane) {
      char planeName[32];
      std::snprintf(planeName, sizeof planeName, "%s plane %d", name, plane);
      PictureScaler const& scaler = scalers[scalerOf[plane]];
      detail::CheckPicture(planeName, frame.Plane(plane), scaler.SourceLayout(), (scaler.*size)());
    }
  }

  static void CheckApart(SourceView const& source, TargetView const& target) {
    auto const from = reinterpret_cast<std::uintptr_t>(source.Data());
    auto const to = reinterpret_cast<std::uintptr_t>(target.Data());
    if (from < to + target.Bytes() && to < from + source.Bytes()) {
      detail::Refuse("target: shares memory with the source, expected them apart");
    }
  }

  FrameFormat format;
  PictureScaler scalers[4];
  int scalerOf[4] = {};
};

}  // namespace fourtapscale

#endif
