#include "process.hpp"

#include <caprion/caprion.hpp>

#include <csignal>
#include <thread>

/// Reading files fails from this offset on, as with a bad sector; never if negative.
static off_t unreadableFrom = -1;
extern "C" ssize_t pread(int descriptor, void* bytes, std::size_t count, off_t offset) {
  // The real function behind pread() if offsets have 64 bits.
  static const auto next = reinterpret_cast<decltype(&pread)>(::dlsym(RTLD_NEXT, "pread64"));
  if (unreadableFrom < 0 || offset < unreadableFrom) return next(descriptor, bytes, count, offset);
  errno = EIO;
  return -1;
}

namespace caprion::test {

namespace {

std::optional<VideoHash> hashOf(const std::string& path) {
  return Caprion::hashFor(URL::fileURLWithPath(path));
}

}  // namespace

TEST(VideoHash, SumsTheFirstAndTheLastBlock) {
  const TemporaryFolder folder;
  const std::string path = folder.path / "\xFF %41?#\n\x01";
  std::string counting(100'000, '\0');
  for (std::size_t i = 0; i < counting.size(); ++i) counting[i] = static_cast<char>(i * 7 % 251);
  // Computed by hand, or (the last) by a separate program.
  for (const auto& [content, expected] : {
           std::pair(std::string(), VideoHash{"", 0}),
           std::pair(std::string(65'535, 'x'), VideoHash{"", 0}),
           std::pair(std::string(65'536, '\0'), VideoHash{"0000000000010000", 65'536}),
           std::pair(std::string(131'072, '\xFF'), VideoHash{"000000000001c000", 131'072}),
           std::pair("\x01" + std::string(200'000, '\0') + "\x02", VideoHash{"0200000000030d43", 200'002}),
           std::pair(counting, VideoHash{"eefd0d313a4dcabe", 100'000}),
       }) {
    std::ofstream(path) << content;
    EXPECT_EQ(hashOf(path), expected) << content.size();
  }
  constexpr auto large = (std::uint64_t{6} << 30) + 1;
  EXPECT_EQ(hashOf(folder.file("large", large)), (VideoHash{"0000000180000001", large}));
}

TEST(VideoHash, IsAbsentForWhatIsNoReadableFile) {
  using namespace std::string_literals;
  const TemporaryFolder folder;
  const std::string pipe = folder.path / "pipe", file = folder.file("file", 70'000);
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {folder.path.string(), pipe, "/dev/zero"s, "/dev/tty"s, file + "/x",
                                  file + "\0"s, file + "missing", std::string(5'000, 'x')}) {
    EXPECT_FALSE(hashOf(path)) << path;
  }
  for (unreadableFrom = 0; unreadableFrom < 2; ++unreadableFrom) EXPECT_FALSE(hashOf(file)) << unreadableFrom;
  unreadableFrom = -1;
}

TEST(VideoHash, WaitsForAFileThatIsLeased) {
  const TemporaryFolder folder;
  const std::string path = folder.file("leased", 65'536);
  const int holder = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::fcntl(holder, F_SETSIG, SIGURG), 0);  // sent to break the lease; ignored by default
  ASSERT_EQ(::fcntl(holder, F_SETLEASE, F_WRLCK), 0);
  const std::jthread givingUp([holder] {
    while (::fcntl(holder, F_GETLEASE) == F_WRLCK) std::this_thread::yield();
    ::close(holder);
  });
  EXPECT_EQ(hashOf(path), (VideoHash{"0000000000010000", 65'536}));
}

TEST(VideoHash, NeedsLittleStack) {
  const TemporaryFolder folder;
  std::string path = folder.file("a", 65'536);
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setstacksize(&attributes, 64 << 10);
  const auto run = [](void* argument) -> void* {
    const auto hash = hashOf(*static_cast<std::string*>(argument));
    return hash && hash->fileHash == "0000000000010000" ? argument : nullptr;
  };
  pthread_t thread{};
  void* found = nullptr;
  ASSERT_EQ(::pthread_create(&thread, &attributes, run, &path), 0);
  ::pthread_join(thread, &found);
  ::pthread_attr_destroy(&attributes);
  EXPECT_EQ(found, &path);
}

}  // namespace caprion::test
