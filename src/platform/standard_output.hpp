#pragma once

#include <string_view>

namespace caprion {

/// Writes the text, which may be any bytes, and a line feed to standard output (descriptor 1). Gives up after
/// 5 seconds without progress.
///
/// - Lines don't interleave. A thread that waits 5 seconds for another's line drops its own.
/// - `stdout` isn't locked while waiting, so the host can print and exit. The host's own output can split a
///   line only while that waits, which never happens to lines of less than PIPE_BUF (4,096) bytes.
/// - What is still in the buffer of `stdout` is flushed first, unless it is more than PIPE_BUF bytes, which
///   might block.
/// - The host's descriptor flags and signals stay as they are; a closed pipe raises no SIGPIPE. Failures are
///   not reported.
void printLine(std::string_view text) noexcept;

}  // namespace caprion
