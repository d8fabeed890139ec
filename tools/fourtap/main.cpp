// fourtap: scales a picture file.
#include <csignal>
#include <new>

#include "conformance/SelfTest.h"
#include "fourtap/Arguments.h"
#include "fourtap/BitmapFormat.h"
#include "fourtap/Failure.h"
#include "fourtap/ScalePicture.h"

namespace {

void ScaleFile(tool::Arguments const& arguments) {
  auto const [cx, cy] = arguments.size;
  try {
    tool::Picture const source = tool::ReadBitmap(arguments.input);
    tool::CheckBitmapSize(arguments.output, cx, cy, source.bitsPerPixel);
    tool::WriteBitmap(arguments.output, tool::ScalePicture(source, cx, cy, arguments.linesPerSlice));
  } catch (std::bad_alloc const&) {
    throw tool::Failure{tool::badOutput, arguments.output + ": not enough memory to scale " + arguments.input + " to " +
                                             std::to_string(cx) + "x" + std::to_string(cy)};
  }
}

}  // namespace

int main(int argc, char** argv) {
  // A file that may not grow is then met like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    auto const arguments = tool::ParseArguments(argc, argv);
    if (!arguments) return tool::succeeded;
    if (arguments->selfTest) return conformance::RunSelfTest(stdout);
    ScaleFile(*arguments);
    return tool::succeeded;
  } catch (tool::Failure const& failure) {
    return tool::Report("fourtap", failure);
  }
}
