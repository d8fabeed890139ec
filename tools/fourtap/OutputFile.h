// Files that take another's place only when they are whole.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace tool {

// A file in the making, under a temporary name beside its own. What stands under its own name stays as it is until
// PutInPlace; without that the temporary file is removed in the end.
struct OutputFile {
  std::string name;                    // as the user gave it
  std::filesystem::path place;         // where that leads, links followed
  std::string temporaryName;           // empty once the file is in its place
  std::filesystem::perms permissions;  // of the file that it replaces, else those of any new file

  // Makes the temporary file, empty. Throws a Failure when no file could take the name.
  explicit OutputFile(std::string const& fileName);
  ~OutputFile();
  OutputFile(OutputFile const&) = delete;
  OutputFile& operator=(OutputFile const&) = delete;
};

// Gives the file its name; throws a Failure unless it has come to `length` bytes.
void PutInPlace(OutputFile& file, int64_t length);

}  // namespace tool
