// Runs the scalers over all that four bytes can be, in each of the sixteen phases, and compares every byte with the
// formula: fourtap_prove --help.
#include <fourtapscale/FourTapFilters.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ThisProcessor.h"
#include "conformance/Model.h"
#include "conformance/OwnedContext.h"
#include "conformance/QuadCycle.h"
#include "conformance/Variants.h"

namespace {

using namespace conformance;

// The source is a stretch of the cycle (QuadCycle.h), whatever the layout, and its lines are stretches of that. A sweep
// goes along the cycle frame by frame.
enum class Way {
  line,   // the exported vertical filter: sixteen lines of a frame, each of another phase, from the same four
  down,   // a scaler where the height alone changes: sixteen lines, so that it meets all phases
  along,  // a scaler where the width alone changes
};

enum class Which { all, turning, wide };  // sets

struct Sweep {
  char const* name;
  Way way;
  Layout layout;
  int in, out;     // the ratio: so many samples become so many, with as many phases
  int first;       // down: so many lines behind one of phase 0 the frame begins
  int repeats;     // along: so often the ratio's samples recur in a line
  int lines;       // along: of a frame
  int cycles = 1;  // along the whole cycle so often
  Which sets = Which::all;
};

// What a scaler does to each of its sixteen phases is seen in one of the sweeps of its way of filtering.
//
// Down: lines go in pairs, which share what they read if their source lines are the same, or are one or two lines
// apart. Either line of a pair has to have every phase.
//
// Along: sets that turn blocks go phase by phase, or, where phases recur too seldom, sample by sample; and line by line
// where lines are too few for a block. The wide ones have a way for each of several ranges of ratios. Where a pixel has
// several bytes, each of which stands for its windows, all together see all windows; RGB32's fourth has none, and
// chroma windows begin at every other byte: these layouts go along the cycle twice, whose length is odd. Where lines
// shrink, windows of a phase lie so many bytes apart as the ratio's samples have; there are as many lines, each of
// which begins a byte behind the one before, so that these windows are all. Lines of half the length have phase 8
// alone.
constexpr Sweep sweeps[] = {
    {"line", Way::line, Layout::Plane, 1, 16, 0, 0, 16},
    {"down 1:16", Way::down, Layout::Plane, 1, 16, 0, 0, 16},
    {"down 49:16", Way::down, Layout::Plane, 49, 16, 0, 0, 16},
    {"down 15:16", Way::down, Layout::Plane, 15, 16, 0, 0, 16, 1, Which::wide},
    {"down 15:16 other", Way::down, Layout::Plane, 15, 16, 1, 0, 16, 1, Which::wide},
    {"down 17:16", Way::down, Layout::Plane, 17, 16, 0, 0, 16, 1, Which::wide},
    {"down 17:16 other", Way::down, Layout::Plane, 17, 16, 1, 0, 16, 1, Which::wide},
    {"down 31:16", Way::down, Layout::Plane, 31, 16, 0, 0, 16, 1, Which::wide},
    {"down 31:16 other", Way::down, Layout::Plane, 31, 16, 1, 0, 16, 1, Which::wide},
    {"down 33:16", Way::down, Layout::Plane, 33, 16, 0, 0, 16, 1, Which::wide},
    {"down 33:16 other", Way::down, Layout::Plane, 33, 16, 1, 0, 16, 1, Which::wide},
    {"along Plane", Way::along, Layout::Plane, 1, 16, 0, 96, 64},
    {"along RGB24", Way::along, Layout::RGB24, 1, 16, 0, 32, 64},
    {"along RGB32", Way::along, Layout::RGB32, 1, 16, 0, 24, 64, 2},
    {"along XYXY", Way::along, Layout::XYXY, 1, 16, 0, 24, 64, 2},
    {"along YXYX", Way::along, Layout::YXYX, 1, 16, 0, 24, 64, 2},
    {"along UV16", Way::along, Layout::UV16, 1, 16, 0, 48, 64},
    {"along RGBA32", Way::along, Layout::RGBA32, 1, 16, 0, 24, 64},
    {"along few", Way::along, Layout::Plane, 1, 16, 0, 4, 64, 1, Which::turning},
    {"along few RGBA32", Way::along, Layout::RGBA32, 1, 16, 0, 1, 64, 1, Which::turning},
    {"along lines", Way::along, Layout::Plane, 1, 16, 0, 960, 3, 1, Which::turning},
    {"along 2:1", Way::along, Layout::Plane, 32, 16, 0, 48, 32, 1, Which::wide},
    {"along 11:16", Way::along, Layout::UV16, 11, 16, 0, 48, 22, 1, Which::wide},
    {"along 19:16", Way::along, Layout::Plane, 19, 16, 0, 48, 19, 1, Which::wide},
    {"along 29:16", Way::along, Layout::UV16, 29, 16, 0, 48, 58, 1, Which::wide},
    {"along 31:16", Way::along, Layout::Plane, 31, 16, 0, 48, 31, 1, Which::wide},
    {"along 67:16", Way::along, Layout::Plane, 67, 16, 0, 24, 67, 1, Which::wide},
};

// What output bytes of a frame come from.
enum class Pieces {
  beside,  // all of the same phase, beside each other as what they come from
  phases,  // sixteen from the same four bytes, one for each phase
  apart,   // one of each line, where lines begin a byte behind the one before
};
struct Piece {
  int to, toStep;  // bytes from the start of the output, and from one to the next
  int from;        // bytes from the start of the stretch of the cycle
  int distance;    // from one of the four source bytes to the next
  int phase;
  int count;
};

// All frames of a sweep are alike.
struct Frame {
  Sizes sizes;
  Rect rect;
  int srcStride, dstStride;
  int srcBytes, dstBytes;
  int64_t advance;  // bytes of the cycle from one to the next
  int64_t count;
  int lines;
  Pieces kind;
  std::vector<Piece> pieces;  // of the output, or of its first line if `lines` are alike
};

// Of byte i of a piece: bytes from the start of the output and of the stretch, and the phase.
struct Byte {
  std::ptrdiff_t to, from;
  int phase;
};
Byte ByteOf(Frame const& frame, Piece const& piece, int i) {
  return {piece.to + std::ptrdiff_t{i} * piece.toStep, piece.from + (frame.kind == Pieces::beside ? i : 0),
          piece.phase + (frame.kind == Pieces::phases ? i : 0)};
}

// Where lines are filtered along and shrink.
int const mostLinesApart = 128;
int const columnsDown = 4096;
// So far apart lie the lines of frames that are filtered down: all are aligned alike.
int const linesApart = 64;

int64_t FramesOf(Sweep const& sweep, int64_t advance) {
  return (static_cast<int64_t>(quadCycleBytes) * sweep.cycles + advance - 1) / advance;
}

Frame FrameDown(Sweep const& sweep) {
  // One unit of lines stands before the frame, so that its windows are within the picture.
  int const units = 7;
  Frame frame{{columnsDown, units * sweep.in, columnsDown, units * sweep.out},
              {0, sweep.out + sweep.first, columnsDown, 16},
              linesApart,
              columnsDown,
              columnsDown + units * sweep.in * linesApart,
              16 * columnsDown,
              columnsDown,
              FramesOf(sweep, columnsDown),
              1,
              Pieces::beside,
              {}};
  for (int y = 0; y < 16; ++y) {
    Place place = PlaceOf(frame.sizes.cyIn, frame.sizes.cyOut, frame.rect.y + y);
    if (sweep.way == Way::line) place = {1, y};
    int const from = static_cast<int>(place.before - 1) * linesApart;
    frame.pieces.push_back({y * columnsDown, 1, from, linesApart, place.phase, columnsDown});
  }
  return frame;
}

Frame FrameAlong(Sweep const& sweep) {
  LayoutTraits const& traits = Traits(sweep.layout);
  // A unit of the ratio's samples stands before what is asked for, and some behind it.
  int const pixelsPerSample = traits.pairs ? 2 : 1;
  int const pixelsIn = sweep.in * pixelsPerSample, pixelsOut = sweep.out * pixelsPerSample;
  int const units = sweep.repeats + 5;
  bool const enlarges = sweep.in == 1;
  int const windowBytes = sweep.repeats * pixelsIn * traits.BytesPerPixel();
  // Each line goes on where the windows of the one before end, or they share theirs.
  int const srcStride = enlarges ? windowBytes : 1;
  int const advance = enlarges ? sweep.lines * windowBytes : windowBytes;
  int const lineBytes = sweep.repeats * pixelsOut * traits.BytesPerPixel();
  Sizes const sizes{units * pixelsIn, sweep.lines, units * pixelsOut, sweep.lines};
  Frame frame{sizes,
              {pixelsOut, 0, sweep.repeats * pixelsOut, sweep.lines},
              srcStride,
              lineBytes,
              sizes.cxIn * traits.BytesPerPixel() + sweep.lines * srcStride,
              sweep.lines * lineBytes,
              advance,
              FramesOf(sweep, advance),
              sweep.lines,
              enlarges ? Pieces::phases : Pieces::apart,
              {}};
  for (Component const& component : ComponentsOf(sweep.layout)) {
    int const nIn = sizes.cxIn / component.pixelsPerSample, nOut = sizes.cxOut / component.pixelsPerSample;
    int const first = frame.rect.x / component.pixelsPerSample;
    int const count = enlarges ? 16 : 1;
    for (int i = 0; i < frame.rect.cx / component.pixelsPerSample; i += count) {
      Place const place = PlaceOf(nIn, nOut, first + i);
      int const from = static_cast<int>(place.before - 1) * component.distance + component.firstByte;
      frame.pieces.push_back({i * component.distance + component.firstByte, component.distance, from,
                              component.distance, place.phase, count});
    }
  }
  return frame;
}

Frame FrameOf(Sweep const& sweep) { return sweep.way == Way::along ? FrameAlong(sweep) : FrameDown(sweep); }

// The formula, in loops that a compiler makes vectors of. Sums are below 2^14.
typedef unsigned short Word;

void FormulaBeside(unsigned char const* __restrict from, std::ptrdiff_t distance, Word const (&weights)[4], int count,
                   unsigned char* __restrict to) {
  Word const own[4] = {weights[0], weights[1], weights[2], weights[3]};
  for (int i = 0; i < count; ++i) {
    auto const product = [&](int t) { return static_cast<Word>(own[t] * from[i + t * distance]); };
    to[i] = static_cast<unsigned char>(static_cast<Word>(product(0) + product(1) + product(2) + product(3)) >> 6);
  }
}

typedef Word Words __attribute__((vector_size(32)));

struct Weights {
  Word ofPhase[16][4];
  Words ofTap[4];  // of all phases
};

Weights AllWeights() {
  Weights all;
  for (int phase = 0; phase < 16; ++phase) {
    for (int t = 0; t < 4; ++t) all.ofPhase[phase][t] = all.ofTap[t][phase] = static_cast<Word>(WeightsOf(phase)[t]);
  }
  return all;
}

void FormulaOfPhases(unsigned char const* from, std::ptrdiff_t distance, Weights const& weights, unsigned char* to,
                     std::ptrdiff_t toStep) {
  Words sums{};
  for (int t = 0; t < 4; ++t) sums += weights.ofTap[t] * static_cast<Word>(from[t * distance]);
  typedef unsigned char Results __attribute__((vector_size(16)));
  Results const results = __builtin_convertvector(sums >> 6, Results);
  if (toStep == 1) {
    std::memcpy(to, &results, sizeof results);
  } else {
    for (int phase = 0; phase < 16; ++phase) to[phase * toStep] = results[phase];
  }
}

void FormulaOfFrame(Frame const& frame, Weights const& weights, unsigned char const* source, unsigned char* output) {
  switch (frame.kind) {
    case Pieces::beside:
      for (Piece const& piece : frame.pieces) {
        FormulaBeside(source + piece.from, piece.distance, weights.ofPhase[piece.phase], piece.count,
                      output + piece.to);
      }
      return;
    case Pieces::phases:
      for (int y = 0; y < frame.lines; ++y, source += frame.srcStride, output += frame.dstStride) {
        for (Piece const& piece : frame.pieces) {
          FormulaOfPhases(source + piece.from, piece.distance, weights, output + piece.to, piece.toStep);
        }
      }
      return;
    case Pieces::apart:
      unsigned char ofLines[mostLinesApart];
      for (Piece const& piece : frame.pieces) {
        FormulaBeside(source + piece.from, piece.distance, weights.ofPhase[piece.phase], frame.lines, ofLines);
        unsigned char* to = output + piece.to;
        for (int y = 0; y < frame.lines; ++y, to += frame.dstStride) *to = ofLines[y];
      }
  }
}

typedef decltype(FourTapVertFilter_c) VertFilter;

VertFilter* VertFilterOf(Set const& set) {
#define VERT_FILTER_OF(with, name, ...) FourTapVertFilter_##name,
  static VertFilter* const filters[] = {FOURTAP_SETS(VERT_FILTER_OF, )};
#undef VERT_FILTER_OF
  return filters[&set - Sets().data()];
}

void RunFrame(Sweep const& sweep, Frame const& frame, Set const& set, _SCALE_CONTEXT* context,
              unsigned char const* source, unsigned char* output) {
  if (sweep.way != Way::line) {
    VariantOf(sweep.layout, set)
        .frame(context, source, frame.srcStride, output, frame.dstStride, frame.rect.x, frame.rect.y, frame.rect.cx,
               frame.rect.cy);
    return;
  }
  for (Piece const& piece : frame.pieces) {
    short coefs[4];
    std::copy_n(WeightsOf(piece.phase), 4, coefs);
    unsigned char const* const line = source + piece.from;
    VertFilterOf(set)(output + piece.to, line, line + piece.distance, line + 2 * piece.distance,
                      line + 3 * piece.distance, piece.count, coefs);
  }
}

struct Options {
  std::vector<Set const*> sets;
  std::vector<Sweep const*> sweeps;
  int64_t part = 1, parts = 1;
  std::optional<int64_t> frame;
  int coveredPhase = -1;
  unsigned threads = std::max(1u, std::thread::hardware_concurrency());
};

struct Totals {
  std::atomic<int64_t> compared = 0;
  std::atomic<bool> failed = false;
};

// What one difference says: the bytes it came from, and the command that shows it again.
void Report(Sweep const& sweep, Frame const& frame, int64_t number, Set const& set, unsigned char const* source,
            unsigned char const* output, unsigned char const* expected) {
  auto const at = std::mismatch(output, output + frame.dstBytes, expected).first - output;
  std::ptrdiff_t const line = frame.lines > 1 ? at / frame.dstStride : 0;
  std::string came = "a byte that no sample fills";
  for (Piece const& piece : frame.pieces) {
    for (int i = 0; i < piece.count; ++i) {
      Byte const byte = ByteOf(frame, piece, i);
      if (byte.to != at - line * frame.dstStride) continue;
      unsigned char const* const from = source + line * frame.srcStride + byte.from;
      came = "phase " + std::to_string(byte.phase) + " of";
      for (int t = 0; t < 4; ++t) came.append(" ").append(std::to_string(from[t * piece.distance]));
    }
  }
  std::printf("%s, %s: byte %td is %d, expected %d: %s\n    fourtap_prove --sweep '%s' --set %s --frame %" PRId64 "\n",
              sweep.name, set.name, at, output[at], expected[at], came.c_str(), sweep.name, set.name, number);
}

// Takes the frames from `next` to `end`, and the one of zeros that the cycle lacks.
void Work(Sweep const& sweep, Frame const& frame, std::vector<Set const*> const& sets, std::atomic<int64_t>& next,
          int64_t end, Totals& totals, std::mutex& reporting) {
  OwnedContext const context(InitScaleContext(frame.sizes.cxIn, frame.sizes.cyIn, frame.sizes.cxOut, frame.sizes.cyOut,
                                              Traits(sweep.layout).bitsPerPixel));
  std::size_t const dstBytes = static_cast<std::size_t>(frame.dstBytes);
  Bytes source(static_cast<std::size_t>(frame.srcBytes)), expected(dstBytes), output(dstBytes);
  Weights const weights = AllWeights();
  for (int64_t number; !totals.failed && (number = next++) <= end;) {
    if (number == end) {
      std::fill(source.begin(), source.end(), 0);
    } else {
      ReadQuadCycle(static_cast<uint64_t>(number * frame.advance), source.data(), source.size());
    }
    FormulaOfFrame(frame, weights, source.data(), expected.data());
    for (Set const* const set : sets) {
      std::memset(output.data(), 0xa5, dstBytes);
      RunFrame(sweep, frame, *set, context.get(), source.data(), output.data());
      if (std::memcmp(output.data(), expected.data(), dstBytes) != 0) {
        std::lock_guard const lock(reporting);
        if (!totals.failed.exchange(true)) {
          Report(sweep, frame, number, *set, source.data(), output.data(), expected.data());
        }
        return;
      }
    }
    totals.compared += static_cast<int64_t>(sets.size()) * frame.dstBytes;
  }
}

bool Covers(Sweep const& sweep, Set const& set) {
  bool const wide = set.blockLines == 1;
  return set.runnable && (sweep.sets == Which::all || (sweep.sets == Which::wide) == wide);
}

// Counts the quads that a sweep sees in one phase.
void CountCovered(Sweep const& sweep, int phase) {
  Frame const frame = FrameOf(sweep);
  std::vector<uint64_t> seen(std::size_t{1} << 26);
  uint64_t count = 0;
  Bytes source(static_cast<std::size_t>(frame.srcBytes));
  for (int64_t number = 0; number <= frame.count; ++number) {
    if (number == frame.count) {
      std::fill(source.begin(), source.end(), 0);
    } else {
      ReadQuadCycle(static_cast<uint64_t>(number * frame.advance), source.data(), source.size());
    }
    for (int y = 0; y < frame.lines; ++y) {
      for (Piece const& piece : frame.pieces) {
        for (int i = 0; i < piece.count; ++i) {
          Byte const byte = ByteOf(frame, piece, i);
          if (byte.phase != phase) continue;
          unsigned char const* const from = source.data() + std::ptrdiff_t{y} * frame.srcStride + byte.from;
          uint32_t quad = 0;
          for (int t = 0; t < 4; ++t) quad = quad << 8 | from[t * piece.distance];
          uint64_t& word = seen[quad >> 6];
          uint64_t const bit = uint64_t{1} << (quad & 63);
          count += (word & bit) == 0;
          word |= bit;
        }
      }
    }
  }
  std::printf("%-18s phase %d: %" PRIu64 " of 4294967296 quads\n", sweep.name, phase, count);
  std::fflush(stdout);
}

int const usageError = 2;

[[noreturn]] void Refuse(std::string const& what) {
  std::fprintf(stderr, "fourtap_prove: %s\n", what.c_str());
  std::exit(usageError);
}

int64_t Prove(Options const& options) {
  int64_t compared = 0;
  for (Sweep const* const sweep : options.sweeps) {
    if (options.coveredPhase >= 0) {
      CountCovered(*sweep, options.coveredPhase);
      continue;
    }
    std::vector<Set const*> sets;
    std::string names;
    for (Set const* const set : options.sets) {
      if (!Covers(*sweep, *set)) continue;
      sets.push_back(set);
      names += std::string(" ") + set->name;
    }
    if (sets.empty()) continue;
    auto const started = std::chrono::steady_clock::now();
    Frame const frame = FrameOf(*sweep);
    std::atomic<int64_t> next = frame.count * (options.part - 1) / options.parts;
    int64_t end = frame.count * options.part / options.parts;
    if (options.frame) {
      if (*options.frame > frame.count) {
        Refuse("--frame is " + std::to_string(*options.frame) + ", expected 0 to " + std::to_string(frame.count));
      }
      next = *options.frame;
      end = std::min(frame.count, *options.frame + 1);
    }
    Totals totals;
    std::mutex reporting;
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < options.threads; ++i) {
      threads.emplace_back([&] { Work(*sweep, frame, sets, next, end, totals, reporting); });
    }
    for (std::thread& thread : threads) thread.join();
    if (totals.failed) return -1;
    std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - started;
    std::printf("%-18s %14" PRId64 " bytes agree, %6.1f s:%s\n", sweep->name, totals.compared.load(), seconds.count(),
                names.c_str());
    std::fflush(stdout);
    compared += totals.compared;
  }
  return compared;
}

void Help() {
  std::puts(
      "fourtap_prove [--set NAME]... [--sweep NAME]... [--share I/N | --frame K] [--threads N]\n"
      "  All that four bytes can be, in all sixteen phases, through the vertical filters and the scalers, against the\n"
      "  formula. Everything, unless it is told which sets, which sweeps, which of N parts of each, or one frame.\n"
      "fourtap_prove --covered PHASE [--sweep NAME]...\n"
      "  Counts the quads that sweeps see in a phase, in a table of 512 MiB: all 4294967296.\n"
      "Sweeps:");
  for (Sweep const& sweep : sweeps) {
    std::printf("  %s%s\n", sweep.name,
                sweep.sets == Which::wide      ? " (wide sets)"
                : sweep.sets == Which::turning ? " (sets that turn)"
                                               : "");
  }
}

int64_t NumberOf(std::string const& option, std::string const& text, int64_t least, int64_t most) {
  char* end;
  long long const number = std::strtoll(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || number < least || number > most) {
    Refuse(option + " is " + text + ", expected " + std::to_string(least) + " to " + std::to_string(most));
  }
  return number;
}

Options Read(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    std::string const option = argv[i];
    if (option == "--help") {
      Help();
      std::exit(0);
    }
    if (++i == argc) Refuse(option + " given alone, expected an option and its value; see --help");
    std::string const value = argv[i];
    if (option == "--set") {
      auto const sets = Sets();
      auto const set = std::find_if(sets.begin(), sets.end(), [&](Set const& each) { return value == each.name; });
      if (set == sets.end()) Refuse("--set is " + value + ", expected a set of this processor's kind");
      if (!set->runnable) Refuse("--set is " + value + ", expected one that this processor has");
      options.sets.push_back(&*set);
    } else if (option == "--sweep") {
      auto const* const sweep =
          std::find_if(std::begin(sweeps), std::end(sweeps), [&](Sweep const& each) { return value == each.name; });
      if (sweep == std::end(sweeps)) Refuse("--sweep is " + value + ", expected one that --help lists");
      options.sweeps.push_back(sweep);
    } else if (option == "--share") {
      std::size_t const slash = value.find('/');
      if (slash == std::string::npos) Refuse("--share is " + value + ", expected such as 1/10");
      options.parts = NumberOf(option, value.substr(slash + 1), 1, 1000000);
      options.part = NumberOf(option, value.substr(0, slash), 1, options.parts);
    } else if (option == "--frame") {
      options.frame = NumberOf(option, value, 0, int64_t{1} << 40);
    } else if (option == "--covered") {
      options.coveredPhase = static_cast<int>(NumberOf(option, value, 0, 15));
    } else if (option == "--threads") {
      options.threads = static_cast<unsigned>(NumberOf(option, value, 1, 4096));
    } else {
      Refuse(option + " given, expected an option that --help lists");
    }
  }
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  Options options = Read(argc, argv);
  std::string leftOut;
  auto const leaveOut = [&](std::string const& what) { leftOut += (leftOut.empty() ? "" : ", ") + what; };
  for (Set const& set : Sets()) {
    if (!set.runnable) leaveOut(std::string(set.name) + " (not on this processor)");
  }
  if (options.sets.empty()) {
    for (Set const& set : Sets()) {
      if (set.runnable) options.sets.push_back(&set);
    }
  } else {
    leaveOut("sets not asked for");
  }
  if (options.sweeps.empty()) {
    for (Sweep const& sweep : sweeps) options.sweeps.push_back(&sweep);
  } else {
    leaveOut("sweeps not asked for");
  }
  if (options.frame || options.parts > 1) leaveOut("most of each sweep");
  if (!QuadCycleIsWhole()) {
    std::puts("The cycle does not go over all quads");
    return 1;
  }
  std::printf("%s, %u threads\n", processor::Name().c_str(), options.threads);
  auto const started = std::chrono::steady_clock::now();
  int64_t const compared = Prove(options);
  if (compared < 0) return 1;
  std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - started;
  if (options.coveredPhase < 0) {
    std::printf("%" PRId64 " bytes are what the formula says, none is not; %.0f s. Left out: %s\n", compared,
                seconds.count(), leftOut.empty() ? "nothing" : leftOut.c_str());
  }
  return 0;
}
