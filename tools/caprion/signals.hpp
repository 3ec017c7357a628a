#pragma once

#include <mutex>

namespace caprion::tool {

/// Makes termination signals end the process cleanly: without a progress line or temporary files left over.
/// Call before starting any thread.
void handleSignals();

/// Whether EPIPE should end the process, that is, SIGPIPE wasn't ignored at the start.
bool endsAtBrokenPipe();

/// Locked while a temporary file exists.
std::mutex& cleanupMutex();

/// Ends the process as the signal would have, after locking cleanupMutex().
[[noreturn]] void endBy(int signal);

}  // namespace caprion::tool
