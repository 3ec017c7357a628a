#include "stand_in.hpp"

#include "catalogue.hpp"
#include "certificates.hpp"
#include "connection.hpp"
#include "http.hpp"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <iterator>
#include <list>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace caprion::stand_in {
namespace {

int checked(int result, const char* what) {
  if (result < 0) throw std::system_error(errno, std::generic_category(), what);
  return result;
}

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }
  int release() { return std::exchange(number_, -1); }
  void reset(int number) {
    close();
    number_ = number;
  }
  void close() {
    if (number_ >= 0) ::close(release());
  }

 private:
  int number_ = -1;
};

constexpr char established[] = "HTTP/1.1 200 Connection established\r\n\r\n";

// The answer to a CONNECT to a reserved host name, after which the connection is closed.
struct TunnelFault {
  const char* host;
  const char* answer;
  bool hangs = false;
};

const TunnelFault* tunnelFaultOf(const std::string& host) {
  static constexpr TunnelFault faults[] = {
      {"no-tls.test", "HTTP/1.1 200 Connection established\r\n\r\nThis is not TLS.\r\n"},
      {"silent.test", established, true},
      {"cut.test", "HTTP/1.1 200 Connection established\r\n\r\n\x16\x03\x03"},
      {"forbidden.test", "HTTP/1.1 403 Forbidden\r\nContent-Length: 2\r\n\r\nno"},
      {"login.test",
       "HTTP/1.1 407 Who are you\r\nProxy-Authenticate: Basic realm=\"x\"\r\nContent-Length: 0\r\n\r\n"},
      {"closed.test", ""},
      {"no-proxy.test", "This is no proxy.\r\n"},
  };
  const auto* found = std::find_if(std::begin(faults), std::end(faults),
                                   [&](const TunnelFault& fault) { return fault.host == host; });
  return found == std::end(faults) ? nullptr : found;
}

// Blocks all signals in the threads started meanwhile: they take no signals of the host's, and writing to a
// connection that the client closed doesn't kill the process.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

}  // namespace

struct StandIn::Impl {
  Impl(const std::filesystem::path& folder, Handler first) : handler(std::move(first)), catalogue(folder) {
    int ends[2];
    checked(pipe2(ends, O_CLOEXEC), "pipe");
    stop.reset(ends[0]);
    stopper.reset(ends[1]);

    listener.reset(checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "socket"));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    checked(bind(listener.number(), reinterpret_cast<sockaddr*>(&address), size), "bind");
    checked(listen(listener.number(), SOMAXCONN), "listen");
    checked(getsockname(listener.number(), reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    port = ntohs(address.sin_port);

    const SignalsBlocked blocked;
    acceptor = std::thread([this] { accept(); });
  }

  ~Impl() {
    stopper.close();  // makes `stop` readable for all threads, for good
    acceptor.join();
  }

  // Runs on the acceptor's thread, which alone starts and joins the connections' threads.
  void accept() {
    struct Worker {
      std::thread thread;
      std::atomic<bool> done = false;
    };
    std::list<Worker> workers;
    const auto joinWorkers = [&workers](bool all) {
      workers.remove_if([all](Worker& worker) {
        if (!all && !worker.done) return false;
        worker.thread.join();
        return true;
      });
    };

    for (;;) {
      pollfd watched[] = {{listener.number(), POLLIN, 0}, {stop.number(), POLLIN, 0}};
      if (poll(watched, 2, -1) < 0) continue;
      if (watched[1].revents != 0) break;
      joinWorkers(false);
      Descriptor accepted(accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
      if (accepted.number() < 0) {
        // Out of descriptors, and the listener stays readable: give the connections a moment to end.
        if (errno == EMFILE || errno == ENFILE) poll(watched + 1, 1, 10);
        continue;
      }
      ++connections;
      const int one = 1;  // sends dripped bytes without waiting for acknowledgements
      setsockopt(accepted.number(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
      Worker& worker = workers.emplace_back();
      try {
        worker.thread = std::thread([this, &worker, number = accepted.number()] {
          serve(number);
          worker.done = true;
        });
        accepted.release();
      } catch (const std::system_error&) {  // out of threads: closes this connection
        workers.pop_back();
      }
    }
    joinWorkers(true);
  }

  void serve(int number) {
    Connection connection(number, stop.number());
    try {
      std::optional<Origin> tunnel;
      for (;;) {
        const std::optional<Incoming> incoming = readRequest(connection, tunnel);
        if (!incoming) {
          sendAnswer(connection, {.status = 400, .headers = {}, .body = "not a request\n"}, {{}, false});
          break;
        }
        const Request& request = incoming->request;
        if (request.method == "CONNECT" && !tunnel) {
          const TunnelFault* fault = tunnelFaultOf(request.host);
          connection.write(fault != nullptr ? fault->answer : established);
          if (fault != nullptr && fault->hangs) connection.hang();
          if (fault != nullptr) break;
          connection.startTLS(authority.contextFor(request.host));
          tunnel = Origin{request.host, request.port};
        } else {
          const Answer answer = answerTo(request);
          if (!sendAnswer(connection, answer, *incoming)) break;
          if (answer.fault != Answer::Fault::apart) connection.write(answer.stray);
          if (!answer.stray.empty()) connection.awaitDelivery();
          {
            const std::lock_guard lock(mutex);
            answered.insert(request.target);
          }
          arrived.notify_all();
        }
      }
      connection.close();
    } catch (const Gone&) {
    } catch (const std::exception&) {  // no certificate or memory for this connection; the others go on
    }
  }

  Answer answerTo(const Request& request) {
    Handler current;
    {
      const std::lock_guard lock(mutex);
      requests.push_back(request);
      current = handler;
    }
    arrived.notify_all();
    try {
      if (current)
        if (std::optional<Answer> answer = current(request)) return *std::move(answer);
      return catalogue.answer(request);
    } catch (const std::exception& error) {
      return {.status = 500, .headers = {{"Content-Type", "text/plain"}}, .body = error.what()};
    }
  }

  std::mutex mutex;  // of the handler, the requests and the answered targets
  std::condition_variable arrived;
  Handler handler;
  std::vector<Request> requests;
  std::set<std::string, std::less<>> answered;  // targets
  std::atomic<std::size_t> connections = 0;

  const Catalogue catalogue;
  Authority authority;
  Descriptor stop, stopper;  // the ends of a pipe; `stop` is readable once `stopper` is closed
  Descriptor listener;
  std::uint16_t port = 0;
  std::thread acceptor;
};

StandIn::StandIn(std::filesystem::path catalogue, Handler handler)
    : impl_(std::make_unique<Impl>(catalogue, std::move(handler))) {}

StandIn::~StandIn() = default;

void StandIn::setHandler(Handler handler) {
  const std::lock_guard lock(impl_->mutex);
  impl_->handler.swap(handler);  // the old one is destroyed after unlocking, as that may run any code
}

std::uint16_t StandIn::port() const { return impl_->port; }

std::string StandIn::proxyURL() const { return "http://127.0.0.1:" + std::to_string(port()); }

std::filesystem::path StandIn::authorityFile() const { return impl_->authority.file(); }

std::vector<Request> StandIn::requests() const {
  const std::lock_guard lock(impl_->mutex);
  return impl_->requests;
}

bool StandIn::waitForRequests(std::size_t count, std::chrono::milliseconds limit) const {
  std::unique_lock lock(impl_->mutex);
  return impl_->arrived.wait_for(lock, limit, [&] { return impl_->requests.size() >= count; });
}

bool StandIn::waitForAnswer(std::string_view target, std::chrono::milliseconds limit) const {
  std::unique_lock lock(impl_->mutex);
  return impl_->arrived.wait_for(lock, limit, [&] { return impl_->answered.contains(target); });
}

std::size_t StandIn::connections() const { return impl_->connections; }

}  // namespace caprion::stand_in
