#include "command.hpp"

#include <caprion/language.hpp>

#include <string>
#include <utility>
#include <vector>

namespace caprion::tool {

namespace {

constexpr std::string_view languagesHelp = R"(usage: caprion languages

Prints the languages in which the service has subtitles, each with the service's
identifier, its other codes and its name. --lang takes any of the codes.
)";

ExitStatus runLanguages(const Arguments& arguments, Output& output) {
  if (!arguments.operands.empty()) {
    throw UsageError("unexpected argument '" + std::string(arguments.operands.front()) + "'");
  }
  Table table{{{"ID"}, {"CODES"}, {"NAME"}}, {}};
  for (const Language& language : Language::all()) {
    if (output.json()) {
      boost::json::object line{{"identifier", language.identifier}};
      if (!language.iso6391.empty()) line["iso6391"] = language.iso6391;
      if (!language.iso6392.empty()) line["iso6392"] = language.iso6392;
      line["tag"] = language.tag;
      line["name"] = language.name;
      output.printJSON(line);
      continue;
    }
    std::string codes;
    for (const std::string_view code : {language.iso6391, language.iso6392, language.tag}) {
      const bool isNew =
          code != language.identifier && std::string(" ").append(codes).append(" ").find(
                                             std::string(" ").append(code).append(" ")) == std::string::npos;
      if (!code.empty() && isNew) codes.append(codes.empty() ? "" : " ").append(code);
    }
    table.rows.push_back({std::string(language.identifier), std::move(codes), std::string(language.name)});
  }
  if (!output.json()) output.printTable(std::move(table));
  return ExitStatus::done;
}

}  // namespace

constexpr Command languagesCommand{
    "languages", "list the languages in which there are subtitles", languagesHelp, {}, runLanguages};

}  // namespace caprion::tool
