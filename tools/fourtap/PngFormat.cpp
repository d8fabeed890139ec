// PNG, through libpng.
#include <png.h>

#include <algorithm>
#include <climits>
#include <csetjmp>
#include <cstdlib>
#include <exception>

#include "fourtap/Failure.h"
#include "fourtap/Picture.h"

namespace tool {

namespace {

// Of anything before the pixels, such as a colour profile. libpng takes what is claimed before it sees that the file is
// shorter.
png_alloc_size_t const mostNoteBytes = 1 << 24;

png_voidp Allocate(png_structp png, png_alloc_size_t count) {
  auto const& mostBytes = *static_cast<png_alloc_size_t const*>(png_get_mem_ptr(png));
  return count <= mostBytes ? std::malloc(count) : nullptr;
}

void Release(png_structp, png_voidp bytes) { std::free(bytes); }

// What libpng's callbacks find. libpng is C: an error leaves it by a jump, and becomes an exception behind it.
struct PngErrors {
  jmp_buf jump;
  std::string message;
  std::exception_ptr failure;  // of our own files
};

void OnError(png_structp png, png_const_charp message) {
  auto& errors = *static_cast<PngErrors*>(png_get_error_ptr(png));
  errors.message = message;
  longjmp(errors.jump, 1);
}

void OnWarning(png_structp, png_const_charp) {}

// Calls libpng. The call itself must have nothing to destroy.
template <class Call>
bool Succeeds(PngErrors& errors, Call const& call) {
  if (setjmp(errors.jump)) return false;
  call();
  return true;
}

// Runs what may throw, for libpng.
template <class Call>
void CatchFor(png_structp png, Call const& call) {
  auto& errors = *static_cast<PngErrors*>(png_get_error_ptr(png));
  try {
    call();
    return;
  } catch (...) {
    errors.failure = std::current_exception();
  }
  png_error(png, "");
}

void OnRead(png_structp png, png_bytep bytes, size_t count) {
  auto& file = *static_cast<InputFile*>(png_get_io_ptr(png));
  size_t read = 0;
  CatchFor(png, [&] { read = file.Read(bytes, count); });
  if (read < count) png_error(png, "the file ends too early");
}

void OnWrite(png_structp png, png_bytep bytes, size_t count) {
  auto& file = *static_cast<OutputFile*>(png_get_io_ptr(png));
  CatchFor(png, [&] { file.Write(bytes, count); });
}

void OnFlush(png_structp) {}

struct PngReader : PictureReader {
  InputFile& file;
  PngErrors errors;
  png_alloc_size_t mostBytes = mostNoteBytes;  // at once
  png_structp png;
  png_infop info = nullptr;
  std::unique_ptr<unsigned char[]> whole;  // of an interlaced picture
  int y = 0;

  PngReader(InputFile& from, int64_t maxPixels)
      : file(from),
        png(png_create_read_struct_2(PNG_LIBPNG_VER_STRING, &errors, OnError, OnWarning, &mostBytes, Allocate,
                                     Release)) {
    if (png) info = png_create_info_struct(png);
    if (!info) {
      png_destroy_read_struct(&png, nullptr, nullptr);
      throw std::bad_alloc();
    }
    try {
      ReadHeader(maxPixels);
    } catch (...) {
      png_destroy_read_struct(&png, &info, nullptr);
      throw;
    }
  }
  ~PngReader() override { png_destroy_read_struct(&png, &info, nullptr); }

  template <class Call>
  void Try(Call const& call) {
    if (Succeeds(errors, call)) return;
    if (errors.failure) std::rethrow_exception(errors.failure);
    throw Failure{badInput, file.name + ": is damaged: " + errors.message + "; expected a whole PNG file"};
  }

  void ReadHeader(int64_t maxPixels) {
    Try([this] {
      png_set_user_limits(png, INT_MAX, INT_MAX);
      png_set_read_fn(png, &file, OnRead);
      png_read_info(png, info);
    });
    CheckClaimedSize(file.name, png_get_image_width(png, info), png_get_image_height(png, info), maxPixels);
    size = {static_cast<int>(png_get_image_width(png, info)), static_cast<int>(png_get_image_height(png, info))};
    int const colour = png_get_color_type(png, info);
    int const bits = png_get_bit_depth(png, info);
    bool const interlaced = png_get_interlace_type(png, info) != PNG_INTERLACE_NONE;
    bool const alpha = (colour & PNG_COLOR_MASK_ALPHA) != 0 || png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    bool const gray = (colour & PNG_COLOR_MASK_COLOR) == 0;
    kind = gray ? (alpha ? PixelKind::grayAlpha : PixelKind::gray) : alpha ? PixelKind::rgba : PixelKind::rgb;
    if (colour == PNG_COLOR_TYPE_PALETTE) remarks.push_back("the palette is brought to RGB");
    if (bits == 16) remarks.push_back("samples of 16 bits are brought to 8");
    if (bits < 8 && gray) remarks.push_back("samples of " + std::to_string(bits) + " bits are brought to 8");
    if (interlaced) remarks.push_back("it is interlaced: the picture is held in memory");
    ReadNotes();
    mostBytes = PNG_SIZE_MAX;
    Try([this] {
      png_set_expand(png);
      png_set_scale_16(png);
      png_set_interlace_handling(png);
      png_read_update_info(png, info);
    });
    if (png_get_rowbytes(png, info) != LineBytes(size, kind)) {
      throw Failure{badInput, file.name + ": is of an unknown kind of PNG"};
    }
    if (interlaced) ReadWhole();
  }

  void ReadNotes() {
    png_charp name;
    int compression;
    png_bytep bytes;
    png_uint_32 length;
    if (png_get_iCCP(png, info, &name, &compression, &bytes, &length)) notes.icc.assign(bytes, bytes + length);
    if (png_get_eXIf_1(png, info, &length, &bytes)) notes.exif.assign(bytes, bytes + length);
  }

  void ReadWhole() {
    size_t const lineBytes = LineBytes(size, kind);
    whole = Bytes(lineBytes * static_cast<size_t>(size.cy));
    std::vector<png_bytep> lines(static_cast<size_t>(size.cy));
    for (size_t i = 0; i < lines.size(); ++i) lines[i] = whole.get() + lineBytes * i;
    png_bytepp const all = lines.data();
    Try([this, all] { png_read_image(png, all); });
  }

  void ReadLines(unsigned char* lines, int count) override {
    size_t const lineBytes = LineBytes(size, kind);
    if (whole) {
      std::copy_n(whole.get() + lineBytes * static_cast<size_t>(y), lineBytes * static_cast<size_t>(count), lines);
    } else {
      Try([=, this] {
        for (int i = 0; i < count; ++i) png_read_row(png, lines + lineBytes * static_cast<size_t>(i), nullptr);
      });
    }
    y += count;
  }

  void Finish() override {
    Try([this] { png_read_end(png, nullptr); });
  }
};

struct PngWriter : PictureWriter {
  OutputFile& file;
  PicturePlan plan;
  PngErrors errors;
  png_structp png;
  png_infop info = nullptr;

  PngWriter(OutputFile& to, PicturePlan const& thePlan)
      : file(to), plan(thePlan), png(png_create_write_struct(PNG_LIBPNG_VER_STRING, &errors, OnError, OnWarning)) {
    if (png) info = png_create_info_struct(png);
    if (!info) {
      png_destroy_write_struct(&png, nullptr);
      throw std::bad_alloc();
    }
    try {
      Try([this] { WriteHeader(); });
    } catch (...) {
      png_destroy_write_struct(&png, &info);
      throw;
    }
  }
  ~PngWriter() override { png_destroy_write_struct(&png, &info); }

  template <class Call>
  void Try(Call const& call) {
    if (Succeeds(errors, call)) return;
    if (errors.failure) std::rethrow_exception(errors.failure);
    throw Failure{badOutput, file.name + ": can't be written as PNG: " + errors.message};
  }

  void WriteHeader() {
    int const colours[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB,
                           PNG_COLOR_TYPE_RGB_ALPHA};
    png_set_user_limits(png, INT_MAX, INT_MAX);
    png_set_write_fn(png, &file, OnWrite, OnFlush);
    png_set_IHDR(png, info, static_cast<png_uint_32>(plan.size.cx), static_cast<png_uint_32>(plan.size.cy), 8,
                 colours[static_cast<int>(plan.kind)], PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    auto const& [icc, exif] = *plan.notes;
    if (!icc.empty()) png_set_iCCP(png, info, "ICC profile", 0, icc.data(), static_cast<png_uint_32>(icc.size()));
    if (!exif.empty()) {
      png_set_eXIf_1(png, info, static_cast<png_uint_32>(exif.size()), const_cast<png_bytep>(exif.data()));
    }
    png_write_info(png, info);
    if (plan.kind == PixelKind::rgbx) png_set_filler(png, 0, PNG_FILLER_AFTER);
  }

  void WriteLines(unsigned char const* lines, int count) override {
    size_t const lineBytes = LineBytes(plan.size, plan.kind);
    Try([=, this] {
      for (int i = 0; i < count; ++i) png_write_row(png, lines + lineBytes * static_cast<size_t>(i));
    });
  }

  void Finish() override {
    Try([this] { png_write_end(png, nullptr); });
  }
};

}  // namespace

std::unique_ptr<PictureReader> OpenPng(InputFile& file, int64_t maxPixels) {
  return std::make_unique<PngReader>(file, maxPixels);
}

std::unique_ptr<PictureWriter> CreatePng(OutputFile& file, PicturePlan const& plan) {
  return std::make_unique<PngWriter>(file, plan);
}

}  // namespace tool
