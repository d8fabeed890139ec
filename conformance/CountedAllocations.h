// Counts a whole program's allocations, operator new's and those of libraries among them. One file of the program
// includes this.
#pragma once

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

namespace {
std::atomic<int> allocations;
}

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) {
  ++allocations;
  return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
  ++allocations;
  return __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
  ++allocations;
  return __libc_realloc(memory, size);
}

void* memalign(size_t alignment, size_t size) {
  ++allocations;
  return __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) { return memalign(alignment, size); }

int posix_memalign(void** memory, size_t alignment, size_t size) {
  *memory = memalign(alignment, size);
  return *memory ? 0 : ENOMEM;
}

}  // extern "C"
