// chart: draws pictures to scale, for looking and for measuring.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "chart/Drawing.h"
#include "fourtap/CommandLine.h"
#include "fourtap/Failure.h"
#include "fourtap/OutputFile.h"
#include "fourtap/Picture.h"
#include "fourtap/SizeGrammar.h"

namespace {

using tool::Failure;
using tool::PictureSize;
using tool::PixelKind;

int const mostPixels = 65535;  // of a side

enum class Subject { chart, photo, zone };

struct Options {
  Subject subject = Subject::chart;
  std::optional<PictureSize> size;
  bool cutOut = false;
  bool gray = false;
  std::string output;
};

std::optional<Options> ParseArguments(int argc, char** argv) {
  Options options;
  CLI::App app("Draws a picture that shows what a scaler does.", "chart");
  app.add_option("FILE", options.output, "The picture file to write, " + tool::Alternatives(tool::FormatNames()))
      ->type_name("");
  tool::AddNamedOption<Subject>(app, "--picture", options.subject,
                                {{"chart", Subject::chart}, {"photo", Subject::photo}, {"zone", Subject::zone}},
                                "A chart of a scaler's faults, 640x480; what is much like a photo; a zone plate in "
                                "gray. The chart is the default");
  tool::AddParsedOption(
      app, "--size", "WxH", options.size,
      [](std::string const& text) {
        auto const size = tool::ParsePlainSize(text);
        return size && std::max(size->cx, size->cy) <= mostPixels ? size : std::nullopt;
      },
      "a size such as 1600x1200, up to 65535x65535", "Of the photo and the zone plate; 1600x1600 is the default");
  app.add_flag("--cut-out", options.cutOut, "Leaves only an oval of the chart opaque");
  app.add_flag("--gray", options.gray, "Without colours");
  if (!tool::Parsed(app, argc, argv)) return std::nullopt;
  if (options.output.empty()) throw Failure{tool::badUsage, "expected the name of the picture file to write"};
  bool const isChart = options.subject == Subject::chart;
  if (isChart && options.size) throw Failure{tool::badUsage, "--size: expected --picture photo or zone with it"};
  if (!isChart && options.cutOut) throw Failure{tool::badUsage, "--cut-out: expected no other picture than the chart"};
  return options;
}

chart::Drawing Draw(Options const& options) {
  PictureSize const size = options.size.value_or(PictureSize{1600, 1600});
  switch (options.subject) {
    case Subject::photo:
      return chart::Photo(size);
    case Subject::zone:
      return chart::ZonePlate(size);
    default:
      return chart::TestChart(options.cutOut);
  }
}

// The same without colours.
chart::Drawing InGray(chart::Drawing const& drawing) {
  if (tool::IsGray(drawing.kind)) return drawing;
  bool const alpha = tool::HasAlpha(drawing.kind);
  return {drawing.size, alpha ? PixelKind::grayAlpha : PixelKind::gray, [=](int y, unsigned char* line) {
            std::vector<unsigned char> coloured(tool::LineBytes(drawing.size, drawing.kind));
            drawing.drawLine(y, coloured.data());
            for (size_t i = 0; i < coloured.size(); i += alpha ? 4 : 3) {
              *line++ = static_cast<unsigned char>(
                  (77 * coloured[i] + 150 * coloured[i + 1] + 29 * coloured[i + 2] + 128) >> 8);
              if (alpha) *line++ = coloured[i + 3];
            }
          }};
}

void Write(chart::Drawing const& drawing, std::string const& name) {
  bool const alpha = tool::HasAlpha(drawing.kind);
  tool::PictureFormat const* const format = tool::FormatOfName(name);
  if (!format || (alpha && !format->holdsAlpha)) {
    std::string const formats =
        alpha ? tool::Alternatives(tool::FormatNamesWith(&tool::PictureFormat::holdsAlpha)) + ", which hold alpha"
              : tool::Alternatives(tool::FormatNames());
    throw Failure{tool::badUsage, name + ": expected a name with the suffix of " + formats};
  }
  tool::PictureNotes const notes;
  tool::OutputFile file(name, true);
  auto const writer =
      format->create(file, {.size = drawing.size, .kind = drawing.kind, .notes = &notes, .quality = 95});
  std::vector<unsigned char> line(tool::LineBytes(drawing.size, drawing.kind));
  for (int y = 0; y < drawing.size.cy; ++y) {
    drawing.drawLine(y, line.data());
    writer->WriteLines(line.data(), 1);
  }
  writer->Finish();
  file.Finish();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    auto const options = ParseArguments(argc, argv);
    if (!options) return tool::succeeded;
    chart::Drawing const drawing = Draw(*options);
    Write(options->gray ? InGray(drawing) : drawing, options->output);
    return tool::succeeded;
  } catch (Failure const& failure) {
    return tool::Report("chart", failure);
  }
}
