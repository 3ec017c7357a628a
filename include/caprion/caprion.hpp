#pragma once

#include <caprion/bundle.hpp>
#include <caprion/downloader.hpp>
#include <caprion/error.hpp>
#include <caprion/export.h>
#include <caprion/namespace.hpp>
#include <caprion/query_result.hpp>
#include <caprion/result.hpp>
#include <caprion/search_request.hpp>
#include <caprion/subtitle.hpp>
#include <caprion/url.hpp>
#include <caprion/version.h>
#include <caprion/video_hash.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

/// The C++ interface: search, download and file names. The C interface is in caprion.h.
namespace CAPRION_NAMESPACE {

/// The client of the subtitle service. There is only one, shared(). Any thread may call any member at any
/// time.
///
/// No thread is started before the first search or download. Callbacks of searches run on
/// background threads of the library, which have all signals blocked except those of faults, such as SIGSEGV.
/// Callbacks may block, start further operations or exit the process; they must not throw. A callback may be
/// empty. (If a search can't be started for lack of memory or threads, its callback receives that error
/// during the call.)
///
/// A search that is running when the process exits reports nothing; one that is started later fails. In a
/// child of fork() without exec, all network operations fail if the parent has used the network before.
class CAPRION_EXPORT Caprion {
 public:
  /// Receives the hits of a search, or an error.
  using QueryCompletion = std::function<void(Result<QueryResult>)>;
  /// Receives the URL of the subtitle file, or an error.
  using DownloadCompletion = Downloader::Completion;

  /// The only client. Never destroyed.
  static Caprion& shared() noexcept;

  /// Searches by the criteria, which are sent in this order, and returns at once. `result` is called exactly
  /// once, later, on a background thread, with the hits or an error, usually of the transport
  /// (NSURLErrorDomain). If the answer isn't a JSON array, whatever its HTTP status, the error is one of
  /// AnswerErrorDomain, and the answer, if it is UTF-8, is also written to standard output.
  void query(const std::vector<Arg>& args, QueryCompletion result) noexcept;

  /// Cancels the search started last, if it is still running; it then reports the error -999 of
  /// NSURLErrorDomain. Earlier searches continue.
  void cancelQueryTask() noexcept;

  /// Downloads the record's subtitle file, as described at Downloader::download. The client has one
  /// Downloader, so a newer download replaces the running one. Blocks the calling thread.
  void download(const Subtitle& subtitle, const DownloadCompletion& completion) noexcept;

  /// The movie hash and the size of a local file. Reads at most 128 KiB, on the calling thread. Absent if the
  /// file can't be opened and read, or is a folder, a pipe or a device without a size.
  static std::optional<VideoHash> hashFor(const URL& url) noexcept;

  Caprion(const Caprion&) = delete;
  Caprion& operator=(const Caprion&) = delete;

 private:
  Caprion();
  ~Caprion();

  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace CAPRION_NAMESPACE
