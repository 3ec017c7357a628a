// The fault matrix: what a search and a download report, once, for each fault. The faults of the server, of
// the way there and of the archive are in fault_rows.hpp.

#include "faults.hpp"
#include "network/url_session.hpp"
#include "platform/process.hpp"

#include <netdb.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <csignal>

#ifndef SYS_mkdir
#define SYS_mkdir SYS_mkdirat  // newer architectures have only this one
#endif

/// Makes look-ups below "direct.test" fail, and those below "slow.direct.test" block first.
static std::atomic<bool> isSlow = false;
static std::atomic<int> slowLookUps = 0;
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** found) {
  const std::string_view host = name == nullptr ? "" : name;
  if (host.ends_with(".slow.direct.test")) {
    ++slowLookUps;
    isSlow.wait(true);
    --slowLookUps;
  }
  if (host.ends_with(".direct.test")) return EAI_NONAME;
  static const auto next = reinterpret_cast<decltype(&getaddrinfo)>(::dlsym(RTLD_NEXT, "getaddrinfo"));
  return next(name, service, hints, found);
}

namespace caprion::test {

TEST(Faults, OfTheServer) { check(faultsOfTheServer()); }

TEST(Faults, OfTheWayThere) {
  check(faultsOfTheWayThere());
  check({"no such name", redirect("https://direct.test/"), noName}, true);
}

TEST(Faults, OfTheArchive) { check(faultsOfTheArchive()); }

TEST(Faults, OfTheDisk) {
  const bool isRoot = ::geteuid() == 0;
  const auto row = [](const char* what, const char* prepare, const std::string& report,
                      const std::string& folder = "ROOT") {
    return Row{.what = what, .download = report, .prepare = prepare, .folder = folder};
  };
  const std::string notOurs = posix(EPERM) + "ROOT/Caprion: it belongs to another user";
  check({
      row("a file for the application's folder", "touch Caprion", posix(ENOTDIR) + "ROOT/Caprion"),
      row("a link for it", "ln -s / Caprion", posix(ELOOP) + "ROOT/Caprion: it is a symbolic link"),
      row("another's", "mkdir Caprion && chown 65534 Caprion || true", isRoot ? notOurs : good),
      row("open to all", "mkdir -m 7777 Caprion", good),
      row("a link for the subtitle's folder", "mkdir Caprion && ln -s .. Caprion/42", good),
      row("closed folders in it", "mkdir -p Caprion/42/a/b && chmod 0 Caprion/42/a/b Caprion/42/a", good),
      row("a temporary folder to be made", "true", "ROOT/a/b//c/Caprion/42/film.eng.srt", "ROOT/a/b//c//"),
      row("a file for it", "true", posix(ENOTDIR), "/dev/null"),
      row("one in a file", "true", posix(ENOTDIR), "/dev/null/x"),
      row("one that can't be made", "true", posix(ENOENT) + "/proc/x: ", "/proc/x/y"),
  });
}

TEST(Faults, OfTheHost) {
  const auto hosted = [](const char* what, const std::string& host, const std::string& searches,
                         const std::string& downloads, const Answer& answer = {.body = "BODY"},
                         const std::string& prepare = "true") {
    return Row{what, answer, searches, downloads, {}, "", host, prepare};
  };
  const auto refused = [](const char* what, long call, int error, const std::string& downloads,
                          const std::string& mask = "", const Answer& answer = {.body = "BODY"}) {
    const std::string host = "refuse " + std::to_string(call) + ' ' + std::to_string(error) + ' ' + mask;
    return Row{.what = what, .answer = answer, .download = downloads, .host = host};
  };
  // A copy of the program, owned by another user, who must be able to read the build's library.
  const std::string setUid =
      "install -o nobody -m 4755 " PROCESS_UNDER_TEST
      " a && HOST=$PWD/a && setpriv --reuid nobody test -r " PROCESS_UNDER_TEST " || exit 77";
  const auto diagnosis = [](const std::string& path, const std::string& why) {
    return "directoryEnumerator error at file://" + path + ":  " + path + ": " + why;
  };
  const auto denied = [&](const std::string& path, const std::string& why = ": Permission denied") {
    return then(twice(then(posix(EACCES) + path + why, notFound)), twice(diagnosis(path, why.substr(2))));
  };
  const std::string unlisted = then(posix(EIO) + "42: Input/output error", notFound);
  const std::string goneMeanwhile = diagnosis("42", "Input/output error");
  const std::string gone = "NSURLErrorDomain -100";  // -1005 or -1004, as the proxy may still be ending
  const std::string unzip = "/usr/bin/unzip: ", cutShort = posix(EFBIG) + "42/film.srt";
  const std::string noRoom = twice(posix(ENOSPC) + "42/film.srt");
  const std::string withoutName = "2 " + std::to_string(O_TMPFILE & ~O_DIRECTORY);
  const std::string ofMode0600 = "3 " + std::to_string(0600);
  const std::string text(100'000, 'x');
  const Answer noJSON{.body = "x"}, nested{.body = zip({"a/b/film.srt"})};
  const Answer encrypted{.body = archiveOf("film.srt", "x", {.password = "x"})};
  const Answer large{.body = archiveOf("film.srt", text, {.deflate = false})};
  const Answer packed{.body = archiveOf("film.srt", text, {})};
  std::vector<Row> rows{
      hosted("an ordinary one", "plain", twice(good), twice(good)),
      hosted("one that ignores and blocks all", "hostile", twice(good), twice(good)),
      hosted("an output that is closed", "hostile", twice(noList), "", noJSON),
      hosted("no error output alone", "without error output", twice(good), twice(good)),
      hosted("unreadable folders", "plain", "", denied("42/a"), {.body = inFolder(0, 0)}),
      hosted("folders that show names alone", "plain", "", denied("42/a/film.srt"),
             {.body = inFolder(0444, 0444)}),
      hosted("a terminal to ask at", "on a terminal", "", twice(onlyArchive), encrypted),
      hosted("an output that is full", "full output", twice(noList), "", noJSON),
      hosted("an output that nobody reads", "broken output", twice(noList), "", noJSON),
      hosted("the proxy ends", "bereft of its proxy", then(lost, gone), then(lost, gone),
             {.fault = Fault::hang}),
      hosted("no descriptors", "descriptors 0", then(posix(EMFILE), good), then(posix(EMFILE), good)),
      hosted("no threads", "no threads", then(posix(EAGAIN), good), then(posix(EAGAIN), good)),
      hosted("no processes", "no processes", twice(good), then(posix(EAGAIN) + unzip, good)),
      hosted("little memory", "little memory", then(posix(ENOMEM), good), ""),
      hosted("no large files", "small files", "", then(posix(EFBIG), good), large),
      hosted("no large files once unpacked", "small files", "", then(cutShort, good), packed),
      hosted("the same, unseen", "small files, ignoring its children", "", then(cutShort, good), packed),
      hosted("a full disk", "full disk", "", twice(posix(ENOSPC)), large),
      hosted("a disk that is full once unpacked", "full disk", "", noRoom, packed),
      hosted("the same, unseen", "full disk, ignoring its children", "", noRoom, packed),
      hosted("a umask that takes all", "plain", "", twice("42/a/b/film.eng.srt"), nested, "umask 0777"),
      hosted("a child of fork()", "forked", twice(posix(ECHILD)), twice(posix(ECHILD))),
      hosted("while it exits", "at exit", then(twice(good), posix(ECANCELED)),
             then(twice(good), posix(ECANCELED))),
      hosted("a set-uid one, which obeys no variable", "set-uid", twice(noName),
             twice(posix(EACCES) + "/nonexistent: "), {}, setUid),
      hosted("one that would give secrets away", "set-uid", twice(posix(EPERM)), "", {},
             "export SSLKEYLOGFILE=$PWD/b && " + setUid),
      refused("no unzip", SYS_execve, ENOENT, twice(posix(ENOENT) + unzip)),
      refused("an unzip that can't be limited", SYS_prlimit64, EPERM, twice(posix(EPERM) + unzip)),
      refused("no descriptors of processes", SYS_pidfd_open, ENOSYS, twice(good)),
      refused("no files without names", SYS_openat, EOPNOTSUPP, twice(good), withoutName),
      refused("no files without names, and an answer cut short", SYS_openat, EOPNOTSUPP, twice(lost),
              withoutName, {.body = "BODY", .fault = Fault::truncate}),
      refused("no new files", SYS_openat, EDQUOT, twice(posix(EDQUOT) + "42: "), ofMode0600),
      refused("no safe renaming", SYS_renameat2, ENOSYS, twice(good)),
      refused("no locks", SYS_flock, ENOLCK, twice(posix(ENOLCK))),
      refused("folders that can't be read to their end", SYS_getdents64, EIO,
              then(unlisted, then(posix(EEXIST) + "42/archive.zip", goneMeanwhile))),
      refused("a disk to be read only", SYS_mkdir, EROFS, twice(posix(EROFS))),
  };
  for (int count = 1; count < 10; ++count) {  // any error will do, but only one report
    const std::string host = "descriptors " + std::to_string(count);
    rows.push_back(hosted("few descriptors", host, then("", good), then("", good)));
  }
  check(rows);
}

TEST(Faults, AnOrphanedUnzipKeepsItsFolder) {
  const TemporaryFolder root;
  const auto lines = reportsOfProcess({.what = "", .host = "dies"}, false, root.path);
  ASSERT_EQ(lines.size(), 1u);
  const int folder = ::open((root.path / "Caprion/42").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(::flock(folder, LOCK_EX | LOCK_NB), -1);
  EXPECT_EQ(errno, EWOULDBLOCK);
  ASSERT_EQ(::kill(std::stoi(lines[0]), SIGKILL), 0);
  EXPECT_EQ(::flock(folder, LOCK_EX), 0);
  ::close(folder);
}

TEST(Faults, AProgramIsHeldToItsLimits) {
  rlimit before{};
  ::getrlimit(RLIMIT_CORE, &before);
  const rlimit highest{before.rlim_max, before.rlim_max};
  ::setrlimit(RLIMIT_CORE, &highest);
  const mode_t umaskBefore = ::umask(0777);
  // The limits are lowered only after the program has started.
  const std::string limited = "[ $(ulimit -c) = 0 ] && [ $(ulimit -t) = 60 ] && [ $(umask) = 0077 ]";
  const auto failed = [](int error) { return posix(error) + "/bin/sh: "; };
  const struct {
    std::string script, outcome;
    std::chrono::seconds timeLimit = 60s;
    bool isStopped = false;
  } cases[] = {
      {"for i in $(seq 1000); do " + limited + " && exit 3; sleep 0.01; done", "3"},
      {"kill $$", "143"},
      {"sleep 600", failed(ETIMEDOUT), 0s},
      {"while :; do echo x; done", failed(EFBIG)},
      {"sleep 600", failed(ECANCELED), 60s, true},
  };
  for (const auto& c : cases) {
    std::stop_source stop;
    if (c.isStopped) stop.request_stop();
    const Process shell{"/bin/sh", {"-c", c.script}, 0, 1'000'000, c.timeLimit};
    const auto status = shell.run(stop.get_token());
    const std::string outcome = status ? std::to_string(status->value_or(-1)) : line(status.error());
    EXPECT_TRUE(outcome.starts_with(c.outcome)) << c.script << ": " << outcome;
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
  }
  ::umask(umaskBefore);
  ::setrlimit(RLIMIT_CORE, &before);
}

TEST(Faults, CancelledLookUpsLeaveFewThreads) {
  service().setHandler(always({.body = goodList}));
  (void)search({});
  isSlow = true;
  constexpr int searches = 100;
  std::latch all(searches);
  for (int i = 0; i < searches; ++i) {
    const auto task = URLSession::shared().dataTask(
        URLRequest{*URL::fromString("https://x.slow.direct.test/"), 60s}, [&](auto, auto, const auto& error) {
          EXPECT_EQ(error->code(), -999);
          all.count_down();
        });
    task->resume();
    (void)search({});  // after this, the task looks up the name, or waits for its turn
    task->cancel();
  }
  all.wait();
  EXPECT_GT(slowLookUps, 0);
  EXPECT_LE(slowLookUps, 6);
  isSlow = false;
  isSlow.notify_all();
  while (slowLookUps > 0) std::this_thread::yield();
}

}  // namespace caprion::test
