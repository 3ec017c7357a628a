#pragma once

#include <caprion/result.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace caprion {

/// A program to be run on its own: in a session of its own, so that it can't ask anything on the host's
/// terminal, with nothing to read and nowhere to write to, a small fixed environment, no other descriptor,
/// all signals at their default, and files that are the user's own.
struct Process {
  std::string executable;
  std::vector<std::string> arguments;
  /// How many bytes a file that it writes may have, and all that it writes together.
  std::uint64_t fileSizeLimit;
  std::uint64_t writeLimit;
  /// How long it may take, and how much of a processor's time.
  std::chrono::seconds timeLimit;
  /// An open file that the program shares, as descriptor 3; -1 for none.
  int sharedDescriptor = -1;

  /// Runs the program and waits until it has exited, whatever the host does about its children. Returns its
  /// exit status, or 128 and the number of the signal that ended it; absent when the host has taken the
  /// status away. Fails, with the program ended, when it could not be started (an errno), took too long
  /// (ETIMEDOUT), wrote too much (EFBIG), or was to stop (ECANCELED).
  Result<std::optional<int>> run(const std::stop_token& stop = {}) const;
};

}  // namespace caprion
