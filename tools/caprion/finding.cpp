#include "finding.hpp"

#include "encoding.hpp"
#include "files.hpp"
#include "languages.hpp"
#include "placement.hpp"
#include "service.hpp"
#include "unpacked.hpp"

#include <caprion/caprion.hpp>
#include <caprion/downloader.hpp>
#include <caprion/release_name.hpp>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <utility>

namespace caprion::tool {

namespace {

constexpr std::string_view serviceHost = "rest.opensubtitles.org";

// The library unpacks no larger files.
constexpr std::size_t longestSubtitle = 256 << 20;

// Many times the usual size.
constexpr std::size_t longestKept = 1 << 20;

/// The queries for a video, the most precise first.
std::vector<std::vector<Arg>> queriesFor(const URL& video, const VideoHash& hash, std::string_view stem) {
  std::vector<std::vector<Arg>> queries;
  if (!hash.fileHash.empty()) {
    queries.push_back({Arg(Param::moviebytesize, std::to_string(hash.fileSize)),  //
                       Arg(Param::moviehash, hash.fileHash)});
  }
  queries.push_back({Arg(Param::tag, std::string(stem))});
  const ReleaseName name = ReleaseName::from(video);
  if (name.title.empty()) return queries;
  if (name.season && !name.episodes.empty()) {
    queries.push_back({Arg(Param::query, name.title), Arg(Param::season, std::to_string(*name.season)),
                       Arg(Param::episode, std::to_string(name.episodes.front()))});
  } else {
    std::string words = name.title;
    if (name.year) words.append(" ").append(std::to_string(*name.year));
    queries.push_back({Arg(Param::query, std::move(words))});
  }
  return queries;
}

/// Whether a download failed because the service can't be reached, rather than because of this link or
/// archive.
bool isServiceFailure(const Error& error) {
  // Malformed, unsupported, too many redirects, undecodable, too large.
  constexpr std::int64_t linkFailures[] = {-1000, -1002, -1007, -1016, -1103};
  if (error.domain() != NSURLErrorDomain) return error.domain() == AnswerErrorDomain;
  return std::find(std::begin(linkFailures), std::end(linkFailures), error.code()) == std::end(linkFailures);
}

/// Whether what was downloaded is no archive, but an error page, say.
bool isNoArchive(const Error& error) {
  return error.domain().empty() && error.localizedRecoverySuggestion() == "archive.zip\n";
}

void failOpen(Task& task, const Error& error) {
  for (Outcome& outcome : task.outcomes) {
    if (outcome.isOpen()) outcome.fail(error);
  }
}

void markUnreachable(Task& task, const Error& error) {
  task.isUnreachable = true;
  task.isRefused = error.domain() == AnswerErrorDomain;
  failOpen(task, error);
}

}  // namespace

/// The hits tried for one language.
struct Finder::Attempts {
  static constexpr std::size_t most = 3;
  std::vector<std::string> identifiers;

  bool areOver() const { return identifiers.size() >= most; }
  bool include(const Subtitle& hit) const {
    return std::find(identifiers.begin(), identifiers.end(), hit.subtitleID()) != identifiers.end();
  }
};

void Finder::find(Task& task) {
  if (!task.isOpen()) return;
  const URL url = URL::fileURLWithPath(task.video.path);
  const auto hash = Caprion::hashFor(url);
  if (!hash) return failOpen(task, Error("", 0, {}, "Cannot create a video hash for the file"));

  std::vector<Attempts> attempts(task.outcomes.size());
  for (std::vector<Arg>& criteria : queriesFor(url, *hash, stemOf(task.video.name()))) {
    std::vector<Language> languages;
    for (const Outcome& outcome : task.outcomes) {
      if (outcome.isOpen()) languages.push_back(outcome.language);
    }
    if (languages.empty()) break;

    task.hasQueried = true;
    criteria.emplace_back(Param::sublanguageid, identifiersOf(languages));
    const auto hits = withRetries(serviceHost, 1, [&criteria] { return query(criteria); });
    const auto ranked = hits ? rankedSubtitles(*hits, url) : hits.error();
    if (!ranked) {
      return ranked.error().domain() == NSPOSIXErrorDomain ? failOpen(task, ranked.error())
                                                           : markUnreachable(task, ranked.error());
    }
    for (std::size_t i = 0; i < task.outcomes.size(); ++i) {
      if (task.outcomes[i].isOpen()) choose(task, task.outcomes[i], attempts[i], *ranked);
    }
  }
  for (Outcome& outcome : task.outcomes) {
    if (outcome.isOpen() && !outcome.errors.empty()) outcome.ending = Ending::failed;
  }
}

void Finder::stopRetrying() { limiter_.end(); }

/// Retries with back-off when the answer isn't what it should be. Each attempt makes `requests` requests to
/// the host.
template <typename Attempt>
auto Finder::withRetries(std::string_view host, std::size_t requests, const Attempt& attempt)
    -> decltype(attempt()) {
  constexpr std::chrono::milliseconds pauses[] = {std::chrono::milliseconds(500),
                                                  std::chrono::milliseconds(2500), std::chrono::seconds(7)};
  for (auto pause = std::begin(pauses);; ++pause) {
    auto answer = [&] {
      const auto permit = limiter_.acquire(host, requests);
      return attempt();
    }();
    if (answer || answer.error().domain() != AnswerErrorDomain || pause == std::end(pauses)) return answer;
    if (!limiter_.backOff(host, *pause)) return answer;
  }
}

/// Takes the best usable hit in the outcome's language.
void Finder::choose(Task& task, Outcome& outcome, Attempts& attempts,
                    const std::vector<RankedSubtitle>& ranked) {
  std::vector<RankedSubtitle> hits;
  for (const RankedSubtitle& one : ranked) {
    const Subtitle& hit = *one.subtitle;
    if (Language::from(hit.subLanguageID()) == outcome.language &&
        !hit.zipDownloadLink().value_or("").empty() &&
        !placeFor(task.video, hit, outcome.language, options_).empty() && !attempts.include(hit))
      hits.push_back(one);
  }
  if (picker_ && !hits.empty()) {
    const auto place = (*picker_)(task.video, outcome.language, hits);
    if (!place) {
      outcome.ending = Ending::declined;
      for (Outcome& other : task.outcomes) {
        if (picker_->isOver() && other.isOpen()) other.ending = Ending::declined;
      }
      return;
    }
    hits = {hits[*place]};
  }
  for (const RankedSubtitle& hit : hits) {
    if (!fetch(task, outcome, hit)) return;
    attempts.identifiers.emplace_back(hit.subtitle->subtitleID());
    if (attempts.areOver()) {
      outcome.ending = Ending::failed;
      return;
    }
  }
}

/// Downloads and places a hit. Returns true if its archive was unusable and the next one should be tried.
bool Finder::fetch(Task& task, Outcome& outcome, const RankedSubtitle& hit) {
  outcome.choice = hit;
  outcome.subtitle = placeFor(task.video, *hit.subtitle, outcome.language, options_);
  const int obstacle = obstacleAt(outcome.subtitle, options_.force);
  if (options_.dryRun || obstacle != 0) {
    settle(outcome, obstacle);
    return false;
  }
  auto content = contentOf(task.video, *hit.subtitle, outcome);
  if (content) {
    place(outcome, *std::move(content));
    return false;
  }
  outcome.errors.push_back(content.error());
  if (!isServiceFailure(content.error())) return true;
  outcome.ending = Ending::failed;
  markUnreachable(task, content.error());
  return false;
}

/// Downloads a subtitle and returns the content of its file.
Result<std::string> Finder::contentOf(const Video& video, const Subtitle& hit, Outcome& outcome) {
  Slot& slot = slots_[std::hash<std::string_view>()(hit.subtitleID()) % slots_.size()];
  const std::lock_guard lock(slot.mutex);
  const auto record = hit.encode();
  if (record && *record == slot.hit) return slot.content;

  const auto link = URL::fromString(hit.zipDownloadLink().value());
  // 2, as a download is often redirected once.
  const auto reported = withRetries(link ? link->host() : "", 2, [&] { return fileOf(hit, outcome); });
  if (!reported) return reported.error();
  const auto unpacked = subtitleFor(video, hit, reported->path());
  if (!unpacked) return unpacked.error();
  auto content = tool::contentOf(unpacked->file, longestSubtitle);
  if (!content) return content;
  if (isBlank(*content)) return Error("", 0, {}, "The subtitle file is empty");
  if (!isText(*content)) return Error("", 0, {}, "The subtitle file holds a web page, or no text at all");
  if (record && unpacked->isOnlyOne && content->size() <= longestKept) {
    slot.hit = *record;
    slot.content = *content;
  }
  return content;
}

/// Makes one attempt at a download. Errors reported before the last report are added to the outcome.
Result<URL> Finder::fileOf(const Subtitle& hit, Outcome& outcome) {
  Downloader downloader;
  auto reports = download(downloader, hit);
  for (std::size_t i = 0; i + 1 < reports.size(); ++i) {
    if (!reports[i]) outcome.errors.push_back(reports[i].error());
  }
  if (!reports.back() && isNoArchive(reports.back().error()))
    return Error(std::string(AnswerErrorDomain), 0, {}, "The server's answer is no archive");
  return std::move(reports.back());
}

void Finder::place(Outcome& outcome, std::string content) {
  EncodedText text{std::move(content)};
  if (!options_.keepEncoding) text = inUTF8(std::move(text.bytes), outcome.language);
  outcome.convertedFrom = text.convertedFrom;
  outcome.isOfUnknownEncoding = text.isUnknown;
  settle(outcome, placeFile(text.bytes, outcome.subtitle, options_.force));
}

/// Records the result of placing a file; `error` is 0 or an errno.
void Finder::settle(Outcome& outcome, int error) const {
  struct stat status {};
  if (error == 0) {
    outcome.ending = Ending::placed;
  } else if (error == EEXIST && !options_.force && ::stat(outcome.subtitle.c_str(), &status) == 0 &&
             S_ISREG(status.st_mode)) {
    outcome.ending = Ending::alreadyThere;  // created since the run began
  } else {
    outcome.fail(systemError(error, outcome.subtitle));
  }
}

}  // namespace caprion::tool
