#include "picking.hpp"

#include "files.hpp"
#include "output.hpp"
#include "table.hpp"
#include "text.hpp"

#include <unistd.h>

#include <charconv>
#include <string>
#include <string_view>

namespace caprion::tool {

namespace {

/// The next line of standard input without the line feed; absent at the end.
std::optional<std::string> readLine() {
  std::string line;
  char c = 0;
  while (readSome(STDIN_FILENO, {&c, 1}) == 1) {
    if (c == '\n') return line;
    line += c;
  }
  return std::nullopt;
}

}  // namespace

bool canPick() { return ::isatty(STDIN_FILENO) && ::isatty(STDERR_FILENO); }

std::optional<std::size_t> Picker::operator()(const Video& video, const Language& language,
                                              const std::vector<RankedSubtitle>& hits) {
  if (isOver_) return std::nullopt;
  Table table{
      {{"#"}, {"ID"}, {"WHY", 22, Cut::end}, {"TITLE", 16, Cut::middle}, {"FILE NAME", 20, Cut::start}}, {}};
  for (const RankedSubtitle& hit : hits) {
    table.rows.push_back({std::to_string(table.rows.size() + 1), std::string(hit.subtitle->subtitleID()),
                          hit.reason, hit.subtitle->detailString(),
                          std::string(hit.subtitle->subFileName())});
  }
  std::string text = printable(video.path) + ", " + printable(language.name) + ":\n";
  text += linesOf(std::move(table), widthOf(STDERR_FILENO), false);
  for (;;) {
    writeAll(STDERR_FILENO, text);
    writeAll(STDERR_FILENO, "Which one (0 for none, Ctrl-D for none of all)? [1] ");
    const auto line = readLine();
    if (!line) {
      writeAll(STDERR_FILENO, "\n");
      isOver_ = true;
      return std::nullopt;
    }
    if (line->empty()) return 0;
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(line->data(), line->data() + line->size(), number);
    if (error == std::errc() && end == line->data() + line->size() && number <= hits.size())
      return number == 0 ? std::nullopt : std::optional(number - 1);
    text.clear();  // asks again
  }
}

}  // namespace caprion::tool
