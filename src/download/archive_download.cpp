#include "download/archive_download.hpp"

#include "download/archive_extraction.hpp"
#include "download/cache_folder.hpp"
#include "platform/error.hpp"
#include "platform/file_manager.hpp"
#include "platform/mutex.hpp"

#include <caprion/bundle.hpp>

#include <future>
#include <memory>
#include <new>
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

/// On destruction, cancels the task if it is still running and waits for its completion, which refers to
/// local variables.
class TaskGuard {
 public:
  TaskGuard(URLSessionTask& task, std::shared_future<bool> completed)
      : task_(task), completed_(std::move(completed)) {}
  ~TaskGuard() {
    task_.cancel();
    completed_.wait();
  }
  TaskGuard(const TaskGuard&) = delete;
  TaskGuard& operator=(const TaskGuard&) = delete;

 private:
  URLSessionTask& task_;
  const std::shared_future<bool> completed_;
};

constinit Mutex slots(MutexLevel::leaf);  // guards every DownloadSlot

}  // namespace

std::stop_token DownloadSlot::supersede() {
  std::stop_source other;
  std::stop_token token = other.get_token();
  {
    const Lock lock(slots);
    current_.swap(other);
  }
  other.request_stop();
  return token;
}

void DownloadSlot::stop() noexcept {
  std::optional<std::stop_source> current;
  {
    const Lock lock(slots);
    current.emplace(current_);
  }
  current->request_stop();
}

void downloadSubtitle(const Subtitle& subtitle, URLSession& session, DownloadSlot& slot,
                      const std::function<URLRequest(URL)>& requestFor,
                      const std::function<void(Result<URL>)>& completion,
                      std::chrono::milliseconds longestWait) {
  const auto link = subtitle.zipDownloadLink();
  if (!link) return completion(libraryError("No zip download link available"));
  const auto url = URL::fromString(*link);
  if (!url) return completion(libraryError("Cannot create URL from zipDownloadLink"));

  CacheFolder folder(applicationName(), subtitle.subtitleID());
  if (const auto error = folder.create()) return completion(*error);
  const std::string archive = folder.path() + "/archive.zip";

  // Stop the previous download now, as it may hold the lock that this one waits for.
  const std::stop_token stop = slot.supersede();
  const auto report = [&](Result<URL> outcome) {
    if (!stop.stop_requested()) completion(std::move(outcome));
  };
  try {
    if (const auto error = folder.lock(stop, longestWait)) return report(*error);
    folder.empty();

    const auto promise = std::make_shared<std::promise<bool>>();
    const std::shared_future<bool> stored = promise->get_future().share();
    const auto task = session.downloadTask(
        requestFor(*url), folder.path(),
        [&, promise](const auto& file, const auto&, const std::optional<Error>& transportError) {
          const auto error = orOutOfMemory([&]() -> std::optional<Error> {
            if (transportError) return transportError;
            if (!file) return libraryError("The subtitle file couldn't download for some unknown reason");
            return moveItem(file->path(), archive);
          });
          if (error) {
            folder.unlock();  // first, as the completion may start the same download again
            report(*error);
          }
          promise->set_value(!error);
        });
    const TaskGuard guard(*task, stored);
    const std::stop_callback cancelled(stop, [&] { task->cancel(); });
    task->resume();
    if (!stored.get()) return;

    auto reports = extractSubtitle(subtitle, folder, archive, stop);
    folder.unlock();
    for (auto& each : reports) report(std::move(each));
  } catch (const std::bad_alloc&) {
    if (!stop.stop_requested()) throw;
  }
}

}  // namespace caprion
