"""Tests of the Python package's public interface. Run by the stand-in's program, with its path in STAND_IN, and with
CAPRION_LIBRARY set."""

import asyncio
import dataclasses
import os
import pathlib
import pickle
import subprocess
import sys
import tempfile
import textwrap
import unittest

ROOT = pathlib.Path(__file__).parents[2]
sys.path.insert(0, str(ROOT / "bindings/python"))
import caprion
from caprion import _calls

FOLDER = tempfile.TemporaryDirectory()
unittest.addModuleCleanup(FOLDER.cleanup)
os.environ.update(TMPDIR=FOLDER.name, PYTHONPATH=sys.path[0])
VIDEO = pathlib.Path(FOLDER.name, os.fsdecode(b"\xff"), "Big.Buck.Bunny.2008.1080p.mkv")  # not UTF-8
VIDEO.parent.mkdir()
VIDEO.touch()
os.truncate(VIDEO, 1 << 20)

PROGRAM = """
import asyncio, caprion, os, signal, sys, unittest
from caprion import _calls, _searches
check = unittest.TestCase()
hit = caprion.Subtitle(*"abcdefghi", caprion.MovieKind.MOVIE, *"klmn", "https://silent.test/", None, "r")
"""


def run(code, *arguments, fault=None, status=0, environment={}):
    """Runs a program, with its own stand-in if there is a fault, and returns its output."""
    command = [sys.executable, "-X", "dev", "-W", "error"]
    command += arguments or ["-c", PROGRAM + textwrap.dedent(code)]
    if fault:
        command = [os.environ["STAND_IN"], "--fault", fault, *command]
    run = subprocess.run(command, capture_output=True, errors="surrogateescape", env={**os.environ, **environment})
    if run.returncode != status:
        raise AssertionError(f"ended with {run.returncode}: {run.stdout}{run.stderr}")
    return run.stdout + run.stderr


class Package(unittest.TestCase):
    def test_goes_the_whole_road(self):
        hits = caprion.find(VIDEO, "eng")
        self.assertEqual(hits, asyncio.run(caprion.aio.find(os.fspath(VIDEO))))
        self.assertEqual(hits, caprion.query({"moviehash": "0000000000100000", "sublanguageid": "eng"}))
        self.assertEqual(hits, pickle.loads(pickle.dumps(hits)))
        best = caprion.ranked(VIDEO, hits + caprion.search("sintel", "all"))
        self.assertEqual([(hit.subtitle, hit.evidence.name) for hit in best], [(hits[0], "CONTENT")])
        self.assertEqual(hits[0].movie_kind, caprion.MovieKind.MOVIE)
        path = best[0].subtitle.download()
        self.assertEqual(path.name, "Big.Buck.Bunny.2008.1080p.en.eng.srt")
        self.assertIn("-->", path.read_text())
        self.assertEqual(caprion.movie_hash(VIDEO), ("0000000000100000", 1048576))
        self.assertIsNone(caprion.movie_hash("missing"))
        parsed = caprion.parse("Show.Name.S01E02.720p.mkv")
        self.assertEqual((parsed.season, parsed.year, parsed.search_string), (1, None, "Show Name S01E02 s01e02"))
        self.assertEqual(caprion.language("pt-BR"), next(x for x in caprion.languages() if x.identifier == "pob"))

    def test_tells_errors_apart(self):
        hit = caprion.find(VIDEO)[0]
        link = lambda link: dataclasses.replace(hit, zip_download_link=link)
        for call, kind, domain, code in [
            (lambda: caprion.find("missing"), caprion.Error, "", 0),
            (lambda: caprion.query([("no kind", "x")]), caprion.Error, "NSPOSIXErrorDomain", 22),
            (lambda: link(None).download(), caprion.Error, "", 0),
            (lambda: link("https://rest.opensubtitles.org/").download(), caprion.NoSubtitleInArchive, "", 0),
            (lambda: link("https://forbidden.test/").download(), caprion.NoConnection, "NSURLErrorDomain", -1004),
            (lambda: link("https://silent.test/").download(timeout=0.1), caprion.TimedOut, "NSURLErrorDomain", -1001),
            (lambda: caprion.Subtitle.from_json("{}"), caprion.Error, "Caprion.DecodingError", 2),
        ]:
            with self.assertRaises(caprion.Error) as caught:
                call()
            self.assertEqual((type(caught.exception), caught.exception.domain), (kind, domain))
            self.assertEqual((caught.exception.code, bool(str(caught.exception))), (code, True))
        for call in [lambda: caprion.search(VIDEO), lambda: caprion.find(None), lambda: caprion.ranked(VIDEO, [VIDEO])]:
            self.assertRaises(TypeError, call)
        self.assertRaises(ValueError, caprion.search, "a\0b")
        with self.assertLogs("caprion", "ERROR"):
            _calls._SEARCH_ENDED(None, None, 0)  # for an unknown call

    def test_awaits_a_thousand_and_cancels(self):
        async def all_of_them():
            hits = await asyncio.gather(*(caprion.aio.search("sintel", "eng") for _ in range(1000)))
            self.assertEqual({len(found) for found in hits}, {1})
            held = dataclasses.replace(hits[0][0], zip_download_link="https://silent.test/")
            for _ in range(9):  # one more than run in parallel
                with self.assertRaises(asyncio.TimeoutError):
                    await asyncio.wait_for(caprion.aio.download(held), 0.05)
            self.assertTrue((await caprion.aio.download(hits[0][0])).exists())

        asyncio.run(all_of_them())

    def test_ends_what_hangs_when_it_is_told_to(self):
        run(
            """
            async def main():
                tasks = [asyncio.ensure_future(caprion.aio.search(str(i))) for i in range(10)]
                await asyncio.sleep(0)
                for task in tasks:
                    task.cancel()
                await asyncio.gather(*tasks, return_exceptions=True)
                assert not _calls._calls  # every call has ended, not just the last one
            asyncio.run(main())
            signal.signal(signal.SIGALRM, signal.default_int_handler)
            for call in lambda: caprion.search("x"), hit.download:
                signal.setitimer(signal.ITIMER_REAL, 0.1)
                check.assertRaises(KeyboardInterrupt, call)
                assert not _calls._calls
            """,
            fault="hang",
        )

    def test_exits_while_much_is_under_way(self):
        for fault in None, None, None, "hang":  # without a fault, answers arrive while the interpreter shuts down
            program = """
            kept = [_searches.by_text("x", "eng").start(_calls.Search()) for _ in range(40)]
            _calls.Download(hit).start()
            sys.exit(3)
            """
            self.assertEqual(run(program, fault=fault, status=3), "")

    def test_reports_errors_in_a_child_of_fork(self):
        run(
            """
            hit = caprion.search("sintel", "eng")[0]
            child = os.fork()
            for call in lambda: caprion.search("x"), hit.download:
                call() if child else check.assertRaisesRegex(caprion.Error, "No child processes", call)
            assert child == 0 or os.waitpid(child, 0)[1] == 0
            """
        )

    def test_says_what_to_install(self):
        for library in "/nowhere", "libc.so.6":
            output = run("", status=1, environment={"CAPRION_LIBRARY": library})
            self.assertRegex(output, "ImportError: .*install the Debian package libcaprion1")

    def test_serves_the_example(self):
        output = run("", str(ROOT / "examples/python/find_subtitles.py"), os.fspath(VIDEO.parent), "eng")
        self.assertRegex(output, "Big.Buck.Bunny.2008.1080p.eng.srt\n$")


if __name__ == "__main__":
    unittest.main()
