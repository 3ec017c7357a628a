#pragma once

#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace caprion::tool {

/// The command line is invalid; what() says why.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// An option of one command: --NAME and, if set, -LETTER. Those that all commands have aren't listed.
struct OptionRule {
  const char* name;
  bool takesValue = true;
  char letter = '\0';
};

/// The parsed arguments of a command. All views are of argv.
struct Arguments {
  struct Option {
    std::string_view name;
    std::string_view value;
  };

  /// The command's own options, in the order they were given.
  std::vector<Option> options;
  /// Arguments that are no options, and everything after "--".
  std::vector<std::string_view> operands;

  bool json = false;
  bool quiet = false;
  bool verbose = false;
  /// --version was given; the rest wasn't parsed.
  bool version = false;
  /// --help was given; the rest wasn't parsed.
  bool help = false;
};

/// Parses argv, whose first element is the command's name. Throws UsageError. May be called once only, as
/// getopt_long has global state.
Arguments parseArguments(int argc, char** argv, std::span<const OptionRule> rules);

}  // namespace caprion::tool
