// Preloaded, this stands for a system that starts only as many threads as THREADS_TO_START says.
#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

extern "C" int pthread_create(pthread_t* thread, pthread_attr_t const* attributes, void* (*start)(void*),
                              void* argument) noexcept {
  static std::atomic<int> left = std::atoi(std::getenv("THREADS_TO_START"));
  static auto* const create = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return left-- > 0 ? create(thread, attributes, start, argument) : EAGAIN;
}
