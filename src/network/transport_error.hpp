#pragma once

#include <caprion/error.hpp>

#include <curl/curl.h>

#include <string_view>

namespace caprion {

/// The codes of NSURLErrorDomain in use.
namespace url_error {
inline constexpr int unknown = -1;
inline constexpr int cancelled = -999;
inline constexpr int badURL = -1000;
inline constexpr int timedOut = -1001;
inline constexpr int unsupportedURL = -1002;
inline constexpr int cannotFindHost = -1003;
inline constexpr int cannotConnectToHost = -1004;
inline constexpr int networkConnectionLost = -1005;
inline constexpr int httpTooManyRedirects = -1007;
inline constexpr int cannotDecodeContentData = -1016;
inline constexpr int cannotParseResponse = -1017;
inline constexpr int dataLengthExceedsMaximum = -1103;
inline constexpr int cannotWriteToFile = -3003;
inline constexpr int secureConnectionFailed = -1200;
inline constexpr int serverCertificateHasBadDate = -1201;
inline constexpr int serverCertificateUntrusted = -1202;
inline constexpr int serverCertificateHasUnknownRoot = -1203;
inline constexpr int serverCertificateNotYetValid = -1204;
}  // namespace url_error

/// The error with this code, its description, and the transport's own message, if any; outOfMemory() if there
/// isn't the memory for it.
Error urlError(int code, std::string_view message = {}) noexcept;

/// The error for a transfer that libcurl ended with `result`. `message` is its error buffer.
Error transportError(CURLcode result, CURL* easy, const char* message) noexcept;

}  // namespace caprion
