#pragma once

#include <caprion/error.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace caprion {

/// A program to be run on its own: in a session of its own, so that it can't ask anything on the host's
/// terminal, with nothing to read and nowhere to write to, a small fixed environment, no other descriptor and
/// all signals at their default.
struct Process {
  std::string executable;
  std::vector<std::string> arguments;
  /// How many bytes a file that it writes may have.
  std::uint64_t fileSizeLimit;
  /// An open file that the program shares, as descriptor 3; -1 for none.
  int sharedDescriptor = -1;

  /// Runs the program and waits until it has exited, in whatever way; the error if it could not be started.
  /// Works whatever the host does about its children.
  std::optional<Error> run() const;
};

}  // namespace caprion
