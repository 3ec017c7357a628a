#include "output.hpp"

#include "files.hpp"
#include "text.hpp"

#include <boost/json/serialize.hpp>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>
#include <variant>

namespace caprion::tool {

namespace {

// A server's whole answer may be the description of an error. People need its start.
constexpr std::size_t longestDescription = 1'000;

/// Whether escape sequences do something good there.
bool takesEscapes(int descriptor) {
  const char* const terminal = std::getenv("TERM");
  return ::isatty(descriptor) && terminal && *terminal && std::string_view(terminal) != "dumb";
}

bool showsColour(int descriptor) {
  const char* const noColour = std::getenv("NO_COLOR");
  return takesEscapes(descriptor) && !(noColour && *noColour);
}

/// The terminal's width; absent when there is no terminal, or none that tells.
std::optional<std::size_t> widthOf(int descriptor) {
  winsize size{};
  if (!::isatty(descriptor) || ::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return {};
  return size.ws_col;
}

}  // namespace

Output::Output() : results_(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
  // A standard descriptor that was closed would become the next socket or file, and be written into.
  for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) < 0) ::open("/dev/null", O_RDWR);
  }
  ::dup2(STDERR_FILENO, STDOUT_FILENO);
}

void Output::setMode(bool json, bool quiet) {
  json_ = json;
  quiet_ = quiet;
  // Diagnostic lines hold a server's raw text. A terminal gets them later, made harmless, when no progress is
  // shown.
  holdsDiagnostics_ = !quiet && ::isatty(STDERR_FILENO);
  if (!quiet && !holdsDiagnostics_) return;
  const int sink =
      quiet ? ::open("/dev/null", O_WRONLY | O_CLOEXEC) : ::memfd_create("diagnostics", MFD_CLOEXEC);
  if (sink < 0) throw std::system_error(errno, std::generic_category(), "diagnostics");
  ::dup2(sink, STDOUT_FILENO);
  ::close(sink);
}

void Output::releaseDiagnostics() const {
  if (!holdsDiagnostics_) return;
  std::string text;
  std::array<char, 65'536> part;
  for (ssize_t count;
       (count = ::pread(STDOUT_FILENO, part.data(), part.size(), static_cast<off_t>(text.size()))) > 0;) {
    text.append(part.data(), static_cast<std::size_t>(count));
  }
  if (text.empty()) return;
  if (::ftruncate(STDOUT_FILENO, 0) == 0) ::lseek(STDOUT_FILENO, 0, SEEK_SET);
  for (std::string_view rest = text; !rest.empty();) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    writeAll(STDERR_FILENO, printable(rest.substr(0, end)) + "\n");
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
}

void Output::print(std::string_view text) {
  if (writeError_ == 0) writeError_ = writeAll(results_, text);
}

void Output::printPath(std::string_view path) {
  print((::isatty(results_) ? printable(path) : std::string(path)) + "\n");
}

void Output::printTable(std::vector<Row> rows) {
  print(tableLines(std::move(rows), widthOf(results_), showsColour(results_)));
}

void Output::printJSON(const boost::json::object& object) { print(boost::json::serialize(object) + "\n"); }

void Output::printFailure(std::string_view what, const Error& error, std::optional<std::string_view> file) {
  const auto suggestion = error.localizedRecoverySuggestion();
  if (json_) {
    const auto found = error.userInfo().find(NSLocalizedDescriptionKey);
    const bool isNull = found != error.userInfo().end() && std::holds_alternative<Error::Null>(found->second);
    boost::json::object details{{"domain", wellFormed(error.domain())}, {"code", error.code()}};
    details["description"] =
        isNull ? boost::json::value() : boost::json::value(wellFormed(error.localizedDescription()));
    if (suggestion) details["recoverySuggestion"] = wellFormed(*suggestion);
    boost::json::object line;
    if (file) line["file"] = wellFormed(*file);
    line["error"] = std::move(details);
    printJSON(line);
  } else if (!quiet_) {
    complain(printable(what) + ": " + fitted(printable(error.localizedDescription()), longestDescription));
    if (suggestion) writeAll(STDERR_FILENO, "  " + printable(*suggestion) + "\n");
  }
}

void Output::printNote(std::string_view text) {
  if (!quiet_) complain(printable(text));
}

void Output::printUsageError(std::string_view message, std::string_view page) {
  complain(printable(message) + "\nTry '" + std::string(page) + "'.");
}

void Output::printUsage(std::string_view page) { writeAll(STDERR_FILENO, page); }

void Output::complain(std::string_view text) {
  releaseDiagnostics();
  const std::string_view name = showsColour(STDERR_FILENO) ? "\033[1;31mcaprion:\033[0m " : "caprion: ";
  writeAll(STDERR_FILENO, std::string(name).append(text).append("\n"));
}

bool Output::finish() {
  releaseDiagnostics();
  // Some file systems tell only now that there was no room.
  if (results_ >= 0 && ::close(results_) != 0 && writeError_ == 0) writeError_ = errno;
  results_ = -1;
  if (writeError_ == 0) return true;
  printNote("standard output: " + std::generic_category().message(writeError_));
  return false;
}

Progress::Progress(const Output& output, std::string_view text)
    : shown_(!output.quiet_ && takesEscapes(STDERR_FILENO)) {
  // A line that the terminal had to break couldn't be taken back.
  const std::size_t width = widthOf(STDERR_FILENO).value_or(80);
  if (shown_) writeAll(STDERR_FILENO, fitted(printable(text), std::max<std::size_t>(width, 2) - 1));
}

Progress::~Progress() {
  if (shown_) writeAll(STDERR_FILENO, "\r\033[K");
}

}  // namespace caprion::tool
