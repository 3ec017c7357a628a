#include "command.hpp"
#include "files.hpp"
#include "service.hpp"
#include "text.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

namespace caprion::tool {

namespace {

constexpr std::string_view help = R"(usage: caprion download [RECORD.json]

Downloads the subtitle of one record, unpacks it into the cache folder, and
prints the path of the subtitle file. The record is one JSON object as
'caprion search --json' prints it, from a file or from standard input:

  caprion search --json --file VIDEO | head -n 1 | caprion download

A failure on the way doesn't always end a download: there may be several, and a
path behind them. The exit status is 3 even then.
)";

// Many times the size of a record. Whoever names a video by mistake isn't to wait until it is in memory.
constexpr std::size_t longestRecord = 16 << 20;

Result<std::string> contentOf(std::string_view file) {
  const bool isStandardInput = file == "-";
  const int descriptor =
      isStandardInput ? STDIN_FILENO : ::open(std::string(file).c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return systemError(errno);

  std::string content;
  std::array<char, 65'536> part;
  ssize_t count = 0;
  int error = 0;
  while (error == 0 && (count = readSome(descriptor, part)) != 0) {
    if (count < 0) {
      error = errno;
    } else if (content.append(part.data(), static_cast<std::size_t>(count)).size() > longestRecord) {
      error = EFBIG;
    }
  }
  if (!isStandardInput) ::close(descriptor);
  if (error != 0) return systemError(error);
  return content;
}

ExitStatus run(const Arguments& arguments, Output& output) {
  if (arguments.operands.size() > 1) throw UsageError("give one record at most");
  const std::string_view file = arguments.operands.empty() ? "-" : arguments.operands.front();
  const std::string_view name = file == "-" ? "standard input" : file;

  const auto content = contentOf(file);
  const auto record = content ? Subtitle::decode(*content) : content.error();
  if (!record) {
    output.printFailure(name, record.error(), file == "-" ? std::nullopt : std::optional(file));
    return ExitStatus::failed;
  }

  const auto reports = [&] {
    const Progress progress(output, "Downloading ...");
    return download(**record);
  }();
  ExitStatus status = ExitStatus::done;
  for (const auto& report : reports) {
    if (!report) {
      output.printFailure("download", report.error());
      status = ExitStatus::failed;
    } else if (output.json()) {
      output.printJSON({{"file", wellFormed(report->path())}});
    } else {
      output.printPath(report->path());
    }
  }
  return status;
}

}  // namespace

constexpr Command downloadCommand{
    "download", "download the subtitle of a record that was found", help, {}, run};

}  // namespace caprion::tool
