#include "fourtap/OutputFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "fourtap/Failure.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

Failure CannotWrite(std::string const& name, std::string const& why) {
  return {badOutput, name + ": can't be written: " + why};
}

std::string ErrorText(int error) { return std::generic_category().message(error); }

// What the process would give to a file that it creates.
fs::perms PermissionsOfNewFile() {
  mode_t const mask = umask(0);
  umask(mask);
  return static_cast<fs::perms>(0666 & ~mask);
}

}  // namespace

OutputFile::OutputFile(std::string const& fileName) : name(fileName), permissions(PermissionsOfNewFile()) {
  std::error_code error;
  place = fs::absolute(name, error);
  if (!error) place = fs::weakly_canonical(place, error);
  if (error) throw CannotWrite(name, error.message() + "; expected the name of a file in an existing directory");

  fs::file_status const existing = fs::status(place, error);
  if (fs::exists(existing)) {
    if (!fs::is_regular_file(existing)) throw CannotWrite(name, "it is there and is no regular file");
    if (access(place.c_str(), W_OK) != 0) throw CannotWrite(name, ErrorText(errno));
    permissions = existing.permissions();
  }
  temporaryName = place.parent_path() / ".fourtap-XXXXXX";
  int const descriptor = mkstemp(temporaryName.data());
  if (descriptor < 0) {
    int const reason = errno;
    temporaryName.clear();
    throw CannotWrite(name, ErrorText(reason));
  }
  close(descriptor);
}

OutputFile::~OutputFile() {
  if (!temporaryName.empty()) unlink(temporaryName.c_str());
}

void PutInPlace(OutputFile& file, int64_t length) {
  std::error_code error;
  auto const written = static_cast<int64_t>(fs::file_size(file.temporaryName, error));
  if (!error && written != length) {
    throw CannotWrite(file.name,
                      "the disk took " + std::to_string(written) + " of " + std::to_string(length) + " bytes");
  }
  if (!error) fs::permissions(file.temporaryName, file.permissions, error);
  if (!error) fs::rename(file.temporaryName, file.place, error);
  if (error) throw CannotWrite(file.name, error.message());
  file.temporaryName.clear();
}

}  // namespace tool
