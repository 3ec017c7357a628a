#include "network/transfer.hpp"

#include "network/transport_error.hpp"
#include "platform/error.hpp"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

/// From OpenSSL, if libcurl is linked with it.
extern "C" int SSL_pending(const void* connection) __attribute__((weak));

namespace caprion {

namespace {

using namespace std::chrono_literals;

/// How much undecoded data is buffered before libcurl is paused.
constexpr std::size_t pendingLimit = std::size_t{128} << 10;
/// How much of a redirect's body is read, and for how long, to keep the connection reusable.
constexpr std::size_t redirectSizeLimit = std::size_t{16} << 10;
constexpr auto redirectPatience = 500ms;
/// How long an idle connection is kept, and after how long it is probed.
constexpr long unusedLimit = 60;     // s
constexpr long idleUntilProbe = 20;  // s
/// How many reads libcurl may do in a row without delivering anything. It reads a proxy's answer to CONNECT
/// byte by byte, and doesn't return while there is more.
constexpr long silentReadLimit = 20'000;

template <typename Value>
void set(CURL* easy, CURLoption option, Value value) {
  // All options used here exist in this libcurl, so only copying a string can fail.
  if (curl_easy_setopt(easy, option, value) == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
}

/// How many decrypted bytes OpenSSL holds for the transfer's connection.
int decryptedBytes(CURL* easy) {
  const curl_tlssessioninfo* tls = nullptr;
  curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &tls);
  const bool isOpenSSL =
      tls != nullptr && tls->backend == CURLSSLBACKEND_OPENSSL && tls->internals != nullptr;
  return isOpenSSL && SSL_pending != nullptr ? SSL_pending(tls->internals) : 0;
}

/// Whether memory is available. libcurl uses the same error code for running out of memory and for a header
/// line that is too long.
bool hasMemory() {
  void* const some = std::malloc(pendingLimit);
  std::free(some);
  return some != nullptr;
}

}  // namespace

Transfer::Transfer(SessionTask& task, const TransportSettings& settings, ConnectionSockets& sockets)
    : task_(task), sockets_(sockets), easy_(curl_easy_init()), head_(easy_.get()) {
  CURL* easy = easy_.get();
  if (easy == nullptr) throw std::bad_alloc();
  const auto addField = [&](const std::string& field) {
    curl_slist* longer = curl_slist_append(headers_.get(), field.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    (void)headers_.release();
    headers_.reset(longer);
  };
  for (const auto& [field, value] : task.request->headerFields)
    addField(std::string(field).append(": ").append(value));
  // CURLOPT_ACCEPT_ENCODING isn't used, as libcurl would then decode itself: several layers of encoding, and
  // without returning until there is output.
  addField("Accept-Encoding: gzip, deflate");

  const std::string& url = task.url.text;
  set(easy, CURLOPT_URL, url.c_str());
  set(easy, CURLOPT_PATH_AS_IS, 1L);  // "a/../b" in a search text is not a path to be shortened
  set(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  set(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  set(easy, CURLOPT_HTTPHEADER, headers_.get());
  set(easy, CURLOPT_HTTP_CONTENT_DECODING, 0L);

  // Set even when empty, or libcurl would read the environment itself, which the host may be changing.
  set(easy, CURLOPT_PROXY, (task.url.isSecure ? settings.httpsProxy : settings.httpProxy).c_str());
  set(easy, CURLOPT_NOPROXY, settings.noProxy.c_str());
  if (!settings.certificateFile.empty() || !settings.certificateFolder.empty()) {
    // If one is given, the system's default for the other is not used either.
    const auto orNone = [](const std::string& path) { return path.empty() ? nullptr : path.c_str(); };
    for (const CURLoption option : {CURLOPT_CAINFO, CURLOPT_PROXY_CAINFO})
      set(easy, option, orNone(settings.certificateFile));
    for (const CURLoption option : {CURLOPT_CAPATH, CURLOPT_PROXY_CAPATH})
      set(easy, option, orNone(settings.certificateFolder));
  }

  set(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(task.request->timeoutInterval.count()));
  if (task.needsFreshConnection) set(easy, CURLOPT_FRESH_CONNECT, 1L);
  set(easy, CURLOPT_MAXAGE_CONN, unusedLimit);
  set(easy, CURLOPT_TCP_KEEPALIVE, 1L);
  set(easy, CURLOPT_TCP_KEEPIDLE, idleUntilProbe);
  set(easy, CURLOPT_TCP_KEEPINTVL, idleUntilProbe / 4);

  set(easy, CURLOPT_NOSIGNAL, 1L);
  set(easy, CURLOPT_QUICK_EXIT, 1L);  // don't wait for the resolver thread
  sockets.serve(easy);
  set(easy, CURLOPT_PREREQFUNCTION, checkConnection);
  set(easy, CURLOPT_PREREQDATA, this);
  set(easy, CURLOPT_XFERINFOFUNCTION, watchProxy);
  set(easy, CURLOPT_XFERINFODATA, this);
  set(easy, CURLOPT_NOPROGRESS, 0L);
  set(easy, CURLOPT_ERRORBUFFER, message_.data());
  set(easy, CURLOPT_WRITEFUNCTION, receive);
  set(easy, CURLOPT_WRITEDATA, this);
  set(easy, CURLOPT_HEADERFUNCTION, receiveLine);
  set(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);  // those of a proxy's answer to CONNECT
  set(easy, CURLOPT_HEADERDATA, this);
  // libcurl 7.88 gets stuck over TLS on a request that doesn't fit into its buffer twice.
  if (url.size() > 32'768) set(easy, CURLOPT_UPLOAD_BUFFERSIZE, 2L << 20);
}

bool Transfer::isConnected() const noexcept {
  curl_off_t connected = 0;
  curl_easy_getinfo(easy(), CURLINFO_PRETRANSFER_TIME_T, &connected);
  return connected > 0;
}

bool Transfer::isResolving() const noexcept {
  curl_off_t found = 0;
  curl_easy_getinfo(easy(), CURLINFO_NAMELOOKUP_TIME_T, &found);
  return found == 0 && !result_;
}

std::optional<Transfer::Time> Transfer::deadline() noexcept {
  if (!wasConnected_ && !isConnected()) return std::nullopt;
  if (!std::exchange(wasConnected_, true)) lastProgress_ = std::chrono::steady_clock::now();
  return lastProgress_ + (redirect_ ? redirectPatience : task_.request->timeoutInterval);
}

/// Called right before the request is sent on a connection.
int Transfer::checkConnection(void* self, char*, char*, int, int localPort) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  long newConnections = 0;
  curl_easy_getinfo(transfer.easy(), CURLINFO_NUM_CONNECTS, &newConnections);
  // Unread data on a reused connection follows an earlier answer, and would be taken for this one.
  const bool isQuiet = transfer.sockets_.isReady(localPort) && decryptedBytes(transfer.easy()) == 0;
  transfer.isStale_ = !isQuiet && newConnections == 0;
  return transfer.isStale_ ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
}

/// Called after each read of libcurl, and at least once per pass.
int Transfer::watchProxy(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  if (++transfer.silentReads_ < silentReadLimit) return 0;
  transfer.failure_ = urlError(url_error::cannotConnectToHost, "The proxy's answer has no end");
  return 1;
}

std::size_t Transfer::receiveLine(char* bytes, std::size_t one, std::size_t count, void* self) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  transfer.silentReads_ = 0;
  if (transfer.failure_) return 0;
  try {
    transfer.failure_ = transfer.readLine({bytes, one * count});
  } catch (const std::bad_alloc&) {
    transfer.failure_ = outOfMemory();
  }
  return transfer.failure_ ? 0 : one * count;
}

/// Processes a line of a head or of the trailers.
std::optional<Error> Transfer::readLine(std::string_view line) {
  const bool wasOver = head_.isOver();
  if (auto error = head_.add(line)) return error;
  if (wasOver || !head_.isOver()) return std::nullopt;
  lastProgress_ = std::chrono::steady_clock::now();
  if (head_.redirect()) {
    redirect_ = task_.url.resolved(*head_.redirect());
    return std::nullopt;
  }
  curl_off_t announced = 0;
  curl_easy_getinfo(easy(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
  if (announced > static_cast<curl_off_t>(task_.sizeLimit()))
    return urlError(url_error::dataLengthExceedsMaximum);
  if (!head_.isDecodable())
    return urlError(url_error::cannotDecodeContentData, "The answer's encodings are not known, or too many");
  decoding_.emplace(head_.encoding());
  return std::nullopt;
}

std::size_t Transfer::receive(char* bytes, std::size_t one, std::size_t count, void* self) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  const std::size_t size = one * count;
  transfer.silentReads_ = 0;
  if (transfer.failure_) return CURL_WRITEFUNC_ERROR;
  if (transfer.pending_.size() >= pendingLimit) {
    transfer.isPaused_ = true;
    return CURL_WRITEFUNC_PAUSE;
  }
  transfer.received_ += size;
  if (transfer.redirect_) return transfer.received_ > redirectSizeLimit ? CURL_WRITEFUNC_ERROR : size;
  try {
    if (transfer.received_ > transfer.task_.sizeLimit()) {
      transfer.failure_ = urlError(url_error::dataLengthExceedsMaximum);
    } else {
      transfer.pending_.append(bytes, size);
    }
  } catch (const std::bad_alloc&) {
    transfer.failure_ = outOfMemory();
  }
  return transfer.failure_ ? CURL_WRITEFUNC_ERROR : size;
}

void Transfer::abandon() noexcept { failure_ = urlError(url_error::cancelled); }

bool Transfer::hasMoreToDecode() const {
  return decoding_ && (!pending_.empty() || decoding_->hasOutputLeft());
}

bool Transfer::decode(std::chrono::nanoseconds longest) noexcept {
  silentReads_ = 0;  // a new pass begins
  if (!hasMoreToDecode()) return false;
  const Time begin = std::chrono::steady_clock::now();
  Time now = begin;
  try {
    std::string_view left = pending_;
    while (!failure_ && (!left.empty() || decoding_->hasOutputLeft()) && now - begin < longest) {
      const auto step = decoding_->step(left);
      left.remove_prefix(step.consumed);
      decoded_ += step.output.size();
      if (!step.output.empty()) lastProgress_ = now;
      failure_ = step.error;
      if (decoded_ > task_.sizeLimit()) failure_ = urlError(url_error::dataLengthExceedsMaximum);
      if (!failure_ && !step.output.empty()) failure_ = task_.append(step.output);
      now = std::chrono::steady_clock::now();
    }
    pending_.erase(0, pending_.size() - left.size());
  } catch (const std::bad_alloc&) {
    failure_ = outOfMemory();
  }
  if (isPaused_ && pending_.size() < pendingLimit && !failure_) {
    isPaused_ = false;
    if (curl_easy_pause(easy(), CURLPAUSE_CONT) == CURLE_OUT_OF_MEMORY) failure_ = outOfMemory();
  }
  return !failure_ && hasMoreToDecode();
}

std::optional<Transfer::Outcome> Transfer::outcome() noexcept {
  Outcome outcome;
  outcome.statusCode = head_.statusCode();
  if (redirect_) {
    // The head decides; the body doesn't matter.
    if (!result_ && std::chrono::steady_clock::now() < *deadline()) return std::nullopt;
    outcome.redirect = std::exchange(redirect_, std::nullopt);
  } else if (failure_) {
    outcome.error = failure_;
  } else if (!result_ || (*result_ == CURLE_OK && hasMoreToDecode())) {
    return std::nullopt;
  } else if (isStale_) {
    outcome.needsFreshConnection = true;
  } else if (*result_ != CURLE_OK) {
    outcome.error = failure(*result_);
  } else if (!decoding_) {  // to libcurl, an unfinished head is an answer without a body
    outcome.error = urlError(url_error::networkConnectionLost);
  } else if (!decoding_->mayEnd()) {
    outcome.error = urlError(url_error::networkConnectionLost, "The encoded answer ends too early");
  }
  return outcome;
}

Error Transfer::failure(CURLcode result) const {
  if (result == CURLE_OUT_OF_MEMORY && isConnected() && !head_.isOver() && hasMemory())
    return urlError(url_error::dataLengthExceedsMaximum, "A line in the head of the answer is too long");
  // libcurl's message about a malformed proxy URL contains the user name and password.
  const bool mayHoldPassword = std::string_view(message_.data()).find('@') != std::string_view::npos;
  return transportError(result, easy(), mayHoldPassword ? "" : message_.data());
}

}  // namespace caprion
