// No scaler call takes memory. The test sees all of malloc's callers, operator new among them.
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>

#include "Scaling.h"
#include "conformance/Cases.h"

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

namespace {

using conformance::RandomCase;
using conformance::Sizes;
using conformance::Trial;

class NoAllocation : public PerVariantTest {};

TEST_P(NoAllocation, OnlyTheContextTakesMemory) {
  for (uint64_t seed = 0; seed < 200; ++seed) {
    Trial trial(RandomCase(GetParam().layout, seed));
    Sizes const& sizes = trial.what.sizes;
    int const strideIn = static_cast<int>(trial.picture.size()) / sizes.cyIn;
    int const strideOut = static_cast<int>(trial.frame.size()) / sizes.cyOut;
    int const before = allocations;
    OwnedContext const context = MakeContext(GetParam().layout, sizes);
    int const withContext = allocations;
    EXPECT_GT(withContext, before);
    GetParam().frame(context.get(), trial.picture.data(), strideIn, trial.frame.data(), strideOut, 0, 0, sizes.cxOut,
                     sizes.cyOut);
    int cyWritten = 0;
    GetParam().slice(context.get(), trial.picture.data(), strideIn, sizes.cyIn, trial.frame.data(), strideOut,
                     cyWritten);
    EXPECT_EQ(allocations, withContext) << "case " << seed;
  }
}

FOR_EACH_VARIANT(NoAllocation);

}  // namespace
