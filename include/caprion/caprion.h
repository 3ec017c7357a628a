#ifndef CAPRION_CAPRION_H
#define CAPRION_CAPRION_H

/// \file
/// Caprion for C11, and for every language that can call C.
///
/// Ownership. What a function with `_new` or `_copy` in its name returns is the caller's, who ends it with
/// the `_free` of its type (texts: caprion_string_free). Everything else is borrowed: texts and records live
/// as long as the handle that they were read from, and what a completion receives lives until the completion
/// returns. A borrowed handle is a pointer to const, which no `_free` takes without a warning. A copy shares
/// what it is a copy of, so it costs little, and outlives the original.
///
/// Threads. Any thread may call any function at any time, and any number of them may read one handle. Only a
/// `_free` must be the last use of its handle.
///
/// NULL. Every `_free` accepts it. Where a handle or a text is needed and NULL comes, a getter returns NULL,
/// 0 or false, and an operation with a completion reports an error: EINVAL of CAPRION_POSIX_ERROR_DOMAIN, at
/// once, on the calling thread. Parameters that a value comes out by may be NULL where it isn't wanted. A
/// `_new` or `_copy` also returns NULL when the memory runs out.
///
/// Texts are NUL-terminated and UTF-8, a path any bytes. A text of the service may hold a NUL of its own and
/// seems to end there; caprion_subtitle_json_copy and caprion_error_user_info give such a text whole.
///
/// Callbacks. A completion receives two optional values, of which exactly one isn't NULL, and the `context`
/// of its operation, which the library never looks into. `release` may be NULL; else it is called with
/// `context` exactly once, after the last report, or without one if there is none: on the thread of the
/// report of a search, and of a download on the calling thread, before the call returns. A NULL completion
/// stands for no interest in the outcome. Background threads have all signals blocked; callbacks may block
/// there, start further operations or exit the process, and must not throw or jump out. A search that is
/// under way when the process exits, calls neither. (Should the system not have a single thread to give, the
/// completion that says so runs inside the call.)
///
/// Errors. Whatever goes wrong arrives as a caprion_error; no function sets errno for its caller or keeps a
/// "last error". No C++ exception leaves a function. (When there is no memory for so much as an error, the
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

/// The facade: searches by file or by text, and downloads.
typedef struct caprion_helper caprion_helper;
/// One hit of a search: a subtitle file that the service offers. Never changes.
typedef struct caprion_subtitle caprion_subtitle;
/// The hits of one search, in the order of the service's answer. Never changes.
typedef struct caprion_subtitle_list caprion_subtitle_list;
/// Why an operation failed. Never changes.
typedef struct caprion_error caprion_error;
/// Downloads one subtitle at a time; for several side by side, each has one of its own.
typedef struct caprion_downloader caprion_downloader;
/// What the name of a video file tells about its content. Never changes.
typedef struct caprion_components caprion_components;
/// Of some hits those that suit a video, the best first. Never changes.
typedef struct caprion_ranking caprion_ranking;
/// What the name of a video file says about the movie or the episode in it. Never changes.
typedef struct caprion_release_name caprion_release_name;
/// A language that the service has subtitles in. Lives as long as the process; there is nothing to free.
typedef struct caprion_language caprion_language;

/// Receives the hits of a search, or an error; both are borrowed until it returns.
typedef void (*caprion_search_completion)(const caprion_subtitle_list* subtitles, const caprion_error* error,
                                          void* context);
/// Receives the path of a subtitle file, or an error; both are borrowed until it returns.
typedef void (*caprion_download_completion)(const char* path, const caprion_error* error, void* context);
/// Lets go of an operation's context.
typedef void (*caprion_context_release)(void* context);

// ---- The facade ----

/// The one facade object. Lives as long as the process; caprion_helper_free leaves it alone.
CAPRION_EXPORT caprion_helper* caprion_helper_shared(void);

/// A further facade object, which behaves exactly like the shared one. The caller's, to free.
CAPRION_EXPORT caprion_helper* caprion_helper_new(void);

/// Frees a facade object. Operations that were started through it go on.
CAPRION_EXPORT void caprion_helper_free(caprion_helper* helper);

/// Searches for subtitles of the video file at a path (not a URL) by its movie hash and size, in a language
/// of the service such as "eng". Reads up to 128 KiB of the file on the calling thread. If it can't be read,
/// `completion` is called at once, on this thread, with the error "Cannot create a video hash for the file";
/// otherwise once, later, on a background thread. The texts are copied.
CAPRION_EXPORT void caprion_helper_find_subtitles_for(caprion_helper* helper, const char* path,
                                                      const char* language,
                                                      caprion_search_completion completion, void* context,
                                                      caprion_context_release release);

/// Searches for subtitles by a text, in a language of the service such as "eng". `completion` is called once,
/// later, on a background thread. The texts are copied.
CAPRION_EXPORT void caprion_helper_find_subtitles_matching(caprion_helper* helper, const char* text,
                                                           const char* language,
                                                           caprion_search_completion completion,
                                                           void* context, caprion_context_release release);

/// One criterion of a search.
typedef struct caprion_criterion {
  const char* kind;   ///< "episode", "imdbid", "moviebytesize", "moviehash", "query", "season",
                      ///< "sublanguageid" or "tag"
  const char* value;  ///< any text, which is sent as it is
} caprion_criterion;

/// Searches by criteria, which are sent in this order. `completion` is called once, later, on a background
/// thread; for a kind that there isn't, or a NULL among the texts, at once, with EINVAL. The texts are
/// copied.
CAPRION_EXPORT void caprion_query(caprion_helper* helper, const caprion_criterion* criteria, size_t count,
                                  caprion_search_completion completion, void* context,
                                  caprion_context_release release);

/// Cancels the search started last through this facade object, if it is still running; it then reports the
/// error -999 of CAPRION_URL_ERROR_DOMAIN. Searches that are each to be cancelled have a facade object each.
/// Returns at once, and may be called from a completion.
CAPRION_EXPORT void caprion_helper_cancel_search(caprion_helper* helper);

/// Downloads the subtitle file of a record, and reports its path. It lies in the cache folder
/// TEMPORARY FOLDER/APPLICATION NAME/SUBTITLE ID, which is emptied at the start and left as it is at the end.
///
/// Blocks the calling thread for as long as that takes. All reports are made before it returns: those on the
/// transfer on a background thread, the others on the calling thread. There is one, with two exceptions: a
/// download that gives way to one started meanwhile reports nothing, and each error on walking the unpacked
/// files is a report of its own, before the last. `subtitle` may be freed in the completion.
CAPRION_EXPORT void caprion_helper_download_subtitle_file(caprion_helper* helper,
                                                          const caprion_subtitle* subtitle,
                                                          caprion_download_completion completion,
                                                          void* context, caprion_context_release release);

/// Cancels the search started last, by whichever facade object, if it is still running; it then reports the
/// error -999 of CAPRION_URL_ERROR_DOMAIN. Returns at once, and may be called from a completion.
CAPRION_EXPORT void caprion_query_task_cancel(void);

// ---- Downloads side by side ----

/// A downloader. The caller's, to free; NULL when the memory runs out.
CAPRION_EXPORT caprion_downloader* caprion_downloader_new(void);

/// Frees a downloader once its calls have returned, or in a completion of its own, which cancels the download
/// under way.
CAPRION_EXPORT void caprion_downloader_free(caprion_downloader* downloader);

/// Downloads the subtitle file of a record just as caprion_helper_download_subtitle_file does, but only a
/// newer download by the same downloader makes it give way.
CAPRION_EXPORT void caprion_downloader_download(caprion_downloader* downloader,
                                                const caprion_subtitle* subtitle,
                                                caprion_download_completion completion, void* context,
                                                caprion_context_release release);

/// Ends the download under way, if there is one: it reports nothing from now on, but for a report that is
/// being made at this moment, and its call returns at once. Returns at once, and may be called from a
/// completion.
CAPRION_EXPORT void caprion_downloader_cancel(caprion_downloader* downloader);

// ---- Lists ----

/// How many records there are.
CAPRION_EXPORT size_t caprion_subtitle_list_count(const caprion_subtitle_list* list);

/// The record at an index from 0, borrowed from the list; NULL from the count on.
CAPRION_EXPORT const caprion_subtitle* caprion_subtitle_list_at(const caprion_subtitle_list* list,
                                                                size_t index);

/// A list of records, such as of some of the hits, for caprion_ranking_new; NULL if one of them is NULL. The
/// caller's, to free.
CAPRION_EXPORT caprion_subtitle_list* caprion_subtitle_list_new(const caprion_subtitle* const* subtitles,
                                                                size_t count);

/// Another list of the same records. The caller's, to free.
CAPRION_EXPORT caprion_subtitle_list* caprion_subtitle_list_copy(const caprion_subtitle_list* list);

/// Frees a list, and the records that nobody else holds.
CAPRION_EXPORT void caprion_subtitle_list_free(caprion_subtitle_list* list);

// ---- Records ----

/// The kind of title that a subtitle belongs to.
typedef enum caprion_movie_kind {
  CAPRION_MOVIE_KIND_MOVIE = 0,   ///< a title of its own
  CAPRION_MOVIE_KIND_EPISODE = 1  ///< one of a series
} caprion_movie_kind;

/// Another reference to the same record. The caller's, to free.
CAPRION_EXPORT caprion_subtitle* caprion_subtitle_copy(const caprion_subtitle* subtitle);

/// Gives up one reference.
CAPRION_EXPORT void caprion_subtitle_free(caprion_subtitle* subtitle);

// The fields, as the service wrote them: any text may be empty, and years and numbers are texts too. Borrowed
// from the record, to be read on any thread. Only the two links may be NULL.

/// The service's identifier of the subtitle.
CAPRION_EXPORT const char* caprion_subtitle_subtitle_id(const caprion_subtitle* subtitle);
/// What the service matched the hit by, such as "moviehash".
CAPRION_EXPORT const char* caprion_subtitle_matched_by(const caprion_subtitle* subtitle);
/// The name of the subtitle file.
CAPRION_EXPORT const char* caprion_subtitle_sub_file_name(const caprion_subtitle* subtitle);
/// The service's language code, such as "eng".
CAPRION_EXPORT const char* caprion_subtitle_sub_language_id(const caprion_subtitle* subtitle);
/// The name of the language, such as "English".
CAPRION_EXPORT const char* caprion_subtitle_language_name(const caprion_subtitle* subtitle);
/// The language's ISO 639 code, such as "en".
CAPRION_EXPORT const char* caprion_subtitle_iso639(const caprion_subtitle* subtitle);
/// The subtitle file's format, such as "srt".
CAPRION_EXPORT const char* caprion_subtitle_sub_format(const caprion_subtitle* subtitle);
/// The title; for an episode, with that of its series.
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
/// The address of the zip archive that holds the subtitle file, or NULL: then there is nothing to download.
CAPRION_EXPORT const char* caprion_subtitle_zip_download_link(const caprion_subtitle* subtitle);
/// A second download address, carried for the host, or NULL.
CAPRION_EXPORT const char* caprion_subtitle_sub_download_link(const caprion_subtitle* subtitle);
/// How many discs the subtitle spans, carried for the host.
CAPRION_EXPORT const char* caprion_subtitle_sub_sum_cd(const caprion_subtitle* subtitle);

/// The IMDb identifier of the title (for an episode, of its series), such as "tt0000133"; "tt0000000" when
/// the service gave no number. The caller's, to free with caprion_string_free.
CAPRION_EXPORT char* caprion_subtitle_imdb_id_copy(const caprion_subtitle* subtitle);

/// The title in one line: "Alien (79)", or "Pilot (99), season 1, episode 3". The caller's, to free with
/// caprion_string_free.
CAPRION_EXPORT char* caprion_subtitle_detail_string_copy(const caprion_subtitle* subtitle);

/// The record as the text of a JSON object, with an absent link left out. The caller's, to free with
/// caprion_string_free. NULL on failure, with the reason in `*error`, the caller's to free as well.
CAPRION_EXPORT char* caprion_subtitle_json_copy(const caprion_subtitle* subtitle, caprion_error** error);

/// The record in the text of a JSON object with the service's keys, as caprion_subtitle_json_copy writes it.
/// The caller's, to free. NULL on failure, with the reason in `*error`, the caller's to free as well: one of
/// CAPRION_DECODING_ERROR_DOMAIN, which names the first key at fault.
CAPRION_EXPORT caprion_subtitle* caprion_subtitle_new_from_json(const char* json, caprion_error** error);

/// Frees a text that a `_copy` returned.
CAPRION_EXPORT void caprion_string_free(char* text);

// ---- Errors ----

// Domains of errors, beside "" (the empty text, code 0) of the errors that the library words itself.

/// HTTP transport; the code is one of the well-known negative numbers, such as -999 for a cancelled search.
#define CAPRION_URL_ERROR_DOMAIN "NSURLErrorDomain"
/// Files, processes and memory; the code is an errno value.
#define CAPRION_POSIX_ERROR_DOMAIN "NSPOSIXErrorDomain"
/// A search answer that isn't a JSON array; the code is 0 and the description is the answer's body.
#define CAPRION_ANSWER_ERROR_DOMAIN "org.caprion.answer"
/// The library's own kinds of networking error; code 0 is a bad response from the server.
#define CAPRION_NETWORKING_ERROR_DOMAIN "Caprion.NetworkingError"
/// JSON that did not decode; the code is a caprion_decoding_error_kind.
#define CAPRION_DECODING_ERROR_DOMAIN "Caprion.DecodingError"
/// A value that JSON can't hold; code 0.
#define CAPRION_ENCODING_ERROR_DOMAIN "Caprion.EncodingError"

// Keys for caprion_error_user_info.

/// What to show to a person.
#define CAPRION_DESCRIPTION_KEY "NSLocalizedDescriptionKey"
/// A further hint.
#define CAPRION_RECOVERY_SUGGESTION_KEY "NSLocalizedRecoverySuggestionErrorKey"
/// The transport's own words on a failed transfer: more detail than the description, in no fixed form.
#define CAPRION_TRANSPORT_MESSAGE_KEY "TransportMessageKey"
/// The JSON key at which a decoding failed.
#define CAPRION_CODING_KEY_KEY "CodingKeyKey"

/// What was wrong with a JSON value.
typedef enum caprion_decoding_error_kind {
  CAPRION_DECODING_TYPE_MISMATCH = 0,    ///< a value of another JSON type
  CAPRION_DECODING_VALUE_NOT_FOUND = 1,  ///< null
  CAPRION_DECODING_KEY_NOT_FOUND = 2,    ///< no such key
  CAPRION_DECODING_DATA_CORRUPTED = 3    ///< not JSON at all, or a text outside its vocabulary
} caprion_decoding_error_kind;

/// One of the domains above, or "". Borrowed from the error.
CAPRION_EXPORT const char* caprion_error_domain(const caprion_error* error);

/// What it means depends on the domain.
CAPRION_EXPORT int64_t caprion_error_code(const caprion_error* error);

/// What to show to a person. Always a text, borrowed from the error.
CAPRION_EXPORT const char* caprion_error_description(const caprion_error* error);

/// Whether the error carries a null object for its description, as it does when a search answer was not even
/// text. caprion_error_description is then a text that stands in for it.
CAPRION_EXPORT bool caprion_error_description_is_null(const caprion_error* error);

/// A further hint, or NULL. Borrowed from the error.
CAPRION_EXPORT const char* caprion_error_recovery_suggestion(const caprion_error* error);

/// The text that the error carries under a key, and its length in bytes; NULL, and 0, where there is none.
/// Borrowed from the error.
CAPRION_EXPORT const char* caprion_error_user_info(const caprion_error* error, const char* key,
                                                   size_t* length);

/// The same error once more: the copy shares its state, so the texts of both are the same. The caller's, to
/// free.
CAPRION_EXPORT caprion_error* caprion_error_copy(const caprion_error* error);

/// Frees an error.
CAPRION_EXPORT void caprion_error_free(caprion_error* error);

// ---- Video files ----

/// The room for a movie hash: 16 lower-case hexadecimal digits and a NUL.
#define CAPRION_FILE_HASH_SIZE 17

/// Gives the movie hash and the size in bytes of the file at a path (not a URL); the empty text and 0 for a
/// file shorter than 65,536 bytes. Reads up to 128 KiB on the calling thread. False, with both unchanged,
/// when the path is no file that can be read.
CAPRION_EXPORT bool caprion_file_hash(const char* path, char hash[CAPRION_FILE_HASH_SIZE], uint64_t* size);

/// Components with an empty title and nothing else. The caller's, to free.
CAPRION_EXPORT caprion_components* caprion_components_new(void);

/// Splits the name of the video file at a path into title, season and episode ("S01E02"), resolution ("720p")
/// and year. Doesn't touch the file. Bytes that aren't UTF-8 are read as U+FFFD. The empty path has an empty
/// title and nothing else. The caller's, to free.
CAPRION_EXPORT caprion_components* caprion_components_new_from_path(const char* path);

/// The same for the last component of a URL's path; NULL when the text is no URL. The caller's, to free.
CAPRION_EXPORT caprion_components* caprion_components_new_from_url(const char* url);

/// Frees components.
CAPRION_EXPORT void caprion_components_free(caprion_components* components);

/// The words before the marker that ended the title. Borrowed from the components.
CAPRION_EXPORT const char* caprion_components_title(const caprion_components* components);

/// Whether the name holds a year, which goes to `*number`; otherwise that stays as it is.
CAPRION_EXPORT bool caprion_components_year(const caprion_components* components, int64_t* number);

/// The same for a season.
CAPRION_EXPORT bool caprion_components_season(const caprion_components* components, int64_t* number);

/// The same for an episode.
CAPRION_EXPORT bool caprion_components_episode(const caprion_components* components, int64_t* number);

/// The number of lines as written in the name, such as "720p" or "1080P", or NULL. Borrowed from the
/// components.
CAPRION_EXPORT const char* caprion_components_resolution(const caprion_components* components);

/// A text to search the service by: the title with season and episode where both are known, else with the
/// year, else alone. Borrowed from the components.
CAPRION_EXPORT const char* caprion_components_search_string(const caprion_components* components);

// ---- Ranking ----

/// How a hit was found to belong to a video, the strongest evidence first.
typedef enum caprion_evidence {
  CAPRION_EVIDENCE_CONTENT = 0,  ///< the service knows the video by its movie hash
  CAPRION_EVIDENCE_RELEASE =
      1,                      ///< the service knows the release by its name, and the name is no generic one
  CAPRION_EVIDENCE_TITLE = 2  ///< title and episode, or title and year, are those of the video's name
} caprion_evidence;

/// Ranks hits for the video file at a path by what its name says. Those that contradict the name are left
/// out: another season, episode, kind, year or disc, and in hits of a search by text, or by a name that any
/// video may have, another title. Better evidence comes first, then known seasons and episodes, then more
/// words that the names of both files share, then the year behind an episode, then the order of `hits`. Asks
/// nobody and reads no file. `hits` may be freed afterwards. The caller's, to free.
CAPRION_EXPORT caprion_ranking* caprion_ranking_new(const caprion_subtitle_list* hits, const char* path);

/// Frees a ranking, and the records that nobody else holds.
CAPRION_EXPORT void caprion_ranking_free(caprion_ranking* ranking);

/// How many of the hits suit the video.
CAPRION_EXPORT size_t caprion_ranking_count(const caprion_ranking* ranking);

/// The record at an index from 0, borrowed from the ranking; NULL from the count on.
CAPRION_EXPORT const caprion_subtitle* caprion_ranking_subtitle_at(const caprion_ranking* ranking,
                                                                   size_t index);

/// What the record at an index was found by; CAPRION_EVIDENCE_CONTENT from the count on.
CAPRION_EXPORT caprion_evidence caprion_ranking_evidence_at(const caprion_ranking* ranking, size_t index);

/// Why the record at an index stands there, in words for people, such as "found by content"; NULL from the
/// count on. Borrowed from the ranking.
CAPRION_EXPORT const char* caprion_ranking_reason_at(const caprion_ranking* ranking, size_t index);

/// What the name of the video file at a path says, read for comparing it with hits and for searching by
/// title. The components above are read by fewer rules, and their titles may still hold a marker; here the
/// title ends at the first marker of any kind. Doesn't touch the file. The caller's, to free.
CAPRION_EXPORT caprion_release_name* caprion_release_name_new(const char* path);

/// Frees what a name says.
CAPRION_EXPORT void caprion_release_name_free(caprion_release_name* name);

/// The words before the first marker; the empty text when the name begins with it. Borrowed from the handle.
CAPRION_EXPORT const char* caprion_release_name_title(const caprion_release_name* name);

/// Whether the name holds the year of a movie, or that in which a series began, which goes to `*number`;
/// otherwise that stays as it is.
CAPRION_EXPORT bool caprion_release_name_year(const caprion_release_name* name, int* number);

/// The same for a season: 1 where a name has an episode alone ("E05").
CAPRION_EXPORT bool caprion_release_name_season(const caprion_release_name* name, int* number);

/// How many episodes the name holds: none for a movie and for a whole season.
CAPRION_EXPORT size_t caprion_release_name_episode_count(const caprion_release_name* name);

/// The episode at an index from 0, in the order of the name; 0 from the count on.
CAPRION_EXPORT int caprion_release_name_episode_at(const caprion_release_name* name, size_t index);

// ---- Languages ----

/// The language that a code means, or NULL: the service's identifier, ISO 639-1, ISO 639-2/B or /T, or a tag
/// such as "pt-BR", in any letter case and with "_" as well as "-".
CAPRION_EXPORT const caprion_language* caprion_language_from(const char* code);

/// How many languages there are.
CAPRION_EXPORT size_t caprion_language_count(void);

/// The language at an index from 0, in the order of the identifiers; NULL from the count on.
CAPRION_EXPORT const caprion_language* caprion_language_at(size_t index);

// Its texts, which live as long as the process. A code that a language hasn't is the empty text.

/// The service's own, which a search takes: "eng", "pob".
CAPRION_EXPORT const char* caprion_language_identifier(const caprion_language* language);
/// ISO 639-1: "en".
CAPRION_EXPORT const char* caprion_language_iso6391(const caprion_language* language);
/// ISO 639-2/T: "eng", "deu".
CAPRION_EXPORT const char* caprion_language_iso6392(const caprion_language* language);
/// BCP 47, with a region where the service means one: "pt-BR". What players read in a file's name.
CAPRION_EXPORT const char* caprion_language_tag(const caprion_language* language);
/// In English: "Portuguese (Brazil)".
CAPRION_EXPORT const char* caprion_language_name(const caprion_language* language);

// ---- The host ----

/// Names the folder that the downloads from now on go to, in the place of "Caprion"; NULL takes the name
/// back. The text is copied. False when the memory runs out, which leaves the name as it was.
CAPRION_EXPORT bool caprion_bundle_set_name(const char* name);

#ifdef __cplusplus
}
#endif
// NOLINTEND(modernize-*)

#endif
