// PNG, through libpng.
#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <climits>
#include <csetjmp>
#include <cstdlib>
#include <exception>
#include <new>
#include <optional>
#include <utility>

#include "fourtap/Deflate.h"
#include "fourtap/Failure.h"
#include "fourtap/Palette.h"
#include "fourtap/PngFilter.h"
#include "fourtap/Utf8.h"

namespace tool {

namespace {

// Of anything before the pixels, such as a colour profile. libpng takes what is claimed before it sees that the file is
// shorter.
png_alloc_size_t const mostNoteBytes = 1 << 23;

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
  bool refusesProfile = false;
};

void OnError(png_structp png, png_const_charp message) {
  auto& errors = *static_cast<PngErrors*>(png_get_error_ptr(png));
  errors.message = message;
  longjmp(errors.jump, 1);
}

void OnWarning(png_structp png, png_const_charp message) {
  if (std::string_view(message).starts_with("iCCP")) {
    static_cast<PngErrors*>(png_get_error_ptr(png))->refusesProfile = true;
  }
}

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

// What libpng would keep or unpack, however much there is of it.
char const passedChunks[] = "bKGD\0cHRM\0gAMA\0hIST\0iTXt\0oFFs\0pCAL\0pHYs\0sBIT\0sCAL\0sPLT\0sRGB\0tEXt\0tIME\0zTXt";

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

// Text of a tEXt or iTXt chunk under that name, if it is not compressed.
std::optional<std::string> TextUnder(std::string_view keyword, PngChunk const& chunk) {
  std::string_view text = chunk.content;
  auto const skipPastZero = [&text] {
    size_t const zero = text.find('\0');
    text.remove_prefix(zero == text.npos ? text.size() : zero + 1);
  };
  if (text.substr(0, text.find('\0')) != keyword) return std::nullopt;
  skipPastZero();
  if (chunk.name == "tEXt") return std::string(text);
  if (chunk.name != "iTXt" || text.size() < 2 || text[0] != 0) return std::nullopt;
  text.remove_prefix(2);
  skipPastZero();  // language
  skipPastZero();  // translated keyword
  return std::string(text);
}

// Text as UTF-8 where it is that, else as a tEXt chunk's Latin-1.
PngChunk TextChunk(std::string const& keyword, std::string const& text, bool mustBeInternational) {
  bool isAscii = true, isUtf8 = true;
  for (std::string_view left = text; !left.empty();) {
    Character const character = FirstCharacter(left);
    isAscii = isAscii && character.code >= 0 && character.code < 0x80;
    isUtf8 = isUtf8 && character.code >= 0;
    left.remove_prefix(character.length);
  }
  bool const international = mustBeInternational || (isUtf8 && !isAscii);
  return {international ? "iTXt" : "tEXt", keyword + std::string(international ? 5 : 1, '\0') + text};
}

uint32_t BigEndian(std::string_view bytes) {
  uint32_t number = 0;
  for (size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<unsigned char>(bytes[i]);
  return number;
}

std::string const commentKeyword = "Comment", xmpKeyword = "XML:com.adobe.xmp";
size_t const mostTextBytes = 1 << 20;

struct PngReader : PictureReader {
  InputFile& file;
  PngErrors errors;
  png_alloc_size_t mostBytes = mostNoteBytes;  // at once
  png_structp png;
  png_infop info = nullptr;
  std::unique_ptr<unsigned char[]> whole;  // of an interlaced picture
  int y = 0;

  size_t textBytes = 0;
  bool headerIsRead = false, hasExif = false;

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
    if (errors.message.starts_with("Out of memory")) throw std::bad_alloc();
    throw Failure{badInput, file.name + ": is damaged: " + errors.message + "; expected a whole PNG file"};
  }

  void ReadHeader(int64_t maxPixels) {
    Try([this] {
      png_set_user_limits(png, INT_MAX, INT_MAX);
      png_set_read_fn(png, &file, OnRead);
      png_set_read_user_chunk_fn(png, this, OnChunk);
      png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_ALWAYS, reinterpret_cast<png_const_bytep>(passedChunks),
                                  sizeof passedChunks / 5);
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
    if (colour == PNG_COLOR_TYPE_PALETTE) ReadPalette(size_t{1} << bits);
    if (bits == 16) warnings.push_back("samples of 16 bits are brought to 8");
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
  }

  void ReadPalette(size_t most) {
    png_colorp colours = nullptr;
    png_bytep alphas = nullptr;
    png_color_16p unused = nullptr;
    int count = 0, alphaCount = 0;
    png_get_PLTE(png, info, &colours, &count);
    if (!png_get_tRNS(png, info, &alphas, &alphaCount, &unused)) alphaCount = 0;
    for (int i = 0; i < count; ++i) {
      palette.push_back({colours[i].red, colours[i].green, colours[i].blue,
                         i < alphaCount ? alphas[i] : static_cast<unsigned char>(255)});
    }
    // What libpng makes of numbers beyond.
    if (palette.size() < most) palette.push_back({0, 0, 0, 255});
  }

  // Of those that libpng passes on, and of all that it does not know.
  static int OnChunk(png_structp png, png_unknown_chunkp chunk) {
    bool const canBeLeftOut = (chunk->name[0] & 0x20) != 0;
    if (!canBeLeftOut) return 0;
    CatchFor(png, [&] {
      static_cast<PngReader*>(png_get_user_chunk_ptr(png))
          ->Take({reinterpret_cast<char const*>(chunk->name),
                  std::string(reinterpret_cast<char const*>(chunk->data), chunk->size)});
    });
    return 1;
  }

  void Take(PngChunk const& chunk) {
    auto const& [name, content] = chunk;
    if (name == "tEXt" || name == "zTXt" || name == "iTXt") {
      TakeText(chunk);
    } else if (headerIsRead) {
      return;
    } else if (name == "gAMA" || name == "cHRM" || name == "sRGB" || name == "cICP") {
      if (content.size() <= 32 && notes.colourChunks.size() < 8) notes.colourChunks.push_back(chunk);
    } else if (name == "pHYs" && content.size() == 9) {
      Density const density{BigEndian(content), BigEndian(content.substr(4)), content[8] == 1};
      if (density.x && density.y) notes.density = density;
    } else if (name == "acTL" && warnings.empty()) {
      warnings.push_back("it is animated: nothing is made of the pictures that follow the first one");
    }
  }

  void TakeText(PngChunk const& chunk) {
    // What else it takes is counted too.
    size_t const before = std::exchange(textBytes, textBytes + chunk.content.size() + sizeof chunk);
    if (textBytes > mostTextBytes) {
      if (before <= mostTextBytes) remarks.push_back("text beyond 1 MiB is left out");
      return;
    }
    auto const comment = TextUnder(commentKeyword, chunk), xmp = TextUnder(xmpKeyword, chunk);
    if (!headerIsRead && comment && notes.comment.empty()) {
      notes.comment = *comment;
    } else if (!headerIsRead && xmp && notes.xmp.empty()) {
      notes.xmp = *xmp;
    } else {
      notes.textChunks.push_back(chunk);
    }
  }

  void ReadNotes() {
    png_charp name;
    int compression;
    png_bytep bytes;
    png_uint_32 length;
    headerIsRead = true;
    if (png_get_iCCP(png, info, &name, &compression, &bytes, &length)) notes.icc.assign(bytes, bytes + length);
    if (errors.refusesProfile && notes.icc.empty()) remarks.push_back("the ICC profile is odd, and left out");
    hasExif = png_get_eXIf_1(png, info, &length, &bytes) != 0;
    if (hasExif) notes.exif.assign(bytes, bytes + length);
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
    if (png_get_interlace_type(png, info) != PNG_INTERLACE_NONE) {
      if (!whole) ReadWhole();
      std::copy_n(whole.get() + lineBytes * static_cast<size_t>(y), lineBytes * static_cast<size_t>(count), lines);
    } else {
      Try([=, this] {
        for (int i = 0; i < count; ++i) png_read_row(png, lines + lineBytes * static_cast<size_t>(i), nullptr);
      });
    }
    y += count;
  }

  void Finish() override {
    Try([this] { png_read_end(png, info); });
    png_bytep bytes;
    png_uint_32 length;
    if (!hasExif && png_get_eXIf_1(png, info, &length, &bytes)) {
      warnings.push_back("its EXIF comes behind the pixels, too late to be heeded");
    }
  }
};

// For what the filter found.
DeflateRules RulesFor(PngContent content, int level) {
  switch (content) {
    case PngContent::repetitions:
      if (level <= defaultLevel) return {{level, Z_DEFAULT_STRATEGY}};
      return {{level, Z_DEFAULT_STRATEGY}, {defaultLevel, Z_DEFAULT_STRATEGY}};
    case PngContent::shades:
      if (level <= defaultLevel) return {{level, Z_FILTERED}};
      return {{level, Z_FILTERED}, {defaultLevel, Z_FILTERED}, {level, Z_RLE}, {level, Z_DEFAULT_STRATEGY}};
    default:
      // A search for repetitions takes ten times as long, and mostly gives a longer result.
      if (level <= defaultLevel) return {{level, Z_RLE}};
      return {{level, Z_RLE}, {level, Z_HUFFMAN_ONLY}, {level, Z_DEFAULT_STRATEGY}};
  }
}

// Of a pixel in the file; of numbers of a palette, of several.
size_t BytesWritten(PicturePlan const& plan) {
  if (plan.palette) return 1;
  return plan.kind == PixelKind::rgbx ? 3 : static_cast<size_t>(BytesPerPixel(plan.kind));
}

struct PngWriter : PictureWriter {
  OutputFile& file;
  PicturePlan plan;
  PngErrors errors;
  png_structp png;
  png_infop info = nullptr;
  size_t textsWritten = 0;
  std::optional<PaletteNumbers> numbers;  // of the palette, where there is one
  std::vector<unsigned char> packed;      // a line of them
  PngFilter filter;
  std::array<DeflateRules, 3> const rules;  // by content
  std::optional<BlockDeflater> deflater{};

  PngWriter(OutputFile& to, PicturePlan const& thePlan)
      : file(to),
        plan(thePlan),
        png(png_create_write_struct(PNG_LIBPNG_VER_STRING, &errors, OnError, OnWarning)),
        numbers(plan.palette ? std::optional<PaletteNumbers>(std::in_place, *plan.palette, plan.kind) : std::nullopt),
        packed(numbers ? numbers->LineBytes(plan.size.cx) : 0),
        filter(BytesWritten(plan), LineBytesWritten(), plan.level > defaultLevel),
        rules{RulesFor(PngContent::repetitions, plan.level), RulesFor(PngContent::shades, plan.level),
              RulesFor(PngContent::noise, plan.level)} {
    if (png) info = png_create_info_struct(png);
    if (!info) {
      png_destroy_write_struct(&png, nullptr);
      throw std::bad_alloc();
    }
    std::vector<PngChunk> texts;
    if (!plan.notes->comment.empty()) texts.push_back(TextChunk(commentKeyword, plan.notes->comment, false));
    if (!plan.notes->xmp.empty()) texts.push_back(TextChunk(xmpKeyword, plan.notes->xmp, true));
    try {
      Try([&, this] { WriteHeader(texts); });
      if (!plan.notes->icc.empty() && !png_get_valid(png, info, PNG_INFO_iCCP)) {
        remarks.push_back("the ICC profile is left out, since it does not fit the picture");
      }
      auto const bytes = static_cast<int64_t>(LineBytesWritten() + 1) * plan.size.cy;
      deflater.emplace(bytes, plan.threads, [this](unsigned char const* data, size_t count) {
        Try([=, this] { png_write_chunk(png, reinterpret_cast<png_const_bytep>("IDAT"), data, count); });
      });
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
    if (errors.message.starts_with("Out of memory")) throw std::bad_alloc();
    throw Failure{badOutput, file.name + ": can't be written as PNG: " + errors.message};
  }

  void WriteChunk(PngChunk const& chunk) {
    png_write_chunk(png, reinterpret_cast<png_const_bytep>(chunk.name.data()),
                    reinterpret_cast<png_const_bytep>(chunk.content.data()), chunk.content.size());
  }

  // Those that have come since the last time.
  void WriteTexts() {
    auto const& chunks = plan.notes->textChunks;
    for (; textsWritten < chunks.size(); ++textsWritten) WriteChunk(chunks[textsWritten]);
  }

  void WriteHeader(std::vector<PngChunk> const& texts) {
    int const colours[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB,
                           PNG_COLOR_TYPE_RGB_ALPHA};
    png_set_user_limits(png, INT_MAX, INT_MAX);
    png_set_write_fn(png, &file, OnWrite, OnFlush);
    png_set_IHDR(png, info, static_cast<png_uint_32>(plan.size.cx), static_cast<png_uint_32>(plan.size.cy),
                 numbers ? numbers->bits : 8, numbers ? PNG_COLOR_TYPE_PALETTE : colours[static_cast<int>(plan.kind)],
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (numbers) SetPalette(*plan.palette);
    auto const& icc = plan.notes->icc;
    auto const& exif = plan.notes->exif;
    auto const& density = plan.notes->density;
    // An odd profile is the input's; it is left out then.
    png_set_benign_errors(png, 1);
    if (!icc.empty()) png_set_iCCP(png, info, "ICC profile", 0, icc.data(), static_cast<png_uint_32>(icc.size()));
    png_set_benign_errors(png, 0);
    if (!exif.empty()) {
      png_set_eXIf_1(png, info, static_cast<png_uint_32>(exif.size()), const_cast<png_bytep>(exif.data()));
    }
    if (density) {
      png_set_pHYs(png, info, density->x, density->y,
                   density->isPerMetre ? PNG_RESOLUTION_METER : PNG_RESOLUTION_UNKNOWN);
    }
    // What PNG says of colours comes before those of the palette.
    png_write_info_before_PLTE(png, info);
    for (PngChunk const& chunk : plan.notes->colourChunks) WriteChunk(chunk);
    png_write_info(png, info);
    for (PngChunk const& chunk : texts) WriteChunk(chunk);
    WriteTexts();
  }

  void SetPalette(Palette const& palette) {
    png_color colours[256];
    unsigned char alphas[256];
    for (size_t i = 0; i < palette.size(); ++i) {
      auto const [red, green, blue, alpha] = palette[i];
      colours[i] = {red, green, blue};
      alphas[i] = alpha;
    }
    int const count = static_cast<int>(palette.size());
    png_set_PLTE(png, info, colours, count);
    if (HasAlpha(plan.kind)) png_set_tRNS(png, info, alphas, count, nullptr);
  }

  size_t LineBytesWritten() const {
    return numbers ? packed.size() : static_cast<size_t>(plan.size.cx) * BytesWritten(plan);
  }

  void WriteLines(unsigned char const* lines, int count) override {
    size_t const lineBytes = LineBytes(plan.size, plan.kind);
    for (int i = 0; i < count; ++i, lines += lineBytes) {
      if (Take(lines)) WriteGroup();
    }
  }

  // True where a group of lines is full.
  bool Take(unsigned char const* line) {
    if (!numbers) {
      return filter.Take(line, static_cast<size_t>(plan.size.cx), static_cast<size_t>(BytesPerPixel(plan.kind)));
    }
    numbers->Pack(line, plan.size.cx, packed.data());
    return filter.Take(packed.data(), packed.size(), 1);
  }

  void WriteGroup() {
    PngContent const content = filter.Filter();
    deflater->Write(filter.filtered.data(), filter.filtered.size(), rules[static_cast<size_t>(content)]);
  }

  void Finish() override {
    if (!filter.IsEmpty()) WriteGroup();
    deflater->Finish();
    // libpng, which has not seen the pixels, would refuse to end the file.
    Try([this] {
      WriteTexts();
      png_write_chunk(png, reinterpret_cast<png_const_bytep>("IEND"), nullptr, 0);
    });
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
