// Preloaded, this stands for a system that has no more memory once it gave as many pieces as PIECES_TO_GIVE says.
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

extern "C" {

// The C library's own ones, which need no look-up that would ask for memory itself.
void* __libc_malloc(size_t size) noexcept;
void* __libc_calloc(size_t count, size_t size) noexcept;
void* __libc_realloc(void* memory, size_t size) noexcept;
void* __libc_memalign(size_t alignment, size_t size) noexcept;
}

namespace {

bool IsLeft() {
  static char const* const count = std::getenv("PIECES_TO_GIVE");
  static std::atomic<long> left = count ? std::atol(count) : 0;
  if (left-- > 0) return true;
  errno = ENOMEM;
  return false;
}

}  // namespace

extern "C" {

void* malloc(size_t size) noexcept { return IsLeft() ? __libc_malloc(size) : nullptr; }
void* calloc(size_t count, size_t size) noexcept { return IsLeft() ? __libc_calloc(count, size) : nullptr; }
void* realloc(void* memory, size_t size) noexcept { return IsLeft() ? __libc_realloc(memory, size) : nullptr; }
void* aligned_alloc(size_t alignment, size_t size) noexcept {
  return IsLeft() ? __libc_memalign(alignment, size) : nullptr;
}
int posix_memalign(void** memory, size_t alignment, size_t size) noexcept {
  if (!IsLeft()) return ENOMEM;
  *memory = __libc_memalign(alignment, size);
  return *memory ? 0 : ENOMEM;
}
}
