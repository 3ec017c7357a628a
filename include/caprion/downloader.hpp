#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>
#include <caprion/result.hpp>
#include <caprion/subtitle.hpp>
#include <caprion/url.hpp>

#include <functional>
#include <memory>

namespace CAPRION_NAMESPACE {

/// Downloads one subtitle at a time. Parallel downloads need a Downloader each. Any thread may call any
/// member at any time.
///
/// A Downloader may be destroyed once its calls have returned, and also in one of its completions, which
/// cancels the running download.
class CAPRION_EXPORT Downloader {
 public:
  /// Receives the URL of the subtitle file, or an error. Must not throw; may be empty.
  using Completion = std::function<void(Result<URL>)>;

  /// Throws std::bad_alloc.
  Downloader();
  ~Downloader();
  Downloader(const Downloader&) = delete;
  Downloader& operator=(const Downloader&) = delete;

  /// Downloads the record's archive, unpacks it, and reports the URL of the subtitle file. The file is in the
  /// cache folder TEMPORARY FOLDER/APPLICATION NAME/SUBTITLE ID, under the name STEM.LANGUAGE.FORMAT. The
  /// folder is emptied at the start and left as it is at the end. The temporary folder is $TMPDIR, or else
  /// one of the user's own; the application name is the "CFBundleName" of Bundle::main(), or else "Caprion".
  ///
  /// Blocks the calling thread until the download has ended. All reports are made before it returns: failures
  /// of the transfer on a background thread, everything else on the calling thread. There is one report, with
  /// two exceptions. A download that is cancelled, or replaced by a newer one of this object, reports nothing
  /// from then on. And each error while walking the unpacked files is an additional report before the last.
  ///
  /// Downloads of the same subtitle, by any objects and processes of the user, use the folder one at a time.
  /// Each waits for its turn, and fails with ETIMEDOUT of NSPOSIXErrorDomain after 60 seconds.
  void download(const Subtitle& subtitle, const Completion& completion) noexcept;

  /// Cancels the running download, if there is one: its call returns at once, whatever it was waiting for,
  /// without any further report, except one that is being made at this moment. Returns at once, and may be
  /// called from a completion.
  void cancel() noexcept;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

}  // namespace CAPRION_NAMESPACE
