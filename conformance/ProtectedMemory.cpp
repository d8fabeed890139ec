// Pages that POSIX systems protect, and the signal of who touches them.
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <vector>

#include "ThisProcessor.h"
#include "conformance/Calls.h"
#include "conformance/Fences.h"

namespace conformance {

namespace {

// Mappings given back, by the size of what can be made accessible in them. They stay inaccessible until they are used
// again: a trial needs dozens of small ones, and the system is slow to make them.
struct Pool {
  std::mutex mutex;
  std::map<std::size_t, std::vector<Mapping>> unused;
};

Pool& ThePool() {
  static Pool& pool = *new Pool;
  return pool;
}

unsigned char* Map(void* at, std::size_t size, int rights, int flags, int file) {
  void* const mapped = mmap(at, size, rights, flags, file, 0);
  if (mapped == MAP_FAILED) throw std::bad_alloc();
  return static_cast<unsigned char*>(mapped);
}

// A call that touches protected memory ends here instead of ending the program.
thread_local sigjmp_buf beforeCall;
thread_local char const* refusedAccess;

void OnFault(int, siginfo_t*, void* context) {
  refusedAccess = processor::RefusedAccess(context);
  siglongjmp(beforeCall, 1);
}

// Of the process, while any of them is there.
class FaultHandler {
 public:
  FaultHandler() {
    std::lock_guard const lock(mutex);
    if (count++ > 0) return;
    struct sigaction action = {};
    action.sa_sigaction = OnFault;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigaction(SIGSEGV, &action, &previous);
  }
  ~FaultHandler() {
    std::lock_guard const lock(mutex);
    if (--count == 0) sigaction(SIGSEGV, &previous, nullptr);
  }
  FaultHandler(FaultHandler const&) = delete;
  FaultHandler& operator=(FaultHandler const&) = delete;

 private:
  inline static std::mutex mutex;
  inline static int count;
  inline static struct sigaction previous;
};

}  // namespace

Fences PossibleFences(Fences asked) { return asked; }

std::size_t PageSize() {
  static std::size_t const size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

void Protect(unsigned char* pages, std::size_t size, Access access) {
  int const rights = access == Access::none ? PROT_NONE : access == Access::read ? PROT_READ : PROT_READ | PROT_WRITE;
  if (size > 0 && mprotect(pages, size, rights) != 0) std::abort();
}

Mapping TakePages(std::size_t size) {
  {
    std::lock_guard const lock(ThePool().mutex);
    std::vector<Mapping>& unused = ThePool().unused[size];
    if (!unused.empty()) {
      Mapping const mapping = unused.back();
      unused.pop_back();
      return mapping;
    }
  }
  int const memory = memfd_create("guarded", MFD_CLOEXEC);
  if (memory < 0 || ftruncate(memory, static_cast<off_t>(size)) != 0) throw std::bad_alloc();
  unsigned char* const reserved =
      Map(nullptr, size + 2 * PageSize(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1);
  unsigned char* const pages = Map(reserved + PageSize(), size, PROT_NONE, MAP_SHARED | MAP_FIXED, memory);
  unsigned char* const alias = Map(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, memory);
  close(memory);
  return {pages, alias};
}

void GiveBackPages(Mapping const& mapping, std::size_t size) {
  if (size > 16 * PageSize()) {
    munmap(mapping.pages - PageSize(), size + 2 * PageSize());
    munmap(mapping.alias, size);
    return;
  }
  std::lock_guard const lock(ThePool().mutex);
  ThePool().unused[size].push_back(mapping);
}

std::string CatchingFaults(Fences fences, std::function<std::string()> const& checks) {
  std::optional<FaultHandler> handler;
  if (fences == Fences::pages) handler.emplace();
  return checks();
}

char const* RefusedOf(std::function<void()> const& call) {
  if (sigsetjmp(beforeCall, 0) != 0) return refusedAccess;
  call();
  return nullptr;
}

}  // namespace conformance
