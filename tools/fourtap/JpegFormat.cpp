// JPEG, through libjpeg-turbo's line interface.

// jpeglib.h needs the standard headers before it.
// clang-format off
#include <cstddef>
#include <cstdio>
#include <jpeglib.h>
#include <jerror.h>
// clang-format on

#include <algorithm>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>

#include "fourtap/Failure.h"
#include "fourtap/Picture.h"

namespace tool {

namespace {

int const exifMarker = JPEG_APP0 + 1;
int const iccMarker = JPEG_APP0 + 2;
std::string_view const exifName("Exif\0\0", 6);
size_t const longestMarker = 65533;
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

boolean FillBuffer(j_decompress_ptr jpeg) {
  auto& source = *static_cast<Source*>(jpeg->src);
  size_t count = 0;
  CatchFor(reinterpret_cast<j_common_ptr>(jpeg), [&] { count = source.file->Read(source.buffer, bufferSize); });
  if (count == 0) ERREXIT(jpeg, JERR_INPUT_EOF);
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

struct JpegReader : PictureReader {
  InputFile& file;
  JpegErrors errors;
  Source source;
  jpeg_progress_mgr progress;
  jpeg_decompress_struct jpeg{};
  bool started = false;

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
    throw Failure{badInput, file.name + ": is damaged: " + errors.text + "; expected a whole JPEG file"};
  }

  void ReadHeader(int64_t maxPixels) {
    Try([this] {
      jpeg_create_decompress(&jpeg);
      jpeg.src = &source;
      jpeg.progress = &progress;
      jpeg_save_markers(&jpeg, exifMarker, 0xFFFF);
      jpeg_save_markers(&jpeg, iccMarker, 0xFFFF);
      jpeg_read_header(&jpeg, TRUE);
    });
    CheckClaimedSize(file.name, jpeg.image_width, jpeg.image_height, maxPixels);
    size = {static_cast<int>(jpeg.image_width), static_cast<int>(jpeg.image_height)};
    bool const gray = jpeg.jpeg_color_space == JCS_GRAYSCALE;
    if (!gray && jpeg.jpeg_color_space != JCS_YCbCr && jpeg.jpeg_color_space != JCS_RGB) {
      bool const cmyk = jpeg.jpeg_color_space == JCS_CMYK || jpeg.jpeg_color_space == JCS_YCCK;
      throw Failure{badInput, file.name + ": is " + (cmyk ? "CMYK" : "of unknown colours") +
                                  ", expected a JPEG file in gray, RGB or YCbCr"};
    }
    kind = gray ? PixelKind::gray : PixelKind::rgb;
    jpeg.out_color_space = gray ? JCS_GRAYSCALE : JCS_RGB;
    if (jpeg_has_multiple_scans(&jpeg)) {
      remarks.push_back("it comes in several scans, such as a progressive one: its coefficients are held in memory");
    }
    ReadNotes();
  }

  void ReadNotes() {
    for (auto const* marker = jpeg.marker_list; marker; marker = marker->next) {
      if (marker->marker != exifMarker || marker->data_length < exifName.size() || !notes.exif.empty()) continue;
      if (std::memcmp(marker->data, exifName.data(), exifName.size()) != 0) continue;
      notes.exif.assign(marker->data + exifName.size(), marker->data + marker->data_length);
    }
    JOCTET* icc = nullptr;
    unsigned length = 0;
    boolean found = FALSE;
    Try([&, this] { found = jpeg_read_icc_profile(&jpeg, &icc, &length); });
    if (!found) return;
    std::unique_ptr<JOCTET, decltype(&std::free)> const owner(icc, std::free);
    notes.icc.assign(icc, icc + length);
  }

  void ReadLines(unsigned char* lines, int count) override {
    size_t const lineBytes = LineBytes(size, kind);
    Try([=, this] {
      if (!started) jpeg_start_decompress(&jpeg);
      started = true;
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
    std::string exif(exifName);
    exif.append(plan.notes->exif.begin(), plan.notes->exif.end());
    try {
      Try([&, this] { Start(exif); });
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
    throw Failure{badOutput, file.name + ": can't be written as JPEG: " + errors.text};
  }

  void Start(std::string const& exif) {
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
    jpeg_start_compress(&jpeg, TRUE);
    if (exif.size() > exifName.size() && exif.size() <= longestMarker) {
      jpeg_write_marker(&jpeg, exifMarker, reinterpret_cast<JOCTET const*>(exif.data()),
                        static_cast<unsigned>(exif.size()));
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
