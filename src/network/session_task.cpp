#include "network/session_task.hpp"

#include "platform/error.hpp"

#include <new>
#include <thread>
#include <utility>

namespace caprion {

void SessionTask::resume() noexcept { session_.submit(*this, TaskIntake::Command::resume); }
void SessionTask::cancel() noexcept { session_.submit(*this, TaskIntake::Command::cancel); }

void SessionTask::run() noexcept {
  // The call that started this task has usually returned long ago, so polling is enough. A wake-up from the
  // call could run the completion before the call's last instructions.
  constexpr int spins = 100;
  for (int i = 0; holds_ > 0; ++i) {
    i < spins ? std::this_thread::yield() : std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  runNow();
}

void SessionTask::runNow() noexcept {
  const auto kept = std::exchange(self, nullptr);
  complete();
}

std::optional<Error> DataTask::append(std::string_view bytes) {
  body_ += bytes;
  return std::nullopt;
}

void DataTask::complete() {
  const auto completion = std::exchange(completion_, nullptr);
  std::optional<std::string> body;
  if (!error) body = std::exchange(body_, {});
  completion(std::move(body), response, error);
}

std::optional<Error> DownloadTask::append(std::string_view bytes) {
  if (!file_) file_.emplace(folder_);
  return file_->write(bytes);
}

void DownloadTask::complete() {
  const auto completion = std::exchange(completion_, nullptr);
  std::optional<URL> location;
  try {
    if (!error) error = append({});  // an empty body makes an empty file
    if (!error) location = URL::fileURLWithPath(file_->path());
  } catch (const std::bad_alloc&) {
    error = outOfMemory();
  }
  if (error) clear();
  completion(std::move(location), response, error);
  clear();
}

}  // namespace caprion
