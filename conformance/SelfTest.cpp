#include "conformance/SelfTest.h"

#include <cinttypes>
#include <cstdint>
#include <string>
#include <vector>

#include "conformance/Cases.h"

namespace conformance {

namespace {

constexpr uint64_t caseCount = 2000;

// Case 0 is a wide one.
Case CaseNumber(Layout layout, uint64_t number) {
  return number == 0 ? CaseOfSizes(layout, {1920, 9, 1280, 13}, number) : RandomCase(layout, number);
}

void AddToDigest(uint64_t& digest, Bytes const& bytes) {
  for (unsigned char const byte : bytes) digest = (digest ^ byte) * 0x100000001b3;
}

struct Row {
  Variant const* variant;
  std::string error;
};

}  // namespace

int RunSelfTest(std::FILE* out) {
  bool allAgree = true;
  uint64_t digest = 0xcbf29ce484222325;
  for (LayoutTraits const& traits : layouts) {
    std::vector<Row> rows;
    for (Variant const& variant : Variants()) {
      if (variant.layout == traits.layout)
        rows.push_back({&variant, Runnable(variant.set) ? "" : "not on this processor"});
    }
    for (uint64_t number = 0; number < caseCount; ++number) {
      Trial const trial(CaseNumber(traits.layout, number));
      for (Row& row : rows) {
        if (!row.error.empty()) continue;
        row.error = RunTrial(*row.variant, trial);
        allAgree = allAgree && row.error.empty();
      }
      // Whatever ran has given these bytes.
      AddToDigest(digest, trial.frame);
    }
    for (Row const& row : rows) {
      std::string const result = row.error.empty() ? std::to_string(caseCount) + " cases agree" : row.error;
      std::fprintf(out, "%-5s %-6s  %s\n", traits.name, row.variant->set, result.c_str());
    }
  }
  if (allAgree) std::fprintf(out, "digest %016" PRIx64 "\n", digest);
  return allAgree ? 0 : 1;
}

}  // namespace conformance
