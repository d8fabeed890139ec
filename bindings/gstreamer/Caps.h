// Which caps become which: what the element says before there are frames.
#pragma once

#include <gst/gst.h>

#include <string>

namespace gstfourtap {

// All that the pads take; the caller owns it.
GstCaps* AllCaps();

// What frames of `caps` can become, or come from; the caller owns it. Of that, where `filter` is not null, just what it
// has in common with it, in its order. Behind what can be had comes, as a last resort, what can't for want of even
// widths, progressive frames or plain memory: whoever chooses that gets a sentence from WhyNot, and not just failing
// negotiation. Where a filter leaves anything that can be had, nothing else comes.
GstCaps* TransformCaps(GstCaps* caps, GstCaps* filter);

// Chooses the sizes and pixel aspect of `others`, which it takes over, for frames of `caps`, which are fixed. Whatever
// is left open is as near as can be to what comes in, with the same display aspect. `forward`: the frames of `caps` are
// the ones that are scaled.
GstCaps* FixateCaps(GstCaps* caps, GstCaps* others, bool forward);

// The features of fixed caps, where there is more to their frames than plain memory; else nothing.
std::string OtherFeatures(GstCaps const* caps);

// Whether fixed caps are of fields that come in turn, without the feature that such frames must have.
bool LacksFieldsFeature(GstCaps const* caps);

}  // namespace gstfourtap
