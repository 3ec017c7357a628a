"""The Python package, as its users call it, through the stand-in of the service. The environment has STAND_IN, the
path of that program, and CAPRION_LIBRARY."""

import asyncio
import dataclasses
import os
import pathlib
import pickle
import shlex
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).parents[2]
sys.path.insert(0, str(ROOT / "bindings/python"))
os.environ["PYTHONPATH"] = sys.path[0]


def setUpModule():
    stand_in = subprocess.Popen([os.environ["STAND_IN"]], stdout=subprocess.PIPE, text=True)
    unittest.addModuleCleanup(stand_in.wait)
    unittest.addModuleCleanup(stand_in.terminate)
    exports, unset = stand_in.stdout.readline(), stand_in.stdout.readline()
    os.environ.update(setting.split("=", 1) for setting in shlex.split(exports)[1:])
    for name in unset.split()[1:]:
        os.environ.pop(name, None)
    folder = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(folder.cleanup)
    os.environ["TMPDIR"] = folder.name
    global caprion, VIDEO, VIDEOS
    import caprion

    VIDEOS = pathlib.Path(os.fsdecode(os.fsencode(folder.name) + b"/\xff"))  # not UTF-8
    VIDEOS.mkdir()
    VIDEO = VIDEOS / "Big.Buck.Bunny.2008.1080p.mkv"
    VIDEO.touch()
    os.truncate(VIDEO, 1 << 20)
    stand_in.stdout.close()


def run(code, *arguments, fault=None, status=0, environment={}):
    """Runs a program with a stand-in of its own, and returns what it prints."""
    program = [sys.executable, "-X", "dev", "-W", "error", *(["-c", code] if code else []), *arguments]
    if fault:
        program = [os.environ["STAND_IN"], "--fault", fault, *program]
    run = subprocess.run(program, capture_output=True, text=True, errors="surrogateescape", timeout=60, env={**os.environ, **environment})
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

    def test_logs_what_a_callback_throws(self):
        from caprion import _calls, _searches

        with self.assertLogs("caprion", "ERROR"):
            search = _calls.Search(lambda outcome: 1 / 0)
            _searches.by_text("sintel", "eng").start(search).result()

    def test_awaits_a_thousand_and_cancels(self):
        async def all_of_them():
            hits = await asyncio.gather(*(caprion.aio.search("sintel", "eng") for _ in range(1000)))
            self.assertEqual({len(found) for found in hits}, {1})
            held = dataclasses.replace(hits[0][0], zip_download_link="https://silent.test/")
            for _ in range(9):  # one more than go side by side
                with self.assertRaises(asyncio.TimeoutError):
                    await asyncio.wait_for(caprion.aio.download(held), 0.05)
            self.assertTrue((await caprion.aio.download(hits[0][0])).exists())

        asyncio.run(all_of_them())

    def test_lets_go_of_searches_that_hang(self):
        # Ten hang, six have a connection; were the first not cancelled, the last would never get one.
        run(
            "import asyncio, caprion, signal\n"
            "async def search(text): return await caprion.aio.search(text)\n"
            "async def main():\n"
            "    tasks = [asyncio.ensure_future(search(str(i))) for i in range(10)]\n"
            "    await asyncio.sleep(0)\n"
            "    [task.cancel() for task in tasks]\n"
            "    await asyncio.gather(*tasks, return_exceptions=True)\n"
            "    from caprion import _calls\n"
            "    assert not _calls._calls\n"
            "asyncio.run(main())\n"
            "def interrupt(*_): raise KeyboardInterrupt\n"
            "signal.signal(signal.SIGALRM, interrupt)\n"
            "for call in caprion.search, lambda x: hit.download():\n"
            "    signal.setitimer(signal.ITIMER_REAL, 0.1)\n"
            "    hit = caprion.Subtitle(*'abcdefghi', caprion.MovieKind.MOVIE, *'klmn', 'https://x.test/', None, 'r')\n"
            "    try: call('x')\n"
            "    except KeyboardInterrupt: pass\n"
            "    else: raise SystemExit('not interrupted')\n",
            fault="hang",
        )

    def test_exits_while_much_is_under_way(self):
        for count in range(5):
            output = run(
                "import caprion, sys, threading\n"
                "from caprion import _calls, _searches\n"
                f"kept = [_searches.by_text(str(i), 'eng').start(_calls.Search()) for i in range({count * 10})]\n"
                "hit = caprion.Subtitle(*'abcdefghi', caprion.MovieKind.MOVIE, *'klmn', 'https://x.test/', None, 'r')\n"
                "_calls.Download(hit).start()\n"
                "sys.exit(3)\n",
                fault="hang",
                status=3,
            )
            self.assertEqual(output, "")

    def test_reports_errors_in_a_child_of_fork(self):
        run(
            "import caprion, os\n"
            "hit = caprion.search('sintel', 'eng')[0]\n"
            "child = os.fork()\n"
            "for call in lambda: caprion.search('x'), hit.download:\n"
            "    try: call()\n"
            "    except caprion.Error as error: failed = error.code == 10  # ECHILD\n"
            "    else: failed = False\n"
            "    assert failed == (child == 0)\n"
            "assert child == 0 or os.waitpid(child, 0)[1] == 0\n"
        )

    def test_says_what_to_install(self):
        for library in "/nowhere", "libc.so.6":
            output = run("import caprion", status=1, environment={"CAPRION_LIBRARY": library})
            self.assertRegex(output, "ImportError: .*install the Debian package libcaprion1")

    def test_serves_the_example(self):
        output = run(None, str(ROOT / "examples/python/find_subtitles.py"), os.fspath(VIDEOS), "eng")
        self.assertRegex(output, "Big.Buck.Bunny.2008.1080p.eng.srt\n$")


if __name__ == "__main__":
    unittest.main()
