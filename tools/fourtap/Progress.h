// How far the work has come, on stderr.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "fourtap/Options.h"
#include "fourtap/Turns.h"

namespace tool {

struct ProgressReport {
  enum class Style { none, text, json } style;
  std::string name;  // of the input
  std::string unit;  // what is counted, in the plural
  int64_t total;     // 0: not known
  Speaker speaker;   // of the thread that made it
  std::chrono::steady_clock::time_point start, last;
  int64_t done = 0;

  ProgressReport(Options const& options, std::string const& inputName, char const* units, int64_t totalUnits);
  // Prints a few times a second.
  void Update(int64_t unitsDone);
  // Prints that all is done.
  void Finish();
  ~ProgressReport();

 private:
  void Print();
  bool printed = false;  // a line of text that is not ended
};

// A number of bytes, rounded up.
inline std::string MemoryText(int64_t bytes) { return std::to_string((bytes + (1 << 20) - 1) >> 20) + " MiB"; }

// Prints a line on stderr.
void Say(std::string const& text);

// Prints a line on stderr, unless the user wants it quiet.
void Warn(Options const& options, std::string const& text);

// Prints a line on stderr when the user wants to know.
void Remark(Options const& options, std::string const& text);

}  // namespace tool
