#pragma once

#include "table.hpp"

#include <caprion/error.hpp>

#include <boost/json/object.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace caprion::tool {

/// Everything the program writes: results to standard output, the rest to standard error. There is one, made
/// before anything else is done; for the main thread alone.
///
/// The library writes diagnostic lines of its own to descriptor 1, all of them about errors that it reports
/// too. They are dropped: this keeps the real standard output under another descriptor.
class Output {
 public:
  Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// `json`: results and failures are lines of JSON on standard output. `quiet`: standard error stays empty.
  /// `verbose`: of failures, the transport's own words too. Called at most once.
  void setMode(bool json, bool quiet, bool verbose);
  bool json() const { return json_; }
  bool verbose() const { return verbose_; }

  /// Results couldn't be written; what else is printed is lost.
  bool failed() const { return writeError_ != 0; }

  /// Writes results, for people; the text has to be printable.
  void print(std::string_view text);

  /// Writes one line that is a path: every byte of it, unless that is a terminal's or would be two lines.
  void printPath(std::string_view path);

  /// Writes a table that fits the terminal.
  void printTable(Table table);

  /// Writes one line of JSON; its texts have to be well-formed.
  void printJSON(const boost::json::object& object);

  /// Reports a failure of `what`, a file or an operation. In JSON, `line` has what it is about.
  void printFailure(std::string_view what, const Error& error, boost::json::object line = {});

  /// Hands what was printed to the system, which happens by itself when the output ends.
  void flush();

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

  int results_;
  std::string unwritten_;
  int writeError_ = 0;
  bool json_ = false;
  bool quiet_ = false;
  bool verbose_ = false;
};

/// A line on the terminal that says what is going on, as long as this lives. There is one at a time, and
/// nothing else may be written while it is shown.
class Progress {
 public:
  explicit Progress(const Output& output);
  Progress(const Output& output, std::string_view text) : Progress(output) { show(text); }
  ~Progress() { hide(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Whether anybody would see it.
  bool isVisible() const { return isVisible_; }
  /// How many columns there are for it.
  std::size_t width() const;

  void show(std::string_view text);
  /// Takes the line away; may be called by a thread that ends the process.
  static void hide();

 private:
  bool isVisible_;
  std::string shown_;
};

/// The width in columns of the terminal that a descriptor leads to; absent when it is none, or none that
/// tells.
std::optional<std::size_t> widthOf(int descriptor);

/// Puts a path into an object of JSON, whose texts are UTF-8: as a text, and if that lost something of it,
/// the bytes too, under a key with "Bytes" behind it.
void setPath(boost::json::object& object, std::string_view key, std::string_view path);

/// An object of JSON about a file.
boost::json::object objectOf(std::string_view file);

}  // namespace caprion::tool
