#include "platform/error.hpp"
#include "platform/letter_case.hpp"
#include "reports.hpp"
#include "service.hpp"

#include <caprion/query_result.hpp>
#include <caprion/subtitle.hpp>
#include <caprion/video_file_components.hpp>

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <new>
#include <optional>
#include <string>
#include <string_view>

// The program's own allocator, which is also that of the libraries beneath, lets one allocation fail: of the
// thread that asked for it, and of the library's threads.
namespace {

long allocationsLeft = -1;  // before the one that fails; none does while this is negative
thread_local bool isTested = false;

bool isTheOneThatFails() {
  char name[16] = "";
  if (!isTested && (::prctl(PR_GET_NAME, name) != 0 || std::string_view(name) != "caprion")) return false;
  if (__atomic_fetch_sub(&allocationsLeft, 1, __ATOMIC_RELAXED) != 0) return false;
  errno = ENOMEM;
  return true;
}

// A sanitizer allocates before it can look at anything, so its checks are left out up to here.
#define UNCHECKED [[gnu::no_sanitize("address", "thread", "undefined")]]

UNCHECKED bool fails() {
  return __atomic_load_n(&allocationsLeft, __ATOMIC_RELAXED) >= 0 && isTheOneThatFails();
}

}  // namespace

extern "C" {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NEXT(function) __interceptor_##function
#else
#define NEXT(function) __libc_##function
#endif
void* NEXT(malloc)(std::size_t size);
void* NEXT(calloc)(std::size_t count, std::size_t size);
void* NEXT(realloc)(void* memory, std::size_t size);

UNCHECKED void* malloc(std::size_t size) { return fails() ? nullptr : NEXT(malloc)(size); }
UNCHECKED void* calloc(std::size_t count, std::size_t size) {
  return fails() ? nullptr : NEXT(calloc)(count, size);
}
UNCHECKED void* realloc(void* memory, std::size_t size) {
  return fails() ? nullptr : NEXT(realloc)(memory, size);
}
}

// That of a sanitizer would not come by the functions above.
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace caprion::test {

namespace {

/// Why an operation failed. What tells it takes no memory.
using Failure = std::optional<Error>;

template <typename Value>
Failure failureOf(const Result<Value>& result) {
  return result ? std::nullopt : Failure(result.error());
}

}  // namespace

/// Whichever single allocation of an operation fails, it succeeds or reports ENOMEM, and leaves nothing
/// behind that spoils it for the next time. An operation of the library's that throws std::bad_alloc does
/// report that.
TEST(Memory, AnyAllocationMayFail) {
  const std::string json = record(), list = "[" + json + "," + json + "]";
  const std::string name = R"({"title":"A title that is not held in place"})";
  const auto subtitle = Subtitle::decode(json).value();
  const auto result = QueryResult::decode(list).value();
  const auto components = VideoFileComponents::decode(name).value();
  const URL video = URL::fileURLWithPath("/films/A.Title.That.Is.Not.Held.In.Place.S01E02.720p.2001.mkv");
  const VideoFileComponents parsed{"A Title That Is Not Held In Place S01E02 720p", 2001, 1, 2, "720p"};
  const Error wrong = libraryError("a wrong result");
  const auto unless = [&](bool isRight) { return isRight ? std::nullopt : Failure(wrong); };

  const struct {
    const char* operation;
    std::function<Failure()> once;
  } rows[] = {
      {"decode a record", [&] { return failureOf(Subtitle::decode(json)); }},
      {"encode a record", [&] { return failureOf(subtitle->encode()); }},
      {"decode an answer", [&] { return failureOf(QueryResult::decode(list)); }},
      {"decode what is no answer",
       [&] {
         const auto answer = QueryResult::decode("{}");
         return !answer && answer.error().domain() == DecodingErrorDomain ? Failure() : failureOf(answer);
       }},
      {"encode an answer", [&] { return failureOf(result.encode()); }},
      {"decode components", [&] { return failureOf(VideoFileComponents::decode(name)); }},
      {"encode components", [&] { return failureOf(components.encode()); }},
      {"parse a name",
       [&] {
         const auto got = VideoFileUtilities::componentsFrom(video);
         return got == VideoFileComponents() ? outOfMemory() : unless(got == parsed);
       }},
      {"lower case", [&] { return unless(lowercased("\u00c4\u0416") == "\u00e4\u0436"); }},
      {"make a URL of a relative path",
       [&] { return unless(URL::fileURLWithPath("x").path().starts_with('/')); }},
      {"parse a URL",
       [&] {
         const auto url = URL::fromString("https://dl.test/a/name%20that/is/not/held/in/place");
         return unless(url && url->path() == "/a/name that/is/not/held/in/place");
       }},
  };
  isTested = true;
  for (const auto& [operation, once] : rows) {
    bool hasFailed = true;
    for (long before = 0; hasFailed; ++before) {
      __atomic_store_n(&allocationsLeft, before, __ATOMIC_RELAXED);
      const Failure got = orOutOfMemory(once);
      hasFailed = __atomic_exchange_n(&allocationsLeft, -1, __ATOMIC_RELAXED) < 0;
      EXPECT_TRUE(!got || (hasFailed && got == outOfMemory()))
          << operation << ", after " << before << ": " << line(*got);
    }
  }
  isTested = false;
}

}  // namespace caprion::test
