/* Loads a library, and fails if loading it started a thread or opened a file. */
#include <dirent.h>
#include <dlfcn.h>
#include <stdio.h>

static int entries(const char* path) {
  DIR* folder = opendir(path);
  int count = 0;
  while (readdir(folder)) ++count;
  closedir(folder);
  return count;
}

int main(int argc, char** argv) {
  const int files = entries("/proc/self/fd"), threads = entries("/proc/self/task");
  if (argc != 2 || !dlopen(argv[1], RTLD_NOW | RTLD_LOCAL)) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  return entries("/proc/self/fd") != files || entries("/proc/self/task") != threads;
}
