// Times every scaler that this processor runs, and the peers, on the same frames in one process, round by round in
// random order; before that it sees to it that all variants give the same bytes and that each peer does the work.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>

#include "bench/Bands.h"
#include "bench/Peers.h"
#include "bench/Report.h"

namespace {

using namespace bench;

// What is timed.
enum class Timed { scalers, changes, threads, pictures };

struct Options {
  std::string csv;
  std::string before;  // file of another build of the library
  Timed timed = Timed::scalers;
};

// Takes the options that are this program's own out of the arguments; the rest is the benchmark library's.
Options TakeOptions(std::vector<char*>& arguments) {
  Options options;
  std::vector<char*> rest;
  auto const fileBehind = [&arguments](std::size_t i) {
    if (i + 1 == arguments.size())
      throw std::runtime_error(std::string(arguments[i]) + ": expected a file name behind it");
    return arguments[i + 1];
  };
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (std::strcmp(arguments[i], "--csv") == 0) {
      options.csv = fileBehind(i++);
    } else if (std::strcmp(arguments[i], "--before") == 0) {
      options.before = fileBehind(i++);
      options.timed = Timed::changes;
    } else if (std::strcmp(arguments[i], "--threads-only") == 0) {
      options.timed = Timed::threads;
    } else if (std::strcmp(arguments[i], "--pictures-only") == 0) {
      options.timed = Timed::pictures;
    } else {
      rest.push_back(arguments[i]);
    }
  }
  arguments = rest;
  return options;
}

void PrintUsage() {
  std::puts(
      "usage: fourtap_bench [--csv FILE] [--threads-only | --pictures-only | --before LIBRARY]\n"
      "                     [--benchmark_filter=REGEX] [--benchmark_repetitions=N]\n"
      "\n"
      "Prints ns per output pixel, and the ratio to a memcpy of (input + output bytes) / 2 in the same run. Pin it to\n"
      "one core, with taskset for instance.\n"
      "\n"
      "  --csv FILE       writes the table to FILE too\n"
      "  --threads-only   times one frame in bands on one and on two threads instead; don't pin that\n"
      "  --pictures-only  times reductions of a large picture line by line instead, and the same in steps of 2:1 at "
      "most\n"
      "  --before FILE    times every scaler beside that of another build of the library instead, libfourtapscale.so "
      "as "
      "FILE; the\n"
      "                   last column compares medians. The same build twice tells how much of that is noise\n"
      "\n"
      "The filter goes over LAYOUT/SIZES/SCALER/MODE, such as Plane/1920x1080-1280x720/fourtap-sse2/frame. Let copy\n"
      "through too, or there are no ratios. Google Benchmark's other options hold as well.");
}

std::vector<conformance::Variant> RunnableVariants(conformance::Layout layout) {
  std::vector<conformance::Variant> variants;
  for (conformance::Set const& set : conformance::Sets()) {
    if (set.runnable) variants.push_back(conformance::VariantOf(layout, set));
  }
  return variants;
}

std::string ScalerOf(conformance::Variant const& variant) { return std::string("fourtap-") + variant.set->name; }

// What a variant is timed at.
struct Mode {
  std::string name;
  Scale scale;
};

std::vector<Mode> ModesOf(Job const& job, Scalers const& scalers) {
  if (job.tilesAlone) {
    return {{"tiles-256", TileScale(job, scalers, 256, TileOrder::columns)},
            {"tiles-256-across", TileScale(job, scalers, 256, TileOrder::lines)},
            {"tiles-64", TileScale(job, scalers, 64, TileOrder::columns)},
            {"tiles-64-across", TileScale(job, scalers, 64, TileOrder::lines)}};
  }
  std::vector<Mode> modes{{"frame", FrameScale(job, scalers, 0, job.out.cy)}, {"first-call", FirstScale(job, scalers)}};
  for (int cySlice : {16, 4, 1}) {
    modes.push_back({"slices-" + std::to_string(cySlice), SliceScale(job, scalers, cySlice)});
  }
  return modes;
}

Rows RowsOf(std::vector<Job> const& jobs) {
  std::vector<Peer> const peers = Peers();
  Rows rows;
  for (Job const& job : jobs) {
    Row const& copy = rows.emplace_back(Row{&job, "copy", "memcpy", "-", CopyScale(job), Row::Kind::copy, nullptr, {}});
    for (conformance::Variant const& variant : RunnableVariants(job.layout)) {
      auto const add = [&](std::string const& mode, Scale scale) {
        rows.push_back({&job, ScalerOf(variant), mode, "4", std::move(scale), Row::Kind::variant, &copy, {}});
      };
      for (Mode& mode : ModesOf(job, LinkedScalers(variant))) add(mode.name, std::move(mode.scale));
      if (Scale checked = CheckedScale(job, *variant.set)) add("checked", std::move(checked));
    }
    // A few pixels are no smooth picture, by which peers are checked; nor are tiles theirs.
    bool const comparable = job.in.cx >= 64 && !job.tilesAlone;
    for (Peer const& peer : peers) {
      Scale scale = comparable ? peer.prepare(job) : nullptr;
      if (!scale) continue;
      bool const wider = peer.widens && (job.in.cx > job.out.cx || job.in.cy > job.out.cy);
      std::string const taps = wider ? "wider" : std::to_string(peer.taps);
      rows.push_back({&job, peer.name, "frame", taps, std::move(scale), Row::Kind::peer, &copy, {}});
    }
  }
  return rows;
}

// Each mode of each variant by the build before, and by the one that is linked.
Rows ChangedRowsOf(std::vector<Job> const& jobs, Library const& before) {
  Rows rows;
  for (Job const& job : jobs) {
    for (conformance::Variant const& variant : RunnableVariants(job.layout)) {
      Scalers const was = ScalersOf(before, variant);
      if (!was.frame || !was.slice) continue;
      std::vector<Mode> const modes = ModesOf(job, LinkedScalers(variant)), modesBefore = ModesOf(job, was);
      for (std::size_t i = 0; i < modes.size(); ++i) {
        auto const add = [&](std::string const& scaler, Scale const& scale, Row const* baseline) -> Row const& {
          return rows.emplace_back(Row{&job, scaler, modes[i].name, "4", scale, Row::Kind::variant, baseline, {}});
        };
        Row const& baseline = add(std::string("before-") + variant.set->name, modesBefore[i].scale, nullptr);
        add(ScalerOf(variant), modes[i].scale, &baseline);
      }
    }
  }
  return rows;
}

Rows ThreadRowsOf(Job const& job) {
  Rows rows;
  for (conformance::Variant const& variant : RunnableVariants(job.layout)) {
    Row const* one = nullptr;
    for (int threads : {1, 2}) {
      std::string const mode = "threads-" + std::to_string(threads);
      Scale scale = BandScale(job, LinkedScalers(variant), threads);
      rows.push_back({&job, ScalerOf(variant), mode, "4", std::move(scale), Row::Kind::variant, one, {}});
      if (!one) one = &rows.back();
    }
  }
  return rows;
}

Rows PictureRowsOf(std::vector<Job> const& jobs) {
  Rows rows;
  int const cyPush = 8;
  for (Job const& job : jobs) {
    for (conformance::Variant const& variant : RunnableVariants(job.layout)) {
      Scale picture = PictureScale(job, *variant.set, cyPush);
      if (!picture) continue;
      Row const& steps = rows.emplace_back(Row{&job,
                                               ScalerOf(variant),
                                               "steps",
                                               "4",
                                               StepsScale(job, LinkedScalers(variant), cyPush),
                                               Row::Kind::steps,
                                               nullptr,
                                               {}});
      char const* const taps = job.in.cx > 2 * job.out.cx ? "wider" : "4";
      rows.push_back({&job, ScalerOf(variant), "picture", taps, std::move(picture), Row::Kind::variant, &steps, {}});
    }
  }
  return rows;
}

std::vector<unsigned char> OutputOf(Row const& row) {
  Frame const& out = row.job->out;
  std::memset(out.bytes.get(), 0, out.capacity);
  row.scale();
  std::vector<unsigned char> pixels;
  for (int y = 0; y < out.cy; ++y) pixels.insert(pixels.end(), out.Line(y), out.Line(y) + out.lineBytes);
  return pixels;
}

void ExpectSameBytes(Row const& reference, Row const& row, std::vector<unsigned char> const& expected) {
  std::vector<unsigned char> const actual = OutputOf(row);
  std::size_t const at = static_cast<std::size_t>(std::ranges::mismatch(expected, actual).in1 - expected.begin());
  if (at == expected.size()) return;
  std::size_t const lineBytes = static_cast<std::size_t>(row.job->out.lineBytes);
  throw std::runtime_error(row.Name() + " gives other bytes than " + reference.Name() + ": " +
                           std::to_string(actual[at]) + " instead of " + std::to_string(expected[at]) + " in line " +
                           std::to_string(at / lineBytes) + ", byte " + std::to_string(at % lineBytes));
}

// Peers filter differently, but a smooth picture must look the same; RGB32's fourth byte does not count. Each of
// several steps rounds down.
void ExpectSamePicture(Row const& row, std::vector<unsigned char> const& expected) {
  std::vector<unsigned char> const actual = OutputOf(row);
  bool const fourthIgnored = row.job->layout == conformance::Layout::RGB32;
  double sum = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (!fourthIgnored || i % 4 != 3) sum += std::abs(expected[i] - actual[i]);
  }
  double const mean = sum / static_cast<double>(expected.size());
  if (mean > (row.kind == Row::Kind::steps ? 5 : 2))
    throw std::runtime_error(row.Name() + " does not scale the picture: mean error " + std::to_string(mean));
}

// Leaves noise in the sources: the slowest picture for branches, and no scaler's favourite.
void Check(std::vector<Job> const& jobs, Rows const& rows) {
  for (Job const& job : jobs) {
    std::vector<Row const*> variants, peers;
    for (Row const& row : rows) {
      if (row.job != &job) continue;
      if (row.kind == Row::Kind::variant) variants.push_back(&row);
      if (row.kind == Row::Kind::peer || row.kind == Row::Kind::steps) peers.push_back(&row);
    }
    if (variants.empty()) continue;

    FillSmoothly(job.layout, job.in);
    std::vector<unsigned char> const smooth = OutputOf(*variants[0]);
    for (Row const* peer : peers) ExpectSamePicture(*peer, smooth);

    FillWithNoise(job.in);
    std::vector<unsigned char> const noise = OutputOf(*variants[0]);
    for (Row const* variant : variants) ExpectSameBytes(*variants[0], *variant, noise);
  }
}

// Gathers the rounds instead of printing them one by one.
class RoundCollector : public benchmark::BenchmarkReporter {
 public:
  RoundCollector(Rows& rows, bool wallTime) : wallTime_(wallTime) {
    for (Row& row : rows) rows_[row.Name()] = &row;
  }

  bool ReportContext(Context const&) override { return true; }

  void ReportRuns(std::vector<Run> const& runs) override {
    for (Run const& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      Row& row = *rows_.at(run.run_name.function_name);
      double const time = wallTime_ ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
      row.rounds.push_back(time / row.job->OutputPixels());
    }
  }

 private:
  std::map<std::string, Row*> rows_;
  bool wallTime_;
};

int Run(std::vector<char*> arguments) {
  Options const options = TakeOptions(arguments);
  // What the benchmark library is told first, later arguments override.
  std::string defaults[] = {"--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=20",
                            "--benchmark_min_time=0.01"};
  for (std::size_t i = 0; i < std::size(defaults); ++i) {
    arguments.insert(arguments.begin() + 1 + static_cast<std::ptrdiff_t>(i), defaults[i].data());
  }
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data(), PrintUsage);
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  std::optional<CsvFile> csv;
  if (!options.csv.empty()) csv.emplace(options.csv);

  bool const wallTime = options.timed == Timed::threads;
  std::vector<Job> jobs = options.timed == Timed::pictures ? PictureJobs() : Jobs();
  if (options.timed == Timed::threads) jobs.resize(1);
  Library before{};
  if (options.timed == Timed::changes) before = LoadLibrary(options.before);
  Rows rows = options.timed == Timed::pictures  ? PictureRowsOf(jobs)
              : options.timed == Timed::changes ? ChangedRowsOf(jobs, before)
              : options.timed == Timed::threads ? ThreadRowsOf(jobs[0])
                                                : RowsOf(jobs);
  Check(jobs, rows);
  for (Row const& row : rows) {
    auto* const timed = benchmark::RegisterBenchmark(row.Name().c_str(), [&row](benchmark::State& state) {
      for (auto _ : state) {
        row.scale();
        benchmark::ClobberMemory();
      }
    });
    // Processor time of the whole process: it counts threads that a peer may start, and not what else runs on the core.
    if (wallTime) {
      timed->UseRealTime();
    } else {
      timed->MeasureProcessCPUTime();
    }
  }

  RoundCollector collector(rows, wallTime);
  if (benchmark::RunSpecifiedBenchmarks(&collector) == 0) return 1;
  Ratio const ratio = options.timed == Timed::scalers   ? Ratio::timesCopy
                      : options.timed == Timed::changes ? Ratio::timesBefore
                                                        : Ratio::timesAsFast;
  if (std::ranges::all_of(rows, [](Row const& row) { return row.rounds.empty(); })) return 0;  // they were listed only
  PrintTable(rows, ratio);
  if (csv) WriteCsv(*csv, rows, ratio);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run({argv, argv + argc});
  } catch (std::exception const& error) {
    std::fprintf(stderr, "fourtap_bench: %s\n", error.what());
    return 1;
  }
}
