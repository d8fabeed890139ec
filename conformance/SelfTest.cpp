#include "conformance/SelfTest.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "conformance/Cases.h"
#include "conformance/PictureCases.h"

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

// What one variant, or one set of the picture scaler, has shown.
struct Row {
  Set const& set;
  std::string error;
};

std::vector<Row> RowsOf(bool (*has)(Set const&)) {
  std::vector<Row> rows;
  for (Set const& set : Sets()) {
    if (has(set)) rows.push_back({set, set.runnable ? "" : "not on this processor"});
  }
  return rows;
}

// Cases of a layout, or of pictures; whatever ran has given these bytes, which go into the digests.
struct Course {
  SelfTest const& test;
  int done = 0;
  bool allAgree = true;
  bool ended = false;

  template <class Trial, class Make, class Run>
  void Go(char const* name, std::vector<Row> rows, Make const& make, Run const& run, Bytes Trial::*output,
          std::vector<uint64_t*> const& digests) {
    int const all = static_cast<int>((Layouts().size() + 1) * caseCount);
    for (uint64_t number = 0; number < caseCount; ++number) {
      ended = ended || (done++ % casesBetweenReports == 0 && test.goOn && !test.goOn(done, all));
      if (ended) return;
      Trial const trial(make(number));
      for (Row& row : rows) {
        if (!row.error.empty()) continue;
        row.error = run(row.set, trial);
        allAgree = allAgree && row.error.empty();
      }
      for (uint64_t* const digest : digests) AddToDigest(*digest, trial.*output);
    }
    for (Row const& row : rows) {
      std::string const result = row.error.empty() ? std::to_string(caseCount) + " cases agree" : row.error;
      char start[32];
      std::snprintf(start, sizeof start, "%-7s %-6s  ", name, row.set.name);
      test.say(start + result);
    }
  }
};

}  // namespace

bool RunSelfTest(SelfTest const& test) {
  uint64_t const empty = 0xcbf29ce484222325;
  uint64_t digestOfFirst = empty, digestOfPictures = empty, digestOfAll = empty;
  Course course{test};
  for (LayoutTraits const& traits : Layouts()) {
    std::vector<uint64_t*> digests{&digestOfAll};
    if (static_cast<std::size_t>(&traits - Layouts().data()) < firstLayouts) digests.push_back(&digestOfFirst);
    course.Go<Trial>(
        traits.name, RowsOf([](Set const&) { return true; }),
        [&](uint64_t number) { return CaseNumber(traits.layout, number); },
        [&](Set const& set, Trial const& trial) { return RunTrial(VariantOf(traits.layout, set), trial, test.fences); },
        &Trial::frame, digests);
  }
  course.Go<PictureTrial>(
      "Picture", RowsOf([](Set const& set) { return set.number != FourTapSetNone; }), RandomPictureCase,
      [&](Set const& set, PictureTrial const& trial) { return RunPictureTrial(set, trial, test.fences); },
      &PictureTrial::scaled, {&digestOfPictures});
  if (course.ended || !course.allAgree) return false;
  test.say("digest " + TextOfDigest(digestOfFirst));
  test.say("digest of pictures " + TextOfDigest(digestOfPictures));
  test.say("digest of all " + TextOfDigest(digestOfAll));
  return true;
}

}  // namespace conformance
