#pragma once

#include <string>

namespace caprion {

/// Proxies and certificate authorities from the environment. Empty means no proxy, or the system's
/// authorities.
struct TransportSettings {
  std::string httpProxy;
  std::string httpsProxy;
  std::string noProxy;
  std::string certificateFile;
  std::string certificateFolder;

  static TransportSettings fromEnvironment();
};

}  // namespace caprion
