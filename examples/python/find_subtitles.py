#!/usr/bin/env python3
"""Finds a subtitle for each video in a folder, all at the same time, and places it next to the video."""

import asyncio
import os
import shutil
import sys
from pathlib import Path

import caprion

VIDEOS = {".avi", ".mkv", ".mov", ".mp4", ".ogm", ".webm"}


async def place_subtitle(video: Path, language: str) -> None:
    hits = await caprion.aio.find(video, language)
    if not hits:  # the service doesn't know the file, but perhaps its title
        hits = await caprion.aio.search(caprion.parse(video).search_string, language)
    for best in caprion.ranked(video, hits):
        if best.subtitle.zip_download_link:
            found = await caprion.aio.download(best.subtitle)
            placed = video.with_suffix(f".{language}{found.suffix}")
            shutil.copyfile(found, placed)
            report(f"{best.reason}: {placed}")
            return
    report(f"no subtitle found: {video}")


def report(line: str) -> None:
    sys.stdout.buffer.write(os.fsencode(line) + b"\n")  # the name of a file may be any bytes


async def main(folder: Path, language: str) -> bool:
    videos = sorted(path for path in folder.rglob("*") if path.suffix.lower() in VIDEOS)
    searches = (asyncio.wait_for(place_subtitle(video, language), timeout=90) for video in videos)
    outcomes = await asyncio.gather(*searches, return_exceptions=True)
    for video, error in zip(videos, outcomes):
        if error is not None:
            report(f"{video}: {str(error) or 'it took too long'}")
    return not any(outcomes)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("usage: find_subtitles.py FOLDER LANGUAGE")
    sys.exit(0 if asyncio.run(main(Path(sys.argv[1]), sys.argv[2])) else 1)
