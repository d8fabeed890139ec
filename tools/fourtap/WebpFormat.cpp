// WebP, through libwebp: the first picture of an animation, lossy and lossless results.
#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <set>
#include <string>
#include <utility>

#include "fourtap/Failure.h"
#include "fourtap/Picture.h"
#include "fourtap/Progress.h"

namespace tool {

namespace {

size_t const riffHeaderBytes = 12, chunkHeaderBytes = 8;
size_t const longestHeader = 64;  // up to where a picture's size stands
size_t const bytesAtOnce = 1 << 16;
size_t const mostNoteBytes = 1 << 23;  // of anything that describes the picture
// The first of each is taken.
std::string_view const pictureChunks[] = {"VP8X", "ANIM", "ANMF", "ALPH", "VP8 ", "VP8L"};
std::string_view const noteChunks[] = {"ICCP", "EXIF", "XMP "};
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
// memory, but for what the picture does not need. So is the picture, by the decoder, which gives its lines as the
// file's bytes are handed to it.
struct WebpReader : PictureReader {
  InputFile& file;
  std::vector<unsigned char> content;  // a file of the chunks that are needed
  size_t bytesRead = 0, length = 0;    // of the file, as it says itself
  size_t frames = 0;                   // of an animation
  Handle<WebPDemuxer, WebPDemuxDelete> demuxer;
  WebPIterator frame{};  // where it lies in `content`, and in the picture
  std::unique_ptr<unsigned char[]> decoded;
  Handle<WebPIDecoder, WebPIDelete> decoder;
  size_t bytesGiven = 0;
  int linesDecoded = 0;
  int y = 0;

  WebpReader(InputFile& from, int64_t maxPixels) : file(from) {
    CheckHeader(maxPixels);
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
    if (frames > 1) {
      warnings.push_back("it is animated: nothing is made of the pictures that follow the first one");
    }
    ReadNotes();
  }

  PictureSize FrameSize() const { return {frame.width, frame.height}; }

  Failure Damaged() const { return {badInput, file.name + ": is damaged, expected a whole WebP file"}; }

  // Before all of it is read: a size that is too large, and no picture at all, can be told from its first bytes.
  void CheckHeader(int64_t maxPixels) const {
    std::string_view const header = file.Peek(longestHeader);
    auto const* const bytes = reinterpret_cast<unsigned char const*>(header.data());
    size_t const canvas = 24;
    int cx = 0, cy = 0;
    if (header.size() >= canvas + 6 && header.substr(riffHeaderBytes).starts_with("VP8X")) {
      cx = (bytes[canvas] | bytes[canvas + 1] << 8 | bytes[canvas + 2] << 16) + 1;
      cy = (bytes[canvas + 3] | bytes[canvas + 4] << 8 | bytes[canvas + 5] << 16) + 1;
    } else if (!WebPGetInfo(bytes, header.size(), &cx, &cy)) {
      throw Damaged();
    }
    CheckClaimedSize(file.name, cx, cy, maxPixels);
  }

  // What the picture needs, in chunks; others are passed over.
  void ReadContent() {
    Take(riffHeaderBytes, true);
    length = 8 + NumberAt(4);
    if (length < riffHeaderBytes) throw Damaged();
    std::set<std::string> seen;
    while (bytesRead + chunkHeaderBytes <= length) {
      size_t const first = content.size();
      Take(chunkHeaderBytes, true);
      std::string const name(content.end() - chunkHeaderBytes, content.end() - 4);
      size_t const bytes = NumberAt(first + 4);
      bool const describes = std::ranges::count(noteChunks, name) > 0;
      bool const isTooLong = describes && bytes > mostNoteBytes;
      if (isTooLong) {
        warnings.push_back(name.substr(0, name.find(' ')) + " of " + std::to_string(bytes) +
                           " bytes is left out, expected at most " + std::to_string(mostNoteBytes));
      }
      frames += name == "ANMF";
      bool const isNeeded = (describes && !isTooLong) || std::ranges::count(pictureChunks, name) > 0;
      bool const keeps = isNeeded && seen.insert(name).second;
      if (!keeps) content.resize(first);
      Take(std::min(bytes + bytes % 2, length - bytesRead), keeps);
    }
    Take(length - bytesRead, false);
    for (size_t i = 0; i < 4; ++i) content[4 + i] = static_cast<unsigned char>((content.size() - 8) >> 8 * i);
  }

  size_t NumberAt(size_t place) const {
    size_t number = 0;
    for (size_t i = 0; i < 4; ++i) number += size_t{content[place + i]} << 8 * i;
    return number;
  }

  // Reads the next bytes, into memory that grows as they come.
  void Take(size_t count, bool keeps) {
    for (size_t taken; count > 0; count -= taken) {
      size_t const before = content.size();
      taken = std::min(count, std::max(bytesAtOnce, keeps ? before : 0));
      content.resize(before + taken);
      size_t const read = file.Read(content.data() + before, taken);
      bytesRead += read;
      if (read < taken) {
        throw Failure{badInput, file.name + ": is cut short: " + std::to_string(bytesRead) + " bytes, expected " +
                                    std::to_string(length) + " of a WebP file"};
      }
      if (!keeps) content.resize(before);
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
