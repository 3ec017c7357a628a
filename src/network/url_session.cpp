#include "network/url_session.hpp"

#include "network/session_threads.hpp"
#include "network/transfer.hpp"
#include "network/transport_error.hpp"
#include "platform/error.hpp"
#include "platform/file_manager.hpp"
#include "platform/thread.hpp"

#include <curl/curl.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <map>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

namespace caprion {

namespace {

constexpr std::size_t connectionsPerHost = 6;
constexpr int redirectLimit = 20;
/// Of a URL, in bytes. libcurl takes no request head of more than a megabyte.
constexpr std::size_t urlLimit = 1'000'000;
constexpr std::size_t dataSizeLimit = std::size_t{64} << 20;
constexpr std::size_t downloadSizeLimit = std::size_t{256} << 20;
/// How many answers may wait for their completions before the exchanges that wait for their turn are held
/// back: what bounds the memory when answers come in faster than the host takes them.
constexpr std::size_t backlogLimit = 16;

/// What is held across a fork, in this order, so that a child finds it free.
struct Mutexes {
  /// The driver's, while it is inside libcurl. A child made meanwhile would find locks of OpenSSL's taken for
  /// ever, at its exit at the latest.
  std::mutex performing;
  /// Guards all that a host's threads share with the session.
  std::mutex shared;

  static Mutexes& get() {
    static auto* const mutexes = [] {
      static auto* const made = new Mutexes;
      const auto unlock = [] { made->shared.unlock(), made->performing.unlock(); };
      ::pthread_atfork([] { made->performing.lock(), made->shared.lock(); }, unlock, unlock);
      return made;
    }();
    return *mutexes;
  }
};

std::mutex& sharedMutex() { return Mutexes::get().shared; }

/// Keeps descriptors 0 to 2 taken while it lives, so that what is opened meanwhile does not become one of
/// them in a host that has closed them.
class StandardDescriptorsTaken {
 public:
  StandardDescriptorsTaken() {
    int descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
      taken_[count_++] = descriptor;
      descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    }
    if (descriptor >= 0) ::close(descriptor);
  }
  ~StandardDescriptorsTaken() {
    while (count_ > 0) ::close(taken_[--count_]);
  }
  StandardDescriptorsTaken(const StandardDescriptorsTaken&) = delete;
  StandardDescriptorsTaken& operator=(const StandardDescriptorsTaken&) = delete;

 private:
  std::array<int, 3> taken_{};
  std::size_t count_ = 0;
};

}  // namespace

/// The session's side of a task. The driver is whichever of the session's threads drives the exchanges. What
/// isn't constant belongs to the driver until the task has ended, and then to the completion.
class URLSession::Impl final : public SessionWork {
 public:
  class Task : public URLSessionTask, public std::enable_shared_from_this<Task> {
   public:
    Task(Impl& session, URLRequest request) : session_(session), request_(std::move(request)) {}

    void resume() noexcept override { session_.submit({shared_from_this(), Command::resume}); }
    void cancel() noexcept override { session_.submit({shared_from_this(), Command::cancel}); }

   protected:
    /// How many bytes a body may have, and where they go: from the start again after clear().
    virtual std::size_t sizeLimit() const = 0;
    virtual std::optional<Error> append(std::string_view bytes) = 0;
    virtual void clear() = 0;

    /// Runs the completion, and lets go of it and of all that it holds.
    virtual void complete(std::optional<HTTPURLResponse> response, std::optional<Error> error) = 0;

   private:
    friend class Impl;
    enum class Phase { suspended, waiting, running, ended };

    Impl& session_;
    const URLRequest request_;

    /// What became of the first command. Of a task that was accepted, the driver sees every further
    /// command; one that was refused has completed with that.
    enum class Fate { unknown, accepted, refused };
    std::atomic<Fate> fate_ = Fate::unknown;

    /// Whether a command may be treated this way: only an accepted one may have been seen before.
    bool take(Fate fate) {
      Fate before = Fate::unknown;
      return fate_.compare_exchange_strong(before, fate) ||
             (before == Fate::accepted && fate == Fate::accepted);
    }

    // The driver's. A task that has ended may still have a transfer that has yet to come to its end.
    Phase phase_ = Phase::suspended;
    std::string url_;  // of the request, and then of the redirects
    std::string host_;
    int redirects_ = 0;
    std::unique_ptr<Transfer> transfer_;
  };

  class DataTask;
  class DownloadTask;

  /// Hands a task to the driver, which is started if need be.
  struct Command {
    enum What { resume, cancel };
    std::shared_ptr<Task> task;
    What what;
  };
  void submit(Command command) noexcept;

 private:
  using TaskPointer = std::shared_ptr<Task>;

  /// The tasks of one host.
  struct Host {
    std::deque<TaskPointer> waiting;
    std::vector<TaskPointer> running;
  };

  std::optional<Error> start();
  void stop();
  void wake() override { curl_multi_wakeup(multi_); }

  // What follows runs on the thread that drives.
  bool perform() override;
  void wait(std::chrono::milliseconds longest) override;
  void resume(const TaskPointer& task);
  void cancel(const TaskPointer& task);
  void enqueue(const TaskPointer& task, std::string url);
  void startWaiting();
  void startTransfer(const TaskPointer& task, Host& host);
  void finishTransfers();
  std::chrono::milliseconds endOverdue();
  void endTransfer(const TaskPointer& task);
  void end(const TaskPointer& task, std::optional<HTTPURLResponse> response, std::optional<Error> error);

  const TransportSettings settings_ = TransportSettings::fromEnvironment();
  SessionThreads threads_{*this, backlogLimit};

  // Under the shared mutex.
  std::vector<Command> commands_;
  bool isStopping_ = false;
  std::atomic<pid_t> process_ = 0;  // that the threads run in; 0 before there are any
  CURLM* multi_ = nullptr;

  // The driver's.
  std::map<std::string, Host> hosts_;
  std::chrono::milliseconds untilOverdue_{0};  // the next server that is silent for too long
};

class URLSession::Impl::DataTask final : public Task {
 public:
  DataTask(Impl& session, URLRequest request, DataCompletion completion)
      : Task(session, std::move(request)), completion_(std::move(completion)) {}

 private:
  std::size_t sizeLimit() const override { return dataSizeLimit; }
  std::optional<Error> append(std::string_view bytes) override {
    body_ += bytes;
    return std::nullopt;
  }
  void clear() override { body_.clear(); }

  void complete(std::optional<HTTPURLResponse> response, std::optional<Error> error) override {
    const auto completion = std::exchange(completion_, nullptr);
    std::optional<std::string> body;
    if (!error) body = std::exchange(body_, {});
    completion(std::move(body), response, std::move(error));
  }

  std::string body_;
  DataCompletion completion_;
};

class URLSession::Impl::DownloadTask final : public Task {
 public:
  DownloadTask(Impl& session, URLRequest request, std::string folder, DownloadCompletion completion)
      : Task(session, std::move(request)), folder_(std::move(folder)), completion_(std::move(completion)) {}

 private:
  std::size_t sizeLimit() const override { return downloadSizeLimit; }

  std::optional<Error> append(std::string_view bytes) override {
    if (!file_) file_.emplace(folder_);
    return file_->write(bytes);
  }

  void clear() override { file_.reset(); }

  void complete(std::optional<HTTPURLResponse> response, std::optional<Error> error) override {
    const auto completion = std::exchange(completion_, nullptr);
    if (!error) error = append({});  // a body without a byte is a file all the same
    if (error) clear();
    std::optional<URL> location;
    if (!error) location = URL::fileURLWithPath(file_->path());
    completion(std::move(location), response, std::move(error));
    clear();
  }

  const std::string folder_;
  std::optional<TemporaryFile> file_;
  DownloadCompletion completion_;
};

std::shared_ptr<URLSessionTask> LatestTask::exchange(std::shared_ptr<URLSessionTask> task) {
  const std::lock_guard lock(sharedMutex());
  return std::exchange(task_, std::move(task));
}

bool LatestTask::is(const std::shared_ptr<URLSessionTask>& task) const {
  const std::lock_guard lock(sharedMutex());
  return task_ == task;
}

void LatestTask::cancel() noexcept {
  std::shared_ptr<URLSessionTask> task;
  {
    const std::lock_guard lock(sharedMutex());
    task = task_;
  }
  if (task) task->cancel();
}

URLSession& URLSession::shared() {
  static auto* const session = new URLSession;
  return *session;
}

URLSession::URLSession() : impl_(new Impl) {}

std::shared_ptr<URLSessionTask> URLSession::dataTask(URLRequest request, DataCompletion completion) {
  return std::make_shared<Impl::DataTask>(*impl_, std::move(request), std::move(completion));
}

std::shared_ptr<URLSessionTask> URLSession::downloadTask(URLRequest request, std::string folder,
                                                         DownloadCompletion completion) {
  return std::make_shared<Impl::DownloadTask>(*impl_, std::move(request), std::move(folder),
                                              std::move(completion));
}

void URLSession::Impl::submit(Command command) noexcept {
  std::optional<Error> refused;
  if (process_ != 0 && process_ != ::getpid()) {
    refused = posixError(ECHILD);  // a child of fork() has none of the threads
  } else {
    const std::lock_guard lock(sharedMutex());
    refused = isStopping_ ? posixError(ECANCELED) : start();
    if (!refused && command.task->take(Task::Fate::accepted)) commands_.push_back(command);
  }
  if (!refused) {
    threads_.drive();
  } else if (command.task->take(Task::Fate::refused)) {
    if (command.what == Command::cancel) refused = urlError(url_error::cancelled);
    runInBackground(
        [task = std::move(command.task), error = *refused] { task->complete(std::nullopt, error); });
  }
}

/// Starts the threads, once. What can't be had now may be had the next time.
std::optional<Error> URLSession::Impl::start() {
  if (process_ != 0) return std::nullopt;
  // libcurl first, then the stop at exit: exit() runs in reverse, and OpenSSL may not be cleaned up under a
  // thread.
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) return posixError(ENOMEM);
  if (multi_ == nullptr) {
    const StandardDescriptorsTaken taken;
    multi_ = curl_multi_init();
    // Without descriptors to spare, libcurl makes a handle that can't be woken up.
    if (multi_ == nullptr || curl_multi_wakeup(multi_) != CURLM_OK) {
      curl_multi_cleanup(multi_);
      multi_ = nullptr;
      return posixError(EMFILE);
    }
    curl_multi_setopt(multi_, CURLMOPT_PIPELINING, CURLPIPE_NOTHING);
    curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, 4L * static_cast<long>(connectionsPerHost));
  }
  if (!threads_.start()) return posixError(EAGAIN);
  process_ = ::getpid();
  std::atexit([] { shared().impl_->stop(); });
  return std::nullopt;
}

void URLSession::Impl::stop() {
  if (process_ != ::getpid()) return;
  {
    const std::lock_guard lock(sharedMutex());
    isStopping_ = true;
  }
  threads_.stop();
  // Nothing is left behind of the tasks that the exit has caught halfway.
  for (auto& [name, host] : hosts_) {
    for (const TaskPointer& task : host.running) task->clear();
  }
}

bool URLSession::Impl::perform() {
  const std::lock_guard performing(Mutexes::get().performing);
  std::vector<Command> commands;
  {
    const std::lock_guard lock(sharedMutex());
    commands.swap(commands_);
  }
  for (const Command& command : commands) {
    command.what == Command::resume ? resume(command.task) : cancel(command.task);
  }
  startWaiting();
  int running = 0;
  curl_multi_perform(multi_, &running);
  finishTransfers();
  untilOverdue_ = endOverdue();
  startWaiting();
  return !hosts_.empty();
}

void URLSession::Impl::wait(std::chrono::milliseconds longest) {
  curl_multi_poll(multi_, nullptr, 0, static_cast<int>(std::min(longest, untilOverdue_).count()), nullptr);
}

void URLSession::Impl::resume(const TaskPointer& task) {
  if (task->phase_ == Task::Phase::suspended) enqueue(task, task->request_.url.absoluteString());
}

void URLSession::Impl::cancel(const TaskPointer& task) {
  switch (task->phase_) {
    case Task::Phase::ended:
      return;
    case Task::Phase::waiting:
      std::erase(hosts_[task->host_].waiting, task);
      break;
    case Task::Phase::running:
      if (task->transfer_->isLookingUp()) {
        task->transfer_
            ->abandon();  // it keeps its place meanwhile, or there would be look-ups without number
      } else {
        endTransfer(task);
      }
      break;
    case Task::Phase::suspended:
      break;
  }
  end(task, std::nullopt, urlError(url_error::cancelled));
}

/// Lets the task wait for its turn with the URL's host, or ends it when the URL can't be followed.
void URLSession::Impl::enqueue(const TaskPointer& task, std::string url) {
  try {
    const std::string scheme = lowercasedScheme(url);
    const bool stepsDown = scheme == "http" && lowercasedScheme(task->url_) == "https";
    if (url.size() > urlLimit) {
      end(task, std::nullopt, urlError(url_error::badURL, "The URL is longer than 1,000,000 bytes"));
      return;
    }
    if ((scheme != "http" && scheme != "https") || stepsDown) {
      end(task, std::nullopt,
          urlError(url_error::unsupportedURL, stepsDown ? "Redirected from https to http" : ""));
      return;
    }
    std::optional<std::string> host = hostOf(url);
    if (!host) {
      end(task, std::nullopt, urlError(url_error::badURL));
      return;
    }
    task->url_ = std::move(url);
    task->host_ = std::move(*host);
    task->phase_ = Task::Phase::waiting;
    auto& waiting = hosts_[task->host_].waiting;
    waiting.insert(task->redirects_ > 0 ? waiting.begin() : waiting.end(), task);
  } catch (const std::bad_alloc&) {
    end(task, std::nullopt, posixError(ENOMEM));
  }
}

void URLSession::Impl::startWaiting() {
  for (auto entry = hosts_.begin(); entry != hosts_.end();) {
    Host& host = entry->second;
    while (!host.waiting.empty() && host.running.size() < connectionsPerHost && !threads_.isFull()) {
      const TaskPointer task = std::move(host.waiting.front());
      host.waiting.pop_front();
      startTransfer(task, host);
    }
    entry = host.waiting.empty() && host.running.empty() ? hosts_.erase(entry) : std::next(entry);
  }
}

void URLSession::Impl::startTransfer(const TaskPointer& task, Host& host) {
  try {
    task->transfer_ = std::make_unique<Transfer>(task->request_, task->url_, settings_, task->sizeLimit(),
                                                 [&task = *task](auto bytes) { return task.append(bytes); });
    if (curl_easy_setopt(task->transfer_->easy(), CURLOPT_PRIVATE, task.get()) != CURLE_OK ||
        curl_multi_add_handle(multi_, task->transfer_->easy()) != CURLM_OK) {
      throw std::bad_alloc();
    }
  } catch (const std::bad_alloc&) {
    task->transfer_.reset();
    end(task, std::nullopt, posixError(ENOMEM));
    return;
  }
  task->phase_ = Task::Phase::running;
  host.running.push_back(task);
}

void URLSession::Impl::finishTransfers() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    void* found = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &found);
    const TaskPointer task = static_cast<Task*>(found)->shared_from_this();
    Transfer::Outcome outcome = task->transfer_->outcome(message->data.result);
    endTransfer(task);

    if (task->phase_ == Task::Phase::ended) continue;  // it was cancelled
    if (!outcome.redirect) {
      std::optional<HTTPURLResponse> response;
      if (!outcome.error) response = HTTPURLResponse{outcome.statusCode};
      end(task, response, std::move(outcome.error));
    } else if (++task->redirects_ > redirectLimit) {
      end(task, std::nullopt, urlError(url_error::httpTooManyRedirects));
    } else {
      task->clear();
      enqueue(task, std::move(*outcome.redirect));
    }
  }
}

/// Ends the transfers whose servers have been silent for too long, and those of cancelled tasks that can be
/// ended by now. Returns how long it is until the next server has been silent for too long.
std::chrono::milliseconds URLSession::Impl::endOverdue() {
  using std::chrono::milliseconds;
  const auto now = std::chrono::steady_clock::now();
  milliseconds wait = std::chrono::minutes(1);
  for (const auto& [name, host] : hosts_) {
    for (const TaskPointer& task : std::vector(host.running)) {
      if (task->phase_ == Task::Phase::ended && !task->transfer_->isLookingUp()) {
        endTransfer(task);
        continue;
      }
      const auto lastHeard = task->transfer_->lastHeard();
      if (!lastHeard) continue;
      const auto left = std::chrono::ceil<milliseconds>(*lastHeard + task->request_.timeoutInterval - now);
      if (left <= milliseconds::zero()) {
        endTransfer(task);
        end(task, std::nullopt, urlError(url_error::timedOut));
      } else {
        wait = std::min(wait, left);
      }
    }
  }
  return wait;
}

/// Takes the task off libcurl, with its connection closed if the transfer was not over.
void URLSession::Impl::endTransfer(const TaskPointer& task) {
  curl_multi_remove_handle(multi_, task->transfer_->easy());
  task->transfer_.reset();
  std::erase(hosts_[task->host_].running, task);
}

void URLSession::Impl::end(const TaskPointer& task, std::optional<HTTPURLResponse> response,
                           std::optional<Error> error) {
  if (task->phase_ == Task::Phase::ended) return;
  task->phase_ = Task::Phase::ended;
  threads_.complete([task, response, error = std::move(error)] { task->complete(response, error); });
}

}  // namespace caprion
