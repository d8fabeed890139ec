// The README and the pages beside it: what they show compiles, and what they count is so.
#include <fourtapscale/FourTapScale.h>
#include <fourtapscale/fourtap.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
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

TEST(Readme, CodeIsPartOfExamples) {
  std::string const readme = ReadPage("README.md");
  std::string const fence = "```cpp\n";
  std::size_t end = 0;
  for (char const* example : {"examples/Checked.cpp", "examples/FirstSteps.cpp"}) {
    std::size_t const start = readme.find(fence, end) + fence.size();
    end = readme.find("```\n", start);
    std::istringstream code(readme.substr(start, end - start));
    std::string indented;
    for (std::string line; std::getline(code, line);) indented += "  " + line + "\n";
    EXPECT_GT(std::ranges::count(indented, '\n'), 5) << example;
    EXPECT_NE(ReadPage(example).find(indented), std::string::npos) << example << " has no\n" << indented;
  }
  EXPECT_EQ(readme.find(fence, end), std::string::npos);
}

TEST(Readme, EveryExampleIsNamed) {
  std::string const readme = ReadPage("README.md");
  for (auto const& entry : std::filesystem::directory_iterator(SOURCE_FOLDER "/examples")) {
    std::string const name = entry.path().filename().string();
    if (name == "CMakeLists.txt") continue;
    EXPECT_NE(readme.find("(examples/" + name + ")"), std::string::npos) << name;
    EXPECT_NE(ReadPage("examples/CMakeLists.txt").find(" " + name), std::string::npos) << name << " is not built";
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

// By layout, sizes and scaler, of the rows of whole frames: ns per output pixel as they were printed.
std::map<std::string, double> SpeedsIn(std::string const& results) {
  std::map<std::string, double> speeds;
  for (std::smatch const& row : Matches(results, R"((\w+),(\w+)-(\w+),([\w-]+),(frame|memcpy),\w*-?,([\d.]+),)")) {
    speeds[row[1].str() + " " + row[2].str() + " to " + row[3].str() + " " + row[4].str()] = std::stod(row[6]);
  }
  return speeds;
}

TEST(Readme, FiguresOfSpeedAreOfOneRun) {
  std::string const readme = ReadPage("README.md");
  auto const file = Matches(readme, R"(table is of \[that run\]\((bench/results/[\w-]+\.csv)\))");
  ASSERT_EQ(file.size(), 1u);
  auto const speeds = SpeedsIn(ReadPage(file[0].str(1).c_str()));
  auto const lines = Matches(
      readme,
      R"(\| (\w+ \w+ to \w+) \| ([\d.]+) \| ([\d.]+) \| ([\d.]+) \| ([\d.]+) \| ([\d.]+) ([\w-]+)( \(wider\))? \|)");
  EXPECT_GE(lines.size(), 9u);
  for (std::smatch const& line : lines) {
    std::string const scalers[] = {"copy", "fourtap-sse2", "fourtap-avx2", "fourtap-avx512", line[7]};
    for (std::size_t i = 0; i < std::size(scalers); ++i) {
      auto const speed = speeds.find(line[1].str() + " " + scalers[i]);
      ASSERT_NE(speed, speeds.end()) << line.str();
      EXPECT_NEAR(speed->second, std::stod(line[2 + i]), 0.00051) << line.str() << ", " << scalers[i];
    }
  }
}

TEST(Readme, FiguresOfTheToolAreOfOneRun) {
  std::string const readme = ReadPage("README.md");
  auto const file = Matches(readme, R"(minima of \[a run\]\((bench/results/tool-[\w-]+\.csv)\))");
  ASSERT_EQ(file.size(), 1u);
  // By case and program: seconds and bytes.
  std::map<std::string, std::pair<double, double>> measured;
  std::string const results = ReadPage(file[0].str(1).c_str());
  for (std::smatch const& row : Matches(results, R"(([\w ]+),(\w+),([\d.]+),[\d.]+,\d+,(\d+)\n)")) {
    measured[row[1].str() + " " + row[2].str()] = {std::stod(row[3]), std::stod(row[4])};
  }
  auto const head = Matches(readme, R"(\| wall time, size of the results((?: \| \w+)+) \|)");
  ASSERT_EQ(head.size(), 1u);
  std::string const names = head[0].str(1);
  auto const programs = Matches(names, R"(\w+)");
  auto const lines = Matches(readme, R"(\n\| ([\w ]+)((?: \| [\d.]+ s, [\d.]+ MB)+) \|)");
  EXPECT_GE(lines.size(), 3u);
  for (std::smatch const& line : lines) {
    std::string const figures = line[2].str();
    auto const cells = Matches(figures, R"(([\d.]+) s, ([\d.]+) MB)");
    ASSERT_EQ(cells.size(), programs.size()) << line.str();
    for (std::size_t i = 0; i < cells.size(); ++i) {
      auto const of = measured.find(line[1].str() + " " + programs[i].str());
      ASSERT_NE(of, measured.end()) << line.str();
      EXPECT_NEAR(of->second.first, std::stod(cells[i][1]), 0.0051) << line.str() << ", " << programs[i].str();
      EXPECT_NEAR(of->second.second / 1e6, std::stod(cells[i][2]), 0.051) << line.str() << ", " << programs[i].str();
    }
  }
}

TEST(ReductionsPage, FigureOfMemoryIsTheLibrarys) {
  std::string const page = ReadPage("docs/reductions.md");
  auto const lines = Matches(page, R"(scaling: (\d+)x(\d+) -> (\d+)x(\d+), by the wide filter\n *memory: (\d+) bytes)");
  ASSERT_EQ(lines.size(), 1u);
  auto const number = [&](std::size_t i) { return std::stoi(lines[0][i]); };
  fourtap_rules const rules{FOURTAP_RGB24, FOURTAP_REDUCE_WIDELY, FOURTAP_ALPHA_MULTIPLY, {}};
  std::size_t bytes = 0;
  ASSERT_EQ(fourtap_picture_plan(&rules, number(1), number(2), number(3), number(4), nullptr, nullptr, &bytes),
            FOURTAP_OK);
  EXPECT_EQ(std::stoull(lines[0][5]), bytes);
}

}  // namespace
