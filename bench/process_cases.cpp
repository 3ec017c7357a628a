#include "comparison.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

namespace caprion::bench {

namespace {

const std::vector<std::string> ours{CAPRION_COMMAND, "search", "--where", "query=1"};
const std::vector<std::string> baseline{"curl", "--fail", "https://rest.opensubtitles.org/search/query-1"};

Body running(const std::vector<std::string>& words) {
  return [words](benchmark::State& state) {
    for (auto _ : state) run(words);
  };
}

/// The median of several runs, in KiB.
double memoryOf(const std::vector<std::string>& words) {
  std::vector<double> memories;
  for (int i = 0; i < 9; ++i) {
    memories.push_back(run(words));
  }
  std::sort(memories.begin(), memories.end());
  return memories[memories.size() / 2];
}

}  // namespace

double run(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int descriptor : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_WRONLY, 0);
  // A session of its own, as the library gives to unzip: the kernel may share out the processor by sessions.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
  pid_t process = 0;
  const int error = posix_spawnp(&process, arguments[0], &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  check(error == 0, words[0]);
  int status = 0;
  rusage usage{};
  wait4(process, &status, 0, &usage);
  check(status == 0, words[0]);
  return static_cast<double>(usage.ru_maxrss);
}

Memory processMemory() {
  rusage self{};
  ::getrusage(RUSAGE_SELF, &self);
  const Memory memory{"first search of a process: memory", 1.5, memoryOf(ours), memoryOf(baseline)};
  check(std::min(memory.ours, memory.baseline) > static_cast<double>(self.ru_maxrss),
        "memory, which this process is too large to measure");
  return memory;
}

std::vector<Case> processCases() {
  return {{.name = "first search of a process",
           .aim = 1.1,
           .ours = running(ours),
           .baseline = running(baseline),
           .isWaiting = true}};
}

}  // namespace caprion::bench
