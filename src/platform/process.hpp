#pragma once

#include <caprion/result.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace caprion {

/// Runs a program in isolation: in its own session, so that it can't prompt on the host's terminal; standard
/// streams on /dev/null, no other descriptors, a fixed environment, default signal handling, and files that
/// the user can access whatever the umask.
struct Process {
  std::string executable;
  std::vector<std::string> arguments;
  /// In bytes: for each file that it writes, and for all its writes together.
  std::uint64_t fileSizeLimit;
  std::uint64_t writeLimit;
  /// For both wall-clock and CPU time.
  std::chrono::seconds timeLimit;
  /// Passed to the program as descriptor 3; -1 for none.
  int sharedDescriptor = -1;

  /// Runs the program and waits for it to exit, even if the host reaps or ignores its children. Returns its
  /// exit status, or 128 plus the number of the signal that killed it; absent if the host has reaped it.
  /// Fails if it couldn't be started (errno), or was killed as it took too long (ETIMEDOUT), wrote too much
  /// (EFBIG) or `stop` was requested (ECANCELED).
  Result<std::optional<int>> run(const std::stop_token& stop = {}) const;
};

}  // namespace caprion
