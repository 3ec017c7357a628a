#include "network/transport_settings.hpp"

#include <cstdlib>
#include <initializer_list>

namespace caprion {

namespace {

/// The first variable that is set and not empty. Always empty in a set-uid program.
std::string environment(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    const char* value = ::secure_getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

}  // namespace

TransportSettings TransportSettings::fromEnvironment() {
  TransportSettings settings;
  // Not HTTP_PROXY: in a CGI program it holds the client's "Proxy" header field.
  settings.httpProxy = environment({"http_proxy", "all_proxy", "ALL_PROXY"});
  settings.httpsProxy = environment({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
  settings.noProxy = environment({"no_proxy", "NO_PROXY"});
  settings.certificateFile = environment({"SSL_CERT_FILE"});
  settings.certificateFolder = environment({"SSL_CERT_DIR"});
  return settings;
}

}  // namespace caprion
