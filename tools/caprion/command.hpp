#pragma once

#include "arguments.hpp"
#include "output.hpp"

#include <caprion/subtitle.hpp>

#include <span>
#include <string_view>

namespace caprion::tool {

/// What the process reports when it ends.
enum class ExitStatus { done = 0, nothingFound = 1, usage = 2, failed = 3 };

/// One command of the program. Each has a file of its own and a line in main.cpp.
struct Command {
  std::string_view name;
  /// What it does, in one line of `caprion --help`.
  std::string_view summary;
  /// The page of `caprion NAME --help`, up to the options of every command.
  std::string_view help;
  std::span<const OptionRule> options;
  /// Does the work. Prints the results and every failure; throws UsageError before anything was done.
  ExitStatus (*run)(const Arguments& arguments, Output& output);
};

extern const Command getCommand;
extern const Command searchCommand;
extern const Command downloadCommand;
extern const Command hashCommand;
extern const Command parseCommand;
extern const Command languagesCommand;

/// Downloads a subtitle and prints all that is reported of it.
ExitStatus downloadAndPrint(const Subtitle& subtitle, Output& output);

}  // namespace caprion::tool
