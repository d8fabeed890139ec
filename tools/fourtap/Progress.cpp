#include "fourtap/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "fourtap/Failure.h"

namespace tool {

namespace {

using Clock = std::chrono::steady_clock;
auto const interval = std::chrono::milliseconds(200);

ProgressReport::Style StyleFor(Options const& options) {
  using enum ProgressReport::Style;
  if (options.progress == Progress::json) return json;
  if (options.progress == Progress::text) return text;
  return !options.quiet && isatty(STDERR_FILENO) ? text : none;
}

// Bytes that are no text become the character that stands for such.
std::string JsonText(std::string_view text) {
  std::string quoted = "\"";
  while (!text.empty()) {
    Character const character = FirstCharacter(text);
    if (character.code < 0 || character.IsControl()) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x",
                    character.code < 0 ? 0xfffd : static_cast<unsigned>(character.code));
      quoted += escaped;
    } else {
      if (character.code == '"' || character.code == '\\') quoted += '\\';
      quoted += text.substr(0, character.length);
    }
    text.remove_prefix(character.length);
  }
  return quoted + '"';
}

std::string Formatted(char const* format, double number) {
  char text[400];  // the longest of numbers has some 310 digits
  std::snprintf(text, sizeof text, format, number);
  return text;
}

}  // namespace

ProgressReport::ProgressReport(Options const& options, std::string const& inputName, char const* units,
                               int64_t totalUnits)
    : style(StyleFor(options)),
      name(inputName),
      unit(units),
      total(totalUnits),
      speaker(SpeakerOfThread()),
      start(Clock::now()),
      last(start) {}

ProgressReport::~ProgressReport() {
  if (printed) speaker.Say("\n");
}

void ProgressReport::Update(int64_t unitsDone) {
  done = unitsDone;
  if (style == Style::none || Clock::now() - last < interval || !speaker.IsHeard()) return;
  Print();
}

void ProgressReport::Finish() {
  if (total == 0) total = done;
  done = total;
  if (style != Style::none) Print();
}

void ProgressReport::Print() {
  last = Clock::now();
  double const seconds = std::max(std::chrono::duration<double>(last - start).count(), 1e-6);
  double const rate = static_cast<double>(done) / seconds;
  double const percent = total ? 100.0 * static_cast<double>(done) / static_cast<double>(total) : 0;
  std::string line;
  if (style == Style::text) {
    line.append("\r").append(Printable(name)).append(": ");
    if (total) line += Formatted("%3.0f %%, ", percent);
    line.append(Formatted("%.0f ", rate)).append(unit).append("/s ");
    printed = true;
  } else {
    line.append("{\"file\": ").append(JsonText(name));
    line.append(", \"").append(unit).append("\": ").append(std::to_string(done)).append(", ");
    if (total)
      line.append("\"total\": ").append(std::to_string(total)).append(Formatted(", \"percent\": %.1f, ", percent));
    line += Formatted("\"perSecond\": %.1f}\n", rate);
  }
  speaker.Say(line);
}

void Say(std::string const& text) { SpeakerOfThread().Say("fourtap: " + Printable(text) + '\n'); }

void Warn(Options const& options, std::string const& text) {
  if (!options.quiet) Say("warning: " + text);
}

void Remark(Options const& options, std::string const& text) {
  if (options.verbose) Say(text);
}

}  // namespace tool
