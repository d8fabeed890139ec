// fourtap: scales pictures and video.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <system_error>

#include "ThisProcessor.h"
#include "conformance/SelfTest.h"
#include "fourtap/Arguments.h"
#include "fourtap/Batch.h"
#include "fourtap/Failure.h"
#include "fourtap/InputFile.h"
#include "fourtap/Progress.h"
#include "fourtap/ScalePicture.h"
#include "fourtap/Scalers.h"
#include "fourtap/video/Video.h"

namespace {

using tool::Failure;
using tool::Options;

bool IsVideo(Options const& options, tool::InputFile& input) {
  return !options.raw.empty() || input.Peek(sizeof tool::y4mSignature - 1) == tool::y4mSignature;
}

void ScaleFile(Options const& options, std::string const& name, std::string const& output) {
  tool::InputFile input(name);
  (IsVideo(options, input) ? tool::ScaleVideo : tool::ScalePicture)(options, input, output);
}

// Reports what `work` throws. Throws nothing itself, also where there is no memory for a message.
//   what  that it works on, or nothing
template <class Work>
int StatusOf(std::string_view what, Work const& work) noexcept {
  try {
    try {
      return work();
    } catch (Failure const& failure) {
      tool::Say(failure.message);
      return failure.status;
    } catch (std::exception const& fault) {
      tool::Say(std::string(what) + (what.empty() ? "" : ": ") +
                "the system doesn't give what this takes: " + fault.what() + "; expected more memory");
    }
  } catch (std::exception const&) {
    std::fputs("fourtap: there is no memory left for saying what failed; expected more memory\n", stderr);
  }
  return tool::badUsage;
}

// Scales all inputs, whatever becomes of each; returns the highest status.
int ScaleFiles(Options const& options) {
  tool::Batch const batch = tool::PlanBatch(options);
  Options ofJobs = options;
  ofJobs.jobs = batch.jobs;
  return tool::DoJobs(options.inputs.size(), batch.jobs, [&](size_t job) {
    std::string const& input = options.inputs[job];
    return StatusOf(input, [&] {
      if (!batch.outputs[job]) {
        throw Failure{tool::badUsage, "--out: the result of " + input +
                                          " would have the name of another one, expected inputs of different names"};
      }
      ScaleFile(ofJobs, input, *batch.outputs[job]);
      return int{tool::succeeded};
    });
  });
}

void PrintInfo(Options const& options) {
  std::printf("processor: %s\nsets:", processor::Name().c_str());
  for (std::string const& set : tool::AvailableSets()) std::printf(" %s", set.c_str());
  std::printf("\nin use: %s\n", tool::ChooseSet(options.set).c_str());
  if (options.inputs.empty() && options.raw.empty()) return;
  tool::InputFile input(options.inputs.empty() ? "-" : options.inputs.front());
  (IsVideo(options, input) ? tool::DescribeVideo : tool::DescribePicture)(options, input);
}

int Run(Options const& options) {
  if (options.selfTest) {
    bool const agree = conformance::RunSelfTest({.say = [](std::string const& line) { std::puts(line.c_str()); }});
    return agree ? tool::succeeded : tool::badUsage;
  }
  if (options.info) {
    PrintInfo(options);
    return tool::succeeded;
  }
  tool::ChooseSet(options.set);
  return ScaleFiles(options);
}

// A closed one of the first three would be given to the next file that is opened, and what is meant for stderr would
// land in it. Those that this opens fail as closed ones do.
void TakeStandardDescriptors() {
  for (int const descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    // Where there are no devices, the root serves as well.
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0) open("/", O_PATH);
  }
}

// What was printed has been taken, or else throws a Failure.
void FlushStdout() {
  if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return;
  throw Failure{tool::badOutput, "stdout: can't be written: " + std::generic_category().message(errno)};
}

}  // namespace

int main(int argc, char** argv) {
  // A file that may not grow is then met like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  TakeStandardDescriptors();
  return StatusOf({}, [&] {
    auto const options = tool::ParseArguments(argc, argv);
    int const status = options ? Run(*options) : tool::succeeded;
    FlushStdout();
    return status;
  });
}
