#pragma once

#include "network/connection_sockets.hpp"
#include "network/session_task.hpp"
#include "network/session_threads.hpp"
#include "network/transfer.hpp"
#include "network/transport_settings.hpp"

#include <boost/intrusive/list.hpp>
#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace caprion {

/// A running exchange of a task with its host.
struct Exchange {
  /// Null if the task was cancelled during name resolution.
  SessionTask* task;
  Transfer transfer;

  Exchange(SessionTask& whose, const TransportSettings& settings, ConnectionSockets& sockets)
      : task(&whose), transfer(whose, settings, sockets) {}
};

/// The tasks of one host: at most six run, the others are queued.
struct Host {
  using Queue =
      boost::intrusive::list<SessionTask,
                             boost::intrusive::member_hook<SessionTask, boost::intrusive::list_member_hook<>,
                                                           &SessionTask::waitingHook>>;
  Queue waiting;
  std::list<Exchange> running;
  /// When a slot last became free.
  Transfer::Time lastSlotFreed{};
};

/// The state of the event loop, used by the driver thread alone: per-host queues, libcurl's multi handle,
/// timeouts. Runs none of the host program's code.
class Exchanges final : public SessionWork {
 public:
  Exchanges(TaskIntake& intake, SessionThreads& threads) : intake_(intake), threads_(threads) {}

  /// Creates the multi handle, if there is none yet. Returns an error on failure.
  std::optional<Error> open();

  /// For process exit: keeps all threads out of libcurl from now on. Waits for the one inside to leave, up to
  /// 1.5 s.
  void close();

  bool perform() override;
  void wait(std::chrono::milliseconds longest) override;
  void wake() override { curl_multi_wakeup(multi_); }

 private:
  using Time = Transfer::Time;

  void takeCommands();
  void cancel(SessionTask& task);
  void enqueue(SessionTask& task, const std::string& text);
  void startWaiting();
  void start(SessionTask& task);
  void finishTransfers();
  bool decode();
  void settle();
  void follow(SessionTask& task, Transfer::Outcome outcome);
  void endExchange(std::list<Exchange>::iterator exchange, Host& host);
  void end(SessionTask& task, std::optional<Error> error, std::optional<HTTPURLResponse> response = {});

  TaskIntake& intake_;
  SessionThreads& threads_;
  const TransportSettings settings_ = TransportSettings::fromEnvironment();
  ConnectionSockets sockets_;
  CURLM* multi_ = nullptr;
  std::atomic<bool> isClosed_ = false;

  std::map<std::string, Host> hosts_;
  bool hasMoreToDecode_ = false;
  int busy_ = 0;  // exchanges that had more to decode in the last pass
  Time nextDeadline_{};
};

}  // namespace caprion
