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

/// Search, download and file names, in C++. The same for C is in caprion.h.
namespace CAPRION_NAMESPACE {

/// The client of the subtitle service. There is one, shared(); any thread may call any member at any time.
///
/// No thread is started before the first search or download. Callbacks run on background threads of the
/// library, which have all signals blocked; they may block, start further operations or exit the process, and
/// must not throw. An empty one stands for no interest in the outcome. (Should the system not have a single
/// thread to give, the callback that says so runs inside the call.)
///
/// A search that is under way when the process exits, reports no more; one that is started after that fails.
/// In a child of fork() without exec, whatever needs the network fails, if the parent had made use of it
/// before.
class CAPRION_EXPORT Caprion {
 public:
  /// Receives the hits of a search, or an error.
  using QueryCompletion = std::function<void(Result<QueryResult>)>;
  /// Receives where the subtitle file lies, or an error.
  using DownloadCompletion = Downloader::Completion;

  /// The one client, made on first use and never destroyed.
  static Caprion& shared() noexcept;

  /// Searches by the criteria, sent in this order, and returns at once. `result` is called exactly once,
  /// later, on a background thread, with the hits or with an error: the transport's (NSURLErrorDomain), or
  /// one of AnswerErrorDomain when the answer isn't a JSON array, whatever its HTTP status. In that case the
  /// answer's text is also written to standard output.
  void query(const std::vector<Arg>& args, QueryCompletion result) noexcept;

  /// Cancels the search started last, if it is still running; it then reports the error -999 of
  /// NSURLErrorDomain. Earlier searches go on.
  void cancelQueryTask() noexcept;

  /// Downloads the record's subtitle file, as Downloader::download tells: this client has one Downloader, so
  /// a newer download replaces the one under way. Blocks the calling thread.
  void download(const Subtitle& subtitle, const DownloadCompletion& completion) noexcept;

  /// The movie hash and the size of a local file. Reads at most 128 KiB, on the calling thread. Absent when
  /// the file can't be opened and read, or is no file: a folder, a pipe, a device without a size.
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
