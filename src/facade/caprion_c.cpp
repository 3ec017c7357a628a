#include "facade/finding.hpp"
#include "facade/handles.hpp"
#include "platform/error.hpp"
#include "platform/never_destroyed.hpp"
#include "records/subtitle_record.hpp"

#include <caprion/caprion.h>
#include <caprion/caprion_helper.hpp>
#include <caprion/video_file_components.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

using caprion::Arg;
using caprion::Caprion;
using caprion::CaprionHelper;
using caprion::Downloader;
using caprion::Error;
using caprion::numberOf;
using caprion::orNull;
using caprion::posixError;
using caprion::Result;
using caprion::StartedSearch;
using caprion::startFindingSubtitles;
using caprion::Subtitle;
using caprion::SubtitleRecord;
using caprion::URL;

// All facade objects use the one of C++; each only adds its latest search.
struct caprion_helper {
  caprion::LatestTask latestSearch;
};

struct caprion_error {
  Error error;
};

struct caprion_downloader {
  Downloader downloader;
};

struct caprion_components {
  caprion::VideoFileComponents fields;
  std::string searchString = fields.searchString();
};

namespace {

static_assert(caprion::NSURLErrorDomain == CAPRION_URL_ERROR_DOMAIN);
static_assert(caprion::NSPOSIXErrorDomain == CAPRION_POSIX_ERROR_DOMAIN);
static_assert(caprion::AnswerErrorDomain == CAPRION_ANSWER_ERROR_DOMAIN);
static_assert(caprion::NetworkingErrorDomain == CAPRION_NETWORKING_ERROR_DOMAIN);
static_assert(caprion::DecodingErrorDomain == CAPRION_DECODING_ERROR_DOMAIN);
static_assert(caprion::EncodingErrorDomain == CAPRION_ENCODING_ERROR_DOMAIN);
static_assert(caprion::NSLocalizedDescriptionKey == CAPRION_DESCRIPTION_KEY);
static_assert(caprion::NSLocalizedRecoverySuggestionErrorKey == CAPRION_RECOVERY_SUGGESTION_KEY);
static_assert(caprion::TransportMessageKey == CAPRION_TRANSPORT_MESSAGE_KEY);
static_assert(caprion::CodingKeyKey == CAPRION_CODING_KEY_KEY);
static_assert(int(caprion::DecodingErrorKind::typeMismatch) == CAPRION_DECODING_TYPE_MISMATCH);
static_assert(int(caprion::DecodingErrorKind::valueNotFound) == CAPRION_DECODING_VALUE_NOT_FOUND);
static_assert(int(caprion::DecodingErrorKind::keyNotFound) == CAPRION_DECODING_KEY_NOT_FOUND);
static_assert(int(caprion::DecodingErrorKind::dataCorrupted) == CAPRION_DECODING_DATA_CORRUPTED);
static_assert(int(caprion::MovieKind::movie) == CAPRION_MOVIE_KIND_MOVIE);
static_assert(int(caprion::MovieKind::episode) == CAPRION_MOVIE_KIND_EPISODE);

constinit caprion::NeverDestroyed<caprion_helper> sharedHelper;

template <class Handle>
Handle* copyOf(const Handle* handle) {
  return orNull([&]() -> Handle* { return handle == nullptr ? nullptr : new Handle(*handle); });
}

char* copyOf(std::string_view text) {
  auto* const copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) return nullptr;
  std::copy(text.begin(), text.end(), copy);
  copy[text.size()] = '\0';
  return copy;
}

/// Returns `make` of the value of `result()`; null for an error, which is stored in `out`.
template <class Get, class Make>
auto valueOrNull(Get result, caprion_error** out, Make make) {
  if (out != nullptr) *out = nullptr;
  return orNull([&]() -> decltype(make(*result())) {
    const auto outcome = result();
    if (outcome) return make(*outcome);
    if (out != nullptr) *out = new caprion_error{outcome.error()};
    return nullptr;
  });
}

/// The string that `get` reads from a record; it is NUL-terminated.
template <class Get>
const char* textOf(const caprion_subtitle* subtitle, Get get) {
  return subtitle == nullptr ? nullptr : get(*subtitle->record).data();
}

template <class Link>
const char* linkOf(const caprion_subtitle* subtitle, Link link) {
  return textOf(subtitle, [&](const Subtitle& record) { return link(record).value_or(std::string_view()); });
}

/// The value that an error has for a key, or null.
const Error::Value* valueOf(const caprion_error* error, std::string_view key) {
  if (error == nullptr) return nullptr;
  const auto found = error->error.userInfo().find(key);
  return found == error->error.userInfo().end() ? nullptr : &found->second;
}

/// The callbacks of an operation.
template <class Value>
struct Receiver {
  void (*completion)(const Value*, const caprion_error*, void*);
  void* context;
  caprion_context_release release;

  void report(const Value* value) const {
    if (completion != nullptr) completion(value, nullptr, context);
  }

  void fail(const Error& error) const {
    const caprion_error handle{error};
    if (completion != nullptr) completion(nullptr, &handle, context);
  }

  void letGo() const {
    if (release != nullptr) release(context);
  }

  /// Calls `start`; reports EINVAL if an argument is missing, or ENOMEM.
  template <class Start>
  void run(bool hasArguments, Start start) const {
    int error = EINVAL;
    try {
      if (hasArguments) return start();
    } catch (const std::bad_alloc&) {
      error = ENOMEM;
    }
    fail(posixError(error));
    letGo();
  }
};

using SearchReceiver = Receiver<caprion_subtitle_list>;
using DownloadReceiver = Receiver<char>;

/// A completion of the facade that reports to `receiver`, once.
CaprionHelper::SearchCompletion reportTo(const SearchReceiver& receiver) {
  return [receiver](const auto& subtitles, const auto& error) {
    caprion_subtitle_list list;
    std::optional<Error> failure = error;
    try {
      if (subtitles) list.subtitles.reserve(subtitles->size());
      for (std::size_t i = 0; subtitles && i < subtitles->size(); ++i)
        list.subtitles.push_back({(*subtitles)[i]});
    } catch (const std::bad_alloc&) {
      failure = posixError(ENOMEM);
    }
    if (failure) {
      receiver.fail(*failure);
    } else {
      receiver.report(&list);
    }
    receiver.letGo();
  };
}

/// The same for each report of a download.
Downloader::Completion reportTo(const DownloadReceiver& receiver) {
  return [receiver](const auto& file) {
    std::string path;
    std::optional<Error> failure;
    if (!file) failure = file.error();
    try {
      if (file) path = file->path();
    } catch (const std::bad_alloc&) {
      failure = posixError(ENOMEM);
    }
    if (failure) return receiver.fail(*failure);
    receiver.report(path.c_str());
  };
}

/// Starts a search by calling `start` with its completion, unless an argument is missing.
template <class Start>
void search(caprion_helper* helper, bool hasArguments, const SearchReceiver& receiver, Start start) {
  StartedSearch search;
  receiver.run(helper != nullptr && hasArguments, [&] {
    search = start(reportTo(receiver));
    search.makeLatest(helper->latestSearch);
  });
}

}  // namespace

caprion_helper* caprion_helper_shared() { return &sharedHelper.value; }
caprion_helper* caprion_helper_new() {
  return orNull([] { return new caprion_helper; });
}

void caprion_helper_free(caprion_helper* helper) {
  if (helper != caprion_helper_shared()) delete helper;
}

void caprion_helper_find_subtitles_for(caprion_helper* helper, const char* path, const char* language,
                                       caprion_search_completion completion, void* context,
                                       caprion_context_release release) {
  search(helper, path != nullptr && language != nullptr, {completion, context, release}, [&](auto completed) {
    return startFindingSubtitles(URL::fileURLWithPath(path), language, std::move(completed));
  });
}

void caprion_helper_find_subtitles_matching(caprion_helper* helper, const char* text, const char* language,
                                            caprion_search_completion completion, void* context,
                                            caprion_context_release release) {
  search(helper, text != nullptr && language != nullptr, {completion, context, release}, [&](auto completed) {
    return startFindingSubtitles(caprion::Matching(text), language, std::move(completed));
  });
}

void caprion_query(caprion_helper* helper, const caprion_criterion* criteria, size_t count,
                   caprion_search_completion completion, void* context, caprion_context_release release) {
  const auto isKnown = [](const caprion_criterion& criterion) {
    return criterion.kind != nullptr && criterion.value != nullptr && caprion::paramFrom(criterion.kind);
  };
  const bool areKnown = criteria != nullptr ? std::all_of(criteria, criteria + count, isKnown) : count == 0;
  search(helper, areKnown, {completion, context, release}, [&](auto completed) {
    std::vector<Arg> args;
    for (size_t i = 0; i < count; ++i)
      args.emplace_back(*caprion::paramFrom(criteria[i].kind), criteria[i].value);
    return startFindingSubtitles(args, std::move(completed));
  });
}

void caprion_helper_cancel_search(caprion_helper* helper) {
  if (helper != nullptr) helper->latestSearch.cancel();
}

void caprion_helper_download_subtitle_file(caprion_helper* helper, const caprion_subtitle* subtitle,
                                           caprion_download_completion completion, void* context,
                                           caprion_context_release release) {
  const DownloadReceiver receiver{completion, context, release};
  receiver.run(helper != nullptr && subtitle != nullptr, [&] {
    const auto record = subtitle->record;  // the completion may free the handle
    Caprion::shared().download(*record, reportTo(receiver));
    receiver.letGo();
  });
}

caprion_downloader* caprion_downloader_new() {
  return orNull([] { return new caprion_downloader; });
}

void caprion_downloader_free(caprion_downloader* downloader) { delete downloader; }

void caprion_downloader_download(caprion_downloader* downloader, const caprion_subtitle* subtitle,
                                 caprion_download_completion completion, void* context,
                                 caprion_context_release release) {
  const DownloadReceiver receiver{completion, context, release};
  receiver.run(downloader != nullptr && subtitle != nullptr, [&] {
    const auto record = subtitle->record;  // the completion may free the handle
    downloader->downloader.download(*record, reportTo(receiver));
    receiver.letGo();
  });
}

void caprion_downloader_cancel(caprion_downloader* downloader) {
  if (downloader != nullptr) downloader->downloader.cancel();
}

void caprion_query_task_cancel() { Caprion::shared().cancelQueryTask(); }

size_t caprion_subtitle_list_count(const caprion_subtitle_list* list) {
  return list == nullptr ? 0 : list->subtitles.size();
}

const caprion_subtitle* caprion_subtitle_list_at(const caprion_subtitle_list* list, size_t index) {
  return index < caprion_subtitle_list_count(list) ? &list->subtitles[index] : nullptr;
}

caprion_subtitle_list* caprion_subtitle_list_new(const caprion_subtitle* const* subtitles, size_t count) {
  if (subtitles == nullptr && count > 0) return nullptr;
  return orNull([&]() -> caprion_subtitle_list* {
    auto list = std::make_unique<caprion_subtitle_list>();
    for (size_t i = 0; i < count; ++i) {
      if (subtitles[i] == nullptr) return nullptr;
      list->subtitles.push_back(*subtitles[i]);
    }
    return list.release();
  });
}

caprion_subtitle_list* caprion_subtitle_list_copy(const caprion_subtitle_list* list) { return copyOf(list); }
void caprion_subtitle_list_free(caprion_subtitle_list* list) { delete list; }
caprion_subtitle* caprion_subtitle_copy(const caprion_subtitle* subtitle) { return copyOf(subtitle); }
void caprion_subtitle_free(caprion_subtitle* subtitle) { delete subtitle; }

// Defines the getter of a string or a link.
#define GETTER(read, name, member)                                        \
  const char* caprion_subtitle_##name(const caprion_subtitle* subtitle) { \
    return read(subtitle, std::mem_fn(&Subtitle::member));                \
  }
GETTER(textOf, subtitle_id, subtitleID)
GETTER(textOf, matched_by, matchedBy)
GETTER(textOf, sub_file_name, subFileName)
GETTER(textOf, sub_language_id, subLanguageID)
GETTER(textOf, language_name, languageName)
GETTER(textOf, iso639, iso639)
GETTER(textOf, sub_format, subFormat)
GETTER(textOf, movie_name, movieName)
GETTER(textOf, movie_year, movieYear)
GETTER(textOf, series_season, seriesSeason)
GETTER(textOf, series_episode, seriesEpisode)
GETTER(linkOf, zip_download_link, zipDownloadLink)
GETTER(linkOf, sub_download_link, subDownloadLink)
GETTER(textOf, sub_sum_cd, subSumCD)
#undef GETTER

const char* caprion_subtitle_imdb_id_movie(const caprion_subtitle* subtitle) {
  return textOf(subtitle, SubtitleRecord::imdbIDMovie);
}

const char* caprion_subtitle_imdb_id_series(const caprion_subtitle* subtitle) {
  return textOf(subtitle, SubtitleRecord::imdbIDSeries);
}

caprion_movie_kind caprion_subtitle_movie_kind(const caprion_subtitle* subtitle) {
  if (subtitle == nullptr) return CAPRION_MOVIE_KIND_MOVIE;
  return static_cast<caprion_movie_kind>(subtitle->record->movieKind());
}

char* caprion_subtitle_imdb_id_copy(const caprion_subtitle* subtitle) {
  if (subtitle == nullptr) return nullptr;
  return orNull([&] { return copyOf(subtitle->record->imdbID().value_or("")); });
}

char* caprion_subtitle_detail_string_copy(const caprion_subtitle* subtitle) {
  if (subtitle == nullptr) return nullptr;
  return orNull([&] { return copyOf(subtitle->record->detailString()); });
}

char* caprion_subtitle_json_copy(const caprion_subtitle* subtitle, caprion_error** error) {
  const auto encoded = [&] {
    return subtitle == nullptr ? Result<std::string>(posixError(EINVAL)) : subtitle->record->encode();
  };
  return valueOrNull(encoded, error, [](const std::string& json) { return copyOf(json); });
}

caprion_subtitle* caprion_subtitle_new_from_json(const char* json, caprion_error** error) {
  using Record = std::shared_ptr<const Subtitle>;
  const auto decoded = [&] {
    return json == nullptr ? Result<Record>(posixError(EINVAL)) : Subtitle::decode(json);
  };
  return valueOrNull(decoded, error, [](const Record& record) { return new caprion_subtitle{record}; });
}

void caprion_string_free(char* text) { std::free(text); }

const char* caprion_error_domain(const caprion_error* error) {
  return error == nullptr ? nullptr : error->error.domain().c_str();
}

int64_t caprion_error_code(const caprion_error* error) { return error == nullptr ? 0 : error->error.code(); }

const char* caprion_error_description(const caprion_error* error) {
  // NUL-terminated, as the view covers a whole std::string.
  return error == nullptr ? nullptr : error->error.localizedDescription().data();
}

bool caprion_error_description_is_null(const caprion_error* error) {
  const auto* const value = valueOf(error, caprion::NSLocalizedDescriptionKey);
  return value != nullptr && std::holds_alternative<Error::Null>(*value);
}

const char* caprion_error_recovery_suggestion(const caprion_error* error) {
  return caprion_error_user_info(error, CAPRION_RECOVERY_SUGGESTION_KEY, nullptr);
}

const char* caprion_error_user_info(const caprion_error* error, const char* key, size_t* length) {
  const auto* const value = key == nullptr ? nullptr : valueOf(error, key);
  const auto* const text = value == nullptr ? nullptr : std::get_if<std::string>(value);
  if (length != nullptr) *length = text == nullptr ? 0 : text->size();
  return text == nullptr ? nullptr : text->c_str();
}

caprion_error* caprion_error_copy(const caprion_error* error) { return copyOf(error); }
void caprion_error_free(caprion_error* error) { delete error; }

bool caprion_file_hash(const char* path, char hash[CAPRION_FILE_HASH_SIZE], uint64_t* size) {
  try {
    const auto found = path == nullptr ? std::nullopt : Caprion::hashFor(URL::fileURLWithPath(path));
    if (!found) return false;
    if (hash != nullptr) std::copy_n(found->fileHash.c_str(), found->fileHash.size() + 1, hash);
    if (size != nullptr) *size = found->fileSize;
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

caprion_components* caprion_components_new() {
  return orNull([] { return new caprion_components{}; });
}

caprion_components* caprion_components_new_from_path(const char* path) {
  if (path == nullptr) return nullptr;
  if (*path == '\0') return caprion_components_new();  // a URL would name the working directory
  return orNull([&] {
    return new caprion_components{caprion::VideoFileUtilities::componentsFrom(URL::fileURLWithPath(path))};
  });
}

caprion_components* caprion_components_new_from_url(const char* url) {
  return orNull([&]() -> caprion_components* {
    const auto parsed = url == nullptr ? std::nullopt : URL::fromString(url);
    if (!parsed) return nullptr;
    return new caprion_components{caprion::VideoFileUtilities::componentsFrom(*parsed)};
  });
}

void caprion_components_free(caprion_components* components) { delete components; }

const char* caprion_components_title(const caprion_components* components) {
  return components == nullptr ? nullptr : components->fields.title.c_str();
}

bool caprion_components_year(const caprion_components* components, int64_t* number) {
  return components != nullptr && numberOf(components->fields.year, number);
}

bool caprion_components_season(const caprion_components* components, int64_t* number) {
  return components != nullptr && numberOf(components->fields.season, number);
}

bool caprion_components_episode(const caprion_components* components, int64_t* number) {
  return components != nullptr && numberOf(components->fields.episode, number);
}

const char* caprion_components_resolution(const caprion_components* components) {
  return components == nullptr || !components->fields.resolution ? nullptr
                                                                 : components->fields.resolution->c_str();
}

const char* caprion_components_search_string(const caprion_components* components) {
  return components == nullptr ? nullptr : components->searchString.c_str();
}

bool caprion_bundle_set_name(const char* name) {
  try {
    auto& bundle = caprion::Bundle::main();
    auto dictionary = bundle.infoDictionary().value_or(caprion::Bundle::InfoDictionary());
    dictionary.erase("CFBundleName");
    if (name != nullptr) dictionary.emplace("CFBundleName", name);
    bundle.setInfoDictionary(std::move(dictionary));
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}
