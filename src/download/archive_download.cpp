#include "download/archive_download.hpp"

#include "download/archive_extraction.hpp"
#include "download/cache_folder.hpp"
#include "network/transport_error.hpp"
#include "platform/error.hpp"
#include "platform/file_manager.hpp"

#include <caprion/bundle.hpp>

#include <future>
#include <memory>
#include <string>
#include <utility>
#include <variant>

namespace caprion {

namespace {

std::string applicationName() {
  const auto dictionary = Bundle::main().infoDictionary();
  if (dictionary) {
    const auto name = dictionary->find("CFBundleName");
    const auto* text = name == dictionary->end() ? nullptr : std::get_if<std::string>(&name->second);
    if (text != nullptr) return *text;
  }
  return "Caprion";
}

/// Sees to it that a task has ended, and its completion has run, before what that refers to is gone. A task
/// that has ended by itself is not touched.
class EndOfTask {
 public:
  EndOfTask(URLSessionTask& task, std::shared_future<bool> completed)
      : task_(task), completed_(std::move(completed)) {}
  ~EndOfTask() {
    task_.cancel();
    completed_.wait();
  }
  EndOfTask(const EndOfTask&) = delete;
  EndOfTask& operator=(const EndOfTask&) = delete;

 private:
  URLSessionTask& task_;
  const std::shared_future<bool> completed_;
};

}  // namespace

void downloadSubtitle(const Subtitle& subtitle, URLSession& session, LatestTask& latestTask,
                      const std::function<URLRequest(URL)>& requestFor,
                      const std::function<void(Result<URL>)>& completion) {
  const auto link = subtitle.zipDownloadLink();
  if (!link) return completion(libraryError("No zip download link available"));
  const auto url = URL::fromString(*link);
  if (!url) return completion(libraryError("Cannot create URL from zipDownloadLink"));

  CacheFolder folder(applicationName(), subtitle.subtitleID());
  if (const auto error = folder.create()) return completion(*error);
  const std::string archive = folder.path() + "/archive.zip";

  const auto promise = std::make_shared<std::promise<bool>>();
  const std::shared_future<bool> stored = promise->get_future().share();
  const auto task = session.downloadTask(
      requestFor(*url), folder.path(),
      [&, promise](const auto& file, const auto&, const std::optional<Error>& transportError) {
        std::optional<Error> error = transportError;
        if (!error && !file) {
          error = libraryError("The subtitle file couldn't download for some unknown reason");
        } else if (!error) {
          error = moveItem(file->path(), archive);
        }
        // A task may be cancelled before this download has the lock; any other end comes while it is held. It
        // is let go of first, as the host may start this download anew from within the report.
        if (error && error->code() != url_error::cancelled) {
          folder.unlock();
          completion(*error);
        }
        promise->set_value(!error);
      });
  const EndOfTask end(*task, stored);

  // The download before gives way now, as it may hold the lock that this one waits for.
  if (const auto previous = latestTask.exchange(task)) previous->cancel();
  if (const auto error = folder.lock()) return completion(*error);
  if (!latestTask.is(task)) return;  // this one has given way itself, and what is in the folder isn't its own
  folder.empty();
  task->resume();
  if (!stored.get()) return;

  const auto reports = extractSubtitle(subtitle, folder, archive);
  folder.unlock();
  for (const auto& report : reports) completion(report);
}

}  // namespace caprion
