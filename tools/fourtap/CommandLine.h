// Options that are declared once: with what they take, what else was expected, and what they are for.
#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fourtap/Failure.h"

namespace tool {

// "--size", of "-s,--size".
inline std::string LongName(std::string const& names) { return names.substr(names.find("--")); }

// Adds an option whose value `parse` reads; `expected` tells the user what that would have been. Whether one was given
// is to be asked of it, not of the app: that aborts the program where it has no memory for the option's name.
template <class Value, class Parse>
CLI::Option* AddParsedOption(CLI::App& app, std::string const& names, std::string const& typeName, Value& value,
                             Parse parse, std::string const& expected, std::string const& help) {
  return app
      .add_option_function<std::string>(
          names,
          [=, &value](std::string const& text) {
            auto const parsed = parse(text);
            if (!parsed) throw CLI::ValidationError(LongName(names), "\"" + text + "\" given, expected " + expected);
            value = *parsed;
          },
          help)
      ->type_name(typeName);
}

// As the help shows them.
inline std::string Choices(std::vector<std::string_view> const& names) {
  std::string text;
  for (std::string_view const name : names) {
    if (!text.empty()) text += '|';
    text += name;
  }
  return text;
}

template <class Value>
CLI::Option* AddNamedOption(CLI::App& app, std::string const& name, Value& value,
                            std::map<std::string, Value> const& values, std::string const& help) {
  std::vector<std::string_view> known;
  for (auto const& [text, meaning] : values) known.push_back(text);
  std::string const names = Choices(known);
  auto const parse = [values](std::string const& text) -> std::optional<Value> {
    auto const found = values.find(text);
    return found == values.end() ? std::nullopt : std::optional(found->second);
  };
  return AddParsedOption(app, name, names, value, parse, "one of " + names, help);
}

// False when the user asked for help or the version, which has then been printed. Throws a Failure for what the
// options can't make sense of.
inline bool Parsed(CLI::App& app, int argc, char** argv) {
  try {
    app.parse(argc, argv);
  } catch (CLI::Success const& asked) {
    app.exit(asked);
    return false;
  } catch (CLI::ParseError const& error) {
    std::string const fault = error.what();
    bool const complete = fault.find("expected") != fault.npos;
    throw Failure{badUsage, complete ? fault : fault + "; --help tells what is expected"};
  }
  return true;
}

}  // namespace tool
