#include <caprion/bundle.hpp>

#include <mutex>
#include <utility>

namespace caprion {

namespace {

/// The host's dictionary; never destroyed, as downloads may be under way when the process exits.
struct MainBundle {
  std::mutex mutex;
  std::optional<Bundle::InfoDictionary> infoDictionary;

  static MainBundle& shared() {
    static auto* const bundle = new MainBundle;
    return *bundle;
  }
};

}  // namespace

Bundle& Bundle::main() noexcept {
  static Bundle bundle;
  return bundle;
}

std::optional<Bundle::InfoDictionary> Bundle::infoDictionary() const {
  MainBundle& bundle = MainBundle::shared();
  const std::lock_guard lock(bundle.mutex);
  return bundle.infoDictionary;
}

void Bundle::setInfoDictionary(std::optional<InfoDictionary> dictionary) {
  MainBundle& bundle = MainBundle::shared();
  const std::lock_guard lock(bundle.mutex);
  bundle.infoDictionary = std::move(dictionary);
}

}  // namespace caprion
