#pragma once

#include <caprion/caprion.hpp>
#include <caprion/namespace.hpp>

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CAPRION_NAMESPACE {

/// A text to search by, as opposed to a video file: findSubtitles(Matching("the matrix"), ...). Refers to the
/// text, which must live until the call has returned.
class Matching {
 public:
  /// Any text; it is sent as it is.
  explicit constexpr Matching(std::string_view text) noexcept : text_(text) {}

  /// The text.
  constexpr std::string_view text() const noexcept { return text_; }

 private:
  std::string_view text_;
};

/// The facade: searches by file or by text, and downloads. Every outcome is a pair of optional values,
/// exactly one of which is present. It has no state; any thread may call any member at any time.
class CAPRION_EXPORT CaprionHelper {
 public:
  CaprionHelper(const CaprionHelper&) = delete;
  CaprionHelper& operator=(const CaprionHelper&) = delete;

  /// The hits of a search, in the order of the answer. No pointer is null.
  using SubtitleList = std::vector<std::shared_ptr<const Subtitle>>;
  /// Receives the URL of the subtitle file, or an error.
  using DownloadCompletion = std::function<void(std::optional<URL>, std::optional<Error>)>;
  /// Receives the hits of a search, or an error.
  using SearchCompletion = std::function<void(std::optional<SubtitleList>, std::optional<Error>)>;

  /// The only facade object. Never destroyed.
  static CaprionHelper& shared() noexcept;

  /// Searches for subtitles of a video file by its movie hash and size, in a language of the service such as
  /// "eng". The file is read on the calling thread; if that fails, `completion` is called at once, on this
  /// thread, with the error "Cannot create a video hash for the file". Otherwise it is called exactly once,
  /// later, on a background thread, as described at Caprion::query.
  void findSubtitles(const URL& videoFile, std::string_view language, SearchCompletion completion) noexcept;

  /// Searches for subtitles by a text, in a language of the service such as "eng". `completion` is called
  /// exactly once, later, on a background thread, as described at Caprion::query.
  void findSubtitles(Matching matching, std::string_view language, SearchCompletion completion) noexcept;

  /// Doesn't compile, as a plain string might be either the path of a video file or words to search for.
  template <typename Text>
  requires std::constructible_from<std::string, const Text&>
  void findSubtitles(const Text&, std::string_view, const SearchCompletion&) {
    static_assert(
        !std::constructible_from<std::string, const Text&>,
        "findSubtitles takes a video file, as URL::fileURLWithPath(path), or words, as Matching(words)");
  }

  /// Downloads the subtitle file of a record and reports its URL, as Caprion::download does: a newer download
  /// by either of them replaces the running one. Blocks and reports as described at Downloader::download.
  void downloadSubtitleFile(const Subtitle& subtitle, const DownloadCompletion& completion) noexcept;

 private:
  constexpr CaprionHelper() = default;
};

}  // namespace CAPRION_NAMESPACE
