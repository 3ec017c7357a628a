#pragma once

#include <string_view>

namespace caprion {

/// Writes the text, whatever bytes it holds, and a line feed to standard output (descriptor 1), as long as
/// somebody reads: after 5 seconds in which not a byte more could be written, what is left is given up.
///
/// - Lines never mix with each other. A thread whose turn doesn't come within its own 5 seconds, as another's
///   long line is still being read, gives its line up.
/// - While it waits it holds no lock of the host's, so that the host can print and exit. The host's own text
///   can come between the parts of a line only where the line had to be waited for, which is never so for one
///   of less than PIPE_BUF (4,096) bytes.
/// - What the host has printed to `stdout` before, and is still in its buffer, comes out before the line,
///   unless it is more than PIPE_BUF bytes, which couldn't be written without waiting.
/// - Nothing changes for the host: not the flags of its descriptor, not its signals (a closed pipe sends it
/// no
///   SIGPIPE). Failures, such as a full disk, are not told; what was written stays.
void printLine(std::string_view text) noexcept;

}  // namespace caprion
