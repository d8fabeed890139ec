#include "fourtap/Arguments.h"

#include <charconv>
#include <filesystem>
#include <map>

#include "fourtap/CommandLine.h"
#include "fourtap/Failure.h"
#include "fourtap/OutputFile.h"
#include "fourtap/Picture.h"
#include "fourtap/Scalers.h"

namespace tool {

namespace {

// A number from 1 to `most`, which may be followed by k, M or G.
template <class Number>
auto CountUpTo(Number most) {
  return [most](std::string text) -> std::optional<Number> {
    int64_t unit = 1;
    size_t const suffix = text.empty() ? text.npos : std::string("kMG").find(text.back());
    if (suffix != text.npos) {
      for (size_t i = 0; i <= suffix; ++i) unit *= 1000;
      text.pop_back();
    }
    auto const count = ParseCount(text);
    if (!count || *count > most / unit) return std::nullopt;
    return static_cast<Number>(*count * unit);
  };
}

// #rgb, #rrggbb or a few names; nothing for other texts.
std::optional<Colour> ParseColour(std::string_view text) {
  std::map<std::string_view, Colour> const names = {
      {"white", {255, 255, 255}}, {"black", {0, 0, 0}}, {"gray", {128, 128, 128}}};
  if (auto const found = names.find(text); found != names.end()) return found->second;
  bool const isShort = text.size() == 4;
  if ((!isShort && text.size() != 7) || text[0] != '#') return std::nullopt;
  size_t const digits = isShort ? 1 : 2;
  Colour colour{};
  for (size_t channel = 0; channel < colour.size(); ++channel) {
    char const* const first = text.data() + 1 + channel * digits;
    unsigned value = 0;
    auto const [end, error] = std::from_chars(first, first + digits, value, 16);
    if (error != std::errc() || end != first + digits) return std::nullopt;
    colour[channel] = static_cast<unsigned char>(isShort ? value * 17 : value);
  }
  return colour;
}

// Options that say how large the result becomes: of their values that which was given.
struct SizeOption {
  std::string name;
  Framing framing;
  std::optional<SizeRequest> value{};
};

// Throws a Failure where there are several.
void TakeSize(Options& options, std::vector<SizeOption> const& sizes) {
  for (SizeOption const& size : sizes) {
    if (!size.value) continue;
    if (options.size) {
      throw Failure{badUsage, size.name + ": " + options.sizeOption +
                                  " given too, expected one of --size, --fit, --fill and --pad"};
    }
    options.size = size.value;
    options.size->covers = size.framing == Framing::fill;
    options.sizeOption = size.name;
    options.framing = size.framing;
  }
  if (options.framing == Framing::pad && options.size->onlyEnlarge) {
    throw Failure{badUsage,
                  "--pad: < given, but what is larger than the box can't be padded to it; expected > or nothing"};
  }
}

// Throws a Failure unless the options go together.
void CheckOptions(CLI::App const& app, CLI::Option const& gravity, Options& options,
                  std::vector<std::string> const& files) {
  char const* const usage =
      "expected IN OUT --size SIZE, or IN... --out WHERE --size SIZE, or --selftest or --info; --help tells more";
  bool const noWork = files.empty() && app.count_all() == 2;  // the program's name counts as one
  if (options.selfTest) {
    if (!noWork) throw Failure{badUsage, usage};
    return;
  }
  if (options.info) {
    if (options.outputIsPattern || files.size() > 1) {
      throw Failure{badUsage, "--info: expected one input at most, and no output"};
    }
    options.inputs = files;
    return;
  }
  bool const framed = options.framing == Framing::fill || options.framing == Framing::pad;
  if (framed && options.rect) {
    throw Failure{badUsage,
                  "--rect: " + options.sizeOption + " given too, which says what is taken; expected one of them"};
  }
  if (!framed && gravity.count() > 0) throw Failure{badUsage, "--gravity: expected it with --fill or --pad"};
  if (options.lossless && options.quality) {
    throw Failure{badUsage, "--quality: --lossless given too, expected one of them"};
  }
  if (options.background && options.alpha == AlphaRule::drop) {
    throw Failure{badUsage, "--background: --alpha drop given too, expected one of them"};
  }
  options.inputs = files;
  if (!options.outputIsPattern) {
    if (files.size() != 2) throw Failure{badUsage, usage};
    options.output = files.back();
    options.inputs.pop_back();
  }
  if (options.inputs.empty() || (!options.size && !options.rect)) throw Failure{badUsage, usage};
  if (options.output.empty()) {
    throw Failure{badUsage, options.outputIsPattern
                                ? "--out: \"\" given, expected a folder, or a name with {name} in it"
                                : "OUT: \"\" given, expected a file's name, or - for stdout"};
  }
  bool const namesInputs = options.outputIsFolder || options.output.find("{name}") != std::string::npos;
  if (options.inputs.size() > 1 && !namesInputs) {
    throw Failure{badUsage, "--out: \"" + options.output + "\" given for " + std::to_string(options.inputs.size()) +
                                " inputs, expected {name} in it, or a folder"};
  }
}

}  // namespace

std::optional<Options> ParseArguments(int argc, char** argv) {
  Options options;
  std::vector<std::string> files;
  std::string const count = "a number from 1 on";
  std::error_code noError;
  CLI::App app("Scales pictures (" + Alternatives(FormatNames()) +
                   ") and video (Y4M, raw frames) in the memory of a few lines or frames:\n"
                   "  fourtap IN OUT --size SIZE\n"
                   "  fourtap IN... --out WHERE --size SIZE",
               "fourtap");
  app.add_option("FILE", files, "What to read and, without --out, what to write; - is stdin or stdout")->type_name("");
  std::vector<SizeOption> sizes = {
      {"--size", Framing::none}, {"--fit", Framing::fit}, {"--fill", Framing::fill}, {"--pad", Framing::pad}};
  AddParsedOption(
      app, "-s,--size", "SIZE", sizes[0].value, [](std::string const& text) { return std::optional(ParseSize(text)); },
      sizeExamples,
      "Size of the result: WxH fits into that box, Wx and xH leave the other side to the proportions, N% "
      "means both; behind it > shrinks only, < enlarges only, ! ignores the proportions");
  char const* const boxHelp[] = {"The largest size of the picture's proportions inside that box, as --size WxH",
                                 "The smallest size that covers that box, then cropped to it",
                                 "The largest size inside that box, then padded to it"};
  for (size_t i = 1; i < sizes.size(); ++i) {
    bool const pads = sizes[i].framing == Framing::pad;
    AddParsedOption(
        app, sizes[i].name, "WxH", sizes[i].value,
        [](std::string const& text) { return std::optional(ParseBox(text)); },
        std::string(boxExamples) + (pads ? ", with > behind it" : ", with > or < behind it"), boxHelp[i - 1]);
  }
  CLI::Option const* const gravity =
      AddNamedOption<Gravity>(app, "--gravity", options.gravity,
                              {{"northwest", {-1, -1}},
                               {"north", {0, -1}},
                               {"northeast", {1, -1}},
                               {"west", {-1, 0}},
                               {"center", {0, 0}},
                               {"east", {1, 0}},
                               {"southwest", {-1, 1}},
                               {"south", {0, 1}},
                               {"southeast", {1, 1}}},
                              "The part that --fill takes, or where --pad lays the picture; center is the default");
  AddParsedOption(app, "--rect", "X,Y,W,H", options.rect, ParseRect, "x,y,w,h in pixels, such as 0,0,640,480",
                  "Only this rectangle of the scaled picture");
  app.add_flag("--even", options.even, "Round the size down to even numbers, as many encoders demand");
  app.add_flag("--one-step", options.oneStep,
               "The plain filter: one step whatever the reduction, and equal sizes are filtered too");
  CLI::Option const* const out =
      app.add_option("-o,--out", options.output,
                     "Where the results go: a folder, or a name in which {name} stands for the input's without suffix")
          ->type_name("WHERE");
  app.add_option("--format", options.format,
                 "Format of the result, when its name does not say; Y4M and raw are for video")
      ->type_name(Choices(FormatNames()) + "|Y4M|raw");
  AddNamedOption<AlphaRule>(app, "--alpha", options.alpha,
                            {{"multiply", AlphaRule::multiply},
                             {"drop", AlphaRule::drop},
                             {"straight", AlphaRule::straight},
                             {"premultiplied", AlphaRule::premultiplied}},
                            "What alpha does to colours while they are scaled; multiply is the default");
  AddParsedOption(app, "--background", "COLOUR", options.background, ParseColour, "#rgb, #rrggbb, white, black or gray",
                  "What pictures with alpha are laid on, and what --pad adds, such as white or #ff8000");
  AddNamedOption<bool>(app, "--orientation", options.keepOrientation, {{"apply", false}, {"keep", true}},
                       "Whether pictures are turned upright as EXIF says, which is the default");
  bool strip = false;
  unsigned stripped = profileNote | colourNote;
  app.add_flag("--strip", strip, "Leave away what describes the picture, but not what its colours mean");
  CLI::Option const* const keep = AddParsedOption(app, "--keep", "KINDS", stripped, ParseNoteKinds, noteKindNames,
                                                  std::string("What --strip keeps instead: ") + noteKindNames);
  AddParsedOption(
      app, "--quality", "N", options.quality, CountUpTo(100), "a number from 1 to 100",
      "Quality of JPEG and WebP files; 90 is the default, and from there on colours of JPEG keep their full "
      "size");
  AddParsedOption(app, "--level", "N", options.level, CountUpTo(9), "a number from 1 to 9",
                  "Compression of PNG files, from fast to small; 6 is the default");
  app.add_flag("--lossless", options.lossless, "Keep every pixel of WebP files as it is");
  app.add_flag("--progressive-jpeg", options.progressiveJpeg,
               "Make JPEG files that show the whole picture early, and sharper as they come");
  AddParsedOption(app, "--progressive", "N", options.linesPerSlice, ParseCount, count,
                  "Hand the picture to the scaler in slices of N lines; the result is the same");
  AddParsedOption(app, "--max-pixels", "N", options.maxPixels, CountUpTo(INT64_MAX), count + ", such as 500M",
                  "Refuse inputs that claim more pixels; 1073741824 is the default");
  app.add_option("--raw", options.raw, "The input is video frames without headers, such as nv12:1920x1080")
      ->type_name("LAYOUT:WxH");
  AddParsedOption(app, "--threads", "N", options.threads, ParseCount, count,
                  "Threads that scale video or compress PNG files; as many as pay for themselves is the default. The "
                  "result is the same");
  AddParsedOption(app, "--jobs", "N", options.jobs, CountUpTo(mostOutputFiles),
                  "a number from 1 to " + std::to_string(mostOutputFiles),
                  "Inputs that are worked on at a time; one per processor is the default. The results are the same");
  app.add_option("--set", options.set,
                 "Instruction set to use: " + Alternatives(SetNames()) + ". The result is the same")
      ->type_name("NAME");
  app.add_flag("--force", options.force, "Overwrite files that are there");
  AddNamedOption<Progress>(app, "--progress", options.progress, {{"text", Progress::text}, {"json", Progress::json}},
                           "Report progress on stderr, as text or as lines of JSON; text is the default on a terminal");
  app.add_flag("-q,--quiet", options.quiet, "No progress on a terminal, and no warnings");
  app.add_flag("-v,--verbose", options.verbose, "Say on stderr what is done to the picture on the way");
  app.add_flag("--info", options.info,
               "Print the processor and its instruction sets and, of an input, its size, the way to --size and the "
               "memory it takes");
  app.add_flag("--selftest", options.selfTest, "Prove on this machine that every scaler gives the right bytes");
  app.set_version_flag("--version", "fourtap " TOOL_VERSION);
  if (!Parsed(app, argc, argv)) return std::nullopt;
  TakeSize(options, sizes);
  options.outputIsPattern = out->count() > 0;
  options.makesFolders = options.outputIsPattern && options.output.ends_with('/');
  options.outputIsFolder = options.makesFolders || (options.outputIsPattern && options.output != "-" &&
                                                    std::filesystem::is_directory(options.output, noError));
  if (strip || keep->count() > 0) options.keptNotes = stripped;
  CheckOptions(app, *gravity, options, files);
  return options;
}

}  // namespace tool
