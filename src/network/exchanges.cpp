#include "network/exchanges.hpp"

#include "network/transport_error.hpp"
#include "platform/descriptor.hpp"
#include "platform/error.hpp"
#include "platform/mutex.hpp"

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace caprion {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t connectionsPerHost = 6;
constexpr int redirectLimit = 20;
/// In bytes. libcurl accepts no request head of more than a megabyte.
constexpr std::size_t urlLimit = 1'000'000;
/// How long one pass of the event loop may decode.
constexpr auto decodingTime = 20ms;
constexpr auto closeTimeout = 1500ms;

/// Held while inside libcurl. A process forked then would inherit locked mutexes of OpenSSL, and deadlock on
/// them at exit at the latest.
constinit Mutex driving(MutexLevel::driving);

Transfer::Time now() { return std::chrono::steady_clock::now(); }

}  // namespace

std::optional<Error> Exchanges::open() {
  if (multi_ != nullptr) return std::nullopt;
  const StandardDescriptorsTaken taken;
  multi_ = curl_multi_init();
  if (multi_ == nullptr) return outOfMemory();
  // Out of descriptors, libcurl creates a handle that can't be woken up.
  if (curl_multi_wakeup(multi_) != CURLM_OK) {
    curl_multi_cleanup(multi_);
    multi_ = nullptr;
    return posixError(EMFILE);
  }
  curl_multi_setopt(multi_, CURLMOPT_PIPELINING, CURLPIPE_NOTHING);
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, 4L * static_cast<long>(connectionsPerHost));
  return std::nullopt;
}

void Exchanges::close() CAPRION_THREAD_SAFETY(no_thread_safety_analysis) {
  isClosed_ = true;
  if (!driving.lockUntil(std::chrono::steady_clock::now() + closeTimeout)) return;
  // Removes the temporary files of unfinished downloads.
  for (auto& [name, host] : hosts_) {
    for (const Exchange& exchange : host.running) {
      if (exchange.task != nullptr) exchange.task->clear();
    }
  }
}

bool Exchanges::perform() {
  Mutex::yieldToFork();
  const Lock lock(driving);
  if (isClosed_) return false;
  takeCommands();
  startWaiting();
  int running = 0;
  curl_multi_perform(multi_, &running);
  finishTransfers();
  hasMoreToDecode_ = decode();
  if (isClosed_) return false;  // closed while a body was written to a slow disk
  settle();
  startWaiting();
  return !hosts_.empty();
}

void Exchanges::wait(std::chrono::milliseconds longest) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextDeadline_ - now());
  const auto most = std::clamp(left, 0ms, longest);
  curl_multi_poll(multi_, nullptr, 0, hasMoreToDecode_ ? 0 : static_cast<int>(most.count()), nullptr);
}

void Exchanges::takeCommands() {
  while (const auto pending = intake_.next()) {
    SessionTask& task = *pending->task;
    if (pending->toResume && task.phase == SessionTask::Phase::suspended) {
      task.request ? enqueue(task, task.request->url.absoluteString()) : end(task, task.request.error());
    }
    if (pending->toCancel) cancel(task);
  }
}

void Exchanges::cancel(SessionTask& task) {
  if (task.phase == SessionTask::Phase::ended) return;
  if (task.phase == SessionTask::Phase::waiting)
    task.host->waiting.erase(task.host->waiting.iterator_to(task));
  if (task.phase == SessionTask::Phase::exchanging) {
    if (task.exchange->transfer.isResolving()) {
      // Keeps its slot until the name is resolved, or cancelled searches would pile up resolver threads.
      task.exchange->transfer.abandon();
      task.exchange->task = nullptr;
    } else {
      endExchange(task.exchange, *task.host);
    }
  }
  end(task, urlError(url_error::cancelled));
}

/// Queues the task for the URL's host, or ends it when the URL can't be followed.
void Exchanges::enqueue(SessionTask& task, const std::string& text) {
  try {
    const std::string scheme = schemeOf(text);
    const bool stepsDown = scheme == "http" && task.url.isSecure;
    if (text.size() > urlLimit)
      return end(task, urlError(url_error::badURL, "The URL is longer than 1,000,000 bytes"));
    if ((scheme != "http" && scheme != "https") || stepsDown)
      return end(task, urlError(url_error::unsupportedURL, stepsDown ? "Redirected from https to http" : ""));
    auto url = WebURL::from(text);
    if (!url) return end(task, urlError(url_error::badURL));
    Host& host = hosts_[url->host];
    task.url = std::move(*url);
    task.host = &host;
  } catch (const std::bad_alloc&) {
    return end(task, outOfMemory());
  }
  task.phase = SessionTask::Phase::waiting;
  task.waitingSince = now();
  auto& waiting = task.host->waiting;
  const bool goesFirst = task.redirects > 0 || task.needsFreshConnection;  // it had a slot before
  waiting.insert(goesFirst ? waiting.begin() : waiting.end(), task);
}

void Exchanges::startWaiting() {
  const bool isFull = threads_.isFull();
  for (auto entry = hosts_.begin(); entry != hosts_.end();) {
    Host& host = entry->second;
    if (isFull) host.lastSlotFreed = now();  // the completions are the bottleneck, not the host
    while (!isFull && !host.waiting.empty() && host.running.size() < connectionsPerHost) {
      SessionTask& task = host.waiting.front();
      host.waiting.pop_front();
      start(task);
    }
    entry = host.waiting.empty() && host.running.empty() ? hosts_.erase(entry) : std::next(entry);
  }
}

void Exchanges::start(SessionTask& task) {
  auto& running = task.host->running;
  const auto before = running.size();
  try {
    running.emplace_back(task, settings_, sockets_);
    CURL* const easy = running.back().transfer.easy();
    if (curl_easy_setopt(easy, CURLOPT_PRIVATE, &running.back()) != CURLE_OK ||
        curl_multi_add_handle(multi_, easy) != CURLM_OK) {
      throw std::bad_alloc();
    }
  } catch (const std::bad_alloc&) {
    if (running.size() > before) running.pop_back();
    return end(task, outOfMemory());
  }
  task.exchange = std::prev(running.end());
  task.phase = SessionTask::Phase::exchanging;
}

void Exchanges::finishTransfers() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    void* found = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &found);
    static_cast<Exchange*>(found)->transfer.finish(message->data.result);
  }
}

/// Returns whether there is more left to decode.
bool Exchanges::decode() {
  const auto share = decodingTime / std::max(std::exchange(busy_, 0), 1);
  for (auto& [name, host] : hosts_) {
    for (Exchange& exchange : host.running) {
      if (exchange.task != nullptr && exchange.transfer.decode(share)) ++busy_;
    }
  }
  return busy_ > 0;
}

/// Handles finished transfers, times out stalled ones and stalled waiting tasks, and computes the next
/// deadline.
void Exchanges::settle() {
  const auto time = now();
  nextDeadline_ = time + 1min;
  for (auto& [name, host] : hosts_) {
    for (auto next = host.running.begin(); next != host.running.end();) {
      const auto exchange = next++;
      Transfer& transfer = exchange->transfer;
      if (exchange->task == nullptr) {
        if (!transfer.isResolving()) endExchange(exchange, host);
        continue;
      }
      SessionTask& task = *exchange->task;
      if (auto outcome = transfer.outcome()) {
        endExchange(exchange, host);
        follow(task, std::move(*outcome));
      } else if (const auto deadline = transfer.deadline(); deadline && *deadline <= time) {
        endExchange(exchange, host);
        end(task, urlError(url_error::timedOut));
      } else if (deadline) {
        nextDeadline_ = std::min(nextDeadline_, *deadline);
      }
    }
    while (!host.waiting.empty()) {
      SessionTask& task = host.waiting.front();
      const auto deadline = std::max(task.waitingSince, host.lastSlotFreed) + task.request->timeoutInterval;
      nextDeadline_ = std::min(nextDeadline_, deadline);
      if (deadline > time) break;
      host.waiting.pop_front();
      end(task, urlError(url_error::timedOut, "The requests before this one hang"));
    }
  }
}

void Exchanges::follow(SessionTask& task, Transfer::Outcome outcome) {
  if (outcome.needsFreshConnection) {
    task.needsFreshConnection = true;
    enqueue(task, std::exchange(task.url.text, {}));
  } else if (outcome.redirect && ++task.redirects > redirectLimit) {
    end(task, urlError(url_error::httpTooManyRedirects));
  } else if (outcome.redirect) {
    enqueue(task, *outcome.redirect);
  } else if (outcome.error) {
    end(task, std::move(outcome.error));
  } else {
    end(task, std::nullopt, HTTPURLResponse{outcome.statusCode});
  }
}

/// Removes the exchange from libcurl, which closes the connection if the transfer was not complete.
void Exchanges::endExchange(std::list<Exchange>::iterator exchange, Host& host) {
  curl_multi_remove_handle(multi_, exchange->transfer.easy());
  host.running.erase(exchange);
  host.lastSlotFreed = now();
}

void Exchanges::end(SessionTask& task, std::optional<Error> error, std::optional<HTTPURLResponse> response) {
  task.phase = SessionTask::Phase::ended;
  task.host = nullptr;
  task.error = std::move(error);
  task.response = response;
  threads_.complete(task);
}

}  // namespace caprion
