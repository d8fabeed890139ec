// A reader of picture files or of video, as it meets a file and as it meets a pipe: either it reads all lines or
// frames, or it refuses what it is given. READER is a format's name, or Video.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "fourtap/Exif.h"
#include "fourtap/Failure.h"
#include "fourtap/Picture.h"
#include "fourtap/video/VideoStream.h"

namespace {

using namespace std::string_view_literals;

int64_t const maxPixels = 1 << 20;

void ReadPicture(tool::PictureFormat const& format, tool::InputFile& input) {
  auto const reader = format.open(input, maxPixels);
  int const linesAtOnce = 7;
  std::vector<unsigned char> lines(linesAtOnce * tool::LineBytes(reader->size, reader->kind));
  for (int y = 0; y < reader->size.cy; y += linesAtOnce) {
    reader->ReadLines(lines.data(), std::min(linesAtOnce, reader->size.cy - y));
  }
  reader->Finish();
  tool::PictureNotes& notes = reader->notes;
  if (tool::ExifOrientation(notes.exif) != 1) tool::SetXmpUpright(notes.xmp);
  tool::RefreshExif(notes.exif, reader->size, true);
  if (tool::ExifOrientation(notes.exif) != 1) std::abort();
}

void ReadVideo(tool::InputFile& input) {
  tool::VideoStream const stream = tool::OpenVideo({}, input);
  tool::CheckClaimedSize(input.name, stream.size.cx, stream.size.cy, maxPixels);
  auto const bytes = static_cast<size_t>(tool::FrameBytes(*stream.format, stream.size));
  std::vector<unsigned char> frame(bytes);
  for (int64_t number = 1; tool::ReadFrame(stream, input, number, frame.data(), bytes); ++number) {
  }
}

void ReadFile(std::string const& name, bool asPipe) {
  try {
    tool::InputFile input(name);
    if (asPipe) input.start = input.length = -1;
    if (READER == "Video"sv) {
      ReadVideo(input);
    } else if (auto const* const format = tool::FormatNamed(READER)) {
      ReadPicture(*format, input);
    } else {
      throw tool::Failure{tool::badUsage, "no reader is called " READER};
    }
  } catch (tool::Failure const& failure) {
    if (failure.status == tool::badInput) return;
    std::fprintf(stderr, "status %d: %s\n", failure.status, failure.message.c_str());
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  int const descriptor = memfd_create("input", 0);
  if (descriptor < 0 || write(descriptor, data, size) != static_cast<ssize_t>(size)) std::abort();
  std::string const name = "/proc/self/fd/" + std::to_string(descriptor);
  for (bool const asPipe : {false, true}) ReadFile(name, asPipe);
  close(descriptor);
  return 0;
}
