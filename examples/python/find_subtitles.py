#!/usr/bin/env python3
"""Finds a subtitle for a video file, downloads it, and prints where it is."""

import os
import sys
import threading
from ctypes import CDLL, CFUNCTYPE, c_char_p, c_size_t, c_void_p

caprion = CDLL("libcaprion.so.1")  # where the dynamic linker finds it: LD_LIBRARY_PATH, or installed

SearchCompletion = CFUNCTYPE(None, c_void_p, c_void_p, c_void_p)
DownloadCompletion = CFUNCTYPE(None, c_char_p, c_void_p, c_void_p)
Release = CFUNCTYPE(None, c_void_p)

for name, result, *arguments in [
    ("caprion_helper_shared", c_void_p),
    ("caprion_helper_find_subtitles_for", None, c_void_p, c_char_p, c_char_p, SearchCompletion, c_void_p, Release),
    ("caprion_helper_download_subtitle_file", None, c_void_p, c_void_p, DownloadCompletion, c_void_p, Release),
    ("caprion_subtitle_list_count", c_size_t, c_void_p),
    ("caprion_subtitle_list_at", c_void_p, c_void_p, c_size_t),
    ("caprion_subtitle_zip_download_link", c_char_p, c_void_p),
    ("caprion_subtitle_copy", c_void_p, c_void_p),
    ("caprion_subtitle_free", None, c_void_p),
    ("caprion_error_description", c_char_p, c_void_p),
]:
    function = getattr(caprion, name)
    function.restype, function.argtypes = result, arguments

NO_RELEASE = Release()  # NULL


def description(error):
    return caprion.caprion_error_description(error).decode("utf-8", "replace")


def find(video, language):
    """The first hit that has an archive, the caller's to free, or None."""
    hits, errors = [], []
    done = threading.Event()

    @SearchCompletion
    def completion(subtitles, error, _context):  # on a thread of the library
        try:
            if error:
                errors.append(description(error))
            for i in range(caprion.caprion_subtitle_list_count(subtitles)):
                hit = caprion.caprion_subtitle_list_at(subtitles, i)
                if caprion.caprion_subtitle_zip_download_link(hit) is not None:
                    hits.append(caprion.caprion_subtitle_copy(hit))
                    break
        finally:
            done.set()

    # The search returns at once. `completion` has to live until it has run.
    caprion.caprion_helper_find_subtitles_for(
        caprion.caprion_helper_shared(), os.fsencode(video), language.encode(), completion, None, NO_RELEASE
    )
    done.wait()
    for error in errors:
        print(error, file=sys.stderr)
    return hits[0] if hits else None


def download(hit):
    """The path of the subtitle file, or None."""
    paths = []

    @DownloadCompletion
    def completion(path, error, _context):
        if error:
            print(description(error), file=sys.stderr)
        else:
            paths.append(os.fsdecode(path))

    # The download returns when all is done.
    caprion.caprion_helper_download_subtitle_file(caprion.caprion_helper_shared(), hit, completion, None, NO_RELEASE)
    return paths[0] if paths else None


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: find_subtitles.py VIDEO LANGUAGE")
    hit = find(sys.argv[1], sys.argv[2])
    if hit is None:
        sys.exit("no subtitle found")
    path = download(hit)
    caprion.caprion_subtitle_free(hit)
    if path is None:
        sys.exit(1)
    sys.stdout.buffer.write(os.fsencode(path) + b"\n")


if __name__ == "__main__":
    main()
