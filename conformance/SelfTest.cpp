#include "conformance/SelfTest.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
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

constexpr int casesBetweenReports = 100;

std::string TextOfDigest(uint64_t digest) {
  char text[17];
  std::snprintf(text, sizeof text, "%016" PRIx64, digest);
  return text;
}

struct Row {
  Set const& set;
  std::string error;
};

}  // namespace

bool RunSelfTest(SelfTest const& test) {
  bool allAgree = true;
  uint64_t digest = 0xcbf29ce484222325;
  uint64_t digestOfFirst = digest;
  int done = 0;
  int const all = static_cast<int>(Layouts().size() * caseCount);
  for (LayoutTraits const& traits : Layouts()) {
    std::vector<Row> rows;
    for (Set const& set : Sets()) rows.push_back({set, set.runnable ? "" : "not on this processor"});
    for (uint64_t number = 0; number < caseCount; ++number) {
      if (done++ % casesBetweenReports == 0 && test.goOn && !test.goOn(done, all)) return false;
      Trial const trial(CaseNumber(traits.layout, number));
      for (Row& row : rows) {
        if (!row.error.empty()) continue;
        row.error = RunTrial(VariantOf(traits.layout, row.set), trial, test.fences);
        allAgree = allAgree && row.error.empty();
      }
      // Whatever ran has given these bytes.
      AddToDigest(digest, trial.frame);
    }
    if (&traits == &Layouts()[firstLayouts - 1]) digestOfFirst = digest;
    for (Row const& row : rows) {
      std::string const result = row.error.empty() ? std::to_string(caseCount) + " cases agree" : row.error;
      char start[32];
      std::snprintf(start, sizeof start, "%-6s %-6s  ", traits.name, row.set.name);
      test.say(start + result);
    }
  }
  if (!allAgree) return false;
  test.say("digest " + TextOfDigest(digestOfFirst));
  if (Layouts().size() > firstLayouts) test.say("digest of all " + TextOfDigest(digest));
  return true;
}

}  // namespace conformance
