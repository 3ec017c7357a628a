#include "command.hpp"
#include "files.hpp"
#include "service.hpp"

#include <unistd.h>

#include <memory>
#include <string>

namespace caprion::tool {

ExitStatus downloadAndPrint(const Subtitle& subtitle, Output& output) {
  Downloader downloader;
  const auto reports = [&] {
    const Progress progress(output, "Downloading ...");
    return download(downloader, subtitle);
  }();
  ExitStatus status = ExitStatus::done;
  for (const auto& report : reports) {
    if (!report) {
      output.printFailure("download", report.error());
      status = ExitStatus::failed;
    } else if (output.json()) {
      output.printJSON(objectOf(report->path()));
    } else {
      output.printPath(report->path());
    }
  }
  return status;
}

namespace {

constexpr std::string_view downloadHelp = R"(usage: caprion download [RECORD.json]

Downloads the subtitle of one record, unpacks it into the cache folder, and
prints the path of the subtitle file. The record is one JSON object as
'caprion search --json' prints it, from a file or from standard input. Of
several lines of records, the first is used:

  caprion search --json --file VIDEO | caprion download

A failure doesn't always end a download: there may be several, followed by a
path. The exit status is 3 even then.
)";

// Many times the size of a search's output. Rejects a video that is named by mistake.
constexpr std::size_t longestRecords = 64 << 20;

/// Decodes the first line, as a search may have printed several, or else the whole text.
Result<std::shared_ptr<const Subtitle>> recordFrom(std::string_view text) {
  const std::string_view line = text.substr(0, text.find_first_of("\r\n"));
  const bool isWhole = line.starts_with('{') && line.ends_with('}');
  return Subtitle::decode(isWhole ? line : text);
}

ExitStatus runDownload(const Arguments& arguments, Output& output) {
  if (arguments.operands.size() > 1) throw UsageError("give one record at most");
  const std::string_view file = arguments.operands.empty() ? "-" : arguments.operands.front();
  const std::string_view name = file == "-" ? "standard input" : file;

  const auto content = file == "-" ? readAll(STDIN_FILENO, longestRecords) : contentOf(file, longestRecords);
  const auto record = content ? recordFrom(*content) : content.error();
  if (!record) {
    output.printFailure(name, record.error(), file == "-" ? boost::json::object() : objectOf(file));
    return ExitStatus::failed;
  }
  return downloadAndPrint(**record, output);
}

}  // namespace

constexpr Command downloadCommand{
    "download", "download the subtitle of a record that was found", downloadHelp, {}, runDownload};

}  // namespace caprion::tool
