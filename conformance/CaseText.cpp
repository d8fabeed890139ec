#include "conformance/CaseText.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

namespace conformance {

namespace {

char const* const contents[] = {"noise", "extremes", "white"};

std::string TextOf(std::vector<int> const& numbers) {
  std::string text;
  for (int const number : numbers) {
    if (!text.empty()) text += ',';
    text += std::to_string(number);
  }
  return text;
}

std::string TextOf(Placement const& placement) {
  return std::to_string(placement.gap) + (placement.bottomUp ? ",up" : ",down") +
         (placement.flush == Flush::start ? ",start," : ",end,") + std::to_string(placement.shift);
}

std::vector<int> NumbersOf(std::string const& text) {
  std::vector<int> numbers;
  std::istringstream stream(text);
  for (std::string number; std::getline(stream, number, ',');) numbers.push_back(std::atoi(number.c_str()));
  return numbers;
}

Placement PlacementOf(std::string const& text) {
  Placement placement{};
  char direction[8] = {}, flush[8] = {};
  std::sscanf(text.c_str(), "%d,%7[a-z],%7[a-z],%d", &placement.gap, direction, flush, &placement.shift);
  placement.bottomUp = std::string(direction) == "up";
  placement.flush = std::string(flush) == "start" ? Flush::start : Flush::end;
  return placement;
}

}  // namespace

std::string TextOf(Case const& what) {
  Sizes const& sizes = what.sizes;
  Rect const& rect = what.rect;
  std::ostringstream text;
  text << "layout=" << Traits(what.layout).name << " in=" << sizes.cxIn << 'x' << sizes.cyIn << " out=" << sizes.cxOut
       << 'x' << sizes.cyOut << " seed=" << what.seed << " content=" << contents[static_cast<int>(what.content)]
       << " rect=" << TextOf({rect.x, rect.y, rect.cx, rect.cy}) << " slices=" << TextOf(what.slices[0])
       << " second=" << TextOf(what.slices[1]) << " source=" << TextOf(what.source)
       << " destination=" << TextOf(what.destination);
  return text.str();
}

std::optional<Case> CaseOfText(std::string const& text) {
  std::map<std::string, std::string> fields;
  std::istringstream stream(text);
  for (std::string field; stream >> field;) {
    std::size_t const equals = std::min(field.find('='), field.size());
    fields[field.substr(0, equals)] = field.substr(std::min(equals + 1, field.size()));
  }
  Case what{};
  for (LayoutTraits const& traits : Layouts()) {
    if (fields["layout"] == traits.name) what.layout = traits.layout;
  }
  for (int i = 0; i < 3; ++i) {
    if (fields["content"] == contents[i]) what.content = static_cast<Content>(i);
  }
  std::sscanf(fields["in"].c_str(), "%dx%d", &what.sizes.cxIn, &what.sizes.cyIn);
  std::sscanf(fields["out"].c_str(), "%dx%d", &what.sizes.cxOut, &what.sizes.cyOut);
  std::sscanf(fields["seed"].c_str(), "%" SCNu64, &what.seed);
  std::vector<int> rect = NumbersOf(fields["rect"]);
  rect.resize(4);
  what.rect = {rect[0], rect[1], rect[2], rect[3]};
  what.slices[0] = NumbersOf(fields["slices"]);
  what.slices[1] = NumbersOf(fields["second"]);
  what.source = PlacementOf(fields["source"]);
  what.destination = PlacementOf(fields["destination"]);
  // What was misread is written otherwise.
  return TextOf(what) == text ? std::optional(what) : std::nullopt;
}

}  // namespace conformance
