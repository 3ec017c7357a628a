#pragma once

#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace caprion::tool {

/// The command line can't be understood; the text says why.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// An option of one command: --NAME, and -LETTER where there is one. Options of every command aren't listed.
struct OptionRule {
  const char* name;
  bool takesValue = true;
  char letter = '\0';
};

/// The words behind a command's name. All views are of argv, byte for byte.
struct Arguments {
  struct Option {
    std::string_view name;
    std::string_view value;
  };

  /// The command's own options, in the order they were given.
  std::vector<Option> options;
  /// What is no option, and everything behind "--".
  std::vector<std::string_view> operands;

  bool json = false;
  bool quiet = false;
  bool verbose = false;
  /// The version was asked for; nothing behind that was looked at.
  bool version = false;
  /// Help was asked for; nothing behind that was looked at.
  bool help = false;
};

/// Sorts the words of argv, whose first is the command's name. Throws UsageError. To be called once a
/// process.
Arguments parseArguments(int argc, char** argv, std::span<const OptionRule> rules);

}  // namespace caprion::tool
