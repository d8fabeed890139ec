#include "fourtap/video/FrameScaler.h"

#include <sys/mman.h>

#include <algorithm>
#include <new>

#include "conformance/Variants.h"
#include "fourtap/Failure.h"

namespace tool {

namespace {

constexpr int largePage = 1 << 21;
constexpr size_t slackBytes = 1;

int64_t PlaneOffset(fourtap_format const& format, int plane, PictureSize frame) {
  int64_t offset = 0;
  for (int before = 0; before < plane; ++before) offset += PlaneBytes(format, before, frame);
  return offset;
}

std::vector<PlanePlan> PlanPlanes(FramePlan const& plan) {
  auto const& [asked, scaled, rect, canvas, x, y] = plan.composition;
  std::vector<PlanePlan> planes;
  for (int plane = 0; plane < plan.format.plane_count; ++plane) {
    fourtap_plane const& shape = plan.format.planes[plane];
    PictureSize const size = PlaneSize(plan.format, plane, {rect.cx, rect.cy});
    int const bytesPerPixel = BytesPerPixel(shape.layout);
    int64_t const dstStride = int64_t{PlaneSize(plan.format, plane, canvas).cx} * bytesPerPixel;
    int64_t const place = y / shape.lines * dstStride + int64_t{x / shape.columns} * bytesPerPixel;
    planes.push_back({.rules = {.pixels = shape.layout,
                                .reduction = plan.byFourTaps ? FOURTAP_REDUCE_BY_FOUR_TAPS : FOURTAP_REDUCE_WIDELY,
                                .alpha = FOURTAP_ALPHA_STRAIGHT,
                                .background = {}},
                      .source = PlaneSize(plan.format, plane, plan.in),
                      .scaled = PlaneSize(plan.format, plane, scaled),
                      .rect = {rect.x / shape.columns, rect.y / shape.lines, size.cx, size.cy},
                      .srcOffset = PlaneOffset(plan.format, plane, plan.in),
                      .dstOffset = PlaneOffset(plan.format, plane, canvas) + place,
                      .dstStride = dstStride,
                      .bytesPerPixel = bytesPerPixel});
  }
  return planes;
}

// Bands begin at multiples of the largest block that any set has, so that they part none.
int BlockLines() { return std::ranges::max(conformance::Sets(), {}, &conformance::Set::blockLines).blockLines; }

// A thread's share of a frame.
void ScaleBand(FrameScaler const& scaler, size_t thread) {
  int const firstChannel = FirstChannel(scaler.plan.format);
  auto const threads = static_cast<int64_t>(scaler.scalers.size());
  for (size_t i = 0; i < scaler.planes.size(); ++i) {
    PlanePlan const& plane = scaler.planes[i];
    auto const bandStart = [&](int64_t band) {
      int64_t const line = plane.rect.cy * band / threads;
      return static_cast<int>(band == threads ? line : line / BlockLines() * BlockLines());
    };
    int const first = bandStart(static_cast<int64_t>(thread)), end = bandStart(static_cast<int64_t>(thread) + 1);
    if (first == end) continue;
    ptrdiff_t const stride = plane.dstStride, lineBytes = ptrdiff_t{plane.rect.cx} * plane.bytesPerPixel;
    fourtap_rect const out{plane.rect.x, plane.rect.y + first, plane.rect.cx, end - first};
    fourtap_source const source{scaler.src + plane.srcOffset + firstChannel, static_cast<size_t>(plane.SourceBytes()),
                                0};
    fourtap_target const target{scaler.dst + plane.dstOffset + firstChannel + first * stride,
                                static_cast<size_t>((end - first - 1) * stride + lineBytes), stride};
    Expect(fourtap_picture_scale(scaler.scalers[thread][i].get(), source, nullptr, target, &out));
  }
}

std::vector<std::function<void()>> Shares(FrameScaler const& scaler, int threads) {
  std::vector<std::function<void()>> shares;
  for (size_t thread = 0; thread < static_cast<size_t>(threads); ++thread) {
    shares.push_back([&scaler, thread] { ScaleBand(scaler, thread); });
  }
  return shares;
}

std::vector<std::vector<OwnedPicture>> OpenScalers(std::vector<PlanePlan> const& planes, int threads) {
  std::vector<std::vector<OwnedPicture>> scalers(static_cast<size_t>(threads));
  for (std::vector<OwnedPicture>& ofThread : scalers) {
    for (PlanePlan const& plane : planes) ofThread.push_back(OpenPicture(plane.rules, plane.source, plane.scaled));
  }
  return scalers;
}

}  // namespace

FrameBuffer MakeFrameBuffer(int64_t bytes) {
  // Large frames lie in large pages where the system has some.
  size_t const alignment = bytes < largePage ? 64 : largePage;
  size_t const capacity = (static_cast<size_t>(bytes) + slackBytes + alignment - 1) / alignment * alignment;
  FrameBuffer buffer(static_cast<unsigned char*>(std::aligned_alloc(alignment, capacity)));
  if (!buffer) throw std::bad_alloc();
  if (alignment == largePage) madvise(buffer.get(), capacity, MADV_HUGEPAGE);
  return buffer;
}

FrameScaler::FrameScaler(FramePlan const& framePlan, int threads)
    : plan(framePlan), planes(PlanPlanes(plan)), scalers(OpenScalers(planes, threads)), crew(Shares(*this, threads)) {}

void FrameScaler::Scale(unsigned char const* in, unsigned char* out) {
  src = in;
  dst = out;
  crew.DoJob();
}

int UsefulThreads(FramePlan const& plan, int wanted) {
  int const blockLines = BlockLines();
  return std::min(wanted, (plan.composition.rect.cy + blockLines - 1) / blockLines);
}

int64_t ScalerBytes(FramePlan const& plan, int threads) {
  int64_t bytes = 0;
  for (PlanePlan const& plane : PlanPlanes(plan)) {
    int64_t const ofPlane = ScalerBytes(plane.rules, plane.source, plane.scaled);
    if (ofPlane < 0) {
      throw Failure{badUsage, plan.sizeOption + ": " + SizeText(plane.source) +
                                  " pixels of a plane can't be scaled to " + SizeText(plane.scaled) +
                                  ", expected lines below 2 GiB"};
    }
    bytes += ofPlane;
  }
  return bytes * threads;
}

}  // namespace tool
