#pragma once

#include <openssl/ssl.h>

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace caprion::stand_in {

/// A temporary certificate authority. Its keys are only in memory; its certificate is in a private folder,
/// which the destructor removes. All members may be called from any thread.
class Authority {
 public:
  /// Throws std::runtime_error if the keys or the file can't be made.
  Authority();
  ~Authority();

  Authority(const Authority&) = delete;
  Authority& operator=(const Authority&) = delete;

  /// The authority's certificate, PEM.
  std::filesystem::path file() const { return folder_ / "authority.pem"; }

  /// A server's context with a certificate for `host`; made at first use, and valid as long as the authority.
  /// Some host names get a faulty certificate; README.md lists them.
  SSL_CTX* contextFor(const std::string& host);

 private:
  struct FreeOpenSSL {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
  };
  template <class T>
  using Owned = std::unique_ptr<T, FreeOpenSSL>;

  Owned<X509> certificateFor(const std::string& host) const;

  std::filesystem::path folder_;
  Owned<EVP_PKEY> key_;
  Owned<X509> certificate_;
  Owned<EVP_PKEY> serverKey_;  // one for all hosts
  std::mutex mutex_;
  std::map<std::string, Owned<SSL_CTX>> contexts_;
};

}  // namespace caprion::stand_in
