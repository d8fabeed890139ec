// WebP, through libwebp: the first picture of an animation, lossy and lossless results.
#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "fourtap/Failure.h"
#include "fourtap/Picture.h"
#include "fourtap/Progress.h"

namespace tool {

namespace {

size_t const riffHeaderBytes = 12;
size_t const bytesAtOnce = 1 << 16;
// Some files have EXIF as JPEG files do.
std::string_view const exifName("Exif\0\0", 6);

template <auto release>
struct Release {
  void operator()(auto* owned) const { release(owned); }
};
template <class Owned, auto release>
using Handle = std::unique_ptr<Owned, Release<release>>;

int64_t WholeBytes(PictureSize size, PixelKind kind) { return static_cast<int64_t>(LineBytes(size, kind)) * size.cy; }

// What EXIF and XMP say comes behind the pixels, and how a picture lies must be known before them: the file is held in
// memory. So is the picture, by the decoder, which gives its lines as the file's bytes are handed to it.
struct WebpReader : PictureReader {
  InputFile& file;
  std::vector<unsigned char> content;
  Handle<WebPDemuxer, WebPDemuxDelete> demuxer;
  WebPIterator frame{};  // where it lies in `content`, and in the picture
  std::unique_ptr<unsigned char[]> decoded;
  Handle<WebPIDecoder, WebPIDelete> decoder;
  size_t bytesGiven = 0;
  int linesDecoded = 0;
  int y = 0;

  WebpReader(InputFile& from, int64_t maxPixels) : file(from) {
    ReadContent();
    WebPData const data{content.data(), content.size()};
    demuxer.reset(WebPDemux(&data));
    if (!demuxer || !WebPDemuxGetFrame(demuxer.get(), 1, &frame)) throw Damaged();
    int64_t const cx = WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_WIDTH);
    int64_t const cy = WebPDemuxGetI(demuxer.get(), WEBP_FF_CANVAS_HEIGHT);
    CheckClaimedSize(file.name, cx, cy, maxPixels);
    size = {static_cast<int>(cx), static_cast<int>(cy)};
    bool const isWhole = PictureSize{frame.width, frame.height} == size;
    kind = frame.has_alpha || !isWhole ? PixelKind::rgba : PixelKind::rgb;
    remarks.push_back("WebP is decoded as a whole, and held in memory: " +
                      MemoryText(std::ssize(content) + WholeBytes(FrameSize(), kind)));
    if (WebPDemuxGetI(demuxer.get(), WEBP_FF_FRAME_COUNT) > 1) {
      warnings.push_back("it is animated: nothing is made of the pictures that follow the first one");
    }
    ReadNotes();
  }

  PictureSize FrameSize() const { return {frame.width, frame.height}; }

  Failure Damaged() const { return {badInput, file.name + ": is damaged, expected a whole WebP file"}; }

  // As long as the file says it is, in memory that grows as its bytes come.
  void ReadContent() {
    std::string_view const header = file.Peek(riffHeaderBytes);
    size_t length = 8;
    for (size_t i = 0; i < 4 && header.size() == riffHeaderBytes; ++i) {
      length += size_t{static_cast<unsigned char>(header[4 + i])} << 8 * i;
    }
    while (content.size() < length) {
      size_t const before = content.size();
      content.resize(before + std::min(length - before, std::max(bytesAtOnce, before)));
      size_t const read = file.Read(content.data() + before, content.size() - before);
      if (read == content.size() - before) continue;
      throw Failure{badInput, file.name + ": is cut short: " + std::to_string(before + read) + " bytes, expected " +
                                  std::to_string(length) + " of a WebP file"};
    }
  }

  std::string_view Chunk(char const* name) const {
    WebPChunkIterator chunk;
    std::string_view found;
    if (WebPDemuxGetChunk(demuxer.get(), name, 1, &chunk)) {
      found = {reinterpret_cast<char const*>(chunk.chunk.bytes), chunk.chunk.size};
      WebPDemuxReleaseChunkIterator(&chunk);
    }
    return found;
  }

  void ReadNotes() {
    std::string_view const icc = Chunk("ICCP");
    std::string_view exif = Chunk("EXIF");
    if (exif.starts_with(exifName)) exif.remove_prefix(exifName.size());
    notes.icc.assign(icc.begin(), icc.end());
    notes.exif.assign(exif.begin(), exif.end());
    notes.xmp = Chunk("XMP ");
  }

  void DecodeUntil(int lines) {
    size_t const lineBytes = LineBytes(FrameSize(), kind);
    if (!decoder) {
      size_t const bytes = static_cast<size_t>(WholeBytes(FrameSize(), kind));
      decoded = Bytes(bytes);
      decoder.reset(WebPINewRGB(kind == PixelKind::rgba ? MODE_RGBA : MODE_RGB, decoded.get(), bytes,
                                static_cast<int>(lineBytes)));
      if (!decoder) throw std::bad_alloc();
    }
    while (linesDecoded < lines) {
      bool const hasMore = bytesGiven < frame.fragment.size;
      bytesGiven = std::min(bytesGiven + bytesAtOnce, frame.fragment.size);
      VP8StatusCode const status = WebPIUpdate(decoder.get(), frame.fragment.bytes, bytesGiven);
      if (status == VP8_STATUS_OUT_OF_MEMORY) throw std::bad_alloc();
      if (status != VP8_STATUS_OK && (status != VP8_STATUS_SUSPENDED || !hasMore)) throw Damaged();
      WebPIDecGetRGB(decoder.get(), &linesDecoded, nullptr, nullptr, nullptr);
      if (status == VP8_STATUS_OK && linesDecoded < frame.height) throw Damaged();
    }
  }

  void ReadLines(unsigned char* lines, int count) override {
    size_t const lineBytes = LineBytes(size, kind), frameBytes = LineBytes(FrameSize(), kind);
    std::fill_n(lines, lineBytes * static_cast<size_t>(count), 0);
    lines += LineBytes({frame.x_offset, 1}, kind);
    for (int i = 0; i < count; ++i, ++y, lines += lineBytes) {
      int const line = y - frame.y_offset;
      if (line < 0 || line >= frame.height) continue;
      DecodeUntil(line + 1);
      std::memcpy(lines, decoded.get() + frameBytes * static_cast<size_t>(line), frameBytes);
    }
  }

  ~WebpReader() override { WebPDemuxReleaseIterator(&frame); }
};

// The encoder takes whole pictures.
struct WebpWriter : PictureWriter {
  OutputFile& file;
  PicturePlan const plan;
  WebPConfig config{};
  WebPPicture picture{};
  int y = 0;

  WebpWriter(OutputFile& to, PicturePlan const& thePlan) : file(to), plan(thePlan) {
    if (plan.size.cx > WEBP_MAX_DIMENSION || plan.size.cy > WEBP_MAX_DIMENSION) {
      throw Failure{badOutput, file.name + ": " + SizeText(plan.size) +
                                   " pixels are more than a WebP file can hold, expected at most " +
                                   SizeText(WEBP_MAX_DIMENSION, WEBP_MAX_DIMENSION)};
    }
    bool const canBegin = WebPConfigInit(&config) && WebPPictureInit(&picture);
    if (!canBegin) throw Failure{badOutput, file.name + ": can't be written as WebP: libwebp is of another version"};
    config.quality = static_cast<float>(plan.quality);
    if (plan.lossless) {
      WebPConfigLosslessPreset(&config, losslessLevel);
      config.exact = 1;  // under transparent pixels too
    }
    picture.use_argb = 1;
    picture.width = plan.size.cx;
    picture.height = plan.size.cy;
    if (!WebPPictureAlloc(&picture)) throw std::bad_alloc();
    remarks.push_back("WebP is encoded as a whole, and held in memory: " +
                      MemoryText(WholeBytes(plan.size, PixelKind::rgba)));
  }
  ~WebpWriter() override { WebPPictureFree(&picture); }

  void WriteLines(unsigned char const* lines, int count) override {
    size_t const pixelBytes = static_cast<size_t>(BytesPerPixel(plan.kind));
    size_t const green = IsGray(plan.kind) ? 0 : 1, blue = IsGray(plan.kind) ? 0 : 2;
    for (int i = 0; i < count; ++i, ++y) {
      uint32_t* const to = picture.argb + ptrdiff_t{picture.argb_stride} * y;
      for (int x = 0; x < plan.size.cx; ++x, lines += pixelBytes) {
        uint32_t const alpha = HasAlpha(plan.kind) ? lines[pixelBytes - 1] : 255;
        to[x] = alpha << 24 | uint32_t{lines[0]} << 16 | uint32_t{lines[green]} << 8 | lines[blue];
      }
    }
  }

  [[noreturn]] void Fail(std::string const& why) const {
    throw Failure{badOutput, file.name + ": can't be written as WebP: " + why};
  }

  void Finish() override {
    WebPMemoryWriter encoded;
    WebPMemoryWriterInit(&encoded);
    Handle<WebPMemoryWriter, WebPMemoryWriterClear> const owner(&encoded);
    picture.writer = WebPMemoryWrite;
    picture.custom_ptr = &encoded;
    if (!WebPEncode(&config, &picture)) {
      bool const noMemory = picture.error_code == VP8_ENC_ERROR_OUT_OF_MEMORY ||
                            picture.error_code == VP8_ENC_ERROR_BITSTREAM_OUT_OF_MEMORY;
      if (noMemory) throw std::bad_alloc();
      Fail("libwebp's error " + std::to_string(picture.error_code));
    }
    WebPPictureFree(&picture);
    WebPData const image{encoded.mem, encoded.size};
    PictureNotes const& notes = *plan.notes;
    if (notes.icc.empty() && notes.exif.empty() && notes.xmp.empty()) return file.Write(image.bytes, image.size);
    Handle<WebPMux, WebPMuxDelete> const mux(WebPMuxNew());
    auto const expect = [this](WebPMuxError error) {
      if (error == WEBP_MUX_MEMORY_ERROR) throw std::bad_alloc();
      if (error != WEBP_MUX_OK) Fail("libwebpmux's error " + std::to_string(error));
    };
    auto const add = [&](char const* name, auto const& content) {
      WebPData const chunk{reinterpret_cast<uint8_t const*>(content.data()), content.size()};
      if (!content.empty()) expect(WebPMuxSetChunk(mux.get(), name, &chunk, 0));
    };
    if (!mux) throw std::bad_alloc();
    expect(WebPMuxSetImage(mux.get(), &image, 0));
    add("ICCP", notes.icc);
    add("EXIF", notes.exif);
    add("XMP ", notes.xmp);
    WebPData whole{};
    Handle<WebPData, WebPDataClear> const wholeOwner(&whole);
    expect(WebPMuxAssemble(mux.get(), &whole));
    file.Write(whole.bytes, whole.size);
  }

  static constexpr int losslessLevel = 6;  // of 9: higher ones take several times as long for a percent
};

}  // namespace

std::unique_ptr<PictureReader> OpenWebp(InputFile& file, int64_t maxPixels) {
  return std::make_unique<WebpReader>(file, maxPixels);
}

std::unique_ptr<PictureWriter> CreateWebp(OutputFile& file, PicturePlan const& plan) {
  return std::make_unique<WebpWriter>(file, plan);
}

}  // namespace tool
