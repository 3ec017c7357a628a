#pragma once

#include <caprion/error.hpp>

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace caprion {

/// The text as the name of one file or folder. What can't stand in one, or would lead elsewhere, is escaped,
/// so that no two texts have the same name; all else stays as it is. It may be longer than the system takes.
std::string pathComponent(std::string_view text);

/// The folder of one subtitle, TEMPORARY FOLDER/APPLICATION NAME/SUBTITLE ID. Whoever holds its lock has it
/// for himself, among all threads and all processes of the user.
class CacheFolder {
 public:
  CacheFolder(std::string_view applicationName, std::string_view subtitleID);
  ~CacheFolder();
  CacheFolder(const CacheFolder&) = delete;
  CacheFolder& operator=(const CacheFolder&) = delete;

  const std::string& path() const { return path_; }

  /// Makes the folder, if it isn't there.
  std::optional<Error> create();

  /// Waits until nobody else holds the lock, and takes it; makes the folder, if it isn't there any more.
  /// Fails with ETIMEDOUT when the lock doesn't come free, and with ECANCELED at a stop.
  std::optional<Error> lock(const std::stop_token& stop = {},
                            std::chrono::milliseconds longest = std::chrono::seconds(60));

  /// What the lock hangs on: it is held as long as anybody has this open. -1 while it isn't held.
  int lockDescriptor() const { return descriptor_; }

  /// Removes what is in the folder; what can't be removed stays.
  void empty() const;

  /// Lets go of the lock, if it is held. The folder stays.
  void unlock();

 private:
  bool isStillThere() const;

  std::string root_;
  std::string parent_;
  std::string path_;
  int descriptor_ = -1;
};

}  // namespace caprion
