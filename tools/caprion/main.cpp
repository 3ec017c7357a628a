// caprion: the library from a shell.

#include "command.hpp"
#include "output.hpp"
#include "signals.hpp"

#include <caprion/error.hpp>
#include <caprion/version.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <exception>
#include <iterator>
#include <string>
#include <string_view>

namespace caprion::tool {

namespace {

constexpr const Command* commands[] = {&getCommand,  &searchCommand, &downloadCommand,
                                       &hashCommand, &parseCommand,  &languagesCommand};

constexpr std::string_view commonHelp = R"(
  --json             print one JSON object per line, for failures too
  -q, --quiet        print only usage errors and questions on standard error
  --verbose          with a failure, also print the network's own message
  -h, --help         print this text
  -V, --version      print the version
  --                 end the options

Exit status: 0 done or found, 1 nothing found, 2 wrong usage, 3 a failure.
)";

std::string generalHelp() {
  std::string page = "usage: caprion COMMAND ...\n\nFinds subtitles for local video files.\n\n";
  for (const Command* command : commands) {
    page.append("  ").append(command->name).append(11 - command->name.size(), ' ');
    page.append(command->summary).append("\n");
  }
  return page +
         "\n"
         "  caprion COMMAND --help  how to use a command\n"
         "  caprion -V, --version   the version\n";
}

std::string version() {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "caprion %.1f\n", CaprionVersionNumber);
  return text.data();
}

/// Runs a command; argv starts at its name.
ExitStatus runCommand(const Command& command, int argc, char** argv, Output& output) {
  try {
    const Arguments arguments = parseArguments(argc, argv, command.options);
    if (arguments.help) {
      output.print(std::string(command.help).append(commonHelp));
      return ExitStatus::done;
    }
    if (arguments.version) {
      output.print(version());
      return ExitStatus::done;
    }
    output.setMode(arguments.json, arguments.quiet, arguments.verbose);
    return command.run(arguments, output);
  } catch (const UsageError& error) {
    const std::string name(command.name);
    output.printUsageError(name + ": " + error.what(), "caprion " + name + " --help");
    return ExitStatus::usage;
  } catch (const std::exception& error) {
    output.printFailure(command.name, Error("", 0, {}, error.what()));
    return ExitStatus::failed;
  }
}

ExitStatus run(int argc, char** argv, Output& output) {
  if (argc < 2) {
    output.printUsage(generalHelp());
    return ExitStatus::usage;
  }
  const std::string_view word = argv[1];
  if (word == "--help" || word == "-h") {
    output.print(generalHelp());
    return ExitStatus::done;
  }
  if (word == "--version" || word == "-V") {
    output.print(version());
    return ExitStatus::done;
  }
  const auto command = std::find_if(std::begin(commands), std::end(commands),
                                    [word](const Command* one) { return one->name == word; });
  if (command == std::end(commands)) {
    output.printUsageError("unknown command '" + std::string(word) + "'", "caprion --help");
    return ExitStatus::usage;
  }
  return runCommand(**command, argc - 1, argv + 1, output);
}

}  // namespace

}  // namespace caprion::tool

int main(int argc, char** argv) {
  using namespace caprion::tool;
  std::setlocale(LC_CTYPE, "C.UTF-8");  // for wcwidth, whatever the environment says
  Output output;
  handleSignals();
  const ExitStatus status = run(argc, argv, output);
  return static_cast<int>(output.finish() ? status : ExitStatus::failed);
}
