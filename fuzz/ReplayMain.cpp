// Runs a fuzz target over the files of a folder, without a fuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size);

int main(int argc, char** argv) {
  std::error_code error;
  std::filesystem::directory_iterator const files(argc == 2 ? argv[1] : "", error);
  int count = 0;
  for (auto const& file : files) {
    std::ifstream stream(file.path(), std::ios::binary);
    std::vector<char> const input{std::istreambuf_iterator<char>(stream), {}};
    std::printf("%s\n", file.path().c_str());
    std::fflush(stdout);  // names the culprit when the target aborts
    LLVMFuzzerTestOneInput(reinterpret_cast<uint8_t const*>(input.data()), input.size());
    ++count;
  }
  if (count == 0) std::fprintf(stderr, "usage: %s FOLDER, with at least one file in it\n", argv[0]);
  return count == 0;
}
