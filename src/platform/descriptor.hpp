#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

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

/// Keeps descriptors 0 to 2 taken while it lives, so that what is opened meanwhile does not become one of
/// them in a host that has closed them.
class StandardDescriptorsTaken {
 public:
  StandardDescriptorsTaken() {
    int descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
      taken_[count_++] = descriptor;
      descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    }
    if (descriptor >= 0) ::close(descriptor);
  }
  ~StandardDescriptorsTaken() {
    while (count_ > 0) ::close(taken_[--count_]);
  }
  StandardDescriptorsTaken(const StandardDescriptorsTaken&) = delete;
  StandardDescriptorsTaken& operator=(const StandardDescriptorsTaken&) = delete;

 private:
  std::array<int, 3> taken_{};
  std::size_t count_ = 0;
};

}  // namespace caprion
