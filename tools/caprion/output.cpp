#include "output.hpp"

#include "files.hpp"
#include "signals.hpp"
#include "text.hpp"

#include <boost/json/serialize.hpp>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <system_error>
#include <utility>
#include <variant>

namespace caprion::tool {

namespace {

// About three lines. The description of an error may be a server's whole answer.
constexpr std::size_t longestDescription = 240;
// Results are buffered up to this size.
constexpr std::size_t longestUnwritten = 65'536;

std::atomic<bool> isProgressShown = false;

/// Whether a terminal that understands escape sequences is there.
bool takesEscapes(int descriptor) {
  const char* const terminal = std::getenv("TERM");
  return ::isatty(descriptor) && terminal && *terminal && std::string_view(terminal) != "dumb";
}

bool showsColour(int descriptor) {
  const char* const noColour = std::getenv("NO_COLOR");
  return takesEscapes(descriptor) && !(noColour && *noColour);
}

}  // namespace

Output::Output() : results_(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
  // A closed standard descriptor would be reused for the next socket or file.
  for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) < 0) ::open("/dev/null", O_RDWR);
  }
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  ::dup2(nowhere < 0 ? STDERR_FILENO : nowhere, STDOUT_FILENO);
  ::close(nowhere);
}

void Output::setMode(bool json, bool quiet, bool verbose) {
  json_ = json;
  quiet_ = quiet;
  verbose_ = verbose;
}

void Output::print(std::string_view text) {
  unwritten_ += text;
  if (unwritten_.size() > longestUnwritten) flush();
}

void Output::flush() {
  if (writeError_ == 0 && !unwritten_.empty()) writeError_ = writeAll(results_, unwritten_);
  unwritten_.clear();
  if (writeError_ == EPIPE && endsAtBrokenPipe()) endBy(SIGPIPE);
}

void Output::printPath(std::string_view path) {
  const bool isExact = !::isatty(results_) && path.find('\n') == std::string_view::npos;
  print((isExact ? std::string(path) : printable(path)) + "\n");
}

void Output::printTable(Table table) {
  print(linesOf(std::move(table), widthOf(results_), showsColour(results_)));
}

void Output::printJSON(const boost::json::object& object) {
  const std::string line = boost::json::serialize(object);
  print((::isatty(results_) ? escapedJSON(line) : line) + "\n");
}

void Output::printFailure(std::string_view what, const Error& error, boost::json::object line) {
  const auto suggestion = error.localizedRecoverySuggestion();
  const std::string* transportMessage = nullptr;
  if (const auto found = error.userInfo().find(TransportMessageKey); found != error.userInfo().end())
    transportMessage = std::get_if<std::string>(&found->second);
  if (json_) {
    const auto found = error.userInfo().find(NSLocalizedDescriptionKey);
    const bool isNull = found != error.userInfo().end() && std::holds_alternative<Error::Null>(found->second);
    boost::json::object details{{"domain", wellFormed(error.domain())}, {"code", error.code()}};
    details["description"] =
        isNull ? boost::json::value() : boost::json::value(wellFormed(error.localizedDescription()));
    if (suggestion) details["recoverySuggestion"] = wellFormed(*suggestion);
    if (transportMessage) details["transportMessage"] = wellFormed(*transportMessage);
    line["error"] = std::move(details);
    printJSON(line);
  } else if (!quiet_) {
    std::string description = excerptOf(error.localizedDescription(), longestDescription);
    if (description.empty()) description = "The server's answer is empty";
    complain(printable(what) + ": " + description);
    if (suggestion) writeAll(STDERR_FILENO, "  " + excerptOf(*suggestion, longestDescription) + "\n");
    if (verbose_ && transportMessage)
      writeAll(STDERR_FILENO, "  " + excerptOf(*transportMessage, longestDescription) + "\n");
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
  flush();  // keeps both streams in order
  const std::string_view name = showsColour(STDERR_FILENO) ? "\033[1;31mcaprion:\033[0m " : "caprion: ";
  writeAll(STDERR_FILENO, std::string(name).append(text).append("\n"));
}

bool Output::finish() {
  flush();
  // Some file systems report a full disk only here.
  if (results_ >= 0 && ::close(results_) != 0 && writeError_ == 0) writeError_ = errno;
  results_ = -1;
  if (writeError_ == 0) return true;
  printNote("standard output: " + std::generic_category().message(writeError_));
  return false;
}

Progress::Progress(const Output& output) : isVisible_(!output.quiet_ && takesEscapes(STDERR_FILENO)) {}

std::size_t Progress::width() const {
  // A wrapped line couldn't be erased.
  return std::max<std::size_t>(widthOf(STDERR_FILENO).value_or(80), 2) - 1;
}

void Progress::show(std::string_view text) {
  if (!isVisible_ || (isProgressShown && text == shown_)) return;
  isProgressShown = true;
  shown_ = text;
  writeAll(STDERR_FILENO, "\r\033[K" + fitted(printable(text), width()));
}

void Progress::hide() {
  if (isProgressShown.exchange(false)) writeAll(STDERR_FILENO, "\r\033[K");
}

std::optional<std::size_t> widthOf(int descriptor) {
  winsize size{};
  if (!::isatty(descriptor) || ::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return {};
  return size.ws_col;
}

void setPath(boost::json::object& object, std::string_view key, std::string_view path) {
  const std::string text = wellFormed(path);
  object[key] = text;
  if (text != path) object[std::string(key) + "Bytes"] = percentEncoded(path);
}

boost::json::object objectOf(std::string_view file) {
  boost::json::object object;
  setPath(object, "file", file);
  return object;
}

}  // namespace caprion::tool
