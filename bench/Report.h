// What was timed, and how it is told: a table for people, a CSV file for programs.
#pragma once

#include <deque>
#include <fstream>
#include <string>
#include <vector>

#include "bench/Job.h"

namespace bench {

struct Row {
  enum class Kind { copy, variant, peer, steps };

  Job const* job;
  std::string scaler;  // copy, fourtap-SET, before-SET, or a peer's name
  std::string mode;    // frame, first-call, checked, slices-N, tiles-N, threads-N, picture, steps
  std::string taps;    // source samples per direction
  Scale scale;
  Kind kind;
  Row const* baseline;         // what the row is compared with; null for a row that others are compared with
  std::vector<double> rounds;  // ns per output pixel

  // Unique among the rows; what a filter is matched with.
  std::string Name() const;
};

// Rows stay where they are, since they point at each other.
using Rows = std::deque<Row>;

// A column: a row's time over its baseline's, or the other way round; minimum to minimum, or median to median. The one
// behind it, peers_times, is how many times as long the fastest peer takes that has as many taps.
enum class Ratio { timesCopy, timesBefore, timesAsFast };

// A file that is replaced only when it has been written as a whole. To be made before the rows are timed, so that a
// name that can't be written is known at once.
struct CsvFile {
  std::string name, partName;
  std::ofstream part;

  explicit CsvFile(std::string const& fileName);  // throws when it can't be written
  CsvFile(CsvFile const&) = delete;
  CsvFile& operator=(CsvFile const&) = delete;
  ~CsvFile();
};

// Rows without rounds are left out of both.
void PrintTable(Rows const&, Ratio);
void WriteCsv(CsvFile&, Rows const&, Ratio);

}  // namespace bench
