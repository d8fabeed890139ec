// Files that take another's place only when they are whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tool {

// That may be in the making at a time, in as many threads.
constexpr int mostOutputFiles = 256;

struct PendingFile;

// A file in the making, under a temporary name beside its own, or stdout. What stands under its own name stays as it is
// until Finish; without that the temporary file is removed in the end, also when a signal ends the program, and folders
// that were made for it.
struct OutputFile {
  std::string name;  // for messages
  bool isStdout;
  int descriptor = -1;
  std::filesystem::path place;         // where the name leads, links followed
  std::string temporaryName;           // empty for stdout, and once the file is in its place
  PendingFile* pending = nullptr;      // as long as the temporary file is there
  bool replaces;                       // whatever stands there in the end
  std::filesystem::perms permissions;  // of the file that it replaces, else those of any new file
  std::vector<unsigned char> buffer;   // written, but not yet handed to the system

  // "-" is stdout. Throws a Failure when no file could take the name, or one has it and `force` is not set, or stdout
  // is a terminal.
  //   makesFolders  those around the file, where they are missing
  OutputFile(std::string const& fileName, bool force, bool makesFolders = false);
  ~OutputFile();
  OutputFile(OutputFile const&) = delete;
  OutputFile& operator=(OutputFile const&) = delete;

  // Appends; throws a Failure when the system doesn't take it.
  void Write(void const* bytes, size_t count);
  // Hands over what has been written so far.
  void Flush();
  // Writes somewhere; not for stdout.
  void WriteAt(int64_t offset, void const* bytes, size_t count);
  // Writes what is left and gives the file its name; throws a Failure when that can't be done.
  void Finish();

 private:
  void Forget();
};

}  // namespace tool
