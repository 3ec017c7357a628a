#ifndef CAPRION_CAPRION_H
#define CAPRION_CAPRION_H

/// \file
/// Caprion for C11, and for every language that can call C.
///
/// Ownership. If a function has `_new` or `_copy` in its name, the caller owns what it returns and frees it
/// with the `_free` of its type (strings with caprion_string_free). Everything else is borrowed: strings and
/// records live as long as the handle they were read from, and what a completion receives lives until the
/// completion returns. Borrowed handles are pointers to const, so passing one to a `_free` causes a warning.
/// A copy shares its data with the original, so it costs little, and it may outlive the original.
///
/// Threads. Any thread may call any function at any time, and several threads may read the same handle at
/// once. Only a `_free` must be the last use of its handle.
///
/// NULL. Every `_free` accepts it. If a required handle or string is NULL, a getter returns NULL, 0 or false,
/// and an operation with a completion reports EINVAL of CAPRION_POSIX_ERROR_DOMAIN at once, on the calling
/// thread. Output parameters may be NULL if the value isn't needed. A `_new` or `_copy` also returns NULL
/// when memory runs out.
///
/// Strings are NUL-terminated and UTF-8; paths may hold any bytes. A string from the service may contain a
/// NUL and then seems to end there; caprion_subtitle_json_copy and caprion_error_user_info return it whole.
///
/// Callbacks. A completion receives two pointers, exactly one of which isn't NULL, and the `context` of its
/// operation, which the library only passes on. `completion` may be NULL. `release` may be NULL too; if not,
/// it is called with `context` exactly once, after the last report if there is any: for a search on the
/// thread of the report, for a download on the calling thread before the call returns. Background threads
/// have all signals blocked except those of faults, such as SIGSEGV. Callbacks may block there, start further
/// operations or exit the process; they must not throw or longjmp. A search that is running when the process
/// exits calls neither callback. (If the operation can't be started for lack of memory
/// or threads, the completion receives that error during the call.)
///
/// Errors. Operations report failures as a caprion_error. There is no "last error", and errno has no meaning
/// after a call. No C++ exception leaves a function. (If there isn't even enough memory for an error, the
/// process ends.)

#include <caprion/export.h>
#include <caprion/version.h>

// NOLINTBEGIN(modernize-*): this is C.
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// A facade object: searches by file, text or criteria, and downloads.
typedef struct caprion_helper caprion_helper;
/// A record: one hit of a search, a subtitle file that the service offers. Immutable.
typedef struct caprion_subtitle caprion_subtitle;
/// The hits of one search, in the order of the service's answer. Immutable.
typedef struct caprion_subtitle_list caprion_subtitle_list;
/// Why an operation failed. Immutable.
typedef struct caprion_error caprion_error;
/// Downloads one subtitle at a time. Parallel downloads need a downloader each.
typedef struct caprion_downloader caprion_downloader;
/// The parts of a video file's name, such as title and season. Immutable.
typedef struct caprion_components caprion_components;
/// The hits that suit a video, the best first. Immutable.
typedef struct caprion_ranking caprion_ranking;
/// What the name of a video file says about the movie or episode in it. Immutable.
typedef struct caprion_release_name caprion_release_name;
/// A language that the service has subtitles in. Lives as long as the process and is never freed.
typedef struct caprion_language caprion_language;

/// Receives the hits of a search, or an error.
typedef void (*caprion_search_completion)(const caprion_subtitle_list* subtitles, const caprion_error* error,
                                          void* context);
/// Receives the path of a subtitle file, or an error.
typedef void (*caprion_download_completion)(const char* path, const caprion_error* error, void* context);
/// Releases the context of an operation.
typedef void (*caprion_context_release)(void* context);

// ---- The facade ----

/// The shared facade object. Lives as long as the process; caprion_helper_free ignores it.
CAPRION_EXPORT caprion_helper* caprion_helper_shared(void);

/// Creates another facade object, which behaves exactly like the shared one.
CAPRION_EXPORT caprion_helper* caprion_helper_new(void);

/// Frees a facade object. Operations started through it continue.
CAPRION_EXPORT void caprion_helper_free(caprion_helper* helper);

/// Searches for subtitles of the video file at a path (not a URL) by its movie hash and size, in a language
/// of the service such as "eng". Reads up to 128 KiB of the file on the calling thread. If that fails,
/// `completion` is called at once, on this thread, with the error "Cannot create a video hash for the file";
/// otherwise once, later, on a background thread. The strings are copied.
CAPRION_EXPORT void caprion_helper_find_subtitles_for(caprion_helper* helper, const char* path,
                                                      const char* language,
                                                      caprion_search_completion completion, void* context,
                                                      caprion_context_release release);

/// Searches for subtitles by a text, in a language of the service such as "eng". `completion` is called once,
/// later, on a background thread. The strings are copied.
CAPRION_EXPORT void caprion_helper_find_subtitles_matching(caprion_helper* helper, const char* text,
                                                           const char* language,
                                                           caprion_search_completion completion,
                                                           void* context, caprion_context_release release);

/// One criterion of a search.
typedef struct caprion_criterion {
  const char* kind;   ///< "episode", "imdbid", "moviebytesize", "moviehash", "query", "season",
                      ///< "sublanguageid" or "tag"
  const char* value;  ///< any string; it is sent as it is
} caprion_criterion;

/// Searches by criteria, which are sent in this order. `completion` is called once, later, on a background
/// thread; if a kind is unknown or a string is NULL, at once, with EINVAL. The strings are copied.
CAPRION_EXPORT void caprion_query(caprion_helper* helper, const caprion_criterion* criteria, size_t count,
                                  caprion_search_completion completion, void* context,
                                  caprion_context_release release);

/// Cancels the search started last through this facade object, if it is still running; the search then
/// reports the error -999 of CAPRION_URL_ERROR_DOMAIN. To cancel searches independently, start each through
/// its own facade object. Returns at once, and may be called from a completion.
CAPRION_EXPORT void caprion_helper_cancel_search(caprion_helper* helper);

/// Downloads the subtitle file of a record, and reports its path. The file is in the cache folder
/// TEMPORARY FOLDER/APPLICATION NAME/SUBTITLE ID, which is emptied at the start and left as it is at the end.
///
/// Blocks the calling thread until the download has ended. All reports are made before it returns: failures
/// of the transfer on a background thread, everything else on the calling thread. There is one report, with
/// two exceptions: a download that is replaced by a newer one reports nothing, and each error while walking
/// the unpacked files is an additional report before the last. `subtitle` may be freed in the completion.
CAPRION_EXPORT void caprion_helper_download_subtitle_file(caprion_helper* helper,
                                                          const caprion_subtitle* subtitle,
                                                          caprion_download_completion completion,
                                                          void* context, caprion_context_release release);

/// Cancels the search started last in this process, if it is still running; the search then reports the error
/// -999 of CAPRION_URL_ERROR_DOMAIN. Returns at once, and may be called from a completion.
CAPRION_EXPORT void caprion_query_task_cancel(void);

// ---- Parallel downloads ----

/// Creates a downloader.
CAPRION_EXPORT caprion_downloader* caprion_downloader_new(void);

/// Frees a downloader. Its calls must have returned, unless this is called from one of its completions, which
/// cancels the running download.
CAPRION_EXPORT void caprion_downloader_free(caprion_downloader* downloader);

/// Downloads the subtitle file of a record like caprion_helper_download_subtitle_file, but is replaced only
/// by a newer download of the same downloader.
CAPRION_EXPORT void caprion_downloader_download(caprion_downloader* downloader,
                                                const caprion_subtitle* subtitle,
                                                caprion_download_completion completion, void* context,
                                                caprion_context_release release);

/// Cancels the running download, if there is one: its call returns at once, without any further report,
/// except one that is being made at this moment. Returns at once, and may be called from a completion.
CAPRION_EXPORT void caprion_downloader_cancel(caprion_downloader* downloader);

// ---- Lists ----

/// The number of records.
CAPRION_EXPORT size_t caprion_subtitle_list_count(const caprion_subtitle_list* list);

/// The record at a zero-based index, borrowed from the list; NULL if there is none.
CAPRION_EXPORT const caprion_subtitle* caprion_subtitle_list_at(const caprion_subtitle_list* list,
                                                                size_t index);

/// Creates a list of records, for caprion_ranking_new; NULL if one of them is NULL.
CAPRION_EXPORT caprion_subtitle_list* caprion_subtitle_list_new(const caprion_subtitle* const* subtitles,
                                                                size_t count);

/// Another list of the same records.
CAPRION_EXPORT caprion_subtitle_list* caprion_subtitle_list_copy(const caprion_subtitle_list* list);

/// Frees a list, and those of its records that nothing else refers to.
CAPRION_EXPORT void caprion_subtitle_list_free(caprion_subtitle_list* list);

// ---- Records ----

/// The kind of title that a subtitle is for.
typedef enum caprion_movie_kind {
  CAPRION_MOVIE_KIND_MOVIE = 0,   ///< a title of its own
  CAPRION_MOVIE_KIND_EPISODE = 1  ///< part of a series
} caprion_movie_kind;

/// Another reference to the same record.
CAPRION_EXPORT caprion_subtitle* caprion_subtitle_copy(const caprion_subtitle* subtitle);

/// Frees one reference to a record.
CAPRION_EXPORT void caprion_subtitle_free(caprion_subtitle* subtitle);

// The fields, as the service wrote them: any string may be empty, and years and numbers are strings too.
// Borrowed from the record. Only the two links may be NULL.

/// The service's identifier of the subtitle.
CAPRION_EXPORT const char* caprion_subtitle_subtitle_id(const caprion_subtitle* subtitle);
/// How the service matched the hit, such as "moviehash".
CAPRION_EXPORT const char* caprion_subtitle_matched_by(const caprion_subtitle* subtitle);
/// The name of the subtitle file.
CAPRION_EXPORT const char* caprion_subtitle_sub_file_name(const caprion_subtitle* subtitle);
/// The service's language code, such as "eng".
CAPRION_EXPORT const char* caprion_subtitle_sub_language_id(const caprion_subtitle* subtitle);
/// The name of the language, such as "English".
CAPRION_EXPORT const char* caprion_subtitle_language_name(const caprion_subtitle* subtitle);
/// The language's ISO 639 code, such as "en".
CAPRION_EXPORT const char* caprion_subtitle_iso639(const caprion_subtitle* subtitle);
/// The format of the subtitle file, such as "srt".
CAPRION_EXPORT const char* caprion_subtitle_sub_format(const caprion_subtitle* subtitle);
/// The title; for an episode, including that of its series.
CAPRION_EXPORT const char* caprion_subtitle_movie_name(const caprion_subtitle* subtitle);
/// The year of the title.
CAPRION_EXPORT const char* caprion_subtitle_movie_year(const caprion_subtitle* subtitle);
/// The kind of the title.
CAPRION_EXPORT caprion_movie_kind caprion_subtitle_movie_kind(const caprion_subtitle* subtitle);
/// The IMDb number of the title, without "tt".
CAPRION_EXPORT const char* caprion_subtitle_imdb_id_movie(const caprion_subtitle* subtitle);
/// The IMDb number of the series that an episode belongs to, without "tt".
CAPRION_EXPORT const char* caprion_subtitle_imdb_id_series(const caprion_subtitle* subtitle);
/// The season of an episode.
CAPRION_EXPORT const char* caprion_subtitle_series_season(const caprion_subtitle* subtitle);
/// The number of an episode in its season.
CAPRION_EXPORT const char* caprion_subtitle_series_episode(const caprion_subtitle* subtitle);
/// The address of the zip archive with the subtitle file; NULL if there is nothing to download.
CAPRION_EXPORT const char* caprion_subtitle_zip_download_link(const caprion_subtitle* subtitle);
/// A second download address, or NULL. The library doesn't use it.
CAPRION_EXPORT const char* caprion_subtitle_sub_download_link(const caprion_subtitle* subtitle);
/// The number of discs that the subtitle spans.
CAPRION_EXPORT const char* caprion_subtitle_sub_sum_cd(const caprion_subtitle* subtitle);

/// The IMDb identifier of the title (for an episode, of its series), such as "tt0000133"; "tt0000000" if the
/// service gave no number.
CAPRION_EXPORT char* caprion_subtitle_imdb_id_copy(const caprion_subtitle* subtitle);

/// The title in one line: "Alien (79)", or "Pilot (99), season 1, episode 3".
CAPRION_EXPORT char* caprion_subtitle_detail_string_copy(const caprion_subtitle* subtitle);

/// Encodes a record as a JSON object with the service's keys, without the links that are NULL. On failure
/// returns NULL and stores the reason in `*error`, which the caller frees; NULL if memory runs out for it
/// too.
CAPRION_EXPORT char* caprion_subtitle_json_copy(const caprion_subtitle* subtitle, caprion_error** error);

/// Decodes a record from a JSON object with the service's keys, as caprion_subtitle_json_copy writes it. On
/// failure returns NULL and stores the reason in `*error`, which the caller frees: usually an error of
/// CAPRION_DECODING_ERROR_DOMAIN, which names the first key at fault; NULL if memory runs out for it too.
CAPRION_EXPORT caprion_subtitle* caprion_subtitle_new_from_json(const char* json, caprion_error** error);

/// Frees a string that a `_copy` returned.
CAPRION_EXPORT void caprion_string_free(char* text);

// ---- Errors ----

// Error domains. Errors from the library's own checks have the domain "" (the empty string) and the code 0.

/// HTTP transport; the code is one of the well-known negative numbers, such as -999 for a cancelled search.
#define CAPRION_URL_ERROR_DOMAIN "NSURLErrorDomain"
/// Files, processes and memory; the code is an errno value.
#define CAPRION_POSIX_ERROR_DOMAIN "NSPOSIXErrorDomain"
/// A search answer that isn't a JSON array; the code is 0 and the description is the answer's body.
#define CAPRION_ANSWER_ERROR_DOMAIN "org.caprion.answer"
/// Networking errors other than the transport's; the code 0 means a bad response from the server.
#define CAPRION_NETWORKING_ERROR_DOMAIN "Caprion.NetworkingError"
/// JSON that can't be decoded; the code is a caprion_decoding_error_kind.
#define CAPRION_DECODING_ERROR_DOMAIN "Caprion.DecodingError"
/// A value that JSON can't represent; the code is 0.
#define CAPRION_ENCODING_ERROR_DOMAIN "Caprion.EncodingError"

// Keys for caprion_error_user_info.

/// A description for people.
#define CAPRION_DESCRIPTION_KEY "NSLocalizedDescriptionKey"
/// A further hint for people.
#define CAPRION_RECOVERY_SUGGESTION_KEY "NSLocalizedRecoverySuggestionErrorKey"
/// The transport's own message about a failed transfer, with more detail than the description; its form may
/// change.
#define CAPRION_TRANSPORT_MESSAGE_KEY "TransportMessageKey"
/// The JSON key at which decoding failed.
#define CAPRION_CODING_KEY_KEY "CodingKeyKey"

/// What is wrong with a JSON value.
typedef enum caprion_decoding_error_kind {
  CAPRION_DECODING_TYPE_MISMATCH = 0,    ///< a value of another JSON type
  CAPRION_DECODING_VALUE_NOT_FOUND = 1,  ///< null
  CAPRION_DECODING_KEY_NOT_FOUND = 2,    ///< no such key
  CAPRION_DECODING_DATA_CORRUPTED = 3    ///< invalid JSON, or a string that isn't one of those allowed
} caprion_decoding_error_kind;

/// One of the domains above, or "". Borrowed from the error.
CAPRION_EXPORT const char* caprion_error_domain(const caprion_error* error);

/// The meaning depends on the domain.
CAPRION_EXPORT int64_t caprion_error_code(const caprion_error* error);

/// A description for people; never NULL. Borrowed from the error.
CAPRION_EXPORT const char* caprion_error_description(const caprion_error* error);

/// Whether the error has a null object as its description, because a search answer wasn't valid UTF-8.
/// caprion_error_description then returns a substitute.
CAPRION_EXPORT bool caprion_error_description_is_null(const caprion_error* error);

/// A further hint for people, or NULL. Borrowed from the error.
CAPRION_EXPORT const char* caprion_error_recovery_suggestion(const caprion_error* error);

/// The string that the error has for a key, and its length in bytes; NULL and 0 if there is none. Borrowed
/// from the error.
CAPRION_EXPORT const char* caprion_error_user_info(const caprion_error* error, const char* key,
                                                   size_t* length);

/// Another reference to the same error. Both return the same strings, which live as long as either of them.
CAPRION_EXPORT caprion_error* caprion_error_copy(const caprion_error* error);

/// Frees an error.
CAPRION_EXPORT void caprion_error_free(caprion_error* error);

// ---- Video files ----

/// The size of a movie hash: 16 lower-case hexadecimal digits and a NUL.
#define CAPRION_FILE_HASH_SIZE 17

/// Computes the movie hash of the file at a path (not a URL), and its size in bytes; for a file shorter than
/// 65,536 bytes, these are the empty string and 0. Reads up to 128 KiB on the calling thread. If the path
/// isn't a readable file, returns false and leaves both unchanged.
CAPRION_EXPORT bool caprion_file_hash(const char* path, char hash[CAPRION_FILE_HASH_SIZE], uint64_t* size);

/// Creates components with an empty title and nothing else.
CAPRION_EXPORT caprion_components* caprion_components_new(void);

/// Splits the name of the video file at a path into title, season and episode ("S01E02"), resolution ("720p")
/// and year. Doesn't access the file. Bytes that aren't UTF-8 are read as U+FFFD. An empty path gives an
/// empty title and nothing else.
CAPRION_EXPORT caprion_components* caprion_components_new_from_path(const char* path);

/// The same for the last component of a URL's path; NULL if the string isn't a URL.
CAPRION_EXPORT caprion_components* caprion_components_new_from_url(const char* url);

/// Frees components.
CAPRION_EXPORT void caprion_components_free(caprion_components* components);

/// The words before the marker that ends the title. Borrowed from the components.
CAPRION_EXPORT const char* caprion_components_title(const caprion_components* components);

/// Whether the name contains a year. Stores it in `*number`, or leaves that unchanged.
CAPRION_EXPORT bool caprion_components_year(const caprion_components* components, int64_t* number);

/// The same for a season.
CAPRION_EXPORT bool caprion_components_season(const caprion_components* components, int64_t* number);

/// The same for an episode.
CAPRION_EXPORT bool caprion_components_episode(const caprion_components* components, int64_t* number);

/// The resolution as written in the name, such as "720p" or "1080P", or NULL. Borrowed from the components.
CAPRION_EXPORT const char* caprion_components_resolution(const caprion_components* components);

/// A text to search by: the title with season and episode if both are known, else with the year if that is
/// known, else alone. Borrowed from the components.
CAPRION_EXPORT const char* caprion_components_search_string(const caprion_components* components);

// ---- Ranking ----

/// Why a hit belongs to a video, the strongest evidence first.
typedef enum caprion_evidence {
  CAPRION_EVIDENCE_CONTENT = 0,  ///< the service knows the video by its movie hash
  CAPRION_EVIDENCE_RELEASE = 1,  ///< the service knows the release by its name, which isn't generic
  CAPRION_EVIDENCE_TITLE = 2     ///< title and episode, or title and year, are those in the video's name
} caprion_evidence;

/// Ranks hits for the video file at a path by its name. Hits that contradict the name are left out: those for
/// another season, episode, kind, year or disc and, unless the evidence is content or release, those with
/// another title. The others are ordered by evidence, then by whether season and episode are known, then by
/// the number of words that both file names share, then by whether the year agrees with one that follows the
/// episode in the name, then as in `hits`. Doesn't access the file or the network. `hits` may be freed
/// afterwards.
CAPRION_EXPORT caprion_ranking* caprion_ranking_new(const caprion_subtitle_list* hits, const char* path);

/// Frees a ranking, and those of its records that nothing else refers to.
CAPRION_EXPORT void caprion_ranking_free(caprion_ranking* ranking);

/// The number of hits that suit the video.
CAPRION_EXPORT size_t caprion_ranking_count(const caprion_ranking* ranking);

/// The record at a zero-based index, borrowed from the ranking; NULL if there is none.
CAPRION_EXPORT const caprion_subtitle* caprion_ranking_subtitle_at(const caprion_ranking* ranking,
                                                                   size_t index);

/// The evidence for the record at an index; CAPRION_EVIDENCE_CONTENT if there is none.
CAPRION_EXPORT caprion_evidence caprion_ranking_evidence_at(const caprion_ranking* ranking, size_t index);

/// Why the record at an index suits the video, in words for people, such as "found by content"; NULL if there
/// is none. Borrowed from the ranking.
CAPRION_EXPORT const char* caprion_ranking_reason_at(const caprion_ranking* ranking, size_t index);

/// Parses the name of the video file at a path, for comparing it with hits and for searching by title. Uses
/// more rules than the components above, whose titles may still contain a marker: here the title ends at the
/// first marker of any kind. Doesn't access the file.
CAPRION_EXPORT caprion_release_name* caprion_release_name_new(const char* path);

/// Frees a release name.
CAPRION_EXPORT void caprion_release_name_free(caprion_release_name* name);

/// The words before the first marker; empty if the name begins with a season or an episode. Borrowed from the
/// release name.
CAPRION_EXPORT const char* caprion_release_name_title(const caprion_release_name* name);

/// Whether the name contains the year of a movie, or the year in which a series began. Stores it in
/// `*number`, or leaves that unchanged.
CAPRION_EXPORT bool caprion_release_name_year(const caprion_release_name* name, int* number);

/// The same for a season, which is 1 if the name has only an episode ("E05").
CAPRION_EXPORT bool caprion_release_name_season(const caprion_release_name* name, int* number);

/// The number of episodes in the name: none for a movie or a whole season.
CAPRION_EXPORT size_t caprion_release_name_episode_count(const caprion_release_name* name);

/// The episode at a zero-based index, in the order of the name; 0 if there is none.
CAPRION_EXPORT int caprion_release_name_episode_at(const caprion_release_name* name, size_t index);

// ---- Languages ----

/// The language with a code, or NULL. The code may be the service's identifier, ISO 639-1, ISO 639-2/B or /T,
/// or a tag such as "pt-BR", in any letter case and with "_" or "-".
CAPRION_EXPORT const caprion_language* caprion_language_from(const char* code);

/// The number of languages.
CAPRION_EXPORT size_t caprion_language_count(void);

/// The language at a zero-based index, in the order of the identifiers; NULL if there is none.
CAPRION_EXPORT const caprion_language* caprion_language_at(size_t index);

// The fields of a language. The strings live as long as the process. A code that a language doesn't have is
// the empty string.

/// The service's identifier, which searches take: "eng", "pob".
CAPRION_EXPORT const char* caprion_language_identifier(const caprion_language* language);
/// The ISO 639-1 code: "en".
CAPRION_EXPORT const char* caprion_language_iso6391(const caprion_language* language);
/// The ISO 639-2/T code: "eng", "deu".
CAPRION_EXPORT const char* caprion_language_iso6392(const caprion_language* language);
/// The BCP 47 tag, with a region if the service distinguishes one: "pt-BR". Players recognise it in file
/// names.
CAPRION_EXPORT const char* caprion_language_tag(const caprion_language* language);
/// The name in English: "Portuguese (Brazil)".
CAPRION_EXPORT const char* caprion_language_name(const caprion_language* language);

// ---- The host ----

/// Sets the application name, "Caprion" by default, which names the folder of all later downloads; NULL
/// restores the default. The string is copied. If memory runs out, returns false and changes nothing.
CAPRION_EXPORT bool caprion_bundle_set_name(const char* name);

#ifdef __cplusplus
}
#endif
// NOLINTEND(modernize-*)

#endif
