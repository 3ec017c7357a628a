#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

namespace caprion {

/// Moves a descriptor past 2, with O_CLOEXEC. Returns -1 with errno set on failure, or if given -1. A host
/// that has closed 0, 1 or 2 may write to them, or open something else there, at any time.
inline int pastStandardDescriptors(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  ::close(descriptor);
  errno = error;
  return moved;
}

/// Occupies descriptors 0 to 2 for its lifetime if the host has closed them, so that nothing opened meanwhile
/// gets one of them.
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
