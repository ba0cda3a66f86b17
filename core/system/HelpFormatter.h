#pragma once

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Option.hpp>

#include <numeric>
#include <set>
#include <string>

namespace orvik {

/// How the programs describe their options: as tools read it that make manual pages of it and
/// complete command lines, and alike with every version of the parser. What stands behind an option
/// says what its value is: FILE and FOLDER are paths, words in braces are all that there are. For
/// programs alone, which are linked with the parser.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() { label("Positionals", "Arguments"); }

  std::string make_option(const CLI::Option* option, bool isPositional) const override {
    constexpr std::size_t column = 30;
    std::string line = "  " + (isPositional ? option->get_name(true) : called(option));
    if (line.size() + 2 > column) {
      line += '\n' + std::string(column, ' ');
    } else {
      line.resize(column, ' ');
    }
    line += option->get_description();
    if (!option->get_default_str().empty()) {
      line += " (default: " + option->get_default_str() + ")";
    }
    return line + others(" (with ", option->get_needs()) +
           others(" (not with ", option->get_excludes()) + '\n';
  }

 private:
  static std::string others(const char* how, const std::set<CLI::Option*>& options) {
    std::set<std::string> names;
    for (const CLI::Option* option : options) {
      names.insert(how + option->get_name() + ")");
    }
    return std::accumulate(names.begin(), names.end(), std::string());
  }

  static std::string called(const CLI::Option* option) {
    std::string names;
    for (const std::string& name : option->get_snames()) {
      names += "-" + name + ", ";
    }
    for (const std::string& name : option->get_lnames()) {
      names += "--" + name + ", ";
    }
    names.resize(names.size() - 2);
    if (option->get_type_size() == 0) {
      return names;
    }
    const std::string value = option->get_type_name();
    // Of a choice only that stands there, which the parser puts behind the kind of value.
    names += " " + value.substr(value.starts_with(':') ? 1 : 0);
    return option->get_expected_max() > 1 ? names + " ..." : names;
  }
};

}  // namespace orvik
