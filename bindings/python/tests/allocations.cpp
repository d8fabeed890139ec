// Preloaded, lets one allocation of C++'s fail: the one that `allocations_left` counts down to.
#include <atomic>
#include <cstdlib>
#include <new>

extern "C" std::atomic<int> allocations_left;
std::atomic<int> allocations_left = 0;

void* operator new(std::size_t size) {
  void* const memory = allocations_left-- == 1 ? nullptr : std::malloc(size);
  if (!memory) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
