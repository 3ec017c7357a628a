#include "certificates.hpp"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <stdlib.h>

#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <system_error>

namespace caprion::stand_in {
namespace {

constexpr long day = 24L * 60 * 60;  // in seconds

void check(bool done) {
  if (!done) {
    char reason[256];
    ERR_error_string_n(ERR_get_error(), reason, sizeof reason);
    throw std::runtime_error(std::string("making a certificate: ") + reason);
  }
}

// A certificate of version 3 with a random serial number, without extensions or a signature. It is valid
// between `from` and `until`, in seconds from now.
X509* unsignedCertificate(const char* name, EVP_PKEY* key, long from, long until) {
  X509* certificate = X509_new();
  check(certificate != nullptr);
  std::uint64_t serial = 0;
  check(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1);
  check(X509_set_version(certificate, X509_VERSION_3) == 1);
  check(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1 | 1) == 1);
  check(X509_gmtime_adj(X509_getm_notBefore(certificate), from) != nullptr);
  check(X509_gmtime_adj(X509_getm_notAfter(certificate), until) != nullptr);
  check(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>(name), -1, -1, 0) == 1);
  check(X509_set_pubkey(certificate, key) == 1);
  return certificate;
}

void extend(X509* certificate, X509* issuer, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
  check(extension != nullptr);
  const int added = X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
  check(added == 1);
}

// Adds the subjectAltName. Built from objects: in its textual form, a comma in the host would begin another
// name.
void nameHost(X509* certificate, const std::string& host) {
  GENERAL_NAMES* names = GENERAL_NAMES_new();
  GENERAL_NAME* name = GENERAL_NAME_new();
  check(names != nullptr && name != nullptr && sk_GENERAL_NAME_push(names, name) > 0);
  if (ASN1_OCTET_STRING* address = a2i_IPADDRESS(host.c_str())) {
    GENERAL_NAME_set0_value(name, GEN_IPADD, address);
  } else {
    ASN1_IA5STRING* text = ASN1_IA5STRING_new();
    check(text != nullptr && ASN1_STRING_set(text, host.data(), static_cast<int>(host.size())) == 1);
    GENERAL_NAME_set0_value(name, GEN_DNS, text);
  }
  const int added = X509_add1_ext_i2d(certificate, NID_subject_alt_name, names, 0, X509V3_ADD_DEFAULT);
  GENERAL_NAMES_free(names);
  check(added == 1);
}

void sign(X509* certificate, X509* issuer, EVP_PKEY* key) {
  check(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1);
  check(X509_sign(certificate, key, EVP_sha256()) > 0);
}

std::filesystem::path makePrivateFolder() {
  std::string path = std::filesystem::temp_directory_path() / "caprion-stand-in-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) throw std::system_error(errno, std::generic_category(), path);
  return path;
}

}  // namespace

Authority::Authority() : key_(EVP_EC_gen("P-256")), serverKey_(EVP_EC_gen("P-256")) {
  check(key_ && serverKey_);
  certificate_.reset(unsignedCertificate("Caprion stand-in authority", key_.get(), -30 * day, 30 * day));
  X509* own = certificate_.get();
  extend(own, own, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
  extend(own, own, NID_key_usage, "critical,keyCertSign,cRLSign");
  extend(own, own, NID_subject_key_identifier, "hash");
  extend(own, own, NID_authority_key_identifier, "keyid:always");
  sign(own, own, key_.get());

  folder_ = makePrivateFolder();
  std::FILE* out = std::fopen(file().c_str(), "wxe");
  const bool written = out != nullptr && PEM_write_X509(out, own) == 1;
  if (out == nullptr || std::fclose(out) != 0 || !written) {
    std::filesystem::remove_all(folder_);
    throw std::runtime_error("can't write the authority's certificate");
  }
}

Authority::~Authority() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

SSL_CTX* Authority::contextFor(const std::string& host) {
  const std::lock_guard lock(mutex_);
  Owned<SSL_CTX>& kept = contexts_[host];
  if (!kept) {
    Owned<SSL_CTX> context(SSL_CTX_new(TLS_server_method()));
    check(context && SSL_CTX_use_certificate(context.get(), certificateFor(host).get()) == 1 &&
          SSL_CTX_use_PrivateKey(context.get(), serverKey_.get()) == 1);
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    // No resumption: each connection sends its certificate again, and nothing follows the handshake unasked.
    SSL_CTX_set_options(context.get(), SSL_OP_NO_TICKET);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(context.get(), 0);
    kept = std::move(context);
  }
  return kept.get();
}

Authority::Owned<X509> Authority::certificateFor(const std::string& host) const {
  const bool selfSigned = host == "untrusted.test";
  const bool stranger = host == "other-authority.test";
  const long from = host == "early.test" ? day : host == "expired.test" ? -2 * day : -day;
  const long until = host == "expired.test" ? -day : 29 * day;
  Owned<X509> made(unsignedCertificate("Caprion stand-in", serverKey_.get(), from, until));
  Owned<X509> other(unsignedCertificate("Another authority", serverKey_.get(), -day, day));
  extend(other.get(), other.get(), NID_subject_key_identifier, "hash");
  X509* issuer = selfSigned ? made.get() : stranger ? other.get() : certificate_.get();
  extend(made.get(), issuer, NID_basic_constraints, "critical,CA:FALSE");
  extend(made.get(), issuer, NID_key_usage, "critical,digitalSignature");
  extend(made.get(), issuer, NID_ext_key_usage, "serverAuth");
  extend(made.get(), issuer, NID_subject_key_identifier, "hash");
  extend(made.get(), issuer, NID_authority_key_identifier, "keyid:always");
  nameHost(made.get(), host == "wrong-name.test" ? "another-name.test" : host);
  sign(made.get(), issuer, selfSigned || stranger ? serverKey_.get() : key_.get());
  return made;
}

}  // namespace caprion::stand_in
