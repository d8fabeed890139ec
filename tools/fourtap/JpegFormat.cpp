// JPEG, through libjpeg-turbo's line interface.

// jpeglib.h needs the standard headers before it.
// clang-format off
#include <cstddef>
#include <cstdio>
#include <jpeglib.h>
#include <jerror.h>
// clang-format on

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

#include "fourtap/Failure.h"
#include "fourtap/Picture.h"
#include "fourtap/Progress.h"

namespace tool {

namespace {

int const iccMarker = JPEG_APP0 + 2;
std::string_view const exifName("Exif\0\0", 6);
std::string_view const xmpName("http://ns.adobe.com/xap/1.0/\0", 29);
int const appMarker = JPEG_APP0 + 1;  // EXIF, XMP and others
int const keptMarkers[] = {appMarker, iccMarker, JPEG_COM};
size_t const longestMarker = 65533;
size_t const mostMarkerBytes = 1 << 23;
size_t const mostMarkers = 1000;
double const metresPerInch = 0.0254;
size_t const bufferSize = 1 << 16;
int const mostScans = 500;  // a small file of very many scans would take hours

// What libjpeg's callbacks find. libjpeg is C: an error leaves it by a jump, and becomes an exception behind it.
struct JpegErrors : jpeg_error_mgr {
  jmp_buf jump;
  char text[JMSG_LENGTH_MAX];
  std::exception_ptr failure;  // of our own files
};

JpegErrors& ErrorsOf(j_common_ptr jpeg) { return *static_cast<JpegErrors*>(jpeg->err); }

void OnError(j_common_ptr jpeg) {
  JpegErrors& errors = ErrorsOf(jpeg);
  errors.format_message(jpeg, errors.text);
  longjmp(errors.jump, 1);
}

// libjpeg goes on with gray areas where data is damaged, and only warns.
void OnMessage(j_common_ptr jpeg, int level) {
  int const code = jpeg->err->msg_code;
  bool const harmless =
      code == JWRN_EXTRANEOUS_DATA || code == JWRN_ADOBE_XFORM || code == JWRN_JFIF_MAJOR || code == JWRN_BOGUS_ICC;
  if (level < 0 && !harmless) OnError(jpeg);
}

void InitErrors(JpegErrors& errors) {
  jpeg_std_error(&errors);
  errors.error_exit = OnError;
  errors.emit_message = OnMessage;
}

// Calls libjpeg. The call itself must have nothing to destroy.
template <class Call>
bool Succeeds(JpegErrors& errors, Call const& call) {
  if (setjmp(errors.jump)) return false;
  call();
  return true;
}

// Runs what may throw, for libjpeg.
template <class Call>
void CatchFor(j_common_ptr jpeg, Call const& call) {
  try {
    call();
    return;
  } catch (...) {
    ErrorsOf(jpeg).failure = std::current_exception();
  }
  longjmp(ErrorsOf(jpeg).jump, 1);
}

struct Source : jpeg_source_mgr {
  InputFile* file;
  JOCTET buffer[bufferSize];
};

// libjpeg keeps markers as they come, in a list that it goes along for each, and a file may consist of them: from some
// point on they are passed over.
void LimitMarkers(j_decompress_ptr jpeg) {
  size_t bytes = 0, count = 0;
  for (auto const* marker = jpeg->marker_list; marker; marker = marker->next, ++count) bytes += marker->data_length;
  if (bytes < mostMarkerBytes && count < mostMarkers) return;
  for (int const marker : keptMarkers) jpeg_save_markers(jpeg, marker, 0);
}

boolean FillBuffer(j_decompress_ptr jpeg) {
  auto& source = *static_cast<Source*>(jpeg->src);
  size_t count = 0;
  CatchFor(reinterpret_cast<j_common_ptr>(jpeg), [&] { count = source.file->Read(source.buffer, bufferSize); });
  if (count == 0) ERREXIT(jpeg, JERR_INPUT_EOF);
  LimitMarkers(jpeg);
  source.next_input_byte = source.buffer;
  source.bytes_in_buffer = count;
  return TRUE;
}

void SkipData(j_decompress_ptr jpeg, long count) {
  jpeg_source_mgr& source = *jpeg->src;
  while (count > 0) {
    if (source.bytes_in_buffer == 0) FillBuffer(jpeg);
    size_t const skipped = std::min(source.bytes_in_buffer, static_cast<size_t>(count));
    source.next_input_byte += skipped;
    source.bytes_in_buffer -= skipped;
    count -= static_cast<long>(skipped);
  }
}

void LimitScans(j_common_ptr jpeg) {
  if (reinterpret_cast<j_decompress_ptr>(jpeg)->input_scan_number <= mostScans) return;
  std::snprintf(ErrorsOf(jpeg).text, JMSG_LENGTH_MAX, "more than %d scans", mostScans);
  longjmp(ErrorsOf(jpeg).jump, 1);
}

// What a picture's coefficients take, once its header has been read or written.
int64_t CoefficientBytes(auto const& jpeg) {
  int64_t bytes = 0;
  for (int i = 0; i < jpeg.num_components; ++i) {
    auto const& component = jpeg.comp_info[i];
    bytes += int64_t{component.width_in_blocks} * component.height_in_blocks * int64_t{sizeof(JBLOCK)};
  }
  return bytes;
}

struct JpegReader : PictureReader {
  InputFile& file;
  JpegErrors errors;
  Source source;
  jpeg_progress_mgr progress;
  jpeg_decompress_struct jpeg{};
  bool started = false;
  std::unique_ptr<unsigned char[]> inks;  // a line of a CMYK picture

  JpegReader(InputFile& from, int64_t maxPixels) : file(from) {
    InitErrors(errors);
    jpeg.err = &errors;
    source.file = &file;
    source.bytes_in_buffer = 0;
    source.init_source = [](j_decompress_ptr) {};
    source.fill_input_buffer = FillBuffer;
    source.skip_input_data = SkipData;
    source.resync_to_restart = jpeg_resync_to_restart;
    source.term_source = [](j_decompress_ptr) {};
    progress.progress_monitor = LimitScans;
    try {
      ReadHeader(maxPixels);
    } catch (...) {
      jpeg_destroy_decompress(&jpeg);
      throw;
    }
  }
  ~JpegReader() override { jpeg_destroy_decompress(&jpeg); }

  template <class Call>
  void Try(Call const& call) {
    if (Succeeds(errors, call)) return;
    if (errors.failure) std::rethrow_exception(errors.failure);
    if (errors.msg_code == JERR_OUT_OF_MEMORY) throw std::bad_alloc();
    throw Failure{badInput, file.name + ": is damaged: " + errors.text + "; expected a whole JPEG file"};
  }

  void ReadHeader(int64_t maxPixels) {
    Try([this] {
      jpeg_create_decompress(&jpeg);
      jpeg.src = &source;
      jpeg.progress = &progress;
      for (int const marker : keptMarkers) jpeg_save_markers(&jpeg, marker, 0xFFFF);
      jpeg_read_header(&jpeg, TRUE);
    });
    CheckClaimedSize(file.name, jpeg.image_width, jpeg.image_height, maxPixels);
    size = {static_cast<int>(jpeg.image_width), static_cast<int>(jpeg.image_height)};
    bool const gray = jpeg.jpeg_color_space == JCS_GRAYSCALE;
    bool const cmyk = jpeg.jpeg_color_space == JCS_CMYK || jpeg.jpeg_color_space == JCS_YCCK;
    if (!gray && !cmyk && jpeg.jpeg_color_space != JCS_YCbCr && jpeg.jpeg_color_space != JCS_RGB) {
      throw Failure{badInput, file.name + ": is of unknown colours, expected a JPEG file in gray, RGB, YCbCr or CMYK"};
    }
    kind = gray ? PixelKind::gray : PixelKind::rgb;
    jpeg.out_color_space = gray ? JCS_GRAYSCALE : cmyk ? JCS_CMYK : JCS_RGB;
    if (jpeg_has_multiple_scans(&jpeg)) {
      remarks.push_back("it comes in several scans, such as a progressive one: its coefficients are held in memory: " +
                        MemoryText(CoefficientBytes(jpeg)));
    }
    ReadNotes();
    if (!cmyk) return;
    inks = Bytes(4 * static_cast<size_t>(size.cx));
    warnings.push_back(notes.icc.empty()
                           ? "its CMYK colours are brought to RGB"
                           : "its CMYK colours are brought to RGB, which its ICC profile does not describe");
    notes.icc = {};
  }

  void ReadNotes() {
    for (auto const* marker = jpeg.marker_list; marker; marker = marker->next) {
      std::string_view content(reinterpret_cast<char const*>(marker->data), marker->data_length);
      if (marker->marker == JPEG_COM) {
        if (notes.comment.empty()) notes.comment = content.substr(0, content.find('\0'));
      } else if (content.starts_with(exifName) && notes.exif.empty()) {
        content.remove_prefix(exifName.size());
        notes.exif.assign(content.begin(), content.end());
      } else if (content.starts_with(xmpName) && notes.xmp.empty()) {
        notes.xmp = content.substr(xmpName.size());
      }
    }
    if (jpeg.saw_JFIF_marker && jpeg.X_density && jpeg.Y_density) {
      // Dots to the inch, to the centimetre, or just proportions.
      double const perMetre[] = {1, 1 / metresPerInch, 100};
      double const factor = perMetre[std::min<unsigned>(jpeg.density_unit, 2)];
      notes.density = {static_cast<uint32_t>(std::lround(jpeg.X_density * factor)),
                       static_cast<uint32_t>(std::lround(jpeg.Y_density * factor)), jpeg.density_unit != 0};
    }
    JOCTET* icc = nullptr;
    unsigned length = 0;
    boolean found = FALSE;
    Try([&, this] { found = jpeg_read_icc_profile(&jpeg, &icc, &length); });
    if (!found) return;
    std::unique_ptr<JOCTET, decltype(&std::free)> const owner(icc, std::free);
    notes.icc.assign(icc, icc + length);
  }

  // What light is left by the inks, each for itself. Adobe's files hold that, others the inks.
  void MixInks(unsigned char* dst) const {
    unsigned const inverted = jpeg.saw_Adobe_marker ? 0 : 255;
    unsigned char const* src = inks.get();
    for (int x = 0; x < size.cx; ++x, src += 4, dst += 3) {
      for (int colour = 0; colour < 3; ++colour) {
        dst[colour] = static_cast<unsigned char>(((src[colour] ^ inverted) * (src[3] ^ inverted) + 127) / 255);
      }
    }
  }

  void ReadLines(unsigned char* lines, int count) override {
    size_t const lineBytes = LineBytes(size, kind);
    Try([=, this] {
      if (!started) jpeg_start_decompress(&jpeg);
      started = true;
      for (int i = 0; inks && i < count; ++i) {
        JSAMPROW row = inks.get();
        jpeg_read_scanlines(&jpeg, &row, 1);
        MixInks(lines + lineBytes * static_cast<size_t>(i));
      }
      if (inks) return;
      for (int done = 0; done < count;) {
        JSAMPROW rows[mostLinesPerCall];
        int const wanted = std::min(count - done, mostLinesPerCall);
        for (int i = 0; i < wanted; ++i) rows[i] = lines + lineBytes * static_cast<size_t>(done + i);
        done += static_cast<int>(jpeg_read_scanlines(&jpeg, rows, static_cast<JDIMENSION>(wanted)));
      }
    });
  }

  void Finish() override {
    Try([this] { jpeg_finish_decompress(&jpeg); });
  }

  static constexpr int mostLinesPerCall = 16;
};

struct Destination : jpeg_destination_mgr {
  OutputFile* file;
  JOCTET buffer[bufferSize];
};

void InitDestination(j_compress_ptr jpeg) {
  auto& destination = *static_cast<Destination*>(jpeg->dest);
  destination.next_output_byte = destination.buffer;
  destination.free_in_buffer = bufferSize;
}

boolean EmptyBuffer(j_compress_ptr jpeg) {
  auto& destination = *static_cast<Destination*>(jpeg->dest);
  CatchFor(reinterpret_cast<j_common_ptr>(jpeg), [&] { destination.file->Write(destination.buffer, bufferSize); });
  InitDestination(jpeg);
  return TRUE;
}

void WriteRest(j_compress_ptr jpeg) {
  auto& destination = *static_cast<Destination*>(jpeg->dest);
  CatchFor(reinterpret_cast<j_common_ptr>(jpeg),
           [&] { destination.file->Write(destination.buffer, bufferSize - destination.free_in_buffer); });
}

struct JpegWriter : PictureWriter {
  OutputFile& file;
  PicturePlan plan;
  JpegErrors errors;
  Destination destination;
  jpeg_compress_struct jpeg{};

  JpegWriter(OutputFile& to, PicturePlan const& thePlan) : file(to), plan(thePlan) {
    if (plan.size.cx > JPEG_MAX_DIMENSION || plan.size.cy > JPEG_MAX_DIMENSION) {
      throw Failure{badOutput, file.name + ": " + SizeText(plan.size) +
                                   " pixels are more than a JPEG file can hold, expected at most " +
                                   SizeText(JPEG_MAX_DIMENSION, JPEG_MAX_DIMENSION)};
    }
    InitErrors(errors);
    jpeg.err = &errors;
    destination.file = &file;
    destination.init_destination = InitDestination;
    destination.empty_output_buffer = EmptyBuffer;
    destination.term_destination = WriteRest;
    auto const markers = Markers();
    try {
      Try([&, this] { Start(markers); });
      if (plan.progressive) {
        remarks.push_back("a progressive JPEG file is written at the end, its coefficients are held in memory: " +
                          MemoryText(CoefficientBytes(jpeg)));
      }
    } catch (...) {
      jpeg_destroy_compress(&jpeg);
      throw;
    }
  }
  ~JpegWriter() override { jpeg_destroy_compress(&jpeg); }

  template <class Call>
  void Try(Call const& call) {
    if (Succeeds(errors, call)) return;
    if (errors.failure) std::rethrow_exception(errors.failure);
    if (errors.msg_code == JERR_OUT_OF_MEMORY) throw std::bad_alloc();
    throw Failure{badOutput, file.name + ": can't be written as JPEG: " + errors.text};
  }

  struct Marker {
    int number;
    std::string content;
  };

  std::vector<Marker> Markers() {
    PictureNotes const& notes = *plan.notes;
    std::vector<Marker> markers;
    auto const add = [&](int number, std::string_view name, auto const& content, char const* what) {
      if (content.empty()) return;
      if (name.size() + content.size() > longestMarker) {
        remarks.push_back(std::string(what) + " is left out, since it is longer than a JPEG file can hold");
      } else {
        markers.push_back({number, std::string(name) + std::string(content.begin(), content.end())});
      }
    };
    add(appMarker, exifName, notes.exif, "EXIF");
    add(appMarker, xmpName, notes.xmp, "XMP");
    add(JPEG_COM, "", notes.comment, "the comment");
    return markers;
  }

  void SetDensity(Density const& density) {
    double const factor = density.isPerMetre ? metresPerInch : 1;
    double const x = std::round(density.x * factor), y = std::round(density.y * factor);
    if (x < 1 || y < 1 || x > UINT16_MAX || y > UINT16_MAX) return;
    jpeg.density_unit = density.isPerMetre ? 1 : 0;
    jpeg.X_density = static_cast<UINT16>(x);
    jpeg.Y_density = static_cast<UINT16>(y);
  }

  void Start(std::vector<Marker> const& markers) {
    jpeg_create_compress(&jpeg);
    jpeg.dest = &destination;
    jpeg.image_width = static_cast<JDIMENSION>(plan.size.cx);
    jpeg.image_height = static_cast<JDIMENSION>(plan.size.cy);
    jpeg.input_components = BytesPerPixel(plan.kind);
    jpeg.in_color_space = plan.kind == PixelKind::gray  ? JCS_GRAYSCALE
                          : plan.kind == PixelKind::rgb ? JCS_RGB
                                                        : JCS_EXT_RGBX;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, plan.quality, TRUE);
    // High quality keeps colours at full size.
    if (plan.quality >= 90) jpeg.comp_info[0].h_samp_factor = jpeg.comp_info[0].v_samp_factor = 1;
    if (plan.notes->density) SetDensity(*plan.notes->density);
    if (plan.progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    for (Marker const& marker : markers) {
      jpeg_write_marker(&jpeg, marker.number, reinterpret_cast<JOCTET const*>(marker.content.data()),
                        static_cast<unsigned>(marker.content.size()));
    }
    auto const& icc = plan.notes->icc;
    if (!icc.empty()) jpeg_write_icc_profile(&jpeg, icc.data(), static_cast<unsigned>(icc.size()));
  }

  void WriteLines(unsigned char const* lines, int count) override {
    size_t const lineBytes = LineBytes(plan.size, plan.kind);
    Try([=, this] {
      for (int i = 0; i < count; ++i) {
        JSAMPROW line = const_cast<JSAMPROW>(lines) + lineBytes * static_cast<size_t>(i);
        jpeg_write_scanlines(&jpeg, &line, 1);
      }
    });
  }

  void Finish() override {
    Try([this] { jpeg_finish_compress(&jpeg); });
  }
};

}  // namespace

std::unique_ptr<PictureReader> OpenJpeg(InputFile& file, int64_t maxPixels) {
  return std::make_unique<JpegReader>(file, maxPixels);
}

std::unique_ptr<PictureWriter> CreateJpeg(OutputFile& file, PicturePlan const& plan) {
  return std::make_unique<JpegWriter>(file, plan);
}

}  // namespace tool
