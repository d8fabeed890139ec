#include "Caps.h"

#include <gst/video/video.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "Formats.h"

namespace gstfourtap {

namespace {

struct FreeStructure {
  void operator()(GstStructure* structure) const { gst_structure_free(structure); }
};
using Structure = std::unique_ptr<GstStructure, FreeStructure>;

struct UnrefCaps {
  void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
};
using Owned = std::unique_ptr<GstCaps, UnrefCaps>;

Structure CopyOf(GstStructure const* structure) { return Structure(gst_structure_copy(structure)); }

void Append(GstCaps* caps, Structure structure, GstCapsFeatures const* features) {
  gst_caps_append_structure_full(caps, structure.release(), features ? gst_caps_features_copy(features) : nullptr);
}

void FreeAspect(GstStructure* structure) {
  if (gst_structure_has_field(structure, "pixel-aspect-ratio")) {
    gst_structure_set(structure, "pixel-aspect-ratio", GST_TYPE_FRACTION_RANGE, 1, G_MAXINT, G_MAXINT, 1, nullptr);
  }
}

void FreeHeight(GstStructure* structure) {
  gst_structure_set(structure, "height", GST_TYPE_INT_RANGE, 1, G_MAXINT, nullptr);
}

void FreeWidth(GstStructure* structure) {
  gst_structure_set(structure, "width", GST_TYPE_INT_RANGE, 1, G_MAXINT, nullptr);
}

void FreeEvenWidth(GstStructure* structure) {
  GValue even = G_VALUE_INIT;
  g_value_init(&even, GST_TYPE_INT_RANGE);
  gst_value_set_int_range_step(&even, 2, G_MAXINT - 1, 2);
  gst_structure_take_value(structure, "width", &even);
}

// The structure's formats, those in pairs and the others apart, in the order in which they come.
std::vector<Structure> SplitFormats(GstStructure const* structure) {
  std::vector<Structure> parts;
  GValue const* const formats = gst_structure_get_value(structure, "format");
  if (!formats || !GST_VALUE_HOLDS_LIST(formats)) {
    parts.push_back(CopyOf(structure));
    return parts;
  }
  bool pairs = false;
  for (guint i = 0; i < gst_value_list_get_size(formats); ++i) {
    GValue const* const name = gst_value_list_get_value(formats, i);
    Format const* const format = FormatOf(gst_video_format_from_string(g_value_get_string(name)));
    if (!format) continue;
    if (parts.empty() || format->pairs != pairs) {
      parts.push_back(CopyOf(structure));
      GValue none = G_VALUE_INIT;
      g_value_init(&none, GST_TYPE_LIST);
      gst_structure_take_value(parts.back().get(), "format", &none);
    }
    pairs = format->pairs;
    // The value is the structure's own.
    gst_value_list_append_value(const_cast<GValue*>(gst_structure_get_value(parts.back().get(), "format")), name);
  }
  return parts;
}

bool HasPairs(GstStructure const* structure) {
  GValue const* name = gst_structure_get_value(structure, "format");
  if (name && GST_VALUE_HOLDS_LIST(name)) name = gst_value_list_get_value(name, 0);
  if (!name || !G_VALUE_HOLDS_STRING(name)) return false;
  Format const* const format = FormatOf(gst_video_format_from_string(g_value_get_string(name)));
  return format && format->pairs;
}

// The structure's progressive part and the rest; either may be null. Frames of no stated mode are progressive.
std::array<Structure, 2> SplitModes(GstStructure const* structure) {
  GValue const* const modes = gst_structure_get_value(structure, "interlace-mode");
  if (!modes) return {CopyOf(structure), nullptr};
  std::array<Structure, 2> parts;
  GValue progressive = G_VALUE_INIT, part = G_VALUE_INIT;
  g_value_init(&progressive, G_TYPE_STRING);
  g_value_set_static_string(&progressive, "progressive");
  auto const add = [&](Structure& made) {
    made = CopyOf(structure);
    gst_structure_take_value(made.get(), "interlace-mode", &part);
    part = G_VALUE_INIT;
  };
  if (gst_value_intersect(&part, modes, &progressive)) add(parts[0]);
  if (gst_value_subtract(&part, modes, &progressive)) add(parts[1]);
  g_value_unset(&progressive);
  return parts;
}

// Whether frames lie in plain memory, and there is no more to them.
bool IsPlainMemory(GstCapsFeatures const* features) {
  return gst_caps_features_is_equal(features, GST_CAPS_FEATURES_MEMORY_SYSTEM_MEMORY);
}

// Appends what frames of the structure can become, and says whether that is every size.
bool AppendPossible(GstCaps* caps, GstStructure const* structure, GstCapsFeatures const* features) {
  if (!IsPlainMemory(features)) {
    Append(caps, CopyOf(structure), features);
    return false;
  }
  bool everySize = true;
  for (Structure const& ofFormats : SplitFormats(structure)) {
    auto const modes = SplitModes(ofFormats.get());
    for (size_t i = 0; i < modes.size(); ++i) {
      if (!modes[i]) continue;
      bool const interlaced = i == 1;
      Structure sized = CopyOf(modes[i].get());
      FreeAspect(sized.get());
      if (!interlaced) FreeHeight(sized.get());
      int width = 0;
      bool const pairs = HasPairs(sized.get());
      bool const keepsWidth = pairs && gst_structure_get_int(sized.get(), "width", &width) && width % 2 != 0;
      if (!pairs) FreeWidth(sized.get());
      if (pairs && !keepsWidth) FreeEvenWidth(sized.get());
      everySize = everySize && !pairs && !interlaced;
      Append(caps, std::move(sized), features);
    }
  }
  return everySize;
}

// Of an int, a range or a list of them, the one that is nearest to `wanted`.
int NearestInt(GValue const* value, double wanted) {
  if (G_VALUE_HOLDS_INT(value)) return g_value_get_int(value);
  if (GST_VALUE_HOLDS_INT_RANGE(value)) {
    int const least = gst_value_get_int_range_min(value), most = gst_value_get_int_range_max(value);
    int const step = gst_value_get_int_range_step(value);
    double const steps = std::round((std::clamp<double>(wanted, least, most) - least) / step);
    return least + static_cast<int>(std::min<double>(steps, (most - least) / step)) * step;
  }
  int nearest = static_cast<int>(std::min<double>(wanted, G_MAXINT));
  double distance = std::numeric_limits<double>::infinity();
  for (guint i = 0; GST_VALUE_HOLDS_LIST(value) && i < gst_value_list_get_size(value); ++i) {
    int const candidate = NearestInt(gst_value_list_get_value(value, i), wanted);
    if (std::abs(candidate - wanted) >= distance) continue;
    distance = std::abs(candidate - wanted);
    nearest = candidate;
  }
  return nearest;
}

struct Fraction {
  int numerator = 1, denominator = 1;

  bool operator==(Fraction const&) const = default;
};

// value * a / b; the fraction itself where that overflows, or a or b is an aspect of 0: one that nobody knows.
Fraction Times(Fraction const& value, int a, int b) {
  Fraction result;
  if (a <= 0 || b <= 0 ||
      !gst_util_fraction_multiply(value.numerator, value.denominator, a, b, &result.numerator, &result.denominator)) {
    return value;
  }
  return result;
}

int Scaled(int length, int numerator, int denominator) {
  guint64 const scaled = gst_util_uint64_scale_int_round(static_cast<guint64>(length), numerator, denominator);
  return static_cast<int>(std::clamp<guint64>(scaled, 1, G_MAXINT));
}

// A frame's size and the aspect of its pixels.
struct Shape {
  int cx, cy;
  Fraction pixel;
};

// Chooses shapes for a structure.
struct ShapeChooser {
  GValue const *widths, *heights, *pixels;  // `pixels` may be null: any
  Shape from;
  Fraction display;  // of `from`

  bool FreePixel() const { return !pixels || !gst_value_is_fixed(pixels); }

  Fraction NearestPixel(Fraction const& wanted) const {
    if (!pixels) return wanted;
    Structure const holder(gst_structure_new_empty("holder"));
    gst_structure_set_value(holder.get(), "pixel", pixels);
    gst_structure_fixate_field_nearest_fraction(holder.get(), "pixel", wanted.numerator, wanted.denominator);
    Fraction nearest;
    gst_structure_get_fraction(holder.get(), "pixel", &nearest.numerator, &nearest.denominator);
    return nearest;
  }

  // The first that keeps the display aspect: the size that comes in, with other pixels; its height and another width;
  // its width and another height. Where none does: what is fixed stays, and as few pixels as can be
  // are missing or too many.
  Shape Choose() const {
    bool const fixedWidth = gst_value_is_fixed(widths), fixedHeight = gst_value_is_fixed(heights);
    int const cx = NearestInt(widths, from.cx), cy = NearestInt(heights, from.cy);
    Fraction const wanted = Times(display, cy, cx);
    Shape const sameSize{cx, cy, NearestPixel(wanted)};
    if (fixedWidth && fixedHeight) return sameSize;
    if (FreePixel() && sameSize.pixel == wanted) return sameSize;

    Fraction const shape = Times(display, sameSize.pixel.denominator, sameSize.pixel.numerator);
    int const wantedWidth = Scaled(cy, shape.numerator, shape.denominator);
    int const wantedHeight = Scaled(cx, shape.denominator, shape.numerator);
    Shape const sameHeight{NearestInt(widths, wantedWidth), cy, sameSize.pixel};
    Shape const sameWidth{cx, NearestInt(heights, wantedHeight), sameSize.pixel};
    if (fixedHeight) return sameHeight;
    if (fixedWidth) return sameWidth;
    if (sameHeight.cx == wantedWidth) return sameHeight;
    if (sameWidth.cy == wantedHeight) return sameWidth;
    if (FreePixel()) return sameSize;
    gint64 const missedByHeight = gint64{cy} * std::abs(sameHeight.cx - wantedWidth);
    gint64 const missedByWidth = gint64{cx} * std::abs(sameWidth.cy - wantedHeight);
    return missedByWidth < missedByHeight ? sameWidth : sameHeight;
  }
};

Fraction PixelOf(GstStructure const* structure) {
  Fraction pixel;
  gst_structure_get_fraction(structure, "pixel-aspect-ratio", &pixel.numerator, &pixel.denominator);
  return pixel;
}

void FixateShape(GstStructure* structure, Shape const& from, bool forward) {
  GValue const* const pixels = gst_structure_get_value(structure, "pixel-aspect-ratio");
  GValue square = G_VALUE_INIT;
  g_value_init(&square, GST_TYPE_FRACTION);
  gst_value_set_fraction(&square, 1, 1);
  // Frames that come in with nothing said of their pixels have square ones.
  ShapeChooser const chooser{gst_structure_get_value(structure, "width"), gst_structure_get_value(structure, "height"),
                             pixels || forward ? pixels : &square, from,
                             Times({from.cx, from.cy}, from.pixel.numerator, from.pixel.denominator)};
  if (chooser.widths && chooser.heights) {
    Shape const shape = chooser.Choose();
    gst_structure_set(structure, "width", G_TYPE_INT, shape.cx, "height", G_TYPE_INT, shape.cy, nullptr);
    if (pixels || !forward || shape.pixel != Fraction{}) {
      gst_structure_set(structure, "pixel-aspect-ratio", GST_TYPE_FRACTION, shape.pixel.numerator,
                        shape.pixel.denominator, nullptr);
    }
  }
  g_value_unset(&square);
}

}  // namespace

GstCaps* AllCaps() {
  GstCaps* const caps = gst_caps_new_empty();
  for (GstCapsFeatures* const features : {static_cast<GstCapsFeatures*>(nullptr), gst_caps_features_new_any()}) {
    GValue names = G_VALUE_INIT;
    g_value_init(&names, GST_TYPE_LIST);
    for (Format const& format : Formats()) {
      GValue name = G_VALUE_INIT;
      g_value_init(&name, G_TYPE_STRING);
      g_value_set_static_string(&name, gst_video_format_to_string(format.format));
      gst_value_list_append_and_take_value(&names, &name);
    }
    GstStructure* const structure = gst_structure_new_empty("video/x-raw");
    gst_structure_take_value(structure, "format", &names);
    FreeWidth(structure);
    FreeHeight(structure);
    gst_structure_set(structure, "framerate", GST_TYPE_FRACTION_RANGE, 0, 1, G_MAXINT, 1, nullptr);
    gst_caps_append_structure_full(caps, structure, features);
  }
  return caps;
}

std::string OtherFeatures(GstCaps const* caps) {
  GstCapsFeatures const* const features = gst_caps_get_features(caps, 0);
  if (IsPlainMemory(features)) return {};
  gchar* const text = gst_caps_features_to_string(features);
  std::string const said = text;
  g_free(text);
  return said;
}

bool LacksFieldsFeature(GstCaps const* caps) {
  return g_strcmp0(gst_structure_get_string(gst_caps_get_structure(caps, 0), "interlace-mode"), "alternate") == 0 &&
         !gst_caps_features_contains(gst_caps_get_features(caps, 0), GST_CAPS_FEATURE_FORMAT_INTERLACED);
}

GstCaps* TransformCaps(GstCaps* caps, GstCaps* filter) {
  Owned all(gst_caps_new_empty());
  std::vector<guint> restricted;
  for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
    if (!AppendPossible(all.get(), gst_caps_get_structure(caps, i), gst_caps_get_features(caps, i))) {
      restricted.push_back(i);
    }
  }
  if (filter) {
    Owned filtered(gst_caps_intersect_full(filter, all.get(), GST_CAPS_INTERSECT_FIRST));
    if (!gst_caps_is_empty(filtered.get())) return filtered.release();
  }
  for (guint const i : restricted) {
    Structure anySize = CopyOf(gst_caps_get_structure(caps, i));
    FreeAspect(anySize.get());
    FreeWidth(anySize.get());
    FreeHeight(anySize.get());
    Append(all.get(), std::move(anySize), gst_caps_get_features(caps, i));
  }
  return filter ? gst_caps_intersect_full(filter, all.get(), GST_CAPS_INTERSECT_FIRST) : all.release();
}

GstCaps* FixateCaps(GstCaps* caps, GstCaps* others, bool forward) {
  GstStructure const* const given = gst_caps_get_structure(caps, 0);
  Shape from{0, 0, PixelOf(given)};
  // What can be had comes first.
  others = gst_caps_make_writable(gst_caps_truncate(others));
  if (gst_caps_is_empty(others)) return others;
  if (gst_structure_get_int(given, "width", &from.cx) && gst_structure_get_int(given, "height", &from.cy)) {
    FixateShape(gst_caps_get_structure(others, 0), from, forward);
  }
  return gst_caps_fixate(others);
}

}  // namespace gstfourtap
