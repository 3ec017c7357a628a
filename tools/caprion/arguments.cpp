#include "arguments.hpp"

#include <getopt.h>

#include <algorithm>
#include <cstddef>
#include <string>

namespace caprion::tool {

namespace {

constexpr OptionRule commonRules[] = {{"json", false},
                                      {"quiet", false, 'q'},
                                      {"verbose", false},
                                      {"help", false, 'h'},
                                      {"version", false, 'V'}};

// getopt_long's value for a long option is its index plus this, beyond all letters.
constexpr int firstLong = 256;

}  // namespace

// getopt_long rather than a parser library: those tried parse values such as "[720p]" as lists, or reject
// empty ones.
Arguments parseArguments(int argc, char** argv, std::span<const OptionRule> rules) {
  std::vector<OptionRule> all(std::begin(commonRules), std::end(commonRules));
  all.insert(all.end(), rules.begin(), rules.end());

  std::string letters = ":";  // report a missing value as ':'
  std::vector<::option> longOptions;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const int takesValue = all[i].takesValue ? required_argument : no_argument;
    longOptions.push_back({all[i].name, takesValue, nullptr, firstLong + static_cast<int>(i)});
    if (all[i].letter) letters.append(1, all[i].letter).append(all[i].takesValue ? ":" : "");
  }
  longOptions.push_back({});

  const auto ruleFor = [&all](int reported) -> const OptionRule& {
    if (reported >= firstLong) return all[static_cast<std::size_t>(reported - firstLong)];
    return *std::find_if(all.begin(), all.end(), [&](const auto& rule) { return rule.letter == reported; });
  };

  Arguments arguments;
  opterr = 0;
  for (int found; (found = getopt_long(argc, argv, letters.c_str(), longOptions.data(), nullptr)) != -1;) {
    if (found == ':') throw UsageError(std::string("--") + ruleFor(optopt).name + " needs a value");
    if (found == '?') {
      if (optopt >= firstLong) throw UsageError(std::string("--") + ruleFor(optopt).name + " takes no value");
      if (optopt != 0) throw UsageError(std::string("unknown option -") + static_cast<char>(optopt));
      throw UsageError(std::string("unknown or ambiguous option ") + argv[optind - 1]);
    }
    const std::string_view name = ruleFor(found).name;
    if (name == "help" || name == "version") {
      (name == "help" ? arguments.help : arguments.version) = true;
      return arguments;
    }
    if (name == "json") {
      arguments.json = true;
    } else if (name == "quiet") {
      arguments.quiet = true;
    } else if (name == "verbose") {
      arguments.verbose = true;
    } else {
      arguments.options.push_back({name, optarg ? optarg : std::string_view()});
    }
  }
  arguments.operands.assign(argv + optind, argv + argc);
  return arguments;
}

}  // namespace caprion::tool
