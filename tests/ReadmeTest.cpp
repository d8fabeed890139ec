// The README and the pages beside it: what they show compiles, and what they count is so.
#include <fourtapscale/FourTapScale.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "conformance/Variants.h"

namespace {

std::string ReadPage(char const* name) {
  std::ifstream file(std::string(SOURCE_FOLDER "/") + name);
  return {std::istreambuf_iterator<char>(file), {}};
}

// They point into the text.
std::vector<std::smatch> Matches(std::string const& text, std::string const& pattern) {
  std::regex const regex(pattern);
  return {std::sregex_iterator(text.begin(), text.end(), regex), {}};
}

// The layout of that name, and what its contexts take.
long long ContextBytes(std::string const& layout, int cxIn, int cyIn, int cxOut, int cyOut) {
  auto const traits =
      std::ranges::find_if(conformance::Layouts(), [&](auto const& known) { return known.name == layout; });
  if (traits == conformance::Layouts().end()) return -1;
  return FourTapScaleContextBytes(cxIn, cyIn, cxOut, cyOut, traits->bitsPerPixel);
}

TEST(Readme, IsReadInThreeMinutes) {
  std::string const readme = ReadPage("README.md");
  EXPECT_LE(std::ranges::count(readme, '\n'), 170);
}

TEST(Readme, FirstCodeIsPartOfAnExample) {
  std::string const readme = ReadPage("README.md");
  std::string const fence = "```cpp\n";
  std::size_t const start = readme.find(fence) + fence.size();
  std::istringstream code(readme.substr(start, readme.find("```\n", start) - start));
  std::string indented;
  for (std::string line; std::getline(code, line);) indented += "  " + line + "\n";
  EXPECT_GT(std::ranges::count(indented, '\n'), 5);
  EXPECT_NE(ReadPage("examples/FirstSteps.cpp").find(indented), std::string::npos) << indented;
}

TEST(Readme, EveryExampleIsNamed) {
  std::string const readme = ReadPage("README.md");
  std::string const build = ReadPage("examples/CMakeLists.txt");
  auto const lists = Matches(build, R"(foreach\(example ([^)]*)\))");
  EXPECT_EQ(lists.size(), 1u);
  for (std::smatch const& list : lists) {
    std::istringstream names(list[1]);
    for (std::string name; names >> name;) {
      EXPECT_NE(readme.find("(examples/" + name + ".cpp)"), std::string::npos) << name;
    }
  }
}

TEST(Readme, FiguresOfMemoryAreTheLibrarys) {
  std::string const readme = ReadPage("README.md");
  auto const figures = Matches(readme, R"((\d+)( bytes)? for (\w+) (\d+)x(\d+) to (\d+)x(\d+))");
  EXPECT_GE(figures.size(), 2u);
  for (std::smatch const& figure : figures) {
    auto const number = [&](std::size_t i) { return std::stoi(figure[i]); };
    EXPECT_EQ(std::stoll(figure[1]), ContextBytes(figure[3], number(4), number(5), number(6), number(7)))
        << figure.str();
  }
}

TEST(ReductionsPage, FigureOfMemoryIsTheLibrarys) {
  std::string const page = ReadPage("docs/reductions.md");
  auto const lines = Matches(page, R"(steps: ([0-9x> -]+)\n *contexts: (\d+) bytes)");
  ASSERT_EQ(lines.size(), 1u);
  std::string const steps = lines[0][1];
  auto const sizes = Matches(steps, R"((\d+)x(\d+))");
  ASSERT_GE(sizes.size(), 3u);
  long long sum = 0;
  for (std::size_t i = 0; i + 1 < sizes.size(); ++i) {
    sum += ContextBytes("RGB24", std::stoi(sizes[i][1]), std::stoi(sizes[i][2]), std::stoi(sizes[i + 1][1]),
                        std::stoi(sizes[i + 1][2]));
  }
  EXPECT_EQ(std::stoll(lines[0][2]), sum);
}

}  // namespace
