// fourtap: scales pictures and video.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <set>

#include "ThisProcessor.h"
#include "conformance/SelfTest.h"
#include "fourtap/Arguments.h"
#include "fourtap/Failure.h"
#include "fourtap/InputFile.h"
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

// The output's name with the input's in place of each {name}.
std::string OutputFor(Options const& options, std::string const& input) {
  std::string output = options.output;
  std::string const placeholder = "{name}";
  std::string const stem = input == "-" ? "stdin" : std::filesystem::path(input).stem().string();
  for (size_t at = 0; options.outputIsPattern && (at = output.find(placeholder, at)) != output.npos;
       at += stem.size()) {
    output.replace(at, placeholder.size(), stem);
  }
  return output;
}

// Scales all inputs, whatever becomes of each; returns the highest status.
int ScaleFiles(Options const& options) {
  std::set<std::string> outputs;
  for (std::string const& input : options.inputs) {
    if (!outputs.insert(OutputFor(options, input)).second) {
      throw Failure{tool::badUsage, "--out: " + OutputFor(options, input) +
                                        " would be written twice, expected inputs " + "of different names"};
    }
  }
  int status = tool::succeeded;
  for (std::string const& input : options.inputs) {
    try {
      ScaleFile(options, input, OutputFor(options, input));
    } catch (Failure const& failure) {
      status = std::max(status, tool::Report("fourtap", failure));
    }
  }
  return status;
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

}  // namespace

int main(int argc, char** argv) {
  // A file that may not grow is then met like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    auto const options = tool::ParseArguments(argc, argv);
    return options ? Run(*options) : tool::succeeded;
  } catch (Failure const& failure) {
    return tool::Report("fourtap", failure);
  }
}
