#include "fourtap/Arguments.h"

#include <CLI/CLI.hpp>
#include <charconv>

#include "fourtap/Failure.h"

namespace tool {

namespace {

// A decimal number from 1 to the largest int, and nothing else.
std::optional<int> ParseCount(std::string_view text) {
  int count = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (error != std::errc() || end != text.data() + text.size() || count < 1) return std::nullopt;
  return count;
}

std::optional<PictureSize> ParseSize(std::string_view text) {
  size_t const cross = text.find('x');
  if (cross == std::string_view::npos) return std::nullopt;
  auto const cx = ParseCount(text.substr(0, cross));
  auto const cy = ParseCount(text.substr(cross + 1));
  if (!cx || !cy) return std::nullopt;
  return PictureSize{*cx, *cy};
}

// Adds an option whose value `parse` reads; `expected` tells the user what that would have been.
template <class Value, class Parse>
void AddParsedOption(CLI::App& app, std::string const& name, std::string const& typeName, Value& value, Parse parse,
                     std::string const& expected, std::string const& help) {
  app.add_option_function<std::string>(
         name,
         [=, &value](std::string const& text) {
           auto const parsed = parse(text);
           if (!parsed) throw CLI::ValidationError(name, "\"" + text + "\" given, expected " + expected);
           value = *parsed;
         },
         help)
      ->type_name(typeName);
}

}  // namespace

std::optional<Arguments> ParseArguments(int argc, char** argv) {
  Arguments arguments;
  CLI::App app("Scales a picture: an uncompressed BMP file of 24 or 32 bits per pixel.", "fourtap");
  app.add_option("IN", arguments.input, "The picture file to read")->type_name("");
  app.add_option("OUT", arguments.output, "The picture file to write; may be IN")->type_name("");
  AddParsedOption(app, "--size", "WxH", arguments.size, ParseSize, "WxH, such as 1280x720",
                  "Width and height of the result in pixels");
  AddParsedOption(app, "--progressive", "N", arguments.linesPerSlice, ParseCount, "a number of lines from 1 on",
                  "Hand the picture to the scaler in slices of N lines; the result is the same");
  app.add_flag("--selftest", arguments.selfTest, "Prove on this machine that every scaler gives the right bytes");
  app.set_version_flag("--version", "fourtap " FOURTAP_VERSION);
  try {
    app.parse(argc, argv);
  } catch (CLI::Success const& asked) {
    app.exit(asked);
    return std::nullopt;
  } catch (CLI::ParseError const& error) {
    throw Failure{badUsage, error.what()};
  }

  bool const anyWork = app.count("IN") + app.count("OUT") + app.count("--size") + app.count("--progressive") > 0;
  if (arguments.selfTest ? anyWork : arguments.output.empty() || app.count("--size") == 0) {
    throw Failure{badUsage, "expected IN OUT --size WxH, or --selftest alone; --help tells more"};
  }
  return arguments;
}

}  // namespace tool
