#include "fourtap/ScalePicture.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "fourtap/Background.h"
#include "fourtap/Batch.h"
#include "fourtap/Channel.h"
#include "fourtap/Composition.h"
#include "fourtap/Exif.h"
#include "fourtap/Failure.h"
#include "fourtap/Orientation.h"
#include "fourtap/Padding.h"
#include "fourtap/Picture.h"
#include "fourtap/Progress.h"
#include "fourtap/Scaling.h"

namespace tool {

namespace {

int const defaultQuality = 90;

// By default as many as reading may keep busy; each takes a megabyte.
int ThreadsThatCompress(Options const& options) {
  int const mostThatPay = 8, most = 64;
  return options.threads ? std::min(options.threads, most) : std::min(ProcessorsPerJob(options), mostThatPay);
}

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
    throw Failure{badOutput, output + ": " + std::string(format.name) +
                                 " holds no alpha, expected --background, --alpha drop, or " +
                                 Alternatives(FormatNamesWith(&PictureFormat::holdsAlpha))};
  }
  if (EndsWith(output, ".pgm") && !IsGray(kind)) {
    throw Failure{badOutput, output + ": the picture has colours, expected a name that ends in .ppm or .pnm"};
  }
}

// Throws a Failure for what is asked of another format.
void CheckEncoding(Options const& options, PictureFormat const& format, std::string const& output) {
  auto const check = [&](char const* option, bool isAsked, bool PictureFormat::*has) {
    if (!isAsked || format.*has) return;
    throw Failure{badUsage, std::string(option) + ": " + output + " becomes " + std::string(format.name) +
                                ", which has no such thing; expected " + Alternatives(FormatNamesWith(has))};
  };
  check("--quality", options.quality.has_value(), &PictureFormat::hasQuality);
  check("--level", options.level.has_value(), &PictureFormat::hasLevel);
  check("--lossless", options.lossless, &PictureFormat::canBeLossless);
  check("--progressive-jpeg", options.progressiveJpeg, &PictureFormat::canBeProgressive);
}

// Lines of a picture, without gaps between them.
struct LineBatch {
  std::unique_ptr<unsigned char[]> lines;
  int count = 0;
};

// The lines that a plan needs, as they are read.
struct LineSource {
  PictureReader& reader;
  ScalePlan const& plan;
  int linesPerBatch;
  int y = 0;

  // False where there are no more.
  bool Read(LineBatch& batch) {
    int const cy = plan.LinesToRead();
    batch.count = std::min(linesPerBatch, cy - y);
    if (batch.count > 0) {
      reader.ReadLines(batch.lines.get(), batch.count);
    } else if (cy == plan.in.cy) {
      reader.Finish();
    }
    y += batch.count;
    return batch.count > 0;
  }
};

void ReadAll(LineSource source, Channel<LineBatch>& channel) {
  for (LineBatch* batch; (batch = channel.AwaitEmpty()) && source.Read(*batch);) channel.PassOn();
}

// What stands for the channels where one thread does all.
struct DirectSource {
  LineSource source;
  LineBatch batch;

  LineBatch* AwaitFull() { return source.Read(batch) ? &batch : nullptr; }
  void GiveBack() {}
};
struct DirectSink {
  PictureWriter& writer;
  LineBatch batch;

  LineBatch* AwaitEmpty() { return &batch; }
  void PassOn() { writer.WriteLines(batch.lines.get(), batch.count); }
};

// The scaler at work between two channels.
template <class Sink>
struct LineScaler {
  ScalePlan const& plan;
  Sink& to;
  int linesPerBatch;  // of those that go on
  OwnedPicture picture;
  LineBatch* batch = nullptr;
  int written = 0;
  bool stopped = false;

  LineScaler(ScalePlan const& scalePlan, Sink& toWrite, int linesOut)
      : plan(scalePlan), to(toWrite), linesPerBatch(linesOut), picture(OpenPicture(plan.rules, plan.in, plan.scaled)) {
    fourtap_rect const out{plan.rect.x, plan.rect.y, plan.rect.cx, plan.rect.cy};
    Expect(fourtap_picture_begin(picture.get(), &out));
  }

  // Lines of the needed part; with none of them, what is still to be made.
  void Push(unsigned char const* lines, size_t stride, size_t lineBytes, int count) {
    size_t const bytesOut = LineBytes({plan.rect.cx, 1}, plan.kindOut);
    while (!stopped && (count > 0 || written < plan.rect.cy)) {
      if (!batch && written < plan.rect.cy) {
        batch = to.AwaitEmpty();
        stopped = !batch;
        if (stopped) return;
        batch->count = 0;
      }
      int const room = batch ? std::min(linesPerBatch - batch->count, plan.rect.cy - written) : 0;
      unsigned char* const next = batch ? batch->lines.get() + bytesOut * static_cast<size_t>(batch->count) : nullptr;
      size_t const bytes = count == 0 ? 0 : stride * static_cast<size_t>(count - 1) + lineBytes;
      int taken = 0, made = 0;
      Expect(fourtap_picture_push(picture.get(), {lines, bytes, static_cast<ptrdiff_t>(stride)}, count, &taken,
                                  {next, bytesOut * static_cast<size_t>(room), 0}, room, &made));
      if (taken == 0 && made == 0) return;
      lines += stride * static_cast<size_t>(taken);
      count -= taken;
      written += made;
      if (batch) batch->count += made;
      if (batch && (batch->count == linesPerBatch || written == plan.rect.cy)) {
        to.PassOn();
        batch = nullptr;
      }
    }
  }
};

template <class Source, class Sink>
void ScaleAll(ScalePlan const& plan, Source& from, Sink& to, int linesPerBatch, ProgressReport& progress) {
  std::optional<LineScaler<Sink>> scaler;
  size_t const stride = LineBytes(plan.in, plan.kindIn);
  size_t const firstByte = LineBytes({plan.needed.x, 1}, plan.kindIn);
  int y = 0;
  while (LineBatch* const batch = scaler && scaler->stopped ? nullptr : from.AwaitFull()) {
    // What a header claims takes no memory before the lines begin to come.
    if (!scaler) scaler.emplace(plan, to, linesPerBatch);
    int const first = std::clamp(plan.needed.y - y, 0, batch->count);
    scaler->Push(batch->lines.get() + stride * static_cast<size_t>(first) + firstByte, stride,
                 LineBytes({plan.needed.cx, 1}, plan.kindIn), batch->count - first);
    y += batch->count;
    from.GiveBack();
    progress.Update(y);
  }
}

void WriteAll(PictureWriter& writer, Channel<LineBatch>& channel) {
  while (LineBatch* const batch = channel.AwaitFull()) {
    writer.WriteLines(batch->lines.get(), batch->count);
    channel.GiveBack();
  }
}

// How many lines are read, and written, at once.
struct Batches {
  size_t lineBytesIn, lineBytesOut;
  int linesIn, linesOut;

  Batches(ScalePlan const& plan, int linesPerSlice) {
    PictureSize const sizeOut{plan.rect.cx, plan.rect.cy};
    lineBytesIn = LineBytes(plan.in, plan.kindIn);
    lineBytesOut = LineBytes(sizeOut, plan.kindOut);
    linesIn = linesPerSlice ? std::min(linesPerSlice, plan.in.cy) : LinesPerBatch(plan.in, plan.kindIn);
    linesOut = LinesPerBatch(sizeOut, plan.kindOut);
  }
  size_t BytesIn() const { return lineBytesIn * static_cast<size_t>(linesIn); }
  size_t BytesOut() const { return lineBytesOut * static_cast<size_t>(linesOut); }
};

// Throws what went wrong first on the way of a line.
//   atOnce  reading, scaling and writing, each in a thread, where the system starts them
void ScaleLines(PictureReader& reader, ScalePlan const& plan, int linesPerSlice, bool atOnce, PictureWriter& writer,
                ProgressReport& progress) {
  Batches const batches(plan, linesPerSlice);
  auto const batchIn = [&] { return LineBatch{Bytes(batches.BytesIn())}; };
  auto const batchOut = [&] { return LineBatch{Bytes(batches.BytesOut())}; };
  LineSource const source{reader, plan, batches.linesIn};
  if (atOnce) {
    Channel<LineBatch> toScale(batchIn), toWrite(batchOut);
    try {
      return RunStages(
          toScale, toWrite, [&] { ReadAll(source, toScale); },
          [&] { ScaleAll(plan, toScale, toWrite, batches.linesOut, progress); }, [&] { WriteAll(writer, toWrite); });
    } catch (NoThread const&) {
      // Then this one does all.
    }
  }
  DirectSource from{source, batchIn()};
  DirectSink to{writer, batchOut()};
  ScaleAll(plan, from, to, batches.linesOut, progress);
}

std::string KindText(PixelKind kind) {
  char const* const names[] = {"gray", "gray with alpha", "RGB", "RGB", "RGB with alpha"};
  return names[static_cast<int>(kind)];
}

// What becomes of an upright picture.
Composition ComposePicture(Options const& options, PictureSize upright) {
  Composition composition = Compose(options, upright, {1, 1});
  if (options.rect) {
    CheckRect(*options.rect, composition.scaled);
    composition.rect = *options.rect;
    composition.canvas = composition.Part();
  }
  return composition;
}

// The same, asked of the picture that is stored.
Options AsStored(Options const& options, Composition const& composition, int orientation) {
  auto const [cx, cy] = Turned(composition.scaled, orientation);
  Options result = options;
  result.size = {.cx = cx, .cy = cy, .ignoreProportions = true};
  result.rect = Stored(composition.rect, composition.scaled, orientation);
  return result;
}

// A picture of which the headers have been read, and what becomes of it.
struct PictureJob {
  std::unique_ptr<PictureReader> reader;
  int orientation;          // from which it is turned
  Composition composition;  // upright
  ScalePlan plan;
  bool changesPixels;             // even if nothing is scaled
  std::optional<Colour> padding;  // what is added beside the picture
  bool keepsColours;              // no pixel of the result has another one than those of the source

  PictureSize StoredOut() const { return {plan.rect.cx, plan.rect.cy}; }
  PictureSize In() const { return Turned(plan.in, orientation); }  // upright, as all that a user reads of
  PictureSize Out() const { return composition.canvas; }
  PixelKind KindOut() const { return padding ? KindPadded(plan.kindOut, *padding) : plan.kindOut; }
  int64_t TurningBytes() const { return tool::TurningBytes(StoredOut(), plan.kindOut, orientation); }
};

PictureJob PlanPicture(Options const& options, PictureFormat const& format, InputFile& input) {
  auto reader = format.open(input, options.maxPixels);
  int const orientation = options.keepOrientation ? 1 : ExifOrientation(reader->notes.exif);
  PixelKind const kind = reader->kind;
  if (options.background && HasAlpha(kind)) {
    reader = OnColour(std::move(reader), *options.background, options.alpha == AlphaRule::premultiplied);
  }
  Composition const composition = ComposePicture(options, Turned(reader->size, orientation));
  ScalePlan const plan = PlanScale(AsStored(options, composition, orientation), reader->size, reader->kind);
  int64_t const mostBytes = INT32_MAX;
  if (int64_t{composition.canvas.cx} * BytesPerPixel(PixelKind::rgba) > mostBytes) {
    throw Failure{badUsage, options.sizeOption + ": " + SizeText(composition.canvas) +
                                " is the size of the result, expected lines below 2 GiB"};
  }
  std::optional<Colour> padding;
  if (composition.canvas != composition.Part()) padding = options.background.value_or(Colour{});
  bool const keepsKind = plan.kindOut == kind;
  return {std::move(reader),
          orientation,
          composition,
          plan,
          !keepsKind || orientation != 1,
          padding,
          keepsKind && !plan.Filters() && !padding};
}

std::string WayOf(Options const& options, PictureJob const& job) {
  return WayText(job.In(), job.composition.scaled, job.plan.Filters(), options.oneStep) + FramingText(job.composition);
}

// What the result has, or null.
Palette const* PaletteOf(PictureJob const& job, PictureFormat const& formatOut) {
  return formatOut.holdsPalette && job.keepsColours && !job.reader->palette.empty() ? &job.reader->palette : nullptr;
}

// What a user may want to know of the way of a picture.
std::vector<std::string> RemarksOf(Options const& options, PictureJob const& job, PictureFormat const& formatOut) {
  std::vector<std::string> remarks;
  if (!job.reader->palette.empty() && !PaletteOf(job, formatOut)) remarks.push_back("the palette is brought to RGB");
  remarks.insert(remarks.end(), job.reader->remarks.begin(), job.reader->remarks.end());
  if (job.orientation != 1) {
    remarks.push_back("EXIF says orientation " + std::to_string(job.orientation) + ": the result is turned" +
                      (job.TurningBytes() ? ", and held in memory for that: " + MemoryText(job.TurningBytes()) : ""));
  }
  Batches const batches(job.plan, options.linesPerSlice);
  // Three batches wait on either side.
  int64_t bytes = 3 * static_cast<int64_t>(batches.BytesIn() + batches.BytesOut()) + job.plan.bytes;
  if (job.padding) bytes += 2 * static_cast<int64_t>(LineBytes(job.Out(), job.KindOut()));
  if (bytes > 1 << 24) remarks.push_back("lines of this length take " + MemoryText(bytes));
  return remarks;
}

// What describes the picture, as it is true for the result.
void RefreshNotes(PictureNotes& notes, Options const& options, PictureJob const& job, PictureFormat const& format,
                  std::string const& outputName) {
  KeepNotes(notes, options.keptNotes);
  bool const hasColours = !IsGray(job.KindOut()) || format.makesGrayColour;
  if (hasColours && IsGrayProfile(notes.icc) && format.notes & profileNote) {
    notes.icc.clear();
    Warn(options, outputName + ": the ICC profile is left out, since it is one of gray, and the result has colours");
  }
  RefreshExif(notes.exif, job.Out(), job.orientation != 1);
  if (job.orientation != 1) SetXmpUpright(notes.xmp);
  if (SwapsSides(job.orientation) && notes.density) std::swap(notes.density->x, notes.density->y);
}

// Prints those that have come since `printed` of them were.
size_t WarnOf(Options const& options, InputFile const& input, PictureReader const& reader, size_t printed) {
  for (; printed < reader.warnings.size(); ++printed) Warn(options, input.name + ": " + reader.warnings[printed]);
  return printed;
}

// Reads the picture, so that a damaged one is refused, and writes the file as it is.
//   consumed   what has been read of an input without places, which goes on to be added there
//   wholeFile  what stands behind the picture too
void CopyPicture(PictureJob& job, InputFile& input, std::vector<unsigned char>& consumed, bool wholeFile,
                 OutputFile& file, ProgressReport& progress) {
  Batches const batches(job.plan, 0);
  auto const lines = Bytes(batches.BytesIn());
  auto const passOn = [&] {
    file.Write(consumed.data(), consumed.size());
    consumed.clear();
  };
  for (int y = 0; y < job.plan.in.cy;) {
    int const count = std::min(batches.linesIn, job.plan.in.cy - y);
    job.reader->ReadLines(lines.get(), count);
    passOn();
    progress.Update(y += count);
  }
  job.reader->Finish();
  passOn();
  if (!wholeFile) return;
  // Of a file that grows, what was there.
  int64_t left = input.HasPlaces() ? input.length : INT64_MAX;
  std::vector<unsigned char> bytes(1 << 16);
  for (size_t count = 1; count > 0; left -= static_cast<int64_t>(count)) {
    size_t const most = static_cast<size_t>(std::min(left, std::ssize(bytes)));
    count = input.HasPlaces() ? input.ReadAt(input.length - left, bytes.data(), most) : input.Read(bytes.data(), most);
    if (input.HasPlaces()) file.Write(bytes.data(), count);
    passOn();
  }
}

// The formats of a picture's way, and where it goes.
struct PictureWay {
  PictureFormat const& formatIn;
  PictureFormat const& formatOut;
  std::string const& outputName;
  bool holdsSeveral;  // the first format
  bool isStream;      // more pictures that follow go the same way
};

bool IsEncodedAnew(Options const& options) {
  return options.quality || options.level || options.lossless || options.progressiveJpeg;
}

bool CanBeCopied(Options const& options, PictureJob const& job, PictureWay const& way) {
  bool const grayAsColour = IsGray(job.plan.kindOut) && EndsWith(way.outputName, ".ppm");
  bool const isWhole = !options.rect && job.StoredOut() == job.plan.scaled && !job.padding;
  return &way.formatIn == &way.formatOut && job.reader->isAsWritten && !job.plan.Filters() && !job.changesPixels &&
         isWhole && options.keptNotes == allNotes && !IsEncodedAnew(options) && !grayAsColour;
}

void ScaleJob(Options const& options, PictureJob& job, InputFile& input, PictureWay const& way, OutputFile& file,
              ProgressReport& progress) {
  PictureNotes& notes = job.reader->notes;
  RefreshNotes(notes, options, job, way.formatOut, file.name);
  if (unsigned const lost = KindsOf(notes) & ~way.formatOut.notes) {
    Remark(options, file.name + ": " + std::string(way.formatOut.name) + " takes over no " + KindsText(lost));
  }
  auto writer = way.formatOut.create(file, {.size = job.Out(),
                                            .kind = job.KindOut(),
                                            .notes = &notes,
                                            .quality = options.quality.value_or(defaultQuality),
                                            .level = options.level.value_or(defaultLevel),
                                            .threads = ThreadsThatCompress(options),
                                            .lossless = options.lossless,
                                            .progressive = options.progressiveJpeg,
                                            .grayAsColour = EndsWith(way.outputName, ".ppm"),
                                            .palette = PaletteOf(job, way.formatOut)});
  for (std::string const& remark : writer->remarks) Remark(options, file.name + ": " + remark);
  if (job.padding) {
    auto const [x, y] = std::pair(job.composition.x, job.composition.y);
    auto const [cx, cy] = job.composition.Part();
    writer = PaddingWriter(std::move(writer), job.plan.kindOut, {x, y, cx, cy}, job.Out(), *job.padding);
  }
  if (job.orientation != 1) {
    writer = TurningWriter(std::move(writer), job.StoredOut(), job.plan.kindOut, job.orientation);
  }
  size_t const warned = WarnOf(options, input, *job.reader, 0);
  // Where each processor has a job of its own, more threads would only take turns.
  bool const atOnce = options.jobs <= 1 || ProcessorsPerJob(options) > 1;
  ScaleLines(*job.reader, job.plan, options.linesPerSlice, atOnce, *writer, progress);
  KeepNotes(notes, options.keptNotes);
  writer->Finish();
  WarnOf(options, input, *job.reader, warned);
  bool const readAll = job.plan.LinesToRead() == job.plan.in.cy;
  if (way.holdsSeveral && !way.isStream && readAll && MorePicturesFollow(input)) {
    Warn(options, input.name + ": more pictures follow in it, of which nothing is made");
  }
}

void ScaleNext(Options const& options, InputFile& input, PictureWay const& way, std::optional<OutputFile>& file) {
  std::vector<unsigned char> consumed;
  input.copy = input.HasPlaces() ? nullptr : &consumed;
  PictureJob job = PlanPicture(options, way.formatIn, input);
  CheckKind(way.formatOut, way.outputName, job.KindOut());
  for (std::string const& remark : RemarksOf(options, job, way.formatOut)) Remark(options, input.name + ": " + remark);
  bool const copied = CanBeCopied(options, job, way);
  Remark(options, input.name + ": " + (copied ? "copied as it is" : WayOf(options, job)));
  if (!file) file.emplace(way.outputName, options.force, options.makesFolders);
  ProgressReport progress(options, input.name, "lines", job.plan.LinesToRead());
  try {
    if (copied) {
      CopyPicture(job, input, consumed, !way.isStream, *file, progress);
    } else {
      input.copy = nullptr;
      consumed = {};
      ScaleJob(options, job, input, way, *file, progress);
    }
  } catch (std::bad_alloc const&) {
    std::string const fault = ": not enough memory for the " + SizeText(job.In()) + " pixels of " + input.name +
                              " that become " + SizeText(job.Out());
    // Whoever asks for the larger ones is to blame.
    bool const enlarges = job.Out().cx > job.In().cx || job.Out().cy > job.In().cy;
    throw enlarges ? Failure{badOutput, file->name + fault + ", expected fewer"}
                   : Failure{badInput, input.name + fault + ", expected fewer"};
  }
  input.copy = nullptr;
  if (!way.isStream) file->Finish();
  progress.Finish();
}

}  // namespace

void ScalePicture(Options const& options, InputFile& input, std::string const& output) try {
  PictureFormat const& formatIn = FormatOfFile(input);
  PictureFormat const& formatOut = OutputFormat(options, formatIn, output);
  CheckEncoding(options, formatOut, output == "-" ? "stdout" : output);
  bool const holdsSeveral = &formatIn == FormatNamed("PNM");
  bool const isStream = holdsSeveral && !input.HasPlaces() && &formatOut == &formatIn;
  std::optional<OutputFile> file;
  do {
    ScaleNext(options, input, {formatIn, formatOut, output, holdsSeveral, isStream}, file);
  } while (isStream && MorePicturesFollow(input));
  if (isStream) file->Finish();
} catch (std::bad_alloc const&) {
  throw Failure{badInput, input.name + ": not enough memory for it, expected a smaller picture"};
}

void DescribePicture(Options const& options, InputFile& input) {
  PictureFormat const& format = FormatOfFile(input);
  PictureJob const job = PlanPicture(options, format, input);
  PictureReader const& reader = *job.reader;
  std::string const turned = SwapsSides(job.orientation) ? ", upright " + SizeText(job.In()) : "";
  std::printf("picture: %s, %s%s, %s\n", std::string(format.name).c_str(), SizeText(reader.size).c_str(),
              turned.c_str(), KindText(reader.kind).c_str());
  if (unsigned const kinds = KindsOf(reader.notes)) std::printf("notes: %s\n", KindsText(kinds).c_str());
  for (std::string const& remark : RemarksOf(options, job, format)) std::printf("remark: %s\n", remark.c_str());
  for (std::string const& warning : reader.warnings) std::printf("warning: %s\n", warning.c_str());
  if (!options.size && !options.rect) return;
  std::printf("scaling: %s\n", WayOf(options, job).c_str());
  std::printf("memory: %lld bytes\n", static_cast<long long>(job.plan.bytes));
}

}  // namespace tool
