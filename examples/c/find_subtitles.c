/* Finds a subtitle for a video file, downloads it, and prints where it is. */

#include <caprion/caprion.h>

#include <semaphore.h>
#include <stdio.h>

struct search {
  sem_t done;
  caprion_subtitle* hit;
};

/* Runs on a thread of the library. The list is valid only during the call, so the hit is copied. */
static void choose(const caprion_subtitle_list* subtitles, const caprion_error* error, void* context) {
  struct search* search = context;
  if (error != NULL) fprintf(stderr, "%s\n", caprion_error_description(error));
  for (size_t i = 0; i < caprion_subtitle_list_count(subtitles) && search->hit == NULL; ++i) {
    const caprion_subtitle* hit = caprion_subtitle_list_at(subtitles, i);
    if (caprion_subtitle_zip_download_link(hit) != NULL) search->hit = caprion_subtitle_copy(hit);
  }
  sem_post(&search->done);
}

static void print(const char* path, const caprion_error* error, void* context) {
  int* status = context;
  if (error != NULL) {
    fprintf(stderr, "%s\n", caprion_error_description(error));
  } else {
    puts(path);
    *status = 0;
  }
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: find_subtitles VIDEO LANGUAGE\n");
    return 2;
  }

  /* The search returns at once. */
  struct search search = {.hit = NULL};
  sem_init(&search.done, 0, 0);
  caprion_helper_find_subtitles_for(caprion_helper_shared(), argv[1], argv[2], choose, &search, NULL);
  while (sem_wait(&search.done) != 0) continue;
  sem_destroy(&search.done);

  if (search.hit == NULL) {
    fprintf(stderr, "no subtitle found\n");
    return 1;
  }

  /* The download has called back when it returns. */
  int status = 1;
  caprion_helper_download_subtitle_file(caprion_helper_shared(), search.hit, print, &status, NULL);
  caprion_subtitle_free(search.hit);
  return status;
}
