// Draws cases for hours, and runs each with one of the sets: fourtap_soak --help.
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ThisProcessor.h"
#include "conformance/Calls.h"
#include "conformance/CaseText.h"
#include "conformance/Cases.h"
#include "conformance/CheckedCases.h"
#include "conformance/OwnedContext.h"
#include "conformance/PictureCases.h"

namespace {

using namespace conformance;

enum Kind { scalers, checked, pictures, threads, wide, kindCount };
constexpr char const* kindNames[kindCount] = {"scalers", "checked functions", "pictures", "bands in threads",
                                              "sides up to 100000"};

Set const& AnySet(Random& random, bool chosenByNumber) {
  for (;;) {
    Set const& set = Sets()[static_cast<std::size_t>(random.Between(0, static_cast<int>(Sets().size()) - 1))];
    if (set.runnable && (!chosenByNumber || set.number != FourTapSetNone)) return set;
  }
}

// From 1 to `most`, as many between 10 and 20 as between 100 and 200.
int AnySide(Random& random, int most) {
  double const exponent = random.Between(0, 1 << 20) * std::log(most + 1.0) / (1 << 20);
  return std::clamp(static_cast<int>(std::exp(exponent)), 1, most);
}

Sizes InPairs(Layout layout, Sizes sizes) {
  if (Traits(layout).pairs && sizes.HorzPass()) {
    sizes.cxIn = (sizes.cxIn + 1) & ~1;
    sizes.cxOut = (sizes.cxOut + 1) & ~1;
  }
  return sizes;
}

Sizes AnySizes(Random& random, Layout layout) {
  int const mostPixels = 700;
  Sizes sizes{};
  for (auto [cx, cy] : {std::pair{&sizes.cxIn, &sizes.cyIn}, {&sizes.cxOut, &sizes.cyOut}}) {
    *cx = AnySide(random, mostPixels);
    *cy = AnySide(random, std::max(1, mostPixels / *cx));
    if (random.OneIn(2)) std::swap(*cx, *cy);
  }
  if (random.OneIn(8)) sizes.cxOut = sizes.cxIn;
  if (random.OneIn(8)) sizes.cyOut = sizes.cyIn;
  return InPairs(layout, sizes);
}

// One side of either picture is long; the other one is not.
Sizes WideSizes(Random& random, Layout layout) {
  Sizes sizes{AnySide(random, 100000), random.Between(1, 4), AnySide(random, 100000), random.Between(1, 4)};
  (random.OneIn(2) ? sizes.cxIn : sizes.cxOut) = random.Between(50000, 100000);
  if (random.OneIn(2)) {
    std::swap(sizes.cxIn, sizes.cyIn);
    std::swap(sizes.cxOut, sizes.cyOut);
  }
  return InPairs(layout, sizes);
}

// Bands of one frame, each in a thread and a context of its own.
std::string RunBands(Variant const& variant, Trial const& trial, int bandCount) {
  Case const& what = trial.what;
  Sizes const& sizes = what.sizes;
  GuardedImage const source = ImageOf(what.layout, sizes.cxIn, sizes.cyIn, what.source);
  GuardedImage const output = ImageOf(what.layout, sizes.cxOut, sizes.cyOut, what.destination);
  source.CopyFrom(trial.picture.data());
  source.Allow(Access::read);
  output.Fill(untouched);
  output.Allow(Access::readWrite);
  std::vector<std::string> errors(static_cast<std::size_t>(bandCount));
  std::vector<std::thread> crew;
  for (int band = 0; band < bandCount; ++band) {
    crew.emplace_back([&, band] {
      int const first = sizes.cyOut * band / bandCount, end = sizes.cyOut * (band + 1) / bandCount;
      OwnedContext const context(
          InitScaleContext(sizes.cxIn, sizes.cyIn, sizes.cxOut, sizes.cyOut, Traits(what.layout).bitsPerPixel));
      errors[static_cast<std::size_t>(band)] = CallError([&] {
        variant.frame(context.get(), source.Top(), source.Stride(), output.Line(first), output.Stride(), 0, first,
                      sizes.cxOut, end - first);
      });
    });
  }
  for (std::thread& thread : crew) thread.join();
  std::string error;
  for (std::string const& ofBand : errors) error = error.empty() ? ofBand : error;
  if (error.empty()) error = Difference(output, trial.frame.data(), 0, sizes.cyOut);
  if (error.empty() && !output.GapsIntact()) error = "writes between or around the lines";
  if (error.empty()) return "";
  return std::string(Traits(what.layout).name) + " " + variant.set->name + " in " + std::to_string(bandCount) +
         " bands (" + TextOf(what) + "): " + error;
}

struct Outcome {
  Kind kind;
  std::string error;
};

// Everything about a case follows from the two numbers.
Outcome RunCase(uint64_t seed, uint64_t number) {
  Random random(seed * 0x9e3779b97f4a7c15 + number);
  uint64_t const ofPicture = random.Next();
  int const draw = random.Between(0, 9999);
  if (draw >= 9000) {
    Set const& set = AnySet(random, true);
    return {pictures, RunPictureTrial(set, PictureTrial(RandomPictureCase(ofPicture)))};
  }
  Layout const layout =
      Layouts()[static_cast<std::size_t>(random.Between(0, static_cast<int>(Layouts().size()) - 1))].layout;
  if (draw == 0) {
    Trial const trial(CaseOfSizes(layout, WideSizes(random, layout), ofPicture));
    Set const& set = AnySet(random, false);
    if (set.number != FourTapSetNone && random.OneIn(4)) return {wide, RunCheckedTrial(set, trial)};
    return {wide, RunTrial(VariantOf(layout, set), trial)};
  }
  Trial const trial(random.OneIn(2) ? RandomCase(layout, ofPicture)
                                    : CaseOfSizes(layout, AnySizes(random, layout), ofPicture));
  if (draw < 2500) return {checked, RunCheckedTrial(AnySet(random, true), trial)};
  Variant const& variant = VariantOf(layout, AnySet(random, false));
  if (draw < 3000) {
    int const bands = random.Between(2, 4);
    std::string const error = CatchingFaults(Fences::pages, [&] { return RunBands(variant, trial, bands); });
    return {threads, error};
  }
  return {scalers, RunTrial(variant, trial)};
}

// What a job's process tells the one that watches it.
struct Job {
  std::atomic<uint64_t> number;
  std::atomic<uint64_t> done[kindCount];
  std::atomic<bool> ended;
};

struct Options {
  double hours = 1;
  uint64_t seed = 0;
  uint64_t first = 0, cases = UINT64_MAX;
  unsigned jobs = std::max(1u, std::thread::hardware_concurrency());
  std::optional<uint64_t> onlyCase;
  std::string results;
};

std::string AgainCommand(uint64_t seed, uint64_t number) {
  return "fourtap_soak --seed " + std::to_string(seed) + " --case " + std::to_string(number);
}

std::atomic<bool> interrupted;

// Runs every `jobs`th case, in a process of its own: faults are caught by a handler of the process.
int WorkOn(Options const& options, unsigned which, Job& job, std::chrono::steady_clock::time_point until) {
  for (uint64_t i = which; i < options.cases && !interrupted; i += options.jobs) {
    if (std::chrono::steady_clock::now() >= until) break;
    uint64_t const number = options.first + i;
    job.number = number;
    Outcome const outcome = RunCase(options.seed, number);
    if (!outcome.error.empty()) {
      std::printf("\n%s\n    %s\n", outcome.error.c_str(), AgainCommand(options.seed, number).c_str());
      std::fflush(stdout);
      return 1;
    }
    ++job.done[outcome.kind];
  }
  job.ended = true;
  return 0;
}

uint64_t Done(Job const* jobs, unsigned count, int kind) {
  uint64_t done = 0;
  for (unsigned i = 0; i < count; ++i) done += jobs[i].done[kind];
  return done;
}

uint64_t AllDone(Job const* jobs, unsigned count) {
  uint64_t done = 0;
  for (int kind = 0; kind < kindCount; ++kind) done += Done(jobs, count, kind);
  return done;
}

std::string Summary(Options const& options, Job const* jobs, double seconds, bool agree) {
  char date[32];
  std::time_t const now = std::time(nullptr);
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M", std::gmtime(&now));
  std::string kinds;
  for (int kind = 0; kind < kindCount; ++kind) {
    kinds +=
        (kind > 0 ? ", " : "") + std::string(kindNames[kind]) + " " + std::to_string(Done(jobs, options.jobs, kind));
  }
  std::string sets;
  for (Set const& set : Sets()) sets += set.runnable ? std::string(" ") + set.name : "";
  return std::string(date) + " " + processor::Name() + ", sets" + sets + ": seed " + std::to_string(options.seed) +
         ", " + std::to_string(AllDone(jobs, options.jobs)) + " cases from " + std::to_string(options.first) + " on (" +
         kinds + ") in " + std::to_string(static_cast<int64_t>(seconds)) +
         " s: " + (agree ? "all agree" : "A CASE FAILED");
}

int Soak(Options const& options) {
  void* const shared =
      mmap(nullptr, options.jobs * sizeof(Job), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw std::bad_alloc();
  Job* const jobs = static_cast<Job*>(shared);
  auto const started = std::chrono::steady_clock::now();
  auto const seconds = [&] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  };
  auto const until = started + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                   std::chrono::duration<double>(options.hours * 3600));
  signal(SIGINT, [](int) { interrupted = true; });
  signal(SIGTERM, [](int) { interrupted = true; });
  std::printf("seed %" PRIu64 ", %u jobs, %s\n", options.seed, options.jobs, processor::Name().c_str());
  std::fflush(stdout);
  std::vector<pid_t> processes;
  for (unsigned i = 0; i < options.jobs; ++i) {
    new (jobs + i) Job{};
    pid_t const process = fork();
    if (process == 0) {
      int status = 1;
      // Around all cases, which then leave the signal's handler as it is.
      CatchingFaults(Fences::pages, [&] {
        status = WorkOn(options, i, jobs[i], until);
        return std::string();
      });
      _exit(status);
    }
    if (process < 0) throw std::bad_alloc();
    processes.push_back(process);
  }
  bool agree = true;
  auto const look = [&](unsigned i, int flags) {
    int status = 0;
    if (processes[i] < 0 || waitpid(processes[i], &status, flags) != processes[i]) return;
    processes[i] = -1;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
    agree = false;
    if (!WIFEXITED(status)) {
      std::printf("\nsignal %d\n    %s\n", WTERMSIG(status), AgainCommand(options.seed, jobs[i].number).c_str());
    }
  };
  double said = 0;
  while (agree && std::any_of(processes.begin(), processes.end(), [](pid_t process) { return process >= 0; })) {
    for (unsigned i = 0; i < options.jobs; ++i) look(i, WNOHANG);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    if (seconds() - said < 10) continue;
    said = seconds();
    std::printf("\r%12" PRIu64 " cases agree after %.0f s", AllDone(jobs, options.jobs), said);
    std::fflush(stdout);
  }
  for (unsigned i = 0; i < options.jobs; ++i) {
    if (processes[i] >= 0) kill(processes[i], SIGTERM);
    look(i, 0);
  }
  std::string const summary = Summary(options, jobs, seconds(), agree);
  std::printf("\n%s\n", summary.c_str());
  if (!options.results.empty()) {
    std::FILE* const file = std::fopen(options.results.c_str(), "a");
    bool const written = file && std::fprintf(file, "%s\n", summary.c_str()) > 0;
    if (!file || std::fclose(file) != 0 || !written) {
      std::fprintf(stderr, "fourtap_soak: %s can't be written, expected a file to append to\n",
                   options.results.c_str());
      return 1;
    }
  }
  return agree ? 0 : 1;
}

constexpr char help[] =
    "fourtap_soak [--hours H] [--seed S] [--from N] [--cases N] [--jobs N] [--results FILE]\n"
    "  Runs cases drawn from the seed, each with one of the processor's sets, on memory between protected pages, "
    "until\n"
    "  the time is over or one fails; without a seed, from one of its own. Appends a line to the file.\n"
    "fourtap_soak --seed S --case N\n"
    "  One case again.\n";

[[noreturn]] void Refuse(std::string const& what) {
  std::fprintf(stderr, "fourtap_soak: %s\n", what.c_str());
  std::exit(2);
}

double NumberOf(std::string const& option, char const* text, double most) {
  char* end;
  double const number = std::strtod(text, &end);
  if (end == text || *end != '\0' || !(number >= 0 && number <= most)) {
    Refuse(option + " is " + text + ", expected a number from 0 to " + std::to_string(static_cast<int64_t>(most)));
  }
  return number;
}

Options Read(int argc, char** argv) {
  Options options;
  double const most = 1e15;  // numbers that a double has all of
  options.seed = std::random_device()() % 1000000000;
  for (int i = 1; i < argc; ++i) {
    std::string const option = argv[i];
    if (option == "--help") {
      std::fputs(help, stdout);
      std::exit(0);
    }
    if (++i == argc) Refuse(option + " given alone, expected an option and its value; see --help");
    auto const number = [&](double upTo) { return static_cast<uint64_t>(NumberOf(option, argv[i], upTo)); };
    if (option == "--hours") {
      options.hours = NumberOf(option, argv[i], 10000);
    } else if (option == "--seed") {
      options.seed = number(most);
    } else if (option == "--from") {
      options.first = number(most);
    } else if (option == "--cases") {
      options.cases = number(most);
    } else if (option == "--case") {
      options.onlyCase = number(most);
    } else if (option == "--jobs") {
      options.jobs = static_cast<unsigned>(std::max(uint64_t{1}, number(4096)));
    } else if (option == "--results") {
      options.results = argv[i];
    } else {
      Refuse(option + " given, expected an option that --help lists");
    }
  }
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  Options const options = Read(argc, argv);
  if (!options.onlyCase) return Soak(options);
  Outcome const outcome = RunCase(options.seed, *options.onlyCase);
  std::printf("%s: %s\n", kindNames[outcome.kind], outcome.error.empty() ? "agrees" : outcome.error.c_str());
  return outcome.error.empty() ? 0 : 1;
}
