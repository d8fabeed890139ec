#include "fourtap/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "fourtap/Failure.h"

namespace tool {

namespace {

size_t const bufferSize = 1 << 16;

Failure CannotRead(std::string const& name) {
  return {badInput, name + ": can't be read: " + std::generic_category().message(errno) +
                        "; expected a picture or video file, or - for stdin"};
}

// As read, but for interruptions; throws when it fails.
template <class ReadSome>
size_t ReadSomeOf(InputFile const& file, ReadSome readSome) {
  for (;;) {
    ssize_t const count = readSome();
    if (count >= 0) return static_cast<size_t>(count);
    if (errno != EINTR) throw CannotRead(file.name);
  }
}

}  // namespace

InputFile::InputFile(std::string const& fileName) : name(fileName == "-" ? "stdin" : fileName), buffer(bufferSize) {
  descriptor = fileName == "-" ? STDIN_FILENO : open(fileName.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status;
  if (descriptor < 0 || fstat(descriptor, &status) != 0) throw CannotRead(name);
  if (S_ISDIR(status.st_mode)) {
    errno = EISDIR;
    throw CannotRead(name);
  }
  start = S_ISREG(status.st_mode) ? lseek(descriptor, 0, SEEK_CUR) : -1;
  if (start >= 0) length = status.st_size - start;
}

InputFile::~InputFile() {
  if (descriptor > STDIN_FILENO) close(descriptor);
}

std::string_view InputFile::Peek(size_t count) {
  count = std::min(count, bufferSize);
  if (bufferEnd - bufferFirst < count) {
    std::memmove(buffer.data(), buffer.data() + bufferFirst, bufferEnd - bufferFirst);
    bufferEnd -= bufferFirst;
    bufferFirst = 0;
    while (bufferEnd < count) {
      size_t const added =
          ReadSomeOf(*this, [this] { return read(descriptor, buffer.data() + bufferEnd, bufferSize - bufferEnd); });
      if (added == 0) break;
      bufferEnd += added;
    }
  }
  return {reinterpret_cast<char const*>(buffer.data()) + bufferFirst, std::min(count, bufferEnd - bufferFirst)};
}

size_t InputFile::Read(void* bytes, size_t count) {
  auto* const dst = static_cast<unsigned char*>(bytes);
  size_t done = 0;
  while (done < count) {
    if (bufferFirst < bufferEnd) {
      size_t const taken = std::min(count - done, bufferEnd - bufferFirst);
      std::memcpy(dst + done, buffer.data() + bufferFirst, taken);
      bufferFirst += taken;
      done += taken;
    } else if (count - done >= bufferSize) {
      size_t const taken = ReadSomeOf(*this, [&] { return read(descriptor, dst + done, count - done); });
      if (taken == 0) break;
      done += taken;
    } else if (Peek(1).empty()) {
      break;
    }
  }
  if (copy) copy->insert(copy->end(), dst, dst + done);
  return done;
}

size_t InputFile::ReadAt(int64_t offset, void* bytes, size_t count) {
  size_t done = 0;
  while (done < count) {
    size_t const taken = ReadSomeOf(*this, [&] {
      return pread(descriptor, static_cast<char*>(bytes) + done, count - done,
                   start + offset + static_cast<int64_t>(done));
    });
    if (taken == 0) break;
    done += taken;
  }
  return done;
}

}  // namespace tool
