#pragma once

#include "table.hpp"

#include <caprion/error.hpp>

#include <boost/json/object.hpp>

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace caprion::tool {

/// Everything the program writes: results to standard output, the rest to standard error. There is one, made
/// before anything else is done; for the main thread alone.
///
/// The library writes diagnostic lines of its own to descriptor 1. So that they don't land among the results,
/// this keeps the real standard output under another descriptor, and lets descriptor 1 lead to standard
/// error.
class Output {
 public:
  Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// `json`: results and failures are lines of JSON on standard output. `quiet`: standard error stays empty.
  /// Called at most once, before the library is used.
  void setMode(bool json, bool quiet);
  bool json() const { return json_; }

  /// Results couldn't be written; what else is printed is lost.
  bool failed() const { return writeError_ != 0; }

  /// Writes results, for people; the text has to be printable.
  void print(std::string_view text);

  /// Writes one line that is a path, every byte of it unless that is a terminal's.
  void printPath(std::string_view path);

  /// Writes rows, the first of them the heading, as a table that fits the terminal.
  void printTable(std::vector<Row> rows);

  /// Writes one line of JSON; its texts have to be well-formed.
  void printJSON(const boost::json::object& object);

  /// Reports a failure of `what`, a file or an operation; in JSON it names the `file` instead.
  void printFailure(std::string_view what, const Error& error, std::optional<std::string_view> file = {});

  /// Tells people something that is no result.
  void printNote(std::string_view text);

  /// Tells what was wrong with the command line and which page explains it; quiet or not.
  void printUsageError(std::string_view message, std::string_view page);

  /// Writes a help page that wasn't asked for to standard error.
  void printUsage(std::string_view page);

  /// Ends the output: false, and reported, when results couldn't be written.
  bool finish();

 private:
  friend class Progress;

  /// Writes "caprion: TEXT" to standard error; the text has to be printable.
  void complain(std::string_view text);
  void releaseDiagnostics() const;

  int results_;
  int writeError_ = 0;
  bool json_ = false;
  bool quiet_ = false;
  bool holdsDiagnostics_ = false;
};

/// A line on the terminal that says what is going on, as long as this lives. Nothing else may be written
/// meanwhile.
class Progress {
 public:
  Progress(const Output& output, std::string_view text);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  bool shown_;
};

}  // namespace caprion::tool
