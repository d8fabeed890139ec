#include "fourtap/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "fourtap/Failure.h"

namespace tool {

namespace fs = std::filesystem;

// What a signal that ends the program removes. The records stay for good, so that a handler can read them at any time.
struct PendingFile {
  std::atomic<bool> isTaken, isThere;
  int madeFolders;  // around it, all by this program
  char name[PATH_MAX];
};

namespace {

size_t const bufferSize = 1 << 16;

Failure CannotWrite(std::string const& name, std::string const& why) {
  return {badOutput, name + ": can't be written: " + why};
}

Failure IsThere(std::string const& name) {
  return CannotWrite(name, "it is there; expected a new name, or --force to overwrite it");
}

std::string ErrorText(int error) { return std::generic_category().message(error); }

// What the process would give to a file that it creates. Found out before there are threads, for all of which it is
// one.
fs::perms const permissionsOfNewFile = [] {
  mode_t const mask = umask(0);
  umask(mask);
  return static_cast<fs::perms>(0666 & ~mask);
}();

PendingFile pendingFiles[mostOutputFiles];
std::atomic<bool> ending;  // from then on there are no new ones
std::atomic<int> making;   // threads that are about to have one
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

// The innermost ones around a file, as far as they are empty. A signal's handler may call it.
void RemoveFolders(char* fileName, int count) {
  for (; count > 0; --count) {
    *std::strrchr(fileName, '/') = 0;
    if (rmdir(fileName) != 0) return;
  }
}

void RemovePendingFiles(int signal) {
  // Another one has come before, and ends the process.
  if (ending.exchange(true)) return;
  int const reason = errno;
  // Those that make one let no signal in before they have made it.
  while (making > 0) continue;
  for (PendingFile const& file : pendingFiles) {
    if (file.isThere) unlink(file.name);
  }
  for (PendingFile& file : pendingFiles) {
    if (file.isThere) RemoveFolders(file.name, file.madeFolders);
  }
  errno = reason;
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigaction(signal, &action, nullptr);
  raise(signal);  // which ends the process as soon as this returns
}

// Whether it ends a process that does nothing about it, and may be handled: neither the threads' own ones do, which lie
// between the two ranges, nor those that stop a process, or that it is told something by.
bool EndsTheProcess(int signal) {
  switch (signal) {
    case SIGKILL:
    case SIGSTOP:
    case SIGTSTP:
    case SIGTTIN:
    case SIGTTOU:
    case SIGCHLD:
    case SIGCONT:
    case SIGURG:
    case SIGWINCH:
      return false;
  }
  return signal <= SIGSYS || signal >= SIGRTMIN;
}

// Throws nothing, nor may it: an exception that passes through std::call_once aborts the program where memory is short,
// since the C library then loads its unwinder.
void HandleEndingSignals() noexcept {
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction action {};
    // What is ignored, or handled by somebody else, stays so.
    if (!EndsTheProcess(signal) || sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;
    action.sa_handler = RemovePendingFiles;
    sigfillset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

// While it lives no signal is handled by this thread, and one that another thread handles waits for it.
struct Making {
  sigset_t before;

  Making() {
    static std::once_flag handled;
    std::call_once(handled, HandleEndingSignals);
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    ++making;
    if (!ending) return;
    --making;
    for (;;) pause();  // until the process is gone
  }
  ~Making() {
    --making;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  Making(Making const&) = delete;
  Making& operator=(Making const&) = delete;
};

// Folders that this program made, and the making and removing of them and of what lies in them.
std::mutex foldersMutex;
using FolderNames = std::set<std::string, std::less<>>;
FolderNames madeFolders;

// Those around what has that name, as far as this program made them and they hold nothing. Cuts the name down to the
// first that stays; takes no memory, since there may be none left.
void RemoveMadeFolders(std::string& name) {
  for (;;) {
    name.resize(name.rfind('/'));
    auto const made = madeFolders.find(name);
    if (made == madeFolders.end() || rmdir(name.c_str()) != 0) return;
    madeFolders.erase(made);
  }
}

// Makes it, and those around it, where they are missing. Returns how many of the innermost ones this program made; sets
// errno and returns a negative number when that can't be done, and makes none then.
int MakeFolders(fs::path const& folder) {
  std::error_code error;
  FolderNames missing;  // of which an outer one comes before an inner one
  for (fs::path outer = folder; !fs::exists(outer, error) && outer != outer.parent_path();
       outer = outer.parent_path()) {
    missing.insert(outer.native());
  }
  while (!missing.empty()) {
    FolderNames::node_type name = missing.extract(missing.begin());
    if (mkdir(name.value().c_str(), 0777) == 0) {
      madeFolders.insert(std::move(name));
    } else if (int const reason = errno; reason != EEXIST) {
      RemoveMadeFolders(name.value());
      errno = reason;
      return -1;
    }
  }
  int count = 0;
  for (std::string_view made = folder.native(); madeFolders.contains(made); made = made.substr(0, made.rfind('/')))
    ++count;
  return count;
}

// As mkostemp, but nothing can be done with the name when it fails; and when a signal ends the program, from then on,
// it takes the file along, and folders that were made for it.
int MakeTemporaryFile(std::string& name, bool makesFolders, PendingFile*& pending) {
  std::lock_guard const lock(foldersMutex);
  Making const here;
  int const folders = makesFolders ? MakeFolders(fs::path(name).parent_path()) : 0;
  int const descriptor = folders < 0 ? -1 : mkostemp(name.data(), O_CLOEXEC);
  int const reason = errno;
  if (descriptor < 0) {
    if (folders > 0) RemoveMadeFolders(name);
    errno = reason;
    return -1;
  }
  for (PendingFile& file : pendingFiles) {
    if (file.isTaken.exchange(true)) continue;
    pending = &file;
    file.madeFolders = folders;
    std::memcpy(file.name, name.c_str(), name.size() + 1);
    file.isThere = true;
    break;
  }
  return descriptor;
}

void RemoveTemporaryFile(std::string& name) {
  std::lock_guard const lock(foldersMutex);
  unlink(name.c_str());
  RemoveMadeFolders(name);
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

OutputFile::OutputFile(std::string const& fileName, bool force, bool makesFolders)
    : name(fileName == "-" ? "stdout" : fileName),
      isStdout(fileName == "-"),
      replaces(force),
      permissions(permissionsOfNewFile) {
  buffer.reserve(bufferSize);
  if (isStdout) {
    descriptor = STDOUT_FILENO;
    if (isatty(descriptor))
      throw Failure{badUsage, "stdout: is a terminal, expected a file's name instead of -, or a redirection by > or |"};
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
  descriptor = MakeTemporaryFile(temporary, makesFolders, pending);
  if (descriptor < 0) {
    std::string const why = ErrorText(errno);
    if (fs::exists(place.parent_path(), error)) throw CannotWrite(name, why);
    throw CannotWrite(name, why + ": " + place.parent_path().string() + "; expected a folder that " +
                                (makesFolders ? "can be made" : "is there, or --out FOLDER/, which makes it"));
  }
  temporaryName = std::move(temporary);
}

OutputFile::~OutputFile() {
  if (isStdout) return;
  if (descriptor >= 0) close(descriptor);
  if (temporaryName.empty()) return;
  RemoveTemporaryFile(temporaryName);
  Forget();
}

// The file has its own name, or is no more.
void OutputFile::Forget() {
  if (!pending) return;
  pending->isThere = false;
  pending->isTaken = false;
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
  Forget();
}

}  // namespace tool
