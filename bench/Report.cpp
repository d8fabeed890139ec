#include "bench/Report.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bench {
namespace {

double Minimum(std::vector<double> rounds) { return *std::ranges::min_element(rounds); }

double Median(std::vector<double> rounds) {
  std::ranges::sort(rounds);
  return (rounds[(rounds.size() - 1) / 2] + rounds[rounds.size() / 2]) / 2;
}

std::string Figure(double value, int decimals) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string RatioOf(Row const& row, Ratio ratio) {
  if (!row.baseline) return Figure(1, 2);
  if (row.baseline->rounds.empty()) return "";
  auto const time = ratio == Ratio::timesBefore ? Median : Minimum;
  double const timesAsLong = time(row.rounds) / time(row.baseline->rounds);
  return Figure(ratio == Ratio::timesAsFast ? 1 / timesAsLong : timesAsLong, 2);
}

// How many times as long the fastest peer with as many taps or more takes; empty for rows that no peer does the same
// as.
std::string TimesPeersOf(Row const& row, Rows const& rows) {
  if (row.kind != Row::Kind::variant || row.mode != "frame") return "";
  double fastest = 0;
  for (Row const& peer : rows) {
    if (peer.job != row.job || peer.kind != Row::Kind::peer || peer.taps == "2" || peer.rounds.empty()) continue;
    double const time = Minimum(peer.rounds);
    if (fastest == 0 || time < fastest) fastest = time;
  }
  return fastest == 0 ? "" : Figure(fastest / Minimum(row.rounds), 2);
}

constexpr char const* ratioNames[] = {"times_copy", "times_before", "times_as_fast"};

constexpr std::size_t textColumns = 5;

// One line per timed row, below the heading.
std::vector<std::vector<std::string>> Cells(Rows const& rows, Ratio ratio) {
  std::vector<std::vector<std::string>> lines{{"layout", "case", "scaler", "mode", "taps", "ns_min", "ns_median",
                                               ratioNames[static_cast<std::size_t>(ratio)], "peers_times", "rounds"}};
  for (Row const& row : rows) {
    if (row.rounds.empty()) continue;
    lines.push_back({conformance::Traits(row.job->layout).name, SizesOf(*row.job), row.scaler, row.mode, row.taps,
                     Figure(Minimum(row.rounds), 4), Figure(Median(row.rounds), 4), RatioOf(row, ratio),
                     TimesPeersOf(row, rows), std::to_string(row.rounds.size())});
  }
  return lines;
}

}  // namespace

std::string Row::Name() const {
  return std::string(conformance::Traits(job->layout).name) + "/" + SizesOf(*job) + "/" + scaler + "/" + mode;
}

void PrintTable(Rows const& rows, Ratio ratio) {
  auto const lines = Cells(rows, ratio);
  std::vector<int> widths(lines[0].size());
  for (auto const& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], static_cast<int>(line[i].size()));
  }
  std::string lastCase = lines[0][1];
  for (auto const& line : lines) {
    if (line[1] != lastCase) std::putchar('\n');
    lastCase = line[1];
    for (std::size_t i = 0; i < line.size(); ++i) {
      std::printf("%*s%s", i < textColumns ? -widths[i] : widths[i], line[i].c_str(),
                  i + 1 < line.size() ? "  " : "\n");
    }
  }
}

CsvFile::CsvFile(std::string const& fileName) : name(fileName), partName(fileName + ".part"), part(partName) {
  if (!part) throw std::runtime_error("can't write " + name + ": expected a file in a folder that can be written to");
}

CsvFile::~CsvFile() {
  std::error_code ignored;
  std::filesystem::remove(partName, ignored);
}

void WriteCsv(CsvFile& file, Rows const& rows, Ratio ratio) {
  for (auto const& line : Cells(rows, ratio)) {
    for (std::size_t i = 0; i < line.size(); ++i) file.part << line[i] << (i + 1 < line.size() ? ',' : '\n');
  }
  file.part.close();
  if (!file.part) throw std::runtime_error("can't write " + file.name + ": expected room on the disk");
  std::filesystem::rename(file.partName, file.name);
}

}  // namespace bench
