#pragma once

#include <caprion/export.h>
#include <caprion/namespace.hpp>
#include <caprion/result.hpp>
#include <caprion/subtitle.hpp>
#include <caprion/url.hpp>

#include <functional>
#include <memory>

namespace CAPRION_NAMESPACE {

/// Downloads one subtitle at a time; a host that wants several side by side makes one for each. Any thread
/// may call any member at any time.
///
/// It may be destroyed once its calls have returned, and also in a completion of its own: the download under
/// way is then cancelled.
class CAPRION_EXPORT Downloader {
 public:
  /// Receives where the subtitle file lies, or an error. Must not throw; an empty one is not called.
  using Completion = std::function<void(Result<URL>)>;

  /// Throws std::bad_alloc when there isn't the memory for one.
  Downloader();
  ~Downloader();
  Downloader(const Downloader&) = delete;
  Downloader& operator=(const Downloader&) = delete;

  /// Downloads the record's archive, unpacks it, and reports where the subtitle file lies: in the cache
  /// folder TEMPORARY FOLDER/APPLICATION NAME/SUBTITLE ID, under the name STEM.LANGUAGE.FORMAT. The folder is
  /// emptied at the start and left as it is at the end. The temporary folder is $TMPDIR, or else one of the
  /// user's own; the application name is what Bundle::main() holds as "CFBundleName", or else "Caprion".
  ///
  /// Blocks the calling thread for as long as all this takes. All reports are made before it returns: those
  /// on the transfer on a background thread, the others on the calling thread. There is one report, with two
  /// exceptions. A download that a newer one of this object replaces, or that is cancelled, reports nothing
  /// from then on. And each error on walking the unpacked files is a report of its own, before the last.
  ///
  /// Of several downloads of the same subtitle, by whichever objects and processes of the user, one at a time
  /// has the folder; the others wait, for up to 60 seconds, and fail with ETIMEDOUT of NSPOSIXErrorDomain.
  void download(const Subtitle& subtitle, const Completion& completion) noexcept;

  /// Ends the download under way, if there is one: it reports nothing from now on, but for a report that is
  /// being made at this moment, and its call returns at once, whatever it was waiting for. Returns at once,
  /// and may be called from a completion.
  void cancel() noexcept;

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};

}  // namespace CAPRION_NAMESPACE
