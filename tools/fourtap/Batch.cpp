#include "fourtap/Batch.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <filesystem>
#include <map>
#include <system_error>
#include <thread>

#include "fourtap/OutputFile.h"
#include "fourtap/Picture.h"
#include "fourtap/Turns.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

int Processors() { return static_cast<int>(std::max(1u, std::thread::hardware_concurrency())); }

// The output's name with the input's in place of each {name}; in a folder, that of the input.
std::string OutputFor(Options const& options, std::string const& input) {
  if (!options.outputIsPattern) return options.output;
  std::string output = options.output;
  std::string const placeholder = "{name}";
  fs::path const path(input == "-" ? "stdin" : input);
  std::string const stem = path.stem().string();
  for (size_t at = 0; (at = output.find(placeholder, at)) != output.npos; at += stem.size()) {
    output.replace(at, placeholder.size(), stem);
  }
  // A file of that name, of a pattern that is not stdout.
  if (output == "-" && options.output != "-") return "./-";
  if (!options.outputIsFolder) return output;
  std::string suffix = ResultSuffix(path.extension().string());
  if (!options.format.empty()) {
    suffix = "." + options.format;
    std::ranges::transform(suffix, suffix.begin(), [](unsigned char c) { return std::tolower(c); });
  }
  return (fs::path(output) / (stem + suffix)).string();
}

// What a name leads to, whatever it is called.
std::string PlaceOf(std::string const& name) {
  std::error_code error;
  fs::path const place = fs::weakly_canonical(fs::absolute(name, error), error);
  return error ? name : place.string();
}

}  // namespace

Batch PlanBatch(Options const& options) {
  Batch batch{{}, options.jobs > 0 ? options.jobs : std::min(Processors(), mostOutputFiles)};
  std::map<std::string, size_t> inputByOutput;
  for (std::string const& input : options.inputs) {
    std::string const output = OutputFor(options, input);
    bool const isFirst = output == "-" || inputByOutput.emplace(PlaceOf(output), batch.outputs.size()).second;
    batch.outputs.push_back(isFirst ? std::optional(output) : std::nullopt);
  }
  for (size_t i = 0; i < options.inputs.size() && options.inputs.size() > 1; ++i) {
    auto const made = inputByOutput.find(PlaceOf(options.inputs[i]));
    // What one job reads another one writes: the order matters.
    if (made != inputByOutput.end() && made->second != i) batch.jobs = 1;
  }
  batch.jobs = static_cast<int>(std::min<size_t>(static_cast<size_t>(batch.jobs), options.inputs.size()));
  return batch;
}

int DoJobs(size_t count, int jobs, std::function<int(size_t)> const& job) {
  Turns turns(count);
  std::atomic<size_t> next = 0;
  std::atomic<int> highest = 0;
  auto const work = [&] {
    for (size_t number; (number = next++) < count;) {
      SpeakerOfThread() = {&turns, number};
      int const status = job(number);
      for (int known = highest; status > known && !highest.compare_exchange_weak(known, status);) continue;
      turns.End(number);
    }
    SpeakerOfThread() = {};
  };
  {
    std::vector<std::jthread> helpers;
    try {
      for (int helper = 1; helper < jobs; ++helper) helpers.emplace_back(work);
    } catch (std::system_error const&) {
      // Fewer do it too.
    }
    work();
  }
  return highest;
}

int ProcessorsPerJob(Options const& options) { return std::max(1, Processors() / std::max(1, options.jobs)); }

}  // namespace tool
