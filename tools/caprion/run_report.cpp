#include "run_report.hpp"

#include "text.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

namespace caprion::tool {

namespace {

constexpr std::size_t longestTitle = 80;

std::string_view matchedBy(Evidence evidence) {
  return evidence == Evidence::content ? "moviehash" : evidence == Evidence::release ? "tag" : "name";
}

boost::json::object lineFor(const Video& video, const Outcome& outcome) {
  boost::json::object line = objectOf(video.path);
  line["language"] = outcome.language.identifier;
  if (outcome.ending != Ending::placed && outcome.ending != Ending::alreadyThere) return line;
  setPath(line, "subtitle", outcome.subtitle);
  if (outcome.ending == Ending::alreadyThere) return line;
  line["subtitleID"] = wellFormed(outcome.choice.subtitle->subtitleID());
  line["matchedBy"] = matchedBy(outcome.choice.evidence);
  if (!outcome.convertedFrom.empty()) line["encoding"] = outcome.convertedFrom;
  return line;
}

}  // namespace

RunReport::RunReport(const GetOptions& options, const std::vector<Task>& tasks, Output& output)
    : options_(options), output_(output), videos_(tasks.size()) {
  for (const Task& task : tasks) open_ += task.isOpen() ? 1 : 0;
}

void RunReport::print(const Task& task) {
  ++reported_;
  queried_ += task.hasQueried ? 1 : 0;
  if (task.isUnreachable) isRefused_ = task.isRefused;
  if (task.video.error) {
    counts_[Ending::failed] += options_.languages.size();
    output_.printFailure(task.video.path, *task.video.error, objectOf(task.video.path));
  }
  std::vector<Error> told;
  for (const Outcome& outcome : task.outcomes) print(task.video, outcome, told);
}

void RunReport::print(const Video& video, const Outcome& outcome, std::vector<Error>& told) {
  ++counts_[outcome.ending];
  std::string what = video.path;
  if (options_.languages.size() > 1) what.append(" (").append(outcome.language.identifier).append(")");
  if (output_.json()) {
    boost::json::object line = lineFor(video, outcome);
    if (outcome.ending == Ending::failed)
      return output_.printFailure(what, outcome.errors.back(), std::move(line));
    if (line.contains("subtitle")) return output_.printJSON(line);
  }
  if (!output_.json()) {
    // Includes failures of hits tried before the one that was placed. An error that ended all languages of
    // the video is shown in full once.
    for (const Error& error : outcome.errors) {
      const bool isTold = std::find(told.begin(), told.end(), error) != told.end();
      output_.printFailure(what, isTold ? Error("", 0, {}, "The same") : error);
      if (!isTold) told.push_back(error);
    }
  }
  switch (outcome.ending) {
    case Ending::failed:
      return;
    case Ending::notFound:
      return output_.printFailure(what, Error("", 0, {}, "No subtitle found"), lineFor(video, outcome));
    case Ending::declined:
      return output_.printFailure(what, Error("", 0, {}, "No subtitle taken"), lineFor(video, outcome));
    case Ending::alreadyThere:
      return output_.print(printable(outcome.subtitle) + "  already there\n");
    case Ending::placed:
      break;
  }
  std::string line = printable(outcome.subtitle) + (options_.dryRun ? "  would be placed, " : "  ");
  line += printable(outcome.choice.reason) + ": ";
  line += fitted(printable(outcome.choice.subtitle->detailString()), longestTitle);
  if (!outcome.convertedFrom.empty()) line += ", converted from " + outcome.convertedFrom;
  if (outcome.isOfUnknownEncoding) line += ", left in an unknown encoding";
  output_.print(line + "\n");
}

std::string RunReport::progress(std::size_t width) const {
  std::array<char, 128> text{};
  const int length = std::snprintf(text.data(), text.size(), " %zu of %zu videos, %zu placed", reported_,
                                   videos_, count(Ending::placed));
  std::string line(text.data(), static_cast<std::size_t>(length));
  if (queried_ > 0) {
    const auto elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    const auto left = static_cast<unsigned long>(elapsed * static_cast<double>(open_ - queried_) /
                                                 static_cast<double>(queried_));
    std::snprintf(text.data(), text.size(), ", %lu:%02lu left", left / 60, left % 60);
    line += text.data();
  }
  if (width < line.size() + 12) return line.substr(1);
  const std::size_t room = std::min<std::size_t>(width - line.size() - 2, 30);
  const std::size_t done = videos_ == 0 ? room : room * reported_ / videos_;
  return std::string("[").append(done, '#').append(room - done, '-').append("]").append(line);
}

void RunReport::printSummary(std::size_t untried) {
  if (videos_ == 0 && !output_.json()) output_.printNote("there is no video");
  const bool isWorthIt = videos_ > 1 || options_.languages.size() > 1;
  if (!isWorthIt || (output_.json() && untried == 0)) return;
  std::string line = std::to_string(videos_) + (videos_ == 1 ? " video" : " videos");
  if (options_.languages.size() > 1)
    line += " in " + std::to_string(options_.languages.size()) + " languages";
  line += ": " + std::to_string(count(Ending::placed)) + (options_.dryRun ? " to be placed, " : " placed, ");
  line += std::to_string(count(Ending::alreadyThere)) + " already there, ";
  line += std::to_string(count(Ending::notFound)) + " not found, ";
  if (has(Ending::declined)) line += std::to_string(count(Ending::declined)) + " not taken, ";
  line += std::to_string(count(Ending::failed)) + " failed";
  if (untried > 0) {
    line += ", " + std::to_string(untried) + (untried == 1 ? " video" : " videos") + " not tried";
    if (!options_.pick || !has(Ending::declined))
      line += isRefused_ ? ", as the service keeps refusing" : ", as the service can't be reached";
  }
  output_.printNote(line);
}

}  // namespace caprion::tool
