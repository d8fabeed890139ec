#include "Element.h"

#include <fourtapscale/fourtap.h>
#include <gst/base/gstbasetransform.h>
#include <gst/video/gstvideofilter.h>
#include <gst/video/navigation.h>
#include <gst/video/video.h>

#include <algorithm>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Borders.h"
#include "Caps.h"
#include "Formats.h"
#include "FrameScaler.h"
#include "Placement.h"

GST_DEBUG_CATEGORY_STATIC(fourtapscale_debug);
#define GST_CAT_DEFAULT fourtapscale_debug

namespace gstfourtap {

namespace {

struct Settings {
  bool addBorders = true;
  bool premultiplied = false;
  int set = FOURTAP_SET_WIDEST;
  bool steps = true;
  int threads = 1;

  bool operator==(Settings const&) const = default;
};

// What frames become, for their caps and the settings of the time.
struct Scaling {
  Settings settings;
  Format const* format;
  std::string otherFeatures;  // of the caps, where there is more to frames than plain memory
  GstVideoInfo in, out;
  Placement placement;

  // Frames that would stay as they are pass as they are.
  bool Passes() const { return in.width == placement.cx && in.height == placement.cy && placement.IsWhole(out); }
};

struct State {
  // Under the object's lock.
  Settings settings;
  // What becomes of the frame that is under way, settled before any of it is touched. Written by the streaming thread,
  // under the object's lock. Null until there are caps.
  std::optional<Scaling> scaling;
  // The rest is the streaming thread's. What was said on the bus since caps could be had.
  std::string refusal;
  // Null where frames pass, or can't be scaled.
  std::optional<FrameScaler> scaler;
  std::optional<Borders> borders;
};

struct FourTapScale {
  GstVideoFilter parent;
  State* state;
};

struct FourTapScaleClass {
  GstVideoFilterClass parent;
};

G_DEFINE_TYPE(FourTapScale, FourTapScale, GST_TYPE_VIDEO_FILTER)

enum Property { propertyAddBorders = 1, propertyPremultiplied, propertySet, propertySteps, propertyThreads };

FourTapScale* ElementOf(void* object) { return static_cast<FourTapScale*>(object); }

class Lock {
 public:
  explicit Lock(FourTapScale* element) : locked(element) { GST_OBJECT_LOCK(locked); }
  ~Lock() { GST_OBJECT_UNLOCK(locked); }
  Lock(Lock const&) = delete;
  Lock& operator=(Lock const&) = delete;

 private:
  FourTapScale* locked;
};

Settings SettingsOf(FourTapScale* element) {
  Lock const lock(element);
  return element->state->settings;
}

std::optional<Scaling> ScalingOf(FourTapScale* element) {
  Lock const lock(element);
  return element->state->scaling;
}

// The same caps with other settings.
Scaling With(Settings const& settings, Scaling scaling) {
  scaling.settings = settings;
  scaling.placement = PlacePicture(*scaling.format, scaling.in, scaling.out, settings.addBorders);
  return scaling;
}

std::vector<PlaneJob> PlaneJobs(Scaling const& scaling) {
  std::vector<PlaneJob> jobs;
  fourtap_format const& format = scaling.format->Planes();
  auto const columns = [&](fourtap_plane const& plane, int cx) {
    return ColumnsOf(plane, scaling.format->PixelsInMemory(cx));
  };
  for (int i = 0; i < format.plane_count; ++i) {
    fourtap_plane const& plane = format.planes[i];
    PlaneJob job{{scaling.format->alphaPixels ? scaling.format->alphaPixels : plane.layout,
                  FOURTAP_REDUCE_WIDELY,
                  scaling.settings.premultiplied ? FOURTAP_ALPHA_STRAIGHT : FOURTAP_ALPHA_MULTIPLY,
                  {}},
                 columns(plane, scaling.in.width),
                 LinesOf(plane, scaling.in.height),
                 columns(plane, scaling.placement.cx),
                 LinesOf(plane, scaling.placement.cy)};
    // What keeps its size is copied, as wide reductions have it.
    bool const isScaled = job.cxIn != job.cxOut || job.cyIn != job.cyOut;
    if (isScaled && !scaling.settings.steps) job.rules.reduction = FOURTAP_REDUCE_BY_FOUR_TAPS;
    jobs.push_back(job);
  }
  return jobs;
}

void Release(FourTapScale* element) {
  element->state->scaler.reset();
  element->state->borders.reset();
}

// Says on the bus why caps can't be had, once: they are tried again and again.
void Refuse(FourTapScale* element, std::string const& why) {
  std::string& refusal = element->state->refusal;
  if (refusal != why) GST_ELEMENT_ERROR(element, CORE, NEGOTIATION, ("%s", why.c_str()), (nullptr));
  refusal = why;
}

// Makes what a scaling takes. Says on the bus why it can't.
bool SetUp(FourTapScale* element, Scaling const& scaling) {
  State& state = *element->state;
  std::string why = WhyNot(*scaling.format, scaling.in, scaling.out, scaling.placement, scaling.otherFeatures);
  if (why.empty()) {
    try {
      int const threads =
          scaling.settings.threads > 0 ? scaling.settings.threads : static_cast<int>(g_get_num_processors());
      state.scaler.emplace(PlaneJobs(scaling), threads, scaling.settings.set);
      if (!scaling.placement.IsWhole(scaling.out)) {
        state.borders.emplace(*scaling.format, scaling.out, scaling.placement);
      }
    } catch (std::bad_alloc const&) {
      why = "There is not enough memory to scale frames of " + SizeText(scaling.in) + " to " + SizeText(scaling.out);
    } catch (std::exception const& refusal) {
      why = refusal.what();
    }
  }
  if (!why.empty()) {
    Release(element);
    Refuse(element, why);
    return false;
  }
  GST_DEBUG_OBJECT(element, "%s of %dx%d to %dx%d at %d,%d of %dx%d; set %s, threads %d, %" G_GSIZE_FORMAT " bytes",
                   gst_video_format_to_string(scaling.format->format), scaling.in.width, scaling.in.height,
                   scaling.placement.cx, scaling.placement.cy, scaling.placement.x, scaling.placement.y,
                   scaling.out.width, scaling.out.height, fourtap_set_name(state.scaler->Set()),
                   state.scaler->Threads(), state.scaler->Bytes());
  state.refusal.clear();
  return true;
}

// From here on frames become that; false, with a sentence on the bus, where they can't.
bool Settle(FourTapScale* element, Scaling const& scaling) {
  bool const passes = scaling.Passes();
  gst_base_transform_set_passthrough(GST_BASE_TRANSFORM(element), passes);
  Release(element);
  {
    Lock const lock(element);
    element->state->scaling = scaling;
  }
  if (!passes) return SetUp(element, scaling);
  GST_DEBUG_OBJECT(element, "frames of %dx%d pass as they are", scaling.in.width, scaling.in.height);
  element->state->refusal.clear();
  return true;
}

gboolean SetInfo(GstVideoFilter* filter, GstCaps* inCaps, GstVideoInfo* in, GstCaps*, GstVideoInfo* out) {
  FourTapScale* const element = ElementOf(filter);
  Format const* const format = FormatOf(GST_VIDEO_INFO_FORMAT(in));
  if (!format) return FALSE;
  return Settle(element, With(SettingsOf(element), {{}, format, OtherFeatures(inCaps), *in, *out, {}}));
}

// Whether a frame's planes were mapped as the library maps them: what is mapped in another way need not say how much
// memory there is.
bool TellsItsMemory(GstVideoFrame const& frame) {
  static auto const usual = [] {
    GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, 1, nullptr);
    auto const map = gst_buffer_add_video_meta(buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_FORMAT_GRAY8, 1, 1)->map;
    gst_buffer_unref(buffer);
    return map;
  }();
  return !frame.meta || static_cast<GstVideoMeta const*>(frame.meta)->map == usual;
}

// A plane of a mapped frame; nothing where the first bytes of its lines lie outside its memory. Whether the others do
// is for the library to check.
template <class Byte>
std::optional<PlaneLines<Byte>> MappedLines(GstVideoFrame const& frame, guint plane, int lines, size_t lineBytes) {
  auto const top = static_cast<guint8*>(frame.data[plane]);
  gssize const stride = frame.info.stride[plane];
  auto const bottom = top + stride * (lines - 1);
  if (!TellsItsMemory(frame)) return {{top, stride, std::max(top, bottom) + lineBytes}};
  GstMapInfo const& map = frame.map[frame.meta ? plane : 0];
  guint8* const end = map.data + map.size;
  if (map.data > std::min(top, bottom) || std::max(top, bottom) >= end) return {};
  return {{top, stride, end}};
}

GstFlowReturn TransformFrame(GstVideoFilter* filter, GstVideoFrame* in, GstVideoFrame* out) {
  FourTapScale* const element = ElementOf(filter);
  State& state = *element->state;
  if (!state.scaler) return GST_FLOW_ERROR;
  Scaling const& scaling = *state.scaling;
  fourtap_format const& format = scaling.format->Planes();
  SourceLines sources[GST_VIDEO_MAX_PLANES];
  TargetLines targets[GST_VIDEO_MAX_PLANES];
  for (guint i = 0; i < static_cast<guint>(format.plane_count); ++i) {
    fourtap_plane const& plane = format.planes[i];
    auto const lineBytes = [&](GstVideoInfo const& info) {
      return static_cast<size_t>(ColumnsOf(plane, scaling.format->PixelsInMemory(info.width))) *
             static_cast<size_t>(state.scaler->BytesPerPixel(i));
    };
    auto const source = MappedLines<guint8 const>(*in, i, LinesOf(plane, scaling.in.height), lineBytes(scaling.in));
    auto const target = MappedLines<guint8>(*out, i, LinesOf(plane, scaling.out.height), lineBytes(scaling.out));
    if (!source || !target) {
      GST_ELEMENT_ERROR(element, STREAM, FORMAT, ("Plane %u reaches outside its memory", i), (nullptr));
      return GST_FLOW_ERROR;
    }
    sources[i] = *source;
    targets[i] = *target;
  }
  if (state.borders) {
    if (!state.borders->Paint(targets)) {
      GST_ELEMENT_ERROR(element, STREAM, FORMAT, ("The frame to fill is shorter than its lines"), (nullptr));
      return GST_FLOW_ERROR;
    }
    for (int i = 0; i < format.plane_count; ++i) {
      fourtap_plane const& plane = format.planes[i];
      targets[i].top += targets[i].stride * (scaling.placement.y / plane.lines) +
                        scaling.placement.x / plane.columns * state.scaler->BytesPerPixel(static_cast<size_t>(i));
    }
  }
  if (char const* const why = state.scaler->Scale(sources, targets)) {
    GST_ELEMENT_ERROR(element, STREAM, FORMAT, ("%s", why), (nullptr));
    return GST_FLOW_ERROR;
  }
  return GST_FLOW_OK;
}

// Settings are looked at before a frame, and no more: all of it, and of what goes along with it, goes by the same.
void BeforeTransform(GstBaseTransform* transform, GstBuffer*) {
  FourTapScale* const element = ElementOf(transform);
  std::optional<Scaling> const& settled = element->state->scaling;
  Settings const settings = SettingsOf(element);
  if (!settled || settled->settings == settings) return;
  bool const passed = settled->Passes();
  Settle(element, With(settings, *settled));
  // Frames that passed, and are scaled now, take buffers of a pool; or the other way round.
  if (settled->Passes() != passed) gst_base_transform_reconfigure_src(transform);
}

// What GStreamer's own classes can't take is refused with a sentence too.
gboolean SetCaps(GstBaseTransform* transform, GstCaps* inCaps, GstCaps* outCaps) {
  for (GstCaps* const caps : {inCaps, outCaps}) {
    GstVideoInfo info;
    if (gst_video_info_from_caps(&info, caps)) continue;
    gchar* const text = gst_caps_to_string(caps);
    bool const inFields = LacksFieldsFeature(caps);
    Refuse(ElementOf(transform),
           std::string(text) + " can't be had, expected " +
               (inFields ? "alternating fields to have the feature " GST_CAPS_FEATURE_FORMAT_INTERLACED
                         : "frames below 2 GiB"));
    g_free(text);
    return FALSE;
  }
  return GST_BASE_TRANSFORM_CLASS(FourTapScale_parent_class)->set_caps(transform, inCaps, outCaps);
}

GstCaps* TransformCapsOf(GstBaseTransform* transform, GstPadDirection direction, GstCaps* caps, GstCaps* filter) {
  GstCaps* const result = TransformCaps(caps, filter);
  GST_DEBUG_OBJECT(transform, "%s: %" GST_PTR_FORMAT " to %" GST_PTR_FORMAT,
                   direction == GST_PAD_SINK ? "forwards" : "backwards", caps, result);
  return result;
}

GstCaps* FixateCapsOf(GstBaseTransform* transform, GstPadDirection direction, GstCaps* caps, GstCaps* others) {
  GST_DEBUG_OBJECT(transform, "fixating %" GST_PTR_FORMAT " for %" GST_PTR_FORMAT, others, caps);
  GstCaps* const fixed = FixateCaps(caps, others, direction == GST_PAD_SINK);
  GST_DEBUG_OBJECT(transform, "fixated to %" GST_PTR_FORMAT, fixed);
  return fixed;
}

gboolean SourceEvent(GstBaseTransform* transform, GstEvent* event) {
  gdouble x, y;
  auto const scaling = ScalingOf(ElementOf(transform));
  if (scaling && GST_EVENT_TYPE(event) == GST_EVENT_NAVIGATION) {
    event = gst_event_make_writable(event);
    if (gst_navigation_event_get_coordinates(event, &x, &y)) {
      Placement const& placement = scaling->placement;
      gst_navigation_event_set_coordinates(event, (x - placement.x) * scaling->in.width / placement.cx,
                                           (y - placement.y) * scaling->in.height / placement.cy);
    }
  }
  return GST_BASE_TRANSFORM_CLASS(FourTapScale_parent_class)->src_event(transform, event);
}

// Whether what is told of a frame depends on nothing that could become wrong without being seen.
bool IsUnderstood(GType kind) {
  for (gchar const* const* tag = gst_meta_api_type_get_tags(kind); tag && *tag; ++tag) {
    std::string_view const name = *tag;
    if (name != GST_META_TAG_VIDEO_STR && name != GST_META_TAG_VIDEO_ORIENTATION_STR &&
        name != GST_META_TAG_VIDEO_COLORSPACE_STR && name != GST_META_TAG_VIDEO_SIZE_STR) {
      return false;
    }
  }
  return true;
}

// What tells of sizes is scaled with them, or goes.
gboolean TransformMeta(GstBaseTransform* transform, GstBuffer* outBuffer, GstMeta* meta, GstBuffer* inBuffer) {
  GType const kind = meta->info->api;
  if (!IsUnderstood(kind)) {
    return GST_BASE_TRANSFORM_CLASS(FourTapScale_parent_class)->transform_meta(transform, outBuffer, meta, inBuffer);
  }
  if (!gst_meta_api_type_has_tag(kind, g_quark_from_static_string(GST_META_TAG_VIDEO_SIZE_STR))) return TRUE;
  if (meta->info->transform_func) {
    Scaling& scaling = *ElementOf(transform)->state->scaling;
    GstVideoInfo picture = scaling.out;
    picture.width = scaling.placement.cx;
    picture.height = scaling.placement.cy;
    GstVideoMetaTransform sizes{&scaling.in, &picture};
    meta->info->transform_func(outBuffer, meta, inBuffer, gst_video_meta_transform_scale_get_quark(), &sizes);
  }
  return FALSE;
}

// Rectangles that were scaled with the picture move to where it lies.
gboolean CopyMetadata(GstBaseTransform* transform, GstBuffer* inBuffer, GstBuffer* outBuffer) {
  if (!GST_BASE_TRANSFORM_CLASS(FourTapScale_parent_class)->copy_metadata(transform, inBuffer, outBuffer)) return FALSE;
  auto const& scaling = ElementOf(transform)->state->scaling;
  if (!scaling || scaling->placement.IsWhole(scaling->out)) return TRUE;
  auto const x = static_cast<guint>(scaling->placement.x), y = static_cast<guint>(scaling->placement.y);
  if (GstVideoCropMeta* const crop = gst_buffer_get_video_crop_meta(outBuffer)) {
    crop->x += x;
    crop->y += y;
  }
  gpointer next = nullptr;
  while (auto* const region = reinterpret_cast<GstVideoRegionOfInterestMeta*>(
             gst_buffer_iterate_meta_filtered(outBuffer, &next, GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE))) {
    region->x += x;
    region->y += y;
  }
  return TRUE;
}

gboolean Stop(GstBaseTransform* transform) {
  FourTapScale* const element = ElementOf(transform);
  Release(element);
  element->state->refusal.clear();
  Lock const lock(element);
  element->state->scaling.reset();
  return TRUE;
}

void SetProperty(GObject* object, guint number, GValue const* value, GParamSpec* parameter) {
  FourTapScale* const element = ElementOf(object);
  Settings& settings = element->state->settings;
  Lock const lock(element);
  switch (number) {
    case propertyAddBorders:
      settings.addBorders = g_value_get_boolean(value);
      break;
    case propertyPremultiplied:
      settings.premultiplied = g_value_get_boolean(value);
      break;
    case propertySet:
      settings.set = g_value_get_enum(value);
      break;
    case propertySteps:
      settings.steps = g_value_get_boolean(value);
      break;
    case propertyThreads:
      settings.threads = g_value_get_int(value);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, number, parameter);
  }
}

void GetProperty(GObject* object, guint number, GValue* value, GParamSpec* parameter) {
  Settings const settings = SettingsOf(ElementOf(object));
  switch (number) {
    case propertyAddBorders:
      g_value_set_boolean(value, settings.addBorders);
      break;
    case propertyPremultiplied:
      g_value_set_boolean(value, settings.premultiplied);
      break;
    case propertySet:
      g_value_set_enum(value, settings.set);
      break;
    case propertySteps:
      g_value_set_boolean(value, settings.steps);
      break;
    case propertyThreads:
      g_value_set_int(value, settings.threads);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, number, parameter);
  }
}

// The sets that the library has for this kind of processor, narrowest first.
GType SetType() {
  static GType const type = [] {
    static GEnumValue values[8];
    size_t count = 0;
    for (int const set :
         {FOURTAP_SET_PLAIN, FOURTAP_SET_SSE2, FOURTAP_SET_NEON, FOURTAP_SET_AVX2, FOURTAP_SET_AVX512}) {
      char const* const name = fourtap_set_name(set);
      if (*name != '\0') values[count++] = {set, set == FOURTAP_SET_PLAIN ? "Plain C++" : name, name};
    }
    values[count] = {FOURTAP_SET_WIDEST, "The widest that the processor has", "widest"};
    return g_enum_register_static("FourTapScaleSet", values);
  }();
  return type;
}

void Finalize(GObject* object) {
  delete ElementOf(object)->state;
  G_OBJECT_CLASS(FourTapScale_parent_class)->finalize(object);
}

void FourTapScale_init(FourTapScale* element) { element->state = new State; }

void FourTapScale_class_init(FourTapScaleClass* elementClass) {
  GST_DEBUG_CATEGORY_INIT(fourtapscale_debug, "fourtapscale", 0, "the element fourtapscale");

  auto* const object = reinterpret_cast<GObjectClass*>(elementClass);
  object->set_property = SetProperty;
  object->get_property = GetProperty;
  object->finalize = Finalize;
  auto const flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING);
  Settings const byDefault;
  g_object_class_install_property(
      object, propertyAddBorders,
      g_param_spec_boolean("add-borders", "Add borders",
                           "Add black borders where the display aspect ratio would change otherwise",
                           byDefault.addBorders, flags));
  g_object_class_install_property(
      object, propertyPremultiplied,
      g_param_spec_boolean(
          "premultiplied", "Premultiplied",
          "The colours of RGBA, BGRA, ARGB and ABGR are multiplied by alpha already: all four channels "
          "are filtered alike. Otherwise they are multiplied before they are filtered, and divided after",
          byDefault.premultiplied, flags));
  g_object_class_install_property(
      object, propertySet,
      g_param_spec_enum("set", "Instruction set",
                        "The widest instruction set to use, narrowest first; for comparison: all give the same bytes",
                        SetType(), byDefault.set, flags));
  g_object_class_install_property(
      object, propertySteps,
      g_param_spec_boolean("steps", "Steps",
                           "Reductions beyond 2:1 see every source pixel: averages of two, then a cubic as wide as it "
                           "takes. Otherwise one pass of four taps, whatever the sizes",
                           byDefault.steps, flags));
  g_object_class_install_property(
      object, propertyThreads,
      g_param_spec_int("threads", "Threads",
                       "Threads that share a frame, a band of lines each; 0: one for each processor. The bytes are the "
                       "same",
                       0, 1024, byDefault.threads, flags));

  auto* const element = reinterpret_cast<GstElementClass*>(elementClass);
  GstCaps* const caps = AllCaps();
  for (auto const& [name, direction] : {std::pair{"sink", GST_PAD_SINK}, {"src", GST_PAD_SRC}}) {
    gst_element_class_add_pad_template(element, gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
  }
  gst_caps_unref(caps);
  gst_element_class_set_static_metadata(element, "FourTapScale video scaler", "Filter/Converter/Video/Scaler",
                                        "Resizes video by a four-tap filter, to the same bytes on every machine",
                                        "FourTapScale");
  gst_type_mark_as_plugin_api(SetType(), static_cast<GstPluginAPIFlags>(0));

  auto* const transform = reinterpret_cast<GstBaseTransformClass*>(elementClass);
  transform->transform_caps = TransformCapsOf;
  transform->fixate_caps = FixateCapsOf;
  transform->set_caps = SetCaps;
  transform->before_transform = BeforeTransform;
  transform->src_event = SourceEvent;
  transform->transform_meta = TransformMeta;
  transform->copy_metadata = CopyMetadata;
  transform->stop = Stop;
  auto* const filter = reinterpret_cast<GstVideoFilterClass*>(elementClass);
  filter->set_info = SetInfo;
  filter->transform_frame = TransformFrame;
}

}  // namespace

GType ElementType() { return FourTapScale_get_type(); }

}  // namespace gstfourtap
