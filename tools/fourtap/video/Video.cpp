#include "fourtap/video/Video.h"

#include <fcntl.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <new>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "fourtap/Batch.h"
#include "fourtap/Channel.h"
#include "fourtap/Composition.h"
#include "fourtap/Failure.h"
#include "fourtap/OutputFile.h"
#include "fourtap/Picture.h"
#include "fourtap/Progress.h"
#include "fourtap/video/FrameScaler.h"
#include "fourtap/video/VideoStream.h"

namespace tool {

namespace {

// The most that an ordinary user may ask for. Without it a frame takes dozens of calls and thread switches.
constexpr int pipeBytes = 1 << 20;

// Read and written for each frame, beyond which another thread pays for itself.
constexpr int64_t bytesPerThread = 1 << 23;

// Of a frame, so that sizes in bytes can be counted.
constexpr int64_t mostPixels = int64_t{1} << 40;

// Whether it names both sides.
bool IsExact(SizeRequest const& request) { return request.cx && request.cy; }

//   toRaw  frames without headers, whose reader knows no other size than the one asked for
Composition ComposeFrames(Options const& options, VideoStream const& stream, bool toRaw) {
  Options asked = options;
  if (toRaw && options.framing == Framing::none && options.size && IsExact(*options.size)) {
    asked.size->ignoreProportions = true;
  }
  return Compose(asked, stream.size, SharingPixels(*stream.format));
}

// Throws a Failure for what frames can't have.
void CheckSize(std::string const& option, PictureSize size, fourtap_format const& format) {
  auto const fail = [&option](std::string const& fault) -> Failure { return {badUsage, option + ": " + fault}; };
  if (size.cx % CxMultiple(format) != 0) {
    throw fail(SizeText(size) + " is the size of the result, expected an even width: two pixels share their chroma");
  }
  if (LongestLineBytes(format, size) > INT_MAX || int64_t{size.cx} * size.cy > mostPixels) {
    throw fail(SizeText(size) + " is the size of the result, expected lines below 2 GiB and at most " +
               std::to_string(mostPixels) + " pixels");
  }
}

// Whether samples that `unit` pixels share lie all in the range or all outside it.
bool KeepsUnits(int first, int count, int size, int unit) {
  return first % unit == 0 && (first + count == size || (first + count) % unit == 0);
}

PictureRect CheckedRect(PictureRect const& rect, fourtap_format const& format, PictureSize scaled) {
  auto const fail = [&](std::string const& expected) -> Failure {
    return {badUsage, "--rect: " + SizeText(rect.cx, rect.cy) + " pixels at " + std::to_string(rect.x) + "," +
                          std::to_string(rect.y) + " given, expected " + expected};
  };
  if (int64_t{rect.x} + rect.cx > scaled.cx || int64_t{rect.y} + rect.cy > scaled.cy) {
    throw fail("them inside the scaled frame of " + SizeText(scaled));
  }
  auto const [cxUnit, cyUnit] = SharingPixels(format);
  if (!KeepsUnits(rect.x, rect.cx, scaled.cx, cxUnit)) {
    throw fail("columns in multiples of " + std::to_string(cxUnit) + ", which share their chroma");
  }
  if (!KeepsUnits(rect.y, rect.cy, scaled.cy, cyUnit)) {
    throw fail("lines in multiples of " + std::to_string(cyUnit) + ", which share their chroma");
  }
  return rect;
}

FramePlan PlanFrames(Options const& options, VideoStream const& stream, bool toRaw, std::string const& inputName) {
  auto const [cx, cy] = stream.size;
  int64_t const mostPixelsIn = std::min(options.maxPixels, mostPixels);
  if (int64_t{cx} * cy > mostPixelsIn || LongestLineBytes(*stream.format, stream.size) > INT_MAX) {
    throw Failure{badInput, inputName + ": has frames of " + SizeText(stream.size) + " pixels, expected at most " +
                                std::to_string(mostPixelsIn) + " (--max-pixels), and lines below 2 GiB"};
  }
  Composition composition = ComposeFrames(options, stream, toRaw);
  for (PictureSize const size : {composition.scaled, composition.canvas}) {
    CheckSize(options.sizeOption, size, *stream.format);
  }
  if (options.rect) {
    composition.rect = CheckedRect(*options.rect, *stream.format, composition.scaled);
    composition.canvas = composition.Part();
  }
  return {.format = *stream.format,
          .sizeOption = options.sizeOption,
          .in = stream.size,
          .composition = composition,
          .byFourTaps = options.oneStep};
}

// As many as have enough to do: what wakes a thread and waits for it costs some ten microseconds a frame.
int ThreadsThatPay(Options const& options, FramePlan const& plan) {
  int64_t const bytes = FrameBytes(plan.format, plan.in) + FrameBytes(plan.format, plan.Scaled());
  return static_cast<int>(std::min<int64_t>(ProcessorsPerJob(options), bytes / bytesPerThread + 1));
}

int Threads(Options const& options, FramePlan const& plan) {
  return std::max(1, UsefulThreads(plan, options.threads > 0 ? options.threads : ThreadsThatPay(options, plan)));
}

// That frames and scalers take while the video is scaled.
int64_t MemoryBytes(FramePlan const& plan, int threads) {
  // Reading, scaling and writing at the same time, a channel's slots are taken on either side.
  int64_t const slots = threads > 1 ? 3 : 1;
  return slots * (FrameBytes(plan.format, plan.in) + FrameBytes(plan.format, plan.Out())) + ScalerBytes(plan, threads);
}

// A frame on its way. There is room for its header before it, so that they are written at once.
struct Frame {
  FrameBuffer buffer;
  std::string header;

  Frame(fourtap_format const& format, PictureSize size)
      : buffer(MakeFrameBuffer(static_cast<int64_t>(longestHeader) + FrameBytes(format, size))) {
    std::fill_n(Pixels(), FirstChannel(format), 0);  // no scaler writes there
  }
  unsigned char* Pixels() const { return buffer.get() + longestHeader; }
};

// What is done with each frame of a video.
struct FrameLine {
  VideoStream const& stream;
  bool toRaw;
  FramePlan const& plan;
  std::optional<Colour> background;
  InputFile& input;
  OutputFile& output;
  ProgressReport progress;
  std::optional<FrameScaler> scaler{};  // once a frame has come
  int64_t framesRead = 0, framesWritten = 0;

  Frame FrameIn() const { return {plan.format, plan.in}; }
  Frame FrameOut() const {
    Frame frame(plan.format, plan.Out());
    if (plan.Pads()) FillFrame(stream.rawName, stream.isRanged, background, plan.Out(), frame.Pixels());
    return frame;
  }

  // False when there is none any more.
  bool Read(Frame& frame) {
    auto const size = static_cast<size_t>(FrameBytes(plan.format, plan.in));
    auto header = ReadFrame(stream, input, framesRead + 1, frame.Pixels(), size);
    if (!header) return false;
    frame.header = toRaw ? "" : stream.isY4M ? *header : y4mFrameHeader;
    ++framesRead;
    return true;
  }
  // Reads the first one. What the stream's header claims takes no memory before a frame of that size has come.
  void Begin(Frame& frame, int threads) {
    if (!Read(frame)) throw Failure{badInput, input.name + ": holds no frame, expected at least one"};
    scaler.emplace(plan, threads);
    if (toRaw) return;
    std::string const header = StreamHeader(stream, plan.Scaled(), plan.Out());
    output.Write(header.data(), header.size());
  }
  // Leaves anything in the frame that it takes.
  void Scale(Frame& in, Frame& out) {
    if (plan.PassesFrames()) return std::swap(in, out);
    scaler->Scale(in.Pixels(), out.Pixels());
    out.header = in.header;
  }
  void Write(Frame const& frame) {
    unsigned char* const first = std::copy_backward(frame.header.begin(), frame.header.end(), frame.Pixels());
    output.Write(first, frame.header.size() + static_cast<size_t>(FrameBytes(plan.format, plan.Out())));
    output.Flush();  // whoever reads it need not wait for more
    progress.Update(++framesWritten);
  }
};

void RunInTurn(FrameLine& line) {
  Frame in = line.FrameIn(), out = line.FrameOut();
  line.Begin(in, 1);
  do {
    line.Scale(in, out);
    line.Write(out);
  } while (line.Read(in));
}

void RunAtOnce(FrameLine& line, int threads) {
  Channel<Frame> toScale([&line] { return line.FrameIn(); });
  Channel<Frame> toWrite([&line] { return line.FrameOut(); });
  line.Begin(*toScale.AwaitEmpty(), threads);
  toScale.PassOn();
  auto const read = [&] {
    for (Frame* frame; (frame = toScale.AwaitEmpty()) && line.Read(*frame);) toScale.PassOn();
  };
  auto const scale = [&] {
    for (Frame* in, *out; (in = toScale.AwaitFull()) && (out = toWrite.AwaitEmpty());) {
      line.Scale(*in, *out);
      toScale.GiveBack();
      toWrite.PassOn();
    }
  };
  auto const write = [&] {
    while (Frame const* const frame = toWrite.AwaitFull()) {
      line.Write(*frame);
      toWrite.GiveBack();
    }
  };
  RunStages(toScale, toWrite, read, scale, write);
}

// Does nothing where there is no pipe, or the system grants no more.
void EnlargePipe(int descriptor) {
  int const bytes = fcntl(descriptor, F_GETPIPE_SZ);
  if (bytes > 0 && bytes < pipeBytes) fcntl(descriptor, F_SETPIPE_SZ, pipeBytes);
}

// Nothing when that can't be known before the frames have been read. Takes it that all frames have short headers.
int64_t FramesToCome(VideoStream const& stream, FramePlan const& plan, InputFile const& input) {
  int64_t const header = stream.isY4M ? std::ssize(std::string_view(y4mFrameHeader)) : 0;
  return std::max<int64_t>(0, input.length - stream.headerBytes) / (header + FrameBytes(plan.format, plan.in));
}

void ScaleFrames(Options const& options, VideoStream const& stream, FramePlan const& plan, bool toRaw, int threads,
                 InputFile& input, OutputFile& output) {
  FrameLine line{.stream = stream,
                 .toRaw = toRaw,
                 .plan = plan,
                 .background = options.background,
                 .input = input,
                 .output = output,
                 .progress = ProgressReport(options, input.name, "frames", FramesToCome(stream, plan, input))};
  EnlargePipe(input.descriptor);
  EnlargePipe(output.descriptor);
  threads == 1 ? RunInTurn(line) : RunAtOnce(line, threads);
  output.Finish();
  line.progress.total = line.framesWritten;
  line.progress.Finish();
}

std::string StreamText(VideoStream const& stream) {
  return std::string(stream.isY4M ? "Y4M " : "raw ") + stream.formatName;
}

}  // namespace

void ScaleVideo(Options const& options, InputFile& input, std::string const& outputName) {
  for (auto const& [option, isAsked] :
       {std::pair("--quality", options.quality.has_value()), std::pair("--level", options.level.has_value()),
        std::pair("--lossless", options.lossless), std::pair("--progressive-jpeg", options.progressiveJpeg)}) {
    if (isAsked) throw Failure{badUsage, std::string(option) + ": " + input.name + " is a video, expected pictures"};
  }
  VideoStream const stream = OpenVideo(options, input);
  bool const toRaw = !BecomesY4M(options, stream, outputName);
  FramePlan const plan = PlanFrames(options, stream, toRaw, input.name);
  int const threads = Threads(options, plan);
  PictureSize const asked = plan.composition.asked, scaled = plan.Scaled();
  if (asked != scaled) {
    Remark(options, input.name + ": " + SizeText(asked) + " is rounded to " + SizeText(scaled) +
                        (options.even ? ", as --even says" : ", since pixels share their chroma"));
  }
  bool const isBox = options.size && plan.Out() == PictureSize{options.size->cx, options.size->cy};
  bool const sizeIsKnown =
      options.rect || !options.size || isBox || (options.framing == Framing::none && IsExact(*options.size));
  if (toRaw && !sizeIsKnown && plan.Out() != stream.size && !options.quiet) {
    Say(input.name + ": becomes raw " + stream.formatName + " frames of " + SizeText(plan.Out()));
  }
  Remark(options, input.name + ": " + StreamText(stream) + ", " +
                      WayText(plan.in, scaled, plan.Filters(), plan.byFourTaps) + FramingText(plan.composition) +
                      ", threads: " + std::to_string(threads) + ", memory: " + MemoryText(MemoryBytes(plan, threads)));
  OutputFile output(outputName, options.force, options.makesFolders);
  try {
    ScaleFrames(options, stream, plan, toRaw, threads, input, output);
  } catch (std::bad_alloc const&) {
    std::string const fault =
        ": not enough memory for frames of " + SizeText(plan.in) + " that become " + SizeText(plan.Out());
    // Whoever asks for the larger ones is to blame.
    bool const enlarges = FrameBytes(plan.format, plan.Out()) > FrameBytes(plan.format, plan.in);
    throw enlarges ? Failure{badOutput, output.name + fault + ", expected smaller ones"}
                   : Failure{badInput, input.name + fault + ", expected smaller ones"};
  } catch (std::system_error const& error) {
    throw Failure{badUsage, "--threads: " + std::to_string(threads) +
                                " can't be started, expected fewer: " + error.code().message()};
  }
}

void DescribeVideo(Options const& options, InputFile& input) {
  VideoStream const stream = OpenVideo(options, input);
  bool const toRaw = options.format.empty() ? !stream.isY4M : !BecomesY4M(options, stream, "-");
  FramePlan const plan = PlanFrames(options, stream, toRaw, input.name);
  std::printf("video: %s, %s\n", StreamText(stream).c_str(), SizeText(stream.size).c_str());
  if (!options.size && !options.rect) return;
  int const threads = Threads(options, plan);
  std::string const way = WayText(plan.in, plan.Scaled(), plan.Filters(), plan.byFourTaps);
  std::printf("scaling: %s\n", (way + FramingText(plan.composition)).c_str());
  std::printf("threads: %d\n", threads);
  std::printf("memory: %lld bytes\n", static_cast<long long>(ScalerBytes(plan, threads)));
}

}  // namespace tool
