#pragma once

#include "table.hpp"

#include <caprion/error.hpp>

#include <boost/json/object.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace caprion::tool {

/// Everything the program writes: results to standard output, the rest to standard error. Create one before
/// anything else. For the main thread only.
///
/// The library writes diagnostics to descriptor 1, all about errors that it also reports. They are discarded:
/// this class moves the real standard output to another descriptor.
class Output {
 public:
  Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// `json`: results and failures are lines of JSON on standard output. `quiet`: nothing but usage errors on
  /// standard error. `verbose`: failures include the transport's message. Call at most once.
  void setMode(bool json, bool quiet, bool verbose);
  bool json() const { return json_; }
  bool verbose() const { return verbose_; }

  /// Results couldn't be written; further ones are discarded.
  bool failed() const { return writeError_ != 0; }

  /// Writes a result for people; the text must be printable.
  void print(std::string_view text);

  /// Writes a line with a path: unchanged, unless to a terminal or if it holds a line feed.
  void printPath(std::string_view path);

  /// Writes a table that fits the terminal.
  void printTable(Table table);

  /// Writes a line of JSON; its strings must be well-formed.
  void printJSON(const boost::json::object& object);

  /// Reports a failure of `what`, a file or an operation. With --json, the error is added to `line`.
  void printFailure(std::string_view what, const Error& error, boost::json::object line = {});

  /// Writes what is buffered. finish() does so too.
  void flush();

  /// Writes a remark to standard error.
  void printNote(std::string_view text);

  /// Reports a usage error and the help page to read, even with --quiet.
  void printUsageError(std::string_view message, std::string_view page);

  /// Writes a help page to standard error.
  void printUsage(std::string_view page);

  /// Flushes and closes. Returns false and reports it if results couldn't be written.
  bool finish();

 private:
  friend class Progress;

  /// Writes "caprion: TEXT" to standard error; the text must be printable.
  void complain(std::string_view text);

  int results_;
  std::string unwritten_;
  int writeError_ = 0;
  bool json_ = false;
  bool quiet_ = false;
  bool verbose_ = false;
};

/// A progress line on the terminal, erased by the destructor. There is one at a time, and nothing else may be
/// written while it is shown.
class Progress {
 public:
  explicit Progress(const Output& output);
  Progress(const Output& output, std::string_view text) : Progress(output) { show(text); }
  ~Progress() { hide(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Whether there is a terminal to show it on.
  bool isVisible() const { return isVisible_; }
  /// In columns.
  std::size_t width() const;

  void show(std::string_view text);
  /// Erases the line. May be called by a thread that ends the process.
  static void hide();

 private:
  bool isVisible_;
  std::string shown_;
};

/// The width in columns of the terminal at a descriptor; absent if unknown or no terminal.
std::optional<std::size_t> widthOf(int descriptor);

/// Adds a path to a JSON object. If it isn't valid UTF-8, also adds KEYBytes with the percent-encoded bytes.
void setPath(boost::json::object& object, std::string_view key, std::string_view path);

/// A JSON object with the key "file".
boost::json::object objectOf(std::string_view file);

}  // namespace caprion::tool
