#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace caprion::bench {

/// How a process ended, and how much memory it had at most, in KiB.
struct Run {
  int status = -1;
  double memory = 0;
};

/// Runs a program and throws its output away.
inline Run run(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int descriptor : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&actions, descriptor, "/dev/null", O_WRONLY, 0);
  pid_t process = 0;
  const int error = posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) return {};
  Run ended;
  rusage usage{};
  wait4(process, &ended.status, 0, &usage);
  ended.memory = static_cast<double>(usage.ru_maxrss);
  return ended;
}

}  // namespace caprion::bench
