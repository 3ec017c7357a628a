// A host that ends, or lives on, in the way that its argument names.

#include <caprion/caprion.hpp>

#include <fcntl.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <string>

using caprion::Arg;
using caprion::Caprion;
using caprion::Param;

namespace {

int reportsTo = STDERR_FILENO;

/// Searches and waits for the report; the error's code, or 0.
long search() {
  std::promise<long> promise;
  Caprion::shared().query({Arg(Param::query, "x")},
                          [&](auto result) { promise.set_value(result ? 0 : result.error().code()); });
  return promise.get_future().get();
}

void searchInFlight(int count) {
  for (int i = 0; i < count; ++i) Caprion::shared().query({Arg(Param::query, "x")}, [](auto) {});
}

/// Downloads the record and writes each report on a line of standard error: the file, or the description.
void download(const char* record) {
  const auto subtitle = caprion::Subtitle::decode(record);
  Caprion::shared().download(**subtitle, [](const auto& report) {
    const std::string line =
        (report ? report->path() : std::string(report.error().localizedDescription())) + "\n";
    (void)!::write(reportsTo, line.data(), line.size());
  });
}

/// Makes the host as hard to live in as one can be.
void becomeHostile() {
  ::signal(SIGCHLD, SIG_IGN);
  sigset_t all;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
  ::setenv("UNZIP", "-l", 1);
  for (int descriptor : {0, 1, 2}) ::close(descriptor);
}

}  // namespace

int main(int, char** arguments) {
  const std::string how = arguments[1];
  if (how.starts_with("download")) {
    reportsTo = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 10);
    // As root nothing is unreadable.
    if (::geteuid() == 0 && ::setresuid(65'534, 65'534, 65'534) != 0) return 65;
    if (how == "download as a hostile host") becomeHostile();
    for (int time = 0; time < 2; ++time) download(arguments[2]);
    return 0;
  }
  if (how == "return") {
    searchInFlight(20);
    if (std::getenv("LINGER") != nullptr) ::usleep(static_cast<useconds_t>(std::atoi(std::getenv("LINGER"))));
    return 0;
  }
  if (how == "exit in a callback") {
    searchInFlight(5);
    Caprion::shared().query({Arg(Param::query, "x")}, [](auto) { std::exit(0); });
    std::promise<void>().get_future().wait();
  }
  if (how == "exit with a blocked callback") {
    std::promise<void> inside;
    Caprion::shared().query({Arg(Param::query, "x")}, [&](auto) {
      inside.set_value();
      std::promise<void>().get_future().wait();
    });
    inside.get_future().wait();
    return 0;
  }
  if (how == "fork") {
    if (search() != 0) return 1;
    searchInFlight(10);
    const pid_t child = ::fork();
    if (child == 0) std::exit(search() == ECHILD ? 0 : 2);
    int status = 0;
    ::waitpid(child, &status, 0);
    return status == 0 && search() == 0 ? 0 : 3;
  }
  if (how == "closed descriptors") {
    for (int descriptor : {0, 1, 2}) ::close(descriptor);
    return search() == 0 ? 0 : 1;  // the answer is no JSON, so that a line is printed
  }
  return 64;
}
