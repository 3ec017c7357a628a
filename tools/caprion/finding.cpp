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

// What the library unpacks has no more.
constexpr std::size_t longestSubtitle = 256 << 20;

// Many times the size of usual ones.
constexpr std::size_t longestKept = 1 << 20;

/// What the service is asked about a video, the best question first.
std::vector<std::vector<Arg>> questionsFor(const URL& video, const VideoHash& hash, std::string_view stem) {
  std::vector<std::vector<Arg>> questions;
  if (!hash.fileHash.empty()) {
    questions.push_back({Arg(Param::moviebytesize, std::to_string(hash.fileSize)),  //
                         Arg(Param::moviehash, hash.fileHash)});
  }
  questions.push_back({Arg(Param::tag, std::string(stem))});
  const ReleaseName name = ReleaseName::from(video);
  if (name.title.empty()) return questions;
  if (name.season && !name.episodes.empty()) {
    questions.push_back({Arg(Param::query, name.title), Arg(Param::season, std::to_string(*name.season)),
                         Arg(Param::episode, std::to_string(name.episodes.front()))});
  } else {
    std::string words = name.title;
    if (name.year) words.append(" ").append(std::to_string(*name.year));
    questions.push_back({Arg(Param::query, std::move(words))});
  }
  return questions;
}

/// Whether a download failed on the way, and not because of this one link or archive.
bool isOutOfReach(const Error& error) {
  // Malformed, unsupported, redirected for ever, undecodable, too large.
  constexpr std::int64_t ownFaults[] = {-1000, -1002, -1007, -1016, -1103};
  if (error.domain() != NSURLErrorDomain) return error.domain() == AnswerErrorDomain;
  return std::find(std::begin(ownFaults), std::end(ownFaults), error.code()) == std::end(ownFaults);
}

/// Whether the library couldn't unpack what it got, such as an error page.
bool isOfNoArchive(const Error& error) {
  return error.domain().empty() && error.localizedRecoverySuggestion() == "archive.zip\n";
}

void failOpen(Task& task, const Error& error) {
  for (Outcome& outcome : task.outcomes) {
    if (outcome.isOpen()) outcome.fail(error);
  }
}

void cutOff(Task& task, const Error& error) {
  task.isCutOff = true;
  task.isRefused = error.domain() == AnswerErrorDomain;
  failOpen(task, error);
}

}  // namespace

/// The hits of one language that have been tried.
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
  for (std::vector<Arg>& question : questionsFor(url, *hash, stemOf(task.video.name()))) {
    std::vector<Language> languages;
    for (const Outcome& outcome : task.outcomes) {
      if (outcome.isOpen()) languages.push_back(outcome.language);
    }
    if (languages.empty()) break;

    task.hasAsked = true;
    question.emplace_back(Param::sublanguageid, identifiersOf(languages));
    const auto hits = persist(serviceHost, 1, [&question] { return query(question); });
    const auto ranked = hits ? rankedSubtitles(*hits, url) : hits.error();
    if (!ranked) {
      return ranked.error().domain() == NSPOSIXErrorDomain ? failOpen(task, ranked.error())
                                                           : cutOff(task, ranked.error());
    }
    for (std::size_t i = 0; i < task.outcomes.size(); ++i) {
      if (task.outcomes[i].isOpen()) choose(task, task.outcomes[i], attempts[i], *ranked);
    }
  }
  for (Outcome& outcome : task.outcomes) {
    if (outcome.isOpen() && !outcome.errors.empty()) outcome.ending = Ending::failed;
  }
}

void Finder::giveUp() { pace_.end(); }

/// Tries again, after a pause, what was answered with something else than it should be. It takes so many
/// requests to the host each time.
template <typename Attempt>
auto Finder::persist(std::string_view host, std::size_t requests, const Attempt& attempt)
    -> decltype(attempt()) {
  constexpr std::chrono::milliseconds pauses[] = {std::chrono::milliseconds(500),
                                                  std::chrono::milliseconds(2500), std::chrono::seconds(7)};
  for (auto pause = std::begin(pauses);; ++pause) {
    auto answer = [&] {
      const auto turn = pace_.turnWith(host, requests);
      return attempt();
    }();
    if (answer || answer.error().domain() != AnswerErrorDomain || pause == std::end(pauses)) return answer;
    if (!pace_.pause(host, *pause)) return answer;
  }
}

/// Takes the best hit in the outcome's language.
void Finder::choose(Task& task, Outcome& outcome, Attempts& attempts,
                    const std::vector<RankedSubtitle>& ranked) {
  std::vector<RankedSubtitle> hits;
  for (const RankedSubtitle& one : ranked) {
    const Subtitle& hit = *one.subtitle;
    if (Language::from(hit.subLanguageID()) == outcome.language &&
        !hit.zipDownloadLink().value_or("").empty() &&
        !placeFor(task.video, hit, outcome.language, wish_).empty() && !attempts.include(hit))
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

/// Downloads and places one; true if its archive was of no use, so that another one may be tried.
bool Finder::fetch(Task& task, Outcome& outcome, const RankedSubtitle& hit) {
  outcome.choice = hit;
  outcome.subtitle = placeFor(task.video, *hit.subtitle, outcome.language, wish_);
  const int obstacle = obstacleAt(outcome.subtitle, wish_.force);
  if (wish_.dryRun || obstacle != 0) {
    settle(outcome, obstacle);
    return false;
  }
  auto content = contentOf(task.video, *hit.subtitle, outcome);
  if (content) {
    place(outcome, *std::move(content));
    return false;
  }
  outcome.errors.push_back(content.error());
  if (!isOutOfReach(content.error())) return true;
  outcome.ending = Ending::failed;
  cutOff(task, content.error());
  return false;
}

/// Downloads the text of a subtitle.
Result<std::string> Finder::contentOf(const Video& video, const Subtitle& hit, Outcome& outcome) {
  Slot& slot = slots_[std::hash<std::string_view>()(hit.subtitleID()) % slots_.size()];
  const std::lock_guard lock(slot.mutex);
  const auto record = hit.encode();
  if (record && *record == slot.hit) return slot.content;

  const auto link = URL::fromString(hit.zipDownloadLink().value());
  // A download is often redirected once.
  const auto reported = persist(link ? link->host() : "", 2, [&] { return fileOf(hit, outcome); });
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

/// Downloads a hit once. Of several reports, those before the last are put down as errors.
Result<URL> Finder::fileOf(const Subtitle& hit, Outcome& outcome) {
  Downloader downloader;
  auto reports = download(downloader, hit);
  for (std::size_t i = 0; i + 1 < reports.size(); ++i) {
    if (!reports[i]) outcome.errors.push_back(reports[i].error());
  }
  if (!reports.back() && isOfNoArchive(reports.back().error()))
    return Error(std::string(AnswerErrorDomain), 0, {}, "The server's answer is no archive");
  return std::move(reports.back());
}

void Finder::place(Outcome& outcome, std::string content) {
  EncodedText text{std::move(content)};
  if (!wish_.keepEncoding) text = inUTF8(std::move(text.bytes), outcome.language);
  outcome.convertedFrom = text.convertedFrom;
  outcome.isOfUnknownEncoding = text.isUnknown;
  settle(outcome, placeFile(text.bytes, outcome.subtitle, wish_.force));
}

/// Puts down what became of it: `error` is 0 or an errno.
void Finder::settle(Outcome& outcome, int error) const {
  struct stat status {};
  if (error == 0) {
    outcome.ending = Ending::placed;
  } else if (error == EEXIST && !wish_.force && ::stat(outcome.subtitle.c_str(), &status) == 0 &&
             S_ISREG(status.st_mode)) {
    outcome.ending = Ending::alreadyThere;  // since the run began
  } else {
    outcome.fail(systemError(error, outcome.subtitle));
  }
}

}  // namespace caprion::tool
