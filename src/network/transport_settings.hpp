#pragma once

#include <string>

namespace caprion {

/// Where this process finds its proxies and its certificate authorities, as the environment tells. An empty
/// text means none, or the system's own authorities.
struct TransportSettings {
  std::string httpProxy;
  std::string httpsProxy;
  std::string noProxy;
  std::string certificateFile;
  std::string certificateFolder;

  static TransportSettings fromEnvironment();
};

}  // namespace caprion
