// A file, or stdin, read from its beginning to its end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

struct InputFile {
  std::string name;                   // for messages
  int descriptor = -1;                // owned, unless it is stdin
  int64_t start = -1;                 // where the descriptor stood; negative for what has no places, such as a pipe
  int64_t length = -1;                // bytes from there on, when it was opened; negative likewise
  std::vector<unsigned char> buffer;  // bytes read ahead, those from bufferFirst to bufferEnd
  size_t bufferFirst = 0, bufferEnd = 0;

  // Where it is set, what Read gives is added there.
  std::vector<unsigned char>* copy = nullptr;

  // "-" is stdin. Throws a Failure when it can't be opened, or is a folder.
  explicit InputFile(std::string const& fileName);
  ~InputFile();
  InputFile(InputFile const&) = delete;
  InputFile& operator=(InputFile const&) = delete;

  bool HasPlaces() const { return start >= 0; }
  // The next bytes, `count` of them or, at the end of the file, fewer; they stay to be read. At most 64 KiB.
  std::string_view Peek(size_t count);
  // Fills `bytes` and returns `count`, or, at the end of the file, less. Throws a Failure when reading fails.
  size_t Read(void* bytes, size_t count);
  // The same from a place of a file that has places; doesn't change what Read gives.
  size_t ReadAt(int64_t offset, void* bytes, size_t count);
};

}  // namespace tool
