#include "platform/mutex.hpp"
#include "platform/never_destroyed.hpp"

#include <caprion/bundle.hpp>

namespace caprion {

namespace {

constinit Mutex mutex(MutexLevel::leaf);
constinit NeverDestroyed<std::optional<Bundle::InfoDictionary>> mainDictionary CAPRION_GUARDED_BY(mutex);

}  // namespace

Bundle& Bundle::main() noexcept {
  static constinit Bundle bundle;
  return bundle;
}

std::optional<Bundle::InfoDictionary> Bundle::infoDictionary() const {
  const Lock lock(mutex);
  return mainDictionary.value;
}

void Bundle::setInfoDictionary(std::optional<InfoDictionary> dictionary) {
  const Lock lock(mutex);
  mainDictionary.value.swap(dictionary);
}

}  // namespace caprion
