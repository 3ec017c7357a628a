/* A host in C that searches for a video, downloads, parses, and does what C invites to do wrong. */

#include <caprion/caprion.h>

#include <errno.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define CHECK(condition) check(condition, #condition, __LINE__)

static void check(bool holds, const char* condition, int line) {
  if (holds) return;
  fprintf(stderr, "line %d: %s\n", line, condition);
  exit(3);
}

static bool same(const char* a, const char* b) { return a != NULL && b != NULL && strcmp(a, b) == 0; }

/* What an operation reported. */
struct reports {
  caprion_subtitle* hit;
  int64_t code;
  int count, releases;
  sem_t released;
};

static void take_hits(const caprion_subtitle_list* list, const caprion_error* error, void* context) {
  struct reports* reports = context;
  CHECK(reports->count++ == 0 && reports->releases == 0);
  CHECK(error == NULL || same(caprion_error_domain(error), CAPRION_POSIX_ERROR_DOMAIN));
  caprion_subtitle_list* copy = caprion_subtitle_list_copy(list);
  CHECK(caprion_subtitle_list_at(copy, caprion_subtitle_list_count(copy)) == NULL);
  reports->hit = caprion_subtitle_copy(caprion_subtitle_list_at(copy, 0));
  reports->code = caprion_error_code(error);
  caprion_subtitle_list_free(copy);
}

static void take_path(const char* path, const caprion_error* error, void* context) {
  struct reports* reports = context;
  CHECK(reports->count++ == 0 && reports->releases == 0);
  if (path != NULL) puts(path);
  reports->code = caprion_error_code(error);
  caprion_subtitle_free(reports->hit); /* as the library holds the record itself */
}

static void release(void* context) {
  struct reports* reports = context;
  ++reports->releases;
  sem_post(&reports->released);
}

static void misuse(caprion_helper* helper) {
  for (int call = 0; call < 7; ++call) {
    struct reports r = {.hit = NULL};
    sem_init(&r.released, 0, 0);
    if (call == 0) caprion_helper_find_subtitles_for(NULL, "x", "eng", take_hits, &r, release);
    if (call == 1) caprion_helper_find_subtitles_for(helper, NULL, "eng", take_hits, &r, release);
    if (call == 2) caprion_helper_find_subtitles_matching(helper, NULL, "eng", take_hits, &r, release);
    if (call == 3) caprion_helper_find_subtitles_matching(helper, "x", NULL, take_hits, &r, release);
    if (call == 4) caprion_helper_download_subtitle_file(helper, NULL, take_path, &r, release);
    if (call == 5) caprion_downloader_download(NULL, NULL, take_path, &r, release);
    if (call == 6) caprion_helper_find_subtitles_matching(helper, "x", "eng", NULL, &r, release);
    while (sem_wait(&r.released) != 0) continue;
    CHECK(r.releases == 1 && r.count == (call < 6) && r.code == (call < 6 ? EINVAL : 0));
  }
  caprion_error* error = NULL;
  CHECK(caprion_subtitle_json_copy(NULL, &error) == NULL && caprion_error_code(error) == EINVAL);
  caprion_error_free(error);
  CHECK(caprion_subtitle_new_from_json(NULL, NULL) == NULL &&
        caprion_subtitle_new_from_json("", NULL) == NULL);
  CHECK(caprion_subtitle_list_count(NULL) == 0 && caprion_subtitle_sub_file_name(NULL) == NULL);
  CHECK(caprion_subtitle_zip_download_link(NULL) == NULL && caprion_subtitle_imdb_id_series(NULL) == NULL);
  CHECK(caprion_subtitle_movie_kind(NULL) == 0 && caprion_subtitle_imdb_id_copy(NULL) == NULL);
  CHECK(caprion_subtitle_detail_string_copy(NULL) == NULL && caprion_error_domain(NULL) == NULL);
  CHECK(caprion_error_description(NULL) == NULL && caprion_error_user_info(NULL, NULL, NULL) == NULL);
  CHECK(caprion_components_new_from_path(NULL) == NULL && caprion_components_new_from_url(NULL) == NULL);
  CHECK(caprion_components_title(NULL) == NULL && !caprion_components_year(NULL, NULL));
  CHECK(caprion_components_resolution(NULL) == NULL && caprion_components_search_string(NULL) == NULL);
  CHECK(!caprion_file_hash(NULL, NULL, NULL));
  caprion_helper_free(NULL), caprion_helper_free(caprion_helper_shared()), caprion_subtitle_free(NULL);
  caprion_subtitle_list_free(NULL), caprion_error_free(NULL), caprion_components_free(NULL);
  caprion_string_free(NULL), caprion_query_task_cancel();
  caprion_downloader_cancel(NULL), caprion_downloader_free(NULL);
}

int main(int argc, char** argv) {
  CHECK(argc == 3 && CaprionVersionNumber >= 1.0);
  CHECK(same((const char*)CaprionVersionString, "PROGRAM:Caprion PROJECT:Caprion-1"));
  caprion_helper* helper = caprion_helper_new();
  misuse(helper);

  struct reports r = {.hit = NULL};
  sem_init(&r.released, 0, 0);
  caprion_helper_find_subtitles_for(helper, argv[1], argv[2], take_hits, &r, release);
  caprion_helper_free(helper); /* which the search doesn't mind */
  while (sem_wait(&r.released) != 0) continue;
  CHECK(r.code == 0 && same(caprion_subtitle_sub_language_id(r.hit), argv[2]));

  caprion_components* components = caprion_components_new_from_path(argv[1]);
  CHECK(same(caprion_components_search_string(components), "Big Buck Bunny 2008"));
  caprion_components_free(components);

  r.count = r.releases = 0;
  caprion_helper_download_subtitle_file(caprion_helper_shared(), r.hit, take_path, &r, release);
  CHECK(r.count == 1 && r.releases == 1);
  return r.code == 0 ? 0 : 1;
}
