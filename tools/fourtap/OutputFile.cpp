#include "fourtap/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <system_error>
#include <utility>

#include "fourtap/Failure.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

size_t const bufferSize = 1 << 16;

Failure CannotWrite(std::string const& name, std::string const& why) {
  return {badOutput, name + ": can't be written: " + why};
}

Failure IsThere(std::string const& name) {
  return CannotWrite(name, "it is there; expected a new name, or --force to overwrite it");
}

std::string ErrorText(int error) { return std::generic_category().message(error); }

// What the process would give to a file that it creates.
fs::perms PermissionsOfNewFile() {
  mode_t const mask = umask(0);
  umask(mask);
  return static_cast<fs::perms>(0666 & ~mask);
}

// The temporary file of the moment, for a signal handler.
char pendingName[PATH_MAX];

void RemovePendingFile(int signal) {
  unlink(pendingName);
  raise(signal);  // which ends the process: the handler was for one time
}

// All that end a process that does nothing about them.
std::vector<int> EndingSignals() {
  std::set<int> const others = {SIGKILL, SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU, SIGCHLD, SIGCONT, SIGURG, SIGWINCH};
  std::vector<int> ending;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    bool const threadsOwn = signal > SIGSYS && signal < SIGRTMIN;
    if (!threadsOwn && !others.contains(signal)) ending.push_back(signal);
  }
  return ending;
}

// As mkostemp; and when a signal ends the program, from then on, it takes the file along.
int MakeTemporaryFile(std::string& name) {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  int const descriptor = mkostemp(name.data(), O_CLOEXEC);
  int const reason = errno;
  if (descriptor >= 0 && name.size() < sizeof pendingName) {
    std::memcpy(pendingName, name.c_str(), name.size() + 1);
    for (int const signal : EndingSignals()) {
      struct sigaction action {};
      // What is ignored, or handled by somebody else, stays so.
      if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;
      action.sa_handler = RemovePendingFile;
      action.sa_flags = static_cast<int>(SA_RESETHAND);
      sigaction(signal, &action, nullptr);
    }
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = reason;
  return descriptor;
}

// Ends the program as SIGPIPE does, also where its caller has that ignored: nobody reads on.
void EndAsUnread() {
  std::signal(SIGPIPE, SIG_DFL);
  raise(SIGPIPE);
}

// Renames, but not to a name that something has; sets errno when that can't be done.
bool RenameToNew(char const* from, char const* to) {
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
  if (errno == EEXIST) return false;
  // File systems that know nothing of it mostly know of links, and else a last look must do.
  if (link(from, to) == 0) return unlink(from) == 0;
  if (errno == EEXIST) return false;
  struct stat status;
  if (lstat(to, &status) == 0) {
    errno = EEXIST;
    return false;
  }
  return std::rename(from, to) == 0;
}

template <class WriteSome>
void WriteAll(std::string const& name, size_t count, WriteSome writeSome) {
  for (size_t done = 0; done < count;) {
    ssize_t const written = writeSome(done);
    if (written >= 0) {
      done += static_cast<size_t>(written);
    } else if (errno != EINTR) {
      if (errno == EPIPE) EndAsUnread();
      throw CannotWrite(name, ErrorText(errno));
    }
  }
}

}  // namespace

OutputFile::OutputFile(std::string const& fileName, bool force)
    : name(fileName == "-" ? "stdout" : fileName),
      isStdout(fileName == "-"),
      replaces(force),
      permissions(PermissionsOfNewFile()) {
  buffer.reserve(bufferSize);
  if (isStdout) {
    descriptor = STDOUT_FILENO;
    return;
  }
  std::error_code error;
  place = fs::absolute(name, error);
  if (!error) place = fs::weakly_canonical(place, error);
  if (error) throw CannotWrite(name, error.message() + "; expected the name of a file in an existing directory");

  fs::file_status const existing = fs::status(place, error);
  if (fs::exists(existing)) {
    if (!fs::is_regular_file(existing)) throw CannotWrite(name, "it is there and is no regular file");
    if (!force) throw IsThere(name);
    if (access(place.c_str(), W_OK) != 0) throw CannotWrite(name, ErrorText(errno));
    permissions = existing.permissions() & fs::perms(0777);
  } else if (fs::is_symlink(fs::symlink_status(place, error))) {
    throw CannotWrite(name, "it is a link that leads nowhere; expected one to a file, or another name");
  }
  std::string temporary = place.parent_path() / ".fourtap-XXXXXX";
  descriptor = MakeTemporaryFile(temporary);
  if (descriptor < 0) throw CannotWrite(name, ErrorText(errno));
  temporaryName = temporary;
}

OutputFile::~OutputFile() {
  if (isStdout) return;
  if (descriptor >= 0) close(descriptor);
  if (!temporaryName.empty()) unlink(temporaryName.c_str());
  pendingName[0] = 0;
}

void OutputFile::Write(void const* bytes, size_t count) {
  auto const* const src = static_cast<unsigned char const*>(bytes);
  if (buffer.size() + count > bufferSize) Flush();
  if (count < bufferSize) {
    buffer.insert(buffer.end(), src, src + count);
  } else {
    WriteAll(name, count, [&](size_t done) { return write(descriptor, src + done, count - done); });
  }
}

void OutputFile::Flush() {
  WriteAll(name, buffer.size(),
           [this](size_t done) { return write(descriptor, buffer.data() + done, buffer.size() - done); });
  buffer.clear();
}

void OutputFile::WriteAt(int64_t offset, void const* bytes, size_t count) {
  WriteAll(name, count, [&](size_t done) {
    return pwrite(descriptor, static_cast<char const*>(bytes) + done, count - done,
                  offset + static_cast<int64_t>(done));
  });
}

void OutputFile::Finish() {
  Flush();
  if (isStdout) return;
  char const* const from = temporaryName.c_str();
  if (fchmod(descriptor, static_cast<mode_t>(permissions)) != 0 || close(std::exchange(descriptor, -1)) != 0 ||
      !(replaces ? std::rename(from, place.c_str()) == 0 : RenameToNew(from, place.c_str()))) {
    throw errno == EEXIST ? IsThere(name) : CannotWrite(name, ErrorText(errno));
  }
  temporaryName.clear();
}

}  // namespace tool
