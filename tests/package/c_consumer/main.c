#include <caprion/caprion.h>

#include <stdio.h>

int main(void) {
  caprion_components* components = caprion_components_new_from_path("/videos/Show.Name.S01E02.mkv");
  caprion_subtitle* subtitle = caprion_subtitle_new_from_json("[", NULL);
  caprion_query_task_cancel();
  printf("%.0f %s %d\n", CaprionVersionNumber, caprion_components_search_string(components),
         subtitle != NULL);
  caprion_components_free(components);
  return 0;
}
