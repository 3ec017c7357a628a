// A host that runs or ends under the conditions that its first argument names. If the second argument names
// an operation ("search", or a record to download), it runs that twice and writes each report as a line to
// standard error.

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

constexpr int skipped = 77;  // exit status if the conditions aren't possible on this system

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

/// Searches and waits for the report; returns the error's code, or 0.
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

/// The number of open standard descriptors. The library must not take one that the host has closed.
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
    // With few descriptors, walking the files may fail too, with a report before the last: drop it.
    if (isShortOfDescriptors && !lines.empty()) lines.erase(lines.begin(), lines.end() - 1);
    for (const auto& each : lines) report(each);
  }
  if (::waitpid(-1, nullptr, WNOHANG) >= 0) report("a child is left");
  if (standardDescriptors() != before) report("a standard descriptor is taken");
}

}  // namespace

/// Makes the host "dies" start a long-running child instead of unzip, and exit while that runs.
extern "C" int posix_spawn(pid_t* child, const char* path, const posix_spawn_file_actions_t* actions,
                           const posix_spawnattr_t* attributes, char* const* argv, char* const* environment) {
  static const auto next = reinterpret_cast<decltype(&posix_spawn)>(::dlsym(RTLD_NEXT, "posix_spawn"));
  if (!dies) return next(child, path, actions, attributes, argv, environment);
  char* const sleep[] = {const_cast<char*>("sleep"), const_cast<char*>("600"), nullptr};
  next(child, "/usr/bin/sleep", actions, attributes, sleep, environment);
  report(std::to_string(*child));
  ::_exit(0);
}

/// Makes look-ups fail in a set-uid host, which ignores the proxy settings and would use the real network.
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

/// Makes a system call fail from now on, in all threads and in programs started later. `numbers` are the
/// call, the errno and, optionally, an argument and a mask: then it fails only if that argument has all bits
/// of the mask.
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

/// Makes standard output a pipe; returns its read end.
int pipeStandardOutput(int flags) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC | flags) != 0) std::exit(skipped);
  ::dup2(ends[1], STDOUT_FILENO);
  return ends[0];
}

/// Sets up the conditions with this name, if there are any to set up.
void become(const std::string& host) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  // The sanitizers need all of the address space, and their locks don't survive the fork of a process with
  // threads. UndefinedBehaviorSanitizer opens pipes to check memory, and LeakSanitizer can't check a set-uid
  // process.
  for (const char* impossible : {"little memory", "forked", "descriptors", "set-uid"}) {
    if (host.starts_with(impossible)) std::exit(skipped);
  }
#endif
  // Root can read everything and isn't limited in processes.
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
    if (host == "no processes") search();  // starts the threads
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
  inside.get_future().wait();  // return while the callback is still blocked
  return 0;
}
