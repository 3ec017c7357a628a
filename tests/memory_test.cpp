#include "platform/error.hpp"
#include "platform/letter_case.hpp"
#include "process.hpp"
#include "reports.hpp"
#include "service.hpp"

#include <caprion/caprion.h>
#include <caprion/caprion_helper.hpp>
#include <caprion/language.hpp>
#include <caprion/ranking.hpp>
#include <caprion/release_name.hpp>
#include <caprion/video_file_components.hpp>

#include <sys/prctl.h>
#include <sys/syscall.h>

#include <new>
#include <semaphore>

// Replaces the allocator of this program and its libraries by one in which a single allocation fails: on the
// thread under test, or on one of the library's threads.
namespace {

long allocationsLeft = -1;  // before the one that fails; none fails while this is negative
thread_local bool isTested = false;

// Not instrumented, as sanitizers call these functions before they have initialised themselves or a thread.
#define UNCHECKED __attribute__((no_sanitize("address", "thread", "undefined")))

UNCHECKED bool isOfTheLibrarysThread() {
  char name[16] = "";
  ::syscall(SYS_prctl, PR_GET_NAME, name);
  int same = 0;
  while (same < 8 && name[same] == "caprion"[same]) ++same;
  return same == 8;
}

UNCHECKED bool isTheOneThatFails() {
  if (!isTested && !isOfTheLibrarysThread()) return false;
  if (__atomic_fetch_sub(&allocationsLeft, 1, __ATOMIC_RELAXED) != 0) return false;
  errno = ENOMEM;
  return true;
}

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

// The sanitizers' operators don't call the functions above.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace caprion::test {

namespace {

using namespace std::string_literals;
using stand_in::Answer;

/// Why an operation failed. Creating it must not allocate.
using Failure = std::optional<Error>;

Failure unless(bool isRight) {
  static const Error wrong = libraryError("a wrong result");
  return isRight ? std::nullopt : Failure(wrong);
}

/// The error of a result, unless it is the expected one: `told` is the domain of a required error.
template <typename Value>
Failure failureOf(const Result<Value>& result, std::string_view told = {}) {
  if (result) return unless(told.data() == nullptr);
  return told.data() != nullptr && result.error().domain() == told ? Failure() : Failure(result.error());
}

/// Receives the reports of an operation.
struct Listener {
  void report(Failure got) {
    failure = std::move(got);
    ++reports;
    hasReport.release();
  }
  Failure wait() {
    if (hasReport.try_acquire_for(std::chrono::seconds(60))) return failure;
    ADD_FAILURE() << "no report came";
    std::abort();
  }

  Failure failure;
  std::atomic<int> reports = 0;
  std::counting_semaphore<> hasReport{0};
} listener;

const auto hits = [](const auto& list, const auto& error) {
  listener.report(error ? error : unless(list->size() == 2));
};

void hitsInC(const caprion_subtitle_list* list, const caprion_error* error, void*) {
  if (error == nullptr) return listener.report(unless(caprion_subtitle_list_count(list) == 2));
  listener.report(Error(caprion_error_domain(error), caprion_error_code(error)));
}

/// The answers to searches, redirected and compressed ones too, and the archive. Each request for the archive
/// has its own connection.
Answer answerTo(const stand_in::Request& request, const std::string& list) {
  if (request.host == "dl.test") return {.headers = {{"Connection", "close"}}, .body = zip({"film.srt"})};
  if (request.target.ends_with("redirected")) return {.status = 302, .headers = {{"Location", "/gzip"}}};
  if (request.target.ends_with("spoilt")) return {.body = "An answer that is no list of subtitles"};
  if (request.target != "/gzip") return {.body = list};
  return {.headers = {{"Content-Encoding", "gzip"}},
          .body = "\x1F\x8B\x08\0\0\0\0\0\0\x03\x8B\x8E\5\0\x29\xBB\x4C\x0D\2\0\0\0"s};  // []
}

/// Whether a failed allocation may cause this error.
bool isAllowed(const Error& error) {
  return error.domain() == NSURLErrorDomain ||
         (error.domain() == NSPOSIXErrorDomain && error.code() == ENOMEM);
}

/// The number of open descriptors, including the stand-in's, which close together with the library's.
std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

}  // namespace

class Memory : public InTemporaryFolder {};

/// Whichever single allocation of an operation fails, the operation succeeds or reports ENOMEM, once, and
/// works the next time. std::bad_alloc counts as such a report. If libcurl or OpenSSL runs out of memory, any
/// error of the transport will do.
TEST_F(Memory, AnyAllocationMayFail) {
  const std::string json = record(), list = "[" + json + "," + json + "]";
  const std::string name = R"({"title":"A title that is not held in place"})";
  const auto decoded = Subtitle::decode(json).value();
  const auto result = QueryResult::decode(list).value();
  const auto components = VideoFileComponents::decode(name).value();
  const URL video = URL::fileURLWithPath("/films/A.Title.That.Is.Not.Held.In.Place.S01E02.720p.2001.mkv");
  const VideoFileComponents parsed{"A Title That Is Not Held In Place S01E02 720p", 2001, 1, 2, "720p"};

  const URL file = URL::fileURLWithPath(root_.file("video.mkv", 200'000));
  service().setHandler([&](const auto& request) { return answerTo(request, list); });
  const std::vector<Arg> plain{Arg(Param::query, "x")}, redirected{Arg(Param::query, "redirected")},
      spoilt{Arg(Param::query, "spoilt")};
  const auto search = [](const std::vector<Arg>& args, std::string_view told = {}) {
    Caprion::shared().query(args, [told](const auto& got) { listener.report(failureOf(got, told)); });
    return listener.wait();
  };
  const auto there = subtitle(texts("ZipDownloadLink", {"http://dl.test/42"}));
  const auto notThere = subtitle(texts("ZipDownloadLink SubFileName", {"http://dl.test/42", "film.txt"}));
  Downloader downloader;
  const auto download = [&](const Subtitle& record, std::string_view told = {}) {
    downloader.download(record, [told](const auto& report) {
      const bool isElsewhere = report && !report->path().ends_with("/42/film.eng.srt");
      listener.report(isElsewhere ? unless(false) : failureOf(report, told));
    });
    return listener.wait();
  };

  const struct {
    const char* operation;
    std::function<Failure()> once;
  } rows[] = {
      {"decode a record", [&] { return failureOf(Subtitle::decode(json)); }},
      {"encode a record", [&] { return failureOf(decoded->encode()); }},
      {"decode an answer", [&] { return failureOf(QueryResult::decode(list)); }},
      {"decode what is no answer", [] { return failureOf(QueryResult::decode("{}"), DecodingErrorDomain); }},
      {"encode an answer", [&] { return failureOf(result.encode()); }},
      {"decode components", [&] { return failureOf(VideoFileComponents::decode(name)); }},
      {"encode components", [&] { return failureOf(components.encode()); }},
      {"parse a name",
       [&] {
         const auto got = VideoFileUtilities::componentsFrom(video);
         return got == VideoFileComponents() ? outOfMemory() : unless(got == parsed);
       }},
      {"read a release's name",
       [&] {
         const auto got = ReleaseName::from(video);
         return got == ReleaseName() ? outOfMemory() : unless(got.episodes == std::vector{2});
       }},
      {"rank hits", [&] { return failureOf(rankedSubtitles(result.subtitles, video)); }},
      {"find a language", [] { return unless(Language::from("pt-BR").has_value()); }},
      {"lower case", [&] { return unless(lowercased("\u00c4\u0416") == "\u00e4\u0436"); }},
      {"make a URL of a relative path",
       [&] { return unless(URL::fileURLWithPath("x").path().starts_with('/')); }},
      {"parse a URL",
       [&] {
         const auto url = URL::fromString("https://dl.test/a/name%20that/is/not/held/in/place");
         return unless(url && url->path() == "/a/name that/is/not/held/in/place");
       }},
      {"search", [&] { return search(plain); }},
      {"search, redirected to what is gzip-encoded", [&] { return search(redirected); }},
      {"search, with an answer that is no list", [&] { return search(spoilt, AnswerErrorDomain); }},
      {"search by file",
       [&] { return CaprionHelper::shared().findSubtitles(file, "eng", hits), listener.wait(); }},
      {"search by text",
       [&] { return CaprionHelper::shared().findSubtitles(Matching("x"), "eng", hits), listener.wait(); }},
      {"search in C",
       [&] {
         caprion_helper_find_subtitles_matching(caprion_helper_shared(), "x", "eng", hitsInC, nullptr,
                                                nullptr);
         return listener.wait();
       }},
      {"download", [&] { return download(*there); }},
      {"download by the facade, and so by the client",
       [&] {
         CaprionHelper::shared().downloadSubtitleFile(*there, [](const auto& report, const auto& error) {
           listener.report(error ? error : unless(report->isFileURL()));
         });
         return listener.wait();
       }},
      {"download what lacks the file", [&] { return download(*notThere, ""); }},
  };
  std::string faults;
  testing::internal::CaptureStdout();  // hides answers that aren't lists
  for (const auto& [operation, once] : rows) {
    if (once()) faults += operation + " never works\n"s;  // also does any one-time setup
    const int reportsOfOne = listener.reports.exchange(0);
    const auto descriptors = openDescriptors();
    bool hasFailed = true;
    for (long before = 0; hasFailed; ++before) {
      isTested = true;
      __atomic_store_n(&allocationsLeft, before, __ATOMIC_RELAXED);
      const Failure got = orOutOfMemory(once);
      hasFailed = __atomic_exchange_n(&allocationsLeft, -1, __ATOMIC_RELAXED) < 0;
      isTested = false;
      const Failure next = once();
      const auto note = [&, &what = operation](const std::string& fault) {
        faults += what + (", after " + std::to_string(before)) + ": " + fault + '\n';
      };
      if (got && !(hasFailed && isAllowed(*got))) note(line(*got));
      if (next) note("the next time " + line(*next));
      if (listener.reports.exchange(0) != 2 * reportsOfOne) note("not one report");
    }
    for (int i = 0; i < 20'000 && openDescriptors() > descriptors; ++i) std::this_thread::yield();
    if (openDescriptors() > descriptors) faults += operation + " leaves files open\n"s;
    if (::waitpid(-1, nullptr, WNOHANG) != -1) faults += operation + " leaves a child\n"s;
  }
  const std::string output = testing::internal::GetCapturedStdout();
  EXPECT_EQ(output.find("Archive:"), std::string::npos) << "unzip has the host's output";
  EXPECT_EQ(faults, "");
}

}  // namespace caprion::test
