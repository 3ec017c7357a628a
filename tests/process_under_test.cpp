// A host that ends, or lives on, in the way that its argument names. Given an operation as well ("search", or
// a record to download), it does that twice, and writes each report on a line of standard error.

#include "reports.hpp"

#include <caprion/caprion.hpp>

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <netdb.h>
#include <spawn.h>
#include <sys/auxv.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <future>
#include <sstream>
#include <thread>

using caprion::Arg;
using caprion::Caprion;
using caprion::Param;
using caprion::test::line;

namespace {

constexpr int skipped = 77;  // the exit status where the system doesn't let the host become what it should

int reportsTo = STDERR_FILENO;
std::string operation;
bool dies = false, isShortOfDescriptors = false;
std::vector<Arg> args{Arg(Param::query, "x")};
std::vector<std::pair<__rlimit_resource, rlimit>> limitsBefore;

void report(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  text += '\n';
  (void)!::write(reportsTo, text.data(), text.size());
}

/// Searches and waits for the report; the error's code, or 0.
std::int64_t search(bool reports = false) {
  std::promise<std::int64_t> promise;
  Caprion::shared().query(args, [&](const auto& result) {
    if (reports) report(line(result));
    promise.set_value(result ? 0 : result.error().code());
  });
  return promise.get_future().get();
}

void searchInFlight(int count) {
  for (int i = 0; i < count; ++i) Caprion::shared().query(args, [](auto) {});
}

/// How many of the standard descriptors are open; a host that has closed one may open it again itself.
long standardDescriptors() {
  const int all[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
  return std::ranges::count_if(all, [](int descriptor) { return ::fcntl(descriptor, F_GETFD) >= 0; });
}

void operate() {
  const long before = standardDescriptors();
  if (operation == "search") {
    search(true);
  } else {
    const auto subtitle = caprion::Subtitle::decode(operation).value();
    std::vector<std::string> lines;
    Caprion::shared().download(*subtitle, [&](const auto& file) { lines.push_back(line(file)); });
    // Short of descriptors, the walk may fail as well, which is a report before the last, and a line.
    if (isShortOfDescriptors && !lines.empty()) lines.erase(lines.begin(), lines.end() - 1);
    for (const auto& each : lines) report(each);
  }
  if (::waitpid(-1, nullptr, WNOHANG) >= 0) report("a child is left");
  if (standardDescriptors() != before) report("a standard descriptor is taken");
}

}  // namespace

/// A host that dies does so while its child is at work, which is one that takes long.
extern "C" int posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                           const posix_spawnattr_t* attributes, char* const* argv, char* const* environment) {
  static const auto next = reinterpret_cast<decltype(&posix_spawn)>(::dlsym(RTLD_NEXT, "posix_spawn"));
  if (!dies) return next(child, path, actions, attributes, argv, environment);
  char* const sleep[] = {const_cast<char*>("sleep"), const_cast<char*>("600"), nullptr};
  next(child, "/usr/bin/sleep", actions, attributes, sleep, environment);
  report(std::to_string(*child));
  ::_exit(0);
}

/// No name is found by a set-uid host, which may have no way but that to the network itself.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
  static const auto next = reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
  return ::getauxval(AT_SECURE) != 0 ? EAI_NONAME : next(name, service, hints, found);
}

namespace {

/// Sets a limit until liftLimits().
void limit(__rlimit_resource resource, rlim_t value) {
  rlimit before{};
  ::getrlimit(resource, &before);
  limitsBefore.emplace_back(resource, before);
  before.rlim_cur = value;
  ::setrlimit(resource, &before);
}

void liftLimits() {
  for (const auto& [resource, before] : limitsBefore) ::setrlimit(resource, &before);
  args.resize(1, Arg(Param::query, "x"));
}

/// Has a system call fail with an errno from now on, of all threads and programs to be started; or only where
/// all bits of the mask are set in an argument. The text holds these four numbers, or the first two.
void refuse(std::istringstream& numbers) {
  unsigned call = 0, error = 0, argument = 0, mask = 0;
  numbers >> call >> error >> argument >> mask;
  const auto at = static_cast<unsigned>(offsetof(seccomp_data, args) + argument * sizeof(std::uint64_t));
  sock_filter code[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 4),
                        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, at),
                        BPF_STMT(BPF_ALU | BPF_AND | BPF_K, mask),
                        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, mask, 0, 1),
                        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
                        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog program{std::size(code), code};
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    std::exit(skipped);
  }
}

/// Makes standard output a pipe; returns the end to read from.
int pipeStandardOutput(int flags) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC | flags) != 0) std::exit(skipped);
  ::dup2(ends[1], STDOUT_FILENO);
  return ends[0];
}

/// Turns this process into the host of that name, or leaves it as it is.
void become(const std::string& host) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // The sanitizers want all of the address space, and their own locks don't come through the fork of a
  // process with threads. That of undefined behaviour opens pipes to look at memory, and that of leaks can't
  // look at a set-uid host.
  for (const char* impossible : {"little memory", "forked", "descriptors", "set-uid"}) {
    if (host.starts_with(impossible)) std::exit(skipped);
  }
#endif
  // As root nothing is unreadable, and there is always one more process.
  const bool isRoot = ::geteuid() == 0;
  if (host.ends_with("ignoring its children")) ::signal(SIGCHLD, SIG_IGN);
  if (host.starts_with("full disk") &&
      (!isRoot || ::unshare(CLONE_NEWNS) != 0 ||
       ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
       ::mount("", std::getenv("TMPDIR"), "tmpfs", 0, "size=64k,mode=777") != 0)) {
    std::exit(skipped);
  }
  if (isRoot && ::setresuid(65'534, 65'534, 65'534) != 0) std::exit(skipped);
  std::istringstream words(host);
  std::string word;
  words >> word;
  if (word == "refuse") {
    refuse(words);
  } else if (host == "set-uid") {
    if (::getauxval(AT_SECURE) == 0) std::exit(skipped);
  } else if (host == "hostile") {
    ::signal(SIGCHLD, SIG_IGN);
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
    ::setenv("UNZIP", "-l", 1);
    for (int descriptor : {0, 1, 2}) ::close(descriptor);
  } else if (host == "without error output") {
    ::close(STDERR_FILENO);
  } else if (word == "descriptors") {
    isShortOfDescriptors = true;
    (void)!std::freopen("/dev/null", "w", stdout);
    int count = 0;
    words >> count;
    const int next = ::dup(0);
    ::close(next);
    limit(RLIMIT_NOFILE, static_cast<rlim_t>(next + count));
  } else if (host == "no threads" || host == "no processes") {
    if (host == "no processes") search();  // which starts the threads
    limit(RLIMIT_NPROC, 0);
  } else if (host.starts_with("small files")) {
    limit(RLIMIT_FSIZE, 10'000);
  } else if (host == "little memory") {
    std::ifstream status("/proc/self/statm");
    rlim_t pages = 0;
    status >> pages;
    args.emplace_back(Param::tag, std::string(256 << 20, 'x'));
    limit(RLIMIT_AS, pages * 4096 + (300 << 20));
  } else if (host == "full output") {
    const int end = pipeStandardOutput(O_NONBLOCK);
    while (::write(STDOUT_FILENO, "x", 1) > 0) {
    }
    ::fcntl(end, F_SETFL, 0);
    std::thread([end] {
      for (char byte; ::read(end, &byte, 1) > 0;) {
      }
    }).detach();
  } else if (host == "broken output") {
    ::close(pipeStandardOutput(0));
  } else if (host == "forked") {
    search();
    searchInFlight(10);
    std::jthread renaming([](const std::stop_token& stop) {
      while (!stop.stop_requested()) caprion::Bundle::main().setInfoDictionary(std::nullopt);
    });
    for (int i = 0; i < 20; ++i) {
      const pid_t child = ::fork();
      if (child == 0) ::_exit(caprion::Bundle::main().infoDictionary() ? 1 : 0);
      ::waitpid(child, nullptr, 0);
    }
    renaming = {};
    if (const pid_t child = ::fork(); child > 0) {
      int status = 0;
      ::waitpid(child, &status, 0);
      std::exit(search() == 0 ? WEXITSTATUS(status) : 1);
    }
  } else if (host == "at exit") {
    std::atexit(operate);
  }
}

}  // namespace

int main(int count, char** arguments) {
  const std::string how = arguments[1];
  if (count > 2) {
    operation = arguments[2];
    dies = how == "dies";
    reportsTo = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 10);
    become(how);
    operate();
    liftLimits();
    operate();
    return 0;
  }
  if (how == "return") {
    searchInFlight(20);
    ::usleep(static_cast<useconds_t>(std::atoi(std::getenv("LINGER"))));
    return 0;
  }
  std::promise<void> inside;
  if (how == "exit in a callback") searchInFlight(5);
  Caprion::shared().query(args, [&](auto) {
    if (how == "exit in a callback") std::exit(0);
    inside.set_value();
    std::promise<void>().get_future().wait();
  });
  inside.get_future().wait();  // and no longer, while the callback goes on waiting
  return 0;
}
