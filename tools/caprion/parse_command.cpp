#include "command.hpp"
#include "files.hpp"
#include "text.hpp"

#include <caprion/video_file_components.hpp>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

namespace caprion::tool {

namespace {

constexpr std::string_view parseHelp = R"(usage: caprion parse NAME...
       caprion parse -

Prints the parts of the names of video files: title, year, season, episode and
resolution, and the text to search the service by. The files needn't exist. Only
the last component of a path counts, with or without a slash after it.

With "-" alone, the names are the lines of standard input, without the line
feeds. Every line gets its line of output, even an empty one, whose title is
empty.
)";

VideoFileComponents componentsOf(std::string_view name) {
  // The empty path would mean the working directory. The slash saves looking that up for the others.
  if (name.empty()) return {};
  return VideoFileUtilities::componentsFrom(URL::fileURLWithPath(std::string("/").append(name)));
}

std::string lineForPeople(std::string_view name, const VideoFileComponents& components) {
  std::string line = printable(name) + ": " + printable(components.title);
  if (components.year) line += ", year " + std::to_string(*components.year);
  if (components.season) line += ", season " + std::to_string(*components.season);
  if (components.episode) line += ", episode " + std::to_string(*components.episode);
  if (components.resolution) line += ", " + printable(*components.resolution);
  return line + "\n";
}

void printLine(std::string_view name, Output& output) {
  const VideoFileComponents components = componentsOf(name);
  if (!output.json()) return output.print(lineForPeople(name, components));
  boost::json::object line = objectOf(name);
  line["title"] = components.title;
  if (components.year) line["year"] = *components.year;
  if (components.season) line["season"] = *components.season;
  if (components.episode) line["episode"] = *components.episode;
  if (components.resolution) line["resolution"] = *components.resolution;
  line["searchString"] = components.searchString();
  output.printJSON(line);
}

ExitStatus parseStandardInput(Output& output) {
  std::string unread;
  std::array<char, 65'536> part;
  ssize_t count = 0;
  // Flush after each read: efficient for files, and prompt for pipes.
  while (!output.failed() && (count = readSome(STDIN_FILENO, part)) > 0) {
    std::size_t searched = unread.size();
    unread.append(part.data(), static_cast<std::size_t>(count));
    std::size_t start = 0;
    for (std::size_t end; (end = unread.find('\n', searched)) != std::string::npos;) {
      printLine(std::string_view(unread).substr(start, end - start), output);
      start = searched = end + 1;
    }
    unread.erase(0, start);
    output.flush();
  }
  if (count < 0) {
    output.printFailure("standard input", systemError(errno));
    return ExitStatus::failed;
  }
  if (!unread.empty()) printLine(unread, output);
  return ExitStatus::done;
}

ExitStatus runParse(const Arguments& arguments, Output& output) {
  if (arguments.operands.empty()) throw UsageError("give at least one name, or - to read them");
  if (arguments.operands.size() == 1 && arguments.operands.front() == "-") return parseStandardInput(output);
  for (const std::string_view name : arguments.operands) printLine(name, output);
  return ExitStatus::done;
}

}  // namespace

constexpr Command parseCommand{"parse", "split the names of video files into parts", parseHelp, {}, runParse};

}  // namespace caprion::tool
