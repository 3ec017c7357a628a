#include <caprion/caprion_helper.hpp>

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>

/// From where on nothing in a file can be read, as behind a bad sector; nowhere when negative.
static off_t unreadableFrom = -1;
extern "C" ssize_t pread(int descriptor, void* bytes, std::size_t count, off_t offset) {
  static const auto next = reinterpret_cast<decltype(&pread)>(::dlsym(RTLD_NEXT, "pread"));
  if (unreadableFrom < 0 || offset < unreadableFrom) return next(descriptor, bytes, count, offset);
  errno = EIO;
  return -1;
}

namespace caprion::test {

class VideoHashTest : public testing::Test {
 protected:
  VideoHashTest() {
    std::string pattern = testing::TempDir() + "caprion-hash-XXXXXX";
    folder_ = ::mkdtemp(pattern.data());
  }
  ~VideoHashTest() override { std::filesystem::remove_all(folder_); }

  std::string file(const std::string& name, const std::string& content) const {
    std::ofstream(folder_ / name, std::ios::binary) << content;
    return folder_ / name;
  }

  std::filesystem::path folder_;
};

TEST_F(VideoHashTest, SumsTheFirstAndTheLastBlock) {
  std::string counting(100'000, '\0');
  for (std::size_t i = 0; i < counting.size(); ++i) counting[i] = static_cast<char>(i * 7 % 251);
  // Worked out by hand, or (the last) by a separate program.
  for (const auto& [content, expected] : {
           std::pair(std::string(), VideoHash{"", 0}),
           std::pair(std::string(65'535, 'x'), VideoHash{"", 0}),
           std::pair(std::string(65'536, '\0'), VideoHash{"0000000000010000", 65'536}),
           std::pair(std::string(131'072, '\xFF'), VideoHash{"000000000001c000", 131'072}),
           std::pair("\x01" + std::string(200'000, '\0') + "\x02", VideoHash{"0200000000030d43", 200'002}),
           std::pair(counting, VideoHash{"eefd0d313a4dcabe", 100'000}),
       }) {
    EXPECT_EQ(Caprion::hashFor(URL::fileURLWithPath(file("a", content))), expected) << content.size();
  }
}

TEST_F(VideoHashTest, ReadsFilesOfAnySizeUnderAnyName) {
  const std::string path = file("\xFF %41?#\n\x01", "");
  std::filesystem::resize_file(path, (std::uint64_t{6} << 30) + 1);
  EXPECT_EQ(Caprion::hashFor(URL::fileURLWithPath(path)),
            (VideoHash{"0000000180000001", (std::uint64_t{6} << 30) + 1}));
}

TEST_F(VideoHashTest, IsAbsentForWhatIsNoReadableFile) {
  const std::string pipe = folder_ / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const std::string file = VideoHashTest::file("file", std::string(70'000, 'x'));
  using namespace std::string_literals;
  for (const std::string& path : {folder_.string(), pipe, "/dev/zero"s, "/dev/tty"s, file + "/x",
                                  file + "\0"s, folder_.string() + "/missing", std::string(5'000, 'x')}) {
    EXPECT_FALSE(Caprion::hashFor(URL::fileURLWithPath(path))) << path;
  }
  for (unreadableFrom = 0; unreadableFrom < 2; ++unreadableFrom) {
    EXPECT_FALSE(Caprion::hashFor(URL::fileURLWithPath(file))) << unreadableFrom;
  }
  unreadableFrom = -1;
}

TEST_F(VideoHashTest, WaitsForAFileThatAnotherProcessHasALeaseOn) {
  const std::string path = file("leased", std::string(65'536, '\0'));
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const pid_t holder = ::fork();
  if (holder == 0) {  // gives the lease up when it is asked to
    sigset_t asked;
    ::sigemptyset(&asked);
    ::sigaddset(&asked, SIGIO);
    ::sigprocmask(SIG_BLOCK, &asked, nullptr);
    if (::fcntl(::open(path.c_str(), O_RDWR), F_SETLEASE, F_WRLCK) != 0) ::_exit(1);
    (void)!::write(ends[1], "x", 1);
    int signal = 0;
    ::sigwait(&asked, &signal);
    ::_exit(0);
  }
  ::close(ends[1]);
  char ready = 0;
  EXPECT_EQ(::read(ends[0], &ready, 1), 1);
  ::close(ends[0]);
  EXPECT_EQ(Caprion::hashFor(URL::fileURLWithPath(path)), (VideoHash{"0000000000010000", 65'536}));
  int status = -1;
  EXPECT_EQ(::waitpid(holder, &status, 0), holder);
  EXPECT_EQ(status, 0);
}

TEST_F(VideoHashTest, NeedsLittleStack) {
  struct Hashing {
    URL file;
    std::optional<VideoHash> hash;
  } hashing{URL::fileURLWithPath(file("a", std::string(65'536, '\0'))), {}};
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setstacksize(&attributes, 64 << 10);
  pthread_t thread{};
  const auto run = [](void* argument) -> void* {
    auto* const self = static_cast<Hashing*>(argument);
    self->hash = Caprion::hashFor(self->file);
    return nullptr;
  };
  ASSERT_EQ(::pthread_create(&thread, &attributes, run, &hashing), 0);
  ::pthread_join(thread, nullptr);
  ::pthread_attr_destroy(&attributes);
  EXPECT_EQ(hashing.hash, (VideoHash{"0000000000010000", 65'536}));
}

TEST_F(VideoHashTest, AbsentIsReportedByTheFacadeAtOnceOnTheSameThread) {
  int reports = 0;
  CaprionHelper::shared().findSubtitles(
      URL::fileURLWithPath(folder_.string() + "/missing"), "eng",
      [&, thread = std::this_thread::get_id()](auto subtitles, auto error) {
        ++reports;
        EXPECT_EQ(std::this_thread::get_id(), thread);
        EXPECT_FALSE(subtitles);
        EXPECT_EQ(
            error,
            Error("", 0,
                  {{std::string(NSLocalizedDescriptionKey), "Cannot create a video hash for the file"}}));
      });
  EXPECT_EQ(reports, 1);
}

}  // namespace caprion::test
