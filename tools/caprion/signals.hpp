#pragma once

#include <mutex>

namespace caprion::tool {

/// Sees to it that signals that ask the process to end do so at once and leave nothing behind: no line of
/// progress, and no half of a file. To be called before the first thread is started.
void watchSignals();

/// Whether a write into a pipe that nobody reads any more is to end the process, as it does by default; such
/// a write is an error all the same.
bool endsAtBrokenPipe();

/// Held while there is something on disk that must not stay there when the process ends.
std::mutex& cleanEnd();

/// Ends the process as the signal would have, when cleanEnd() is free.
[[noreturn]] void endBy(int signal);

}  // namespace caprion::tool
