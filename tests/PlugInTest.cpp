// Two modules in one process, each with a copy of the library.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "conformance/Cases.h"

namespace {

using conformance::Bytes;
using Halve = int(unsigned char const*, unsigned long, int, int, unsigned char*, unsigned long);

struct PlugIn {
  explicit PlugIn(char const* file) : module(dlopen(file, RTLD_NOW | RTLD_GLOBAL), dlclose) {}

  Bytes HalfOf(Bytes const& frame, int cx, int cy, std::size_t bytes) const {
    auto const halve = module ? reinterpret_cast<Halve*>(dlsym(module.get(), "Halve")) : nullptr;
    Bytes half(bytes);
    if (!halve || halve(frame.data(), frame.size(), cx, cy, half.data(), half.size()) != 0) half.clear();
    return half;
  }

  std::unique_ptr<void, int (*)(void*)> module;
};

TEST(PlugIns, ScaleSideBySide) {
  conformance::Trial const luma(CaseOfSizes(conformance::Layout::Plane, {34, 18, 17, 9}, 1));
  conformance::Trial const chroma(CaseOfSizes(conformance::Layout::UV16, {17, 9, 9, 5}, 2));
  Bytes frame = luma.picture, expected = luma.frame;
  frame.insert(frame.end(), chroma.picture.begin(), chroma.picture.end());
  expected.insert(expected.end(), chroma.frame.begin(), chroma.frame.end());

  auto first = std::make_unique<PlugIn>(FIRST_PLUG_IN);
  PlugIn const second(SECOND_PLUG_IN);
  ASSERT_NE(first->module.get(), second.module.get());
  EXPECT_EQ(first->HalfOf(frame, 34, 18, expected.size()), expected);
  EXPECT_EQ(second.HalfOf(frame, 34, 18, expected.size()), expected);
  EXPECT_EQ(first->HalfOf(frame, 34, 18, expected.size() - 1), Bytes());
  first.reset();
  EXPECT_EQ(second.HalfOf(frame, 34, 18, expected.size()), expected);
}

}  // namespace
