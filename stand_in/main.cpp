// caprion-stand-in: runs the stand-in by itself or around a command.

#include "catalogue.hpp"
#include "stand_in.hpp"

#include <fcntl.h>
#include <getopt.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace caprion::stand_in;

namespace {

constexpr char usage[] =
    "usage: caprion-stand-in [--catalogue DIR] [--fault NAME] [--busy N] [--delay MS] [--log]\n"
    "                        [COMMAND ARG...]\n"
    "\n"
    "Serves a catalogue of subtitles on a loopback port, as a proxy for every host.\n"
    "\n"
    "With a command: runs it with an environment that sets the proxy, and exits with its status.\n"
    "Without: prints that environment as shell commands, and serves until SIGINT or SIGTERM.\n"
    "\n"
    "  --catalogue DIR  the folder with catalogue.json and archives/\n"
    "  --fault NAME     spoil every answer: reset, close, truncate, drip, hang, garbage or endless\n"
    "  --busy N         answer the first N searches with 429, \"Too many requests\"\n"
    "  --delay MS       delay every answer by so many milliseconds\n"
    "  --log            print a line for each request on standard error\n"
    "  --help           print this text\n";

constexpr std::pair<const char*, Answer::Fault> faults[] = {
    {"reset", Answer::Fault::reset},       {"close", Answer::Fault::close},
    {"truncate", Answer::Fault::truncate}, {"drip", Answer::Fault::drip},
    {"hang", Answer::Fault::hang},         {"garbage", Answer::Fault::garbage},
    {"endless", Answer::Fault::endless},
};

// Variables that would bypass the proxy or its certificate authority: the curl program prefers CURL_CA_BUNDLE
// and SSL_CERT_DIR to SSL_CERT_FILE.
constexpr const char* unwanted[] = {"all_proxy",   "ALL_PROXY",  "no_proxy",       "NO_PROXY",
                                    "HTTPS_PROXY", "HTTP_PROXY", "CURL_CA_BUNDLE", "SSL_CERT_DIR"};

struct Options {
  std::string catalogue = CAPRION_STAND_IN_CATALOGUE;
  const char* faultName = nullptr;
  Answer::Fault fault = Answer::Fault::none;
  long busy = 0;
  std::chrono::milliseconds delay{0};
  bool log = false;
  char** command = nullptr;
};

// Absent if the program should exit with `status`.
std::optional<Options> parse(int argc, char** argv, int& status) {
  const option known[] = {{"catalogue", required_argument, nullptr, 'c'},
                          {"fault", required_argument, nullptr, 'f'},
                          {"busy", required_argument, nullptr, 'b'},
                          {"delay", required_argument, nullptr, 'd'},
                          {"log", no_argument, nullptr, 'l'},
                          {"help", no_argument, nullptr, 'h'},
                          {}};
  Options options;
  for (int letter; (letter = getopt_long(argc, argv, "+", known, nullptr)) != -1;) {
    switch (letter) {
      case 'c':
        options.catalogue = optarg;
        break;
      case 'f': {
        const auto fault = std::find_if(std::begin(faults), std::end(faults),
                                        [](const auto& one) { return std::strcmp(one.first, optarg) == 0; });
        if (fault == std::end(faults)) {
          std::fprintf(stderr, "caprion-stand-in: no such fault: %s\n", optarg);
          status = 2;
          return std::nullopt;
        }
        std::tie(options.faultName, options.fault) = *fault;
        break;
      }
      case 'b':
        options.busy = std::atol(optarg);
        break;
      case 'd':
        options.delay = std::chrono::milliseconds(std::atol(optarg));
        break;
      case 'l':
        options.log = true;
        break;
      case 'h':
        std::fputs(usage, stdout);
        status = 0;
        return std::nullopt;
      default:
        std::fputs(usage, stderr);
        status = 2;
        return std::nullopt;
    }
  }
  if (optind < argc) options.command = argv + optind;
  return options;
}

std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char letter : text) result += letter == '\'' ? "'\\''" : std::string(1, letter);
  return result + "'";
}

// Prints the environment and waits for a signal.
int serve(const StandIn& standIn, const sigset_t& signals) {
  const std::string proxy = standIn.proxyURL();
  std::printf("export https_proxy=%s http_proxy=%s SSL_CERT_FILE=%s\nunset", proxy.c_str(), proxy.c_str(),
              quoted(standIn.authorityFile()).c_str());
  for (const char* name : unwanted) std::printf(" %s", name);
  std::printf("\nstand_in_pid=%d\n", getpid());
  std::fflush(stdout);
  // Closes a pipe: eval "$(caprion-stand-in &)" returns only then.
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere >= 0) dup2(nowhere, STDOUT_FILENO);

  while (sigwaitinfo(&signals, nullptr) < 0) {  // interrupted
  }
  return 0;
}

// Runs the command in that environment. Returns its status, or 128 plus the number of the signal that ended
// it.
int run(const StandIn& standIn, char** command, const sigset_t& signals, const sigset_t& before) {
  std::vector<std::string> settings = {"https_proxy=" + standIn.proxyURL(),
                                       "http_proxy=" + standIn.proxyURL(),
                                       "SSL_CERT_FILE=" + standIn.authorityFile().string()};
  std::vector<char*> environment;
  for (char** setting = environ; *setting != nullptr; ++setting) {
    const auto sets = [&](const std::string& name) { return std::string(*setting).starts_with(name + "="); };
    if (std::none_of(std::begin(unwanted), std::end(unwanted), sets) && !sets("https_proxy") &&
        !sets("http_proxy") && !sets("SSL_CERT_FILE"))
      environment.push_back(*setting);
  }
  for (std::string& setting : settings) environment.push_back(setting.data());
  environment.push_back(nullptr);

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  posix_spawnattr_setsigmask(&attributes, &before);
  pid_t child = -1;
  const int error = posix_spawnp(&child, command[0], nullptr, &attributes, command, environment.data());
  posix_spawnattr_destroy(&attributes);
  if (error != 0) {
    std::fprintf(stderr, "caprion-stand-in: %s: %s\n", command[0], std::strerror(error));
    return error == ENOENT ? 127 : 126;
  }

  for (;;) {
    siginfo_t info;
    const int signal = sigwaitinfo(&signals, &info);
    if (signal == SIGCHLD) {
      int status = 0;
      if (waitpid(child, &status, WNOHANG) == child)
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    } else if (signal > 0 && info.si_code == SI_USER) {
      kill(child, signal);  // signals of the terminal reach the command by themselves
    }
  }
}

}  // namespace

int main(int argc, char** argv) try {
  int status = 0;
  const std::optional<Options> options = parse(argc, argv, status);
  if (!options) return status;

  // Blocked before the first thread starts, for sigwaitinfo().
  sigset_t signals, before;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  if (options->command != nullptr) sigaddset(&signals, SIGCHLD);
  sigprocmask(SIG_BLOCK, &signals, &before);
  std::signal(SIGCHLD, SIG_DFL);  // an ignored one would hide the command's status

  const Catalogue catalogue(options->catalogue);
  std::atomic<long> searches = 0;
  const StandIn standIn({}, [&](const Request& request) {
    const bool isBusy = request.target.starts_with("/search") && searches++ < options->busy;
    Answer answer = isBusy ? Answer{.status = 429, .body = "Too many requests\n"} : catalogue.answer(request);
    answer.fault = options->fault;
    answer.delay = options->delay;
    if (options->log)
      std::fprintf(stderr, "%s %s %s %d%s%s\n", request.method.c_str(), request.host.c_str(),
                   request.target.c_str(), answer.status, options->faultName ? " " : "",
                   options->faultName ? options->faultName : "");
    return std::optional(std::move(answer));
  });
  return options->command != nullptr ? run(standIn, options->command, signals, before)
                                     : serve(standIn, signals);
} catch (const std::exception& error) {
  std::fprintf(stderr, "caprion-stand-in: %s\n", error.what());
  return 1;
}
