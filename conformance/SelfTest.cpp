#include "conformance/SelfTest.h"

#include <cinttypes>
#include <cstdint>
#include <string>
#include <vector>

#include "conformance/Cases.h"

namespace conformance {

namespace {

constexpr uint64_t caseCount = 2000;

// The layouts of the first digest, which stays what it is when more follow.
constexpr std::size_t firstLayouts = 5;

// Case 0 is a wide one.
Case CaseNumber(Layout layout, uint64_t number) {
  return number == 0 ? CaseOfSizes(layout, {1920, 9, 1280, 13}, number) : RandomCase(layout, number);
}

void AddToDigest(uint64_t& digest, Bytes const& bytes) {
  for (unsigned char const byte : bytes) digest = (digest ^ byte) * 0x100000001b3;
}

struct Row {
  Set const& set;
  std::string error;
};

}  // namespace

int RunSelfTest(std::FILE* out) {
  bool allAgree = true;
  uint64_t digest = 0xcbf29ce484222325;
  uint64_t digestOfFirst = digest;
  for (LayoutTraits const& traits : Layouts()) {
    std::vector<Row> rows;
    for (Set const& set : Sets()) rows.push_back({set, set.runnable ? "" : "not on this processor"});
    for (uint64_t number = 0; number < caseCount; ++number) {
      Trial const trial(CaseNumber(traits.layout, number));
      for (Row& row : rows) {
        if (!row.error.empty()) continue;
        row.error = RunTrial(VariantOf(traits.layout, row.set), trial);
        allAgree = allAgree && row.error.empty();
      }
      // Whatever ran has given these bytes.
      AddToDigest(digest, trial.frame);
    }
    if (&traits == &Layouts()[firstLayouts - 1]) digestOfFirst = digest;
    for (Row const& row : rows) {
      std::string const result = row.error.empty() ? std::to_string(caseCount) + " cases agree" : row.error;
      std::fprintf(out, "%-5s %-6s  %s\n", traits.name, row.set.name, result.c_str());
    }
  }
  if (!allAgree) return 1;
  std::fprintf(out, "digest %016" PRIx64 "\n", digestOfFirst);
  if (Layouts().size() > firstLayouts) std::fprintf(out, "digest of all %016" PRIx64 "\n", digest);
  return 0;
}

}  // namespace conformance
