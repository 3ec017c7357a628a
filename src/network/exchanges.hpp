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

/// A task's turn with its host.
struct Exchange {
  /// Gone when the task was cancelled while its name was being looked up.
  SessionTask* task;
  Transfer transfer;

  Exchange(SessionTask& whose, const TransportSettings& settings, ConnectionSockets& sockets)
      : task(&whose), transfer(whose, settings, sockets) {}
};

/// The tasks of one host: at most six at a time, and the others wait for their turn.
struct Host {
  using Queue =
      boost::intrusive::list<SessionTask,
                             boost::intrusive::member_hook<SessionTask, boost::intrusive::list_member_hook<>,
                                                           &SessionTask::waitingHook>>;
  Queue waiting;
  std::list<Exchange> running;
  /// When a place last became free.
  Transfer::Time lastMove{};
};

/// All that belongs to whichever of the session's threads drives: the hosts and their queues, libcurl's multi
/// handle, the time-outs. Runs none of the host program's code.
class Exchanges final : public SessionWork {
 public:
  Exchanges(TaskIntake& intake, SessionThreads& threads) : intake_(intake), threads_(threads) {}

  /// Makes what is needed before anybody drives. Absent when that is there.
  std::optional<Error> open();

  /// Keeps all threads out of libcurl for the rest of the process, for its exit. Waits until the one that is
  /// in there has come out, which takes a moment; if it does not, goes on without it.
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
  int busy_ = 0;  // exchanges with more to decode
  Time nextDeadline_{};
};

}  // namespace caprion
