#include "fourtap/ScalePicture.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <system_error>

#include "fourtap/Channel.h"
#include "fourtap/Failure.h"
#include "fourtap/LineChain.h"
#include "fourtap/Picture.h"
#include "fourtap/Progress.h"

namespace tool {

namespace {

// Small enough for three threads to be at work on one picture, and with tall, narrow ones large enough for that to pay.
int LinesPerBatch(PictureSize size, PixelKind kind) {
  size_t const batchBytes = 1 << 18;
  int const someLines = 64, leastBatches = 16;
  size_t const lines = batchBytes / std::max<size_t>(1, LineBytes(size, kind));
  return std::clamp(static_cast<int>(lines), 1, std::min(std::max(someLines, size.cy / leastBatches), size.cy));
}

PictureFormat const& OutputFormat(Options const& options, PictureFormat const& input, std::string const& output) {
  if (!options.format.empty()) {
    if (PictureFormat const* const format = FormatNamed(options.format)) return *format;
    throw Failure{badUsage, "--format: \"" + options.format + "\" given, expected " + Alternatives(FormatNames())};
  }
  if (output == "-") return input;
  if (PictureFormat const* const format = FormatOfName(output)) return *format;
  throw Failure{badUsage, output + ": its suffix names no format, expected that of " + Alternatives(FormatNames()) +
                              ", or --format"};
}

bool EndsWith(std::string const& name, std::string_view suffix) {
  return name.size() >= suffix.size() &&
         std::equal(suffix.begin(), suffix.end(), name.end() - static_cast<ptrdiff_t>(suffix.size()),
                    [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b + ('a' - 'A') : b); });
}

// Throws a Failure where the format or the name promises something else than what would be written.
void CheckKind(PictureFormat const& format, std::string const& output, PixelKind kind) {
  if (HasAlpha(kind) && !format.holdsAlpha) {
    throw Failure{badOutput, output + ": " + std::string(format.name) + " holds no alpha, expected --alpha drop, or " +
                                 Alternatives(FormatNamesWithAlpha())};
  }
  if (EndsWith(output, ".pgm") && !IsGray(kind)) {
    throw Failure{badOutput, output + ": the picture has colours, expected a name that ends in .ppm or .pnm"};
  }
}

// Lines of a picture, without gaps between them.
struct LineBatch {
  std::unique_ptr<unsigned char[]> lines;
  int count = 0;
};

// Reads the lines that the plan needs.
void ReadAll(PictureReader& reader, ChainPlan const& plan, int linesPerBatch, Channel<LineBatch>& channel) {
  int const cy = plan.LinesToRead();
  for (int y = 0; y < cy;) {
    LineBatch* const batch = channel.AwaitEmpty();
    if (!batch) return;
    batch->count = std::min(linesPerBatch, cy - y);
    reader.ReadLines(batch->lines.get(), batch->count);
    y += batch->count;
    channel.PassOn();
  }
  if (cy == plan.in.cy) reader.Finish();
}

// Collects lines to batches.
struct BatchFiller {
  Channel<LineBatch>& channel;
  size_t lineBytes;
  int linesPerBatch;
  LineBatch* batch = nullptr;
  bool stopped = false;

  void Add(unsigned char const* line) {
    if (stopped) return;
    if (!batch) {
      batch = channel.AwaitEmpty();
      stopped = !batch;
      if (stopped) return;
      batch->count = 0;
    }
    std::memcpy(batch->lines.get() + lineBytes * static_cast<size_t>(batch->count), line, lineBytes);
    if (++batch->count == linesPerBatch) PassOn();
  }

  void PassOn() {
    if (batch) channel.PassOn();
    batch = nullptr;
  }
};

void ScaleAll(LineChain& chain, Channel<LineBatch>& from, BatchFiller& filler, ProgressReport& progress) {
  int y = 0;
  while (LineBatch* const batch = filler.stopped ? nullptr : from.AwaitFull()) {
    chain.Push(batch->lines.get(), batch->count);
    y += batch->count;
    from.GiveBack();
    progress.Update(y);
  }
  filler.PassOn();
}

void WriteAll(PictureWriter& writer, Channel<LineBatch>& channel) {
  while (LineBatch* const batch = channel.AwaitFull()) {
    writer.WriteLines(batch->lines.get(), batch->count);
    channel.GiveBack();
  }
}

// Throws what went wrong first on the way of a line.
void ScaleLines(PictureReader& reader, ChainPlan const& plan, int linesPerSlice, PictureWriter& writer,
                ProgressReport& progress) {
  PictureSize const sizeOut{plan.Rect().cx, plan.Rect().cy};
  size_t const bytesIn = LineBytes(plan.in, plan.kindIn), bytesOut = LineBytes(sizeOut, plan.kindOut);
  int const linesIn = linesPerSlice ? std::min(linesPerSlice, plan.in.cy) : LinesPerBatch(plan.in, plan.kindIn);
  int const linesOut = LinesPerBatch(sizeOut, plan.kindOut);
  Channel<LineBatch> toScale([&] { return LineBatch{Bytes(bytesIn * static_cast<size_t>(linesIn))}; });
  Channel<LineBatch> toWrite([&] { return LineBatch{Bytes(bytesOut * static_cast<size_t>(linesOut))}; });
  BatchFiller filler{toWrite, bytesOut, linesOut};
  LineChain chain(plan, linesIn, [&filler](unsigned char const* line) { filler.Add(line); });
  RunStages(
      toScale, toWrite, [&] { ReadAll(reader, plan, linesIn, toScale); },
      [&] { ScaleAll(chain, toScale, filler, progress); }, [&] { WriteAll(writer, toWrite); });
  writer.Finish();
}

std::string KindText(PixelKind kind) {
  char const* const names[] = {"gray", "gray with alpha", "RGB", "RGB", "RGB with alpha"};
  return names[static_cast<int>(kind)];
}

}  // namespace

void ScalePicture(Options const& options, InputFile& input, std::string const& output) try {
  PictureFormat const& formatIn = FormatOfFile(input);
  PictureFormat const& formatOut = OutputFormat(options, formatIn, output);
  auto const reader = formatIn.open(input, options.maxPixels);
  for (std::string const& remark : reader->remarks) Remark(options, input.name + ": " + remark);

  ChainPlan const plan = PlanChain(options, reader->size, reader->kind);
  CheckKind(formatOut, output, plan.kindOut);
  Remark(options, input.name + ": " + StepsText(plan.in, plan.steps, plan.steps.empty()));
  bool const notesLost = (!reader->notes.icc.empty() || !reader->notes.exif.empty()) && !formatOut.holdsNotes;
  if (notesLost)
    Remark(options, output + ": " + std::string(formatOut.name) + " takes over no ICC profile and no EXIF");

  OutputFile file(output, options.force);
  auto const writer = formatOut.create(file, {.size = {plan.Rect().cx, plan.Rect().cy},
                                              .kind = plan.kindOut,
                                              .notes = &reader->notes,
                                              .quality = options.quality,
                                              .grayAsColour = EndsWith(output, ".ppm")});
  ProgressReport progress(options, input.name, "lines", plan.LinesToRead());
  ScaleLines(*reader, plan, options.linesPerSlice, *writer, progress);
  file.Finish();
  progress.Finish();
} catch (std::bad_alloc const&) {
  throw Failure{badOutput, output + ": not enough memory to make it from " + input.name};
} catch (std::system_error const& error) {
  throw Failure{badOutput, output + ": two threads to make it from " + input.name +
                               " can't be started, expected a limit that allows them: " + error.code().message()};
}

void DescribePicture(Options const& options, InputFile& input) {
  PictureFormat const& format = FormatOfFile(input);
  auto const reader = format.open(input, options.maxPixels);
  std::printf("picture: %s, %s, %s\n", std::string(format.name).c_str(), SizeText(reader->size).c_str(),
              KindText(reader->kind).c_str());
  for (std::string const& remark : reader->remarks) std::printf("remark: %s\n", remark.c_str());
  if (!options.size && !options.rect) return;
  ChainPlan const plan = PlanChain(options, reader->size, reader->kind);
  std::printf("steps: %s\n", StepsText(plan.in, plan.steps, plan.steps.empty()).c_str());
  std::printf("contexts: %lld bytes\n", static_cast<long long>(plan.ContextBytes()));
}

}  // namespace tool
