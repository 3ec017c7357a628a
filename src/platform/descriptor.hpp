#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace caprion {

/// The same open file under a descriptor past 2, which a program that is started doesn't inherit; -1 and an
/// errno for a failure, or if there was none to begin with. A host that has closed 0, 1 or 2 may open
/// something else there, or write to them, at any time.
inline int pastStandardDescriptors(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  ::close(descriptor);
  errno = error;
  return moved;
}

}  // namespace caprion
