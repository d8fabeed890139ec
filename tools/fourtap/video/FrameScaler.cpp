#include "fourtap/video/FrameScaler.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <new>

#include "fourtap/Scalers.h"

namespace tool {

namespace {

constexpr int largePage = 1 << 21;
constexpr size_t slackBytes = 1;

int64_t PlaneOffset(fourtap_format const& format, int plane, PictureSize frame) {
  int64_t offset = 0;
  for (int before = 0; before < plane; ++before) offset += PlaneBytes(format, before, frame);
  return offset;
}

// From the last step to the first, since each makes what the next one needs.
void PlanPlane(FramePlan const& plan, int plane, std::vector<std::vector<PlaneStep>>& steps) {
  fourtap_format const& format = plan.format;
  fourtap_plane const& shape = format.planes[plane];
  int const bytesPerPixel = BytesPerPixel(shape.layout);
  PictureSize const size = PlaneSize(format, plane, plan.Out());
  PictureRect rect{plan.rect.x / shape.columns, plan.rect.y / shape.lines, size.cx, size.cy};
  for (size_t i = plan.steps.size(); i-- > 0;) {
    bool const last = i + 1 == plan.steps.size();
    PlaneStep step;
    step.layout = shape.layout;
    step.source = PlaneSize(format, plane, plan.SizeBefore(i));
    step.scaled = PlaneSize(format, plane, plan.steps[i]);
    step.copied = step.source == step.scaled && !plan.filterEqual;
    step.rect = rect;
    step.srcStride = step.source.cx * bytesPerPixel;
    step.dstStride = (last ? rect.cx : step.scaled.cx) * bytesPerPixel;
    step.srcOffset = PlaneOffset(format, plane, plan.SizeBefore(i));
    step.dstOffset = PlaneOffset(format, plane, last ? plan.Out() : plan.steps[i]);
    if (!last) step.dstOffset += int64_t{rect.y} * step.dstStride + int64_t{rect.x} * bytesPerPixel;
    steps[i].push_back(step);
    rect = NeededRect(shape.layout, step.source, step.scaled, rect);
  }
}

std::vector<std::vector<PlaneStep>> PlanSteps(FramePlan const& plan) {
  std::vector<std::vector<PlaneStep>> steps(plan.steps.size());
  for (int plane = 0; plane < plan.format.plane_count; ++plane) PlanPlane(plan, plane, steps);
  return steps;
}

void CopyLines(PlaneStep const& step, unsigned char const* src, unsigned char* dst, SampleRange lines) {
  int const bytesPerPixel = BytesPerPixel(step.layout);
  src += int64_t{step.rect.y} * step.srcStride + int64_t{step.rect.x} * bytesPerPixel;
  size_t const lineBytes = static_cast<size_t>(step.rect.cx) * static_cast<size_t>(bytesPerPixel);
  for (int64_t y = lines.first; y < lines.end; ++y) {
    std::memcpy(dst + y * step.dstStride, src + y * step.srcStride, lineBytes);
  }
}

// Bands begin at multiples of the largest block that any set has, so that they part none.
int BlockLines() { return std::ranges::max(conformance::Sets(), {}, &conformance::Set::blockLines).blockLines; }

// A thread's share of the scaler's current step.
void ScaleBand(FrameScaler const& scaler, int64_t thread) {
  int const firstChannel = FirstChannel(scaler.plan.format);
  auto const threads = static_cast<int64_t>(scaler.contexts.size());
  auto const& contexts = scaler.contexts[static_cast<size_t>(thread)];
  std::vector<PlaneStep> const& planes = scaler.steps[scaler.step];
  int const blockLines = BlockLines();
  for (size_t plane = 0; plane < planes.size(); ++plane) {
    PlaneStep const& step = planes[plane];
    auto const bandStart = [&](int64_t i) {
      int64_t const line = step.rect.cy * i / threads;
      return static_cast<int>(i == threads ? line : line / blockLines * blockLines);
    };
    SampleRange const lines{bandStart(thread), bandStart(thread + 1)};
    unsigned char const* const src = scaler.src + step.srcOffset;
    unsigned char* const dst = scaler.dst + step.dstOffset;
    if (step.copied) {
      CopyLines(step, src, dst, lines);
    } else {
      ScalersOf(step.layout)
          .frame(contexts[scaler.step * planes.size() + plane].get(), src + firstChannel, step.srcStride,
                 dst + firstChannel + int64_t{lines.first} * step.dstStride, step.dstStride, step.rect.x,
                 step.rect.y + lines.first, step.rect.cx, lines.end - lines.first);
    }
  }
}

std::vector<std::function<void()>> Shares(FrameScaler const& scaler, int threads) {
  std::vector<std::function<void()>> shares;
  for (int thread = 0; thread < threads; ++thread) {
    shares.push_back([&scaler, thread] { ScaleBand(scaler, thread); });
  }
  return shares;
}

FrameContexts ContextsFor(std::vector<std::vector<PlaneStep>> const& steps) {
  FrameContexts contexts;
  for (auto const& planes : steps) {
    for (PlaneStep const& step : planes) {
      _SCALE_CONTEXT* context = nullptr;
      if (!step.copied) {
        context = InitScaleContext(step.source.cx, step.source.cy, step.scaled.cx, step.scaled.cy,
                                   8 * BytesPerPixel(step.layout));
        if (!context) throw std::bad_alloc();
      }
      contexts.emplace_back(context);
    }
  }
  return contexts;
}

std::vector<FrameContexts> ContextsForThreads(std::vector<std::vector<PlaneStep>> const& steps, int threads) {
  std::vector<FrameContexts> contexts;
  for (int thread = 0; thread < threads; ++thread) contexts.push_back(ContextsFor(steps));
  return contexts;
}

std::vector<FrameBuffer> FramesBetween(FramePlan const& plan) {
  std::vector<FrameBuffer> frames;
  for (size_t step = 0; step + 1 < plan.steps.size(); ++step) {
    frames.push_back(MakeFrameBuffer(FrameBytes(plan.format, plan.steps[step])));
  }
  return frames;
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
    : plan(framePlan),
      steps(PlanSteps(plan)),
      between(FramesBetween(plan)),
      contexts(ContextsForThreads(steps, threads)),
      crew(Shares(*this, threads)) {}

void FrameScaler::Scale(unsigned char const* in, unsigned char* out) {
  src = in;
  for (step = 0; step < steps.size(); ++step) {
    dst = step + 1 == steps.size() ? out : between[step].get();
    crew.DoJob();
    src = dst;
  }
}

int UsefulThreads(FramePlan const& plan, int wanted) {
  int const blockLines = BlockLines();
  return std::min(wanted, (plan.rect.cy + blockLines - 1) / blockLines);
}

int64_t ContextBytes(FramePlan const& plan, int threads) {
  int64_t bytes = 0;
  for (auto const& planes : PlanSteps(plan)) {
    for (PlaneStep const& step : planes) {
      if (step.copied) continue;
      bytes += FourTapScaleContextBytes(step.source.cx, step.source.cy, step.scaled.cx, step.scaled.cy,
                                        8 * BytesPerPixel(step.layout));
    }
  }
  return bytes * threads;
}

}  // namespace tool
