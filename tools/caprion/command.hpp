#pragma once

#include "arguments.hpp"
#include "output.hpp"

#include <caprion/subtitle.hpp>

#include <span>
#include <string_view>

namespace caprion::tool {

/// The exit status of the process.
enum class ExitStatus { done = 0, nothingFound = 1, usage = 2, failed = 3 };

/// One command of the program. Each has a file of its own and a line in main.cpp.
struct Command {
  std::string_view name;
  /// Its line in `caprion --help`.
  std::string_view summary;
  /// The text of `caprion NAME --help`, without the common options.
  std::string_view help;
  std::span<const OptionRule> options;
  /// Runs the command and prints results and failures. May throw UsageError before it has done anything.
  ExitStatus (*run)(const Arguments& arguments, Output& output);
};

extern const Command getCommand;
extern const Command searchCommand;
extern const Command downloadCommand;
extern const Command hashCommand;
extern const Command parseCommand;
extern const Command languagesCommand;

/// Downloads a subtitle and prints all reports.
ExitStatus downloadAndPrint(const Subtitle& subtitle, Output& output);

}  // namespace caprion::tool
