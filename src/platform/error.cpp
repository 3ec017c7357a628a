#include "platform/error.hpp"

#include <cerrno>
#include <system_error>
#include <utility>

namespace CAPRION_NAMESPACE {

struct Error::State {
  std::string domain;
  std::int64_t code;
  UserInfo userInfo;
  std::string suppliedDescription;
};

namespace {

const std::string* textFor(const Error::UserInfo& userInfo, std::string_view key) {
  const auto found = userInfo.find(key);
  return found == userInfo.end() ? nullptr : std::get_if<std::string>(&found->second);
}

}  // namespace

Error::Error(std::string domain, std::int64_t code, UserInfo userInfo, std::string suppliedDescription) {
  if (suppliedDescription.empty()) {
    suppliedDescription = "The operation failed (" + (domain.empty() ? "" : domain + ", ") + "code " +
                          std::to_string(code) + ")";
  }
  state_ = std::make_shared<const State>(
      State{std::move(domain), code, std::move(userInfo), std::move(suppliedDescription)});
}

Error::Error(const Error&) noexcept = default;
Error& Error::operator=(const Error&) noexcept = default;
Error::~Error() = default;

const std::string& Error::domain() const noexcept { return state_->domain; }
std::int64_t Error::code() const noexcept { return state_->code; }
const Error::UserInfo& Error::userInfo() const noexcept { return state_->userInfo; }

std::string_view Error::localizedDescription() const noexcept {
  const std::string* text = textFor(state_->userInfo, NSLocalizedDescriptionKey);
  return text != nullptr ? *text : state_->suppliedDescription;
}

std::optional<std::string_view> Error::localizedRecoverySuggestion() const noexcept {
  if (const std::string* text = textFor(state_->userInfo, NSLocalizedRecoverySuggestionErrorKey))
    return *text;
  return std::nullopt;
}

bool operator==(const Error& a, const Error& b) noexcept {
  return a.state_ == b.state_ ||
         (a.domain() == b.domain() && a.code() == b.code() && a.userInfo() == b.userInfo());
}

Error::UserInfo describedBy(std::string description) {
  Error::UserInfo userInfo;
  userInfo.emplace(NSLocalizedDescriptionKey, std::move(description));
  return userInfo;
}

Error libraryError(std::string_view message) noexcept {
  return orOutOfMemory([&] { return Error("", 0, describedBy(std::string(message))); });
}

namespace {

Error madePOSIXError(int number, std::string description) {
  return Error(std::string(NSPOSIXErrorDomain), number, describedBy(std::move(description)));
}

}  // namespace

Error outOfMemory() noexcept {
  static const auto* const error =
      new Error(madePOSIXError(ENOMEM, std::generic_category().message(ENOMEM)));  // never destroyed
  return *error;
}

/// Created while the library is loaded, when memory is still available.
[[gnu::constructor]] static void makeOutOfMemory() { outOfMemory(); }

Error posixError(int number) noexcept {
  if (number == ENOMEM) return outOfMemory();
  return orOutOfMemory([&] { return madePOSIXError(number, std::generic_category().message(number)); });
}

Error fileError(int number, const std::string& path, std::string_view reason) noexcept {
  return orOutOfMemory([&] {
    const std::string why = reason.empty() ? std::generic_category().message(number) : std::string(reason);
    return madePOSIXError(number, path + ": " + why);
  });
}

}  // namespace CAPRION_NAMESPACE
