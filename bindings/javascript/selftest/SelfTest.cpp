// The self-test as a module, which calls its host for each line and now and then between.
#include "conformance/SelfTest.h"

#define HOST(name) __attribute__((import_module("host"), import_name(#name)))

extern "C" {
HOST(say) void Say(char const* line, int length);
HOST(progress) void Progress(int done, int all);

// Whether all agree.
int run_self_test() {
  return conformance::RunSelfTest(
      {.say = [](std::string const& line) { Say(line.data(), static_cast<int>(line.size())); },
       .goOn =
           [](int done, int all) {
             Progress(done, all);
             return true;
           },
       .fences = conformance::Fences::none});
}
}
