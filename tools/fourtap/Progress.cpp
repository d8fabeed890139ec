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

}  // namespace

ProgressReport::ProgressReport(Options const& options, std::string const& inputName, char const* units,
                               int64_t totalUnits)
    : style(StyleFor(options)), name(inputName), unit(units), total(totalUnits), start(Clock::now()), last(start) {}

ProgressReport::~ProgressReport() {
  if (printed) std::fputc('\n', stderr);
}

void ProgressReport::Update(int64_t unitsDone) {
  done = unitsDone;
  if (style == Style::none || Clock::now() - last < interval) return;
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
  if (style == Style::text) {
    std::fprintf(stderr, "\r%s: ", Printable(name).c_str());
    if (total) std::fprintf(stderr, "%3.0f %%, ", percent);
    std::fprintf(stderr, "%.0f %s/s ", rate, unit.c_str());
    printed = true;
  } else {
    std::fprintf(stderr, "{\"file\": %s, \"%s\": %lld, ", JsonText(name).c_str(), unit.c_str(),
                 static_cast<long long>(done));
    if (total) std::fprintf(stderr, "\"total\": %lld, \"percent\": %.1f, ", static_cast<long long>(total), percent);
    std::fprintf(stderr, "\"perSecond\": %.1f}\n", rate);
  }
  std::fflush(stderr);
}

void Say(std::string const& text) { std::fprintf(stderr, "fourtap: %s\n", Printable(text).c_str()); }

void Warn(Options const& options, std::string const& text) {
  if (!options.quiet) Say("warning: " + text);
}

void Remark(Options const& options, std::string const& text) {
  if (options.verbose) Say(text);
}

}  // namespace tool
