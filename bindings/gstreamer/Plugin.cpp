#include "Element.h"

#define PACKAGE "fourtapscale"

namespace {

gboolean RegisterElements(GstPlugin* plugin) {
  return gst_element_register(plugin, "fourtapscale", GST_RANK_NONE, gstfourtap::ElementType());
}

}  // namespace

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, fourtapscale, "Resizes video by FourTapScale", RegisterElements,
                  PROJECT_VERSION, "MIT/X11", "FourTapScale", "https://gstreamer.freedesktop.org")
