#include "network/transport_error.hpp"

#include "platform/error.hpp"

#include <new>
#include <string>
#include <utility>

namespace caprion {

namespace {

const char* description(int code) {
  switch (code) {
    case url_error::cancelled:
      return "The request was cancelled";
    case url_error::badURL:
      return "The URL is malformed";
    case url_error::timedOut:
      return "The request timed out";
    case url_error::unsupportedURL:
      return "The URL is of a kind that is not supported";
    case url_error::cannotFindHost:
      return "The server's host name could not be found";
    case url_error::cannotConnectToHost:
      return "Could not connect to the server";
    case url_error::networkConnectionLost:
      return "The connection to the server was lost";
    case url_error::httpTooManyRedirects:
      return "The server redirected the request too many times";
    case url_error::cannotDecodeContentData:
      return "The encoding of the server's answer could not be undone";
    case url_error::cannotParseResponse:
      return "The server's answer is not HTTP";
    case url_error::dataLengthExceedsMaximum:
      return "The server's answer is too large";
    case url_error::cannotWriteToFile:
      return "The server's answer could not be stored";
    case url_error::secureConnectionFailed:
      return "A secure connection to the server could not be made";
    case url_error::serverCertificateHasBadDate:
      return "The server's certificate has expired";
    case url_error::serverCertificateUntrusted:
      return "The server's certificate cannot be trusted";
    case url_error::serverCertificateHasUnknownRoot:
      return "The server's certificate is signed by an unknown authority";
    case url_error::serverCertificateNotYetValid:
      return "The server's certificate is not valid yet";
    default:
      return "The request failed";
  }
}

/// The code for a failed certificate check. libcurl passes on OpenSSL's result, an X509_V_ERR_* number.
int certificateCode(CURL* easy) {
  constexpr long unableToGetIssuer = 2;
  constexpr long notYetValid = 9;
  constexpr long hasExpired = 10;
  constexpr long selfSigned = 18;
  constexpr long selfSignedInChain = 19;
  constexpr long unableToGetIssuerLocally = 20;
  constexpr long unableToVerifyLeaf = 21;
  long found = 0;
  curl_easy_getinfo(easy, CURLINFO_SSL_VERIFYRESULT, &found);
  switch (found) {
    case hasExpired:
      return url_error::serverCertificateHasBadDate;
    case notYetValid:
      return url_error::serverCertificateNotYetValid;
    case unableToGetIssuer:
    case selfSigned:
    case selfSignedInChain:
    case unableToGetIssuerLocally:
    case unableToVerifyLeaf:
      return url_error::serverCertificateHasUnknownRoot;
    default:  // such as a wrong host name, for which libcurl reports X509_V_OK
      return url_error::serverCertificateUntrusted;
  }
}

int urlErrorCode(CURLcode result, CURL* easy) {
  switch (result) {
    case CURLE_URL_MALFORMAT:
      return url_error::badURL;
    case CURLE_OPERATION_TIMEDOUT:
      return url_error::timedOut;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return url_error::cannotFindHost;
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
      return url_error::cannotConnectToHost;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR: {
      // Also the result when a proxy refuses CONNECT.
      long connectStatus = 0;
      curl_easy_getinfo(easy, CURLINFO_HTTP_CONNECTCODE, &connectStatus);
      return connectStatus >= 300 ? url_error::cannotConnectToHost : url_error::networkConnectionLost;
    }
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
      return url_error::networkConnectionLost;
    case CURLE_BAD_CONTENT_ENCODING:
      return url_error::cannotDecodeContentData;
    case CURLE_UNSUPPORTED_PROTOCOL:  // libcurl's code for an answer without an HTTP head: schemes were
                                      // checked
    case CURLE_WEIRD_SERVER_REPLY:
      return url_error::cannotParseResponse;
    case CURLE_FILESIZE_EXCEEDED:
      return url_error::dataLengthExceedsMaximum;
    case CURLE_WRITE_ERROR:
      return url_error::cannotWriteToFile;
    case CURLE_PEER_FAILED_VERIFICATION:
      return certificateCode(easy);
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_USE_SSL_FAILED:
      return url_error::secureConnectionFailed;
    default:
      return url_error::unknown;
  }
}

}  // namespace

Error urlError(int code, std::string_view message) noexcept {
  return orOutOfMemory([&] {
    Error::UserInfo userInfo = describedBy(description(code));
    if (!message.empty()) userInfo.emplace(TransportMessageKey, std::string(message));
    return Error(std::string(NSURLErrorDomain), code, std::move(userInfo));
  });
}

Error transportError(CURLcode result, CURL* easy, const char* message) noexcept {
  if (result == CURLE_OUT_OF_MEMORY) return outOfMemory();
  return urlError(urlErrorCode(result, easy), *message != '\0' ? message : curl_easy_strerror(result));
}

}  // namespace caprion
