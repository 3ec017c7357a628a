#pragma once

#include <caprion/error.hpp>

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace caprion {

/// The text as a valid file name. Characters that aren't allowed, and names such as "..", are
/// percent-escaped; distinct texts give distinct names. May exceed NAME_MAX.
std::string pathComponent(std::string_view text);

/// The cache folder of one subtitle, TEMPORARY FOLDER/APPLICATION NAME/SUBTITLE ID, with a lock that excludes
/// other threads and other processes of the user.
class CacheFolder {
 public:
  CacheFolder(std::string_view applicationName, std::string_view subtitleID);
  ~CacheFolder();
  CacheFolder(const CacheFolder&) = delete;
  CacheFolder& operator=(const CacheFolder&) = delete;

  const std::string& path() const { return path_; }

  /// Creates the folder unless it exists.
  std::optional<Error> create();

  /// Waits for the lock and takes it; creates the folder again if it has been removed. Fails with ETIMEDOUT
  /// after `longest`, and with ECANCELED when `stop` is requested.
  std::optional<Error> lock(const std::stop_token& stop = {},
                            std::chrono::milliseconds longest = std::chrono::seconds(60));

  /// The descriptor that holds the lock, also when inherited by another process; -1 while unlocked.
  int lockDescriptor() const { return descriptor_; }

  /// Removes the contents of the folder, as far as possible.
  void empty() const;

  /// Releases the lock, if held.
  void unlock();

 private:
  bool isCurrent() const;

  std::string root_;
  std::string parent_;
  std::string path_;
  int descriptor_ = -1;
};

}  // namespace caprion
