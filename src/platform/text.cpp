#include "platform/text.hpp"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstdio>
#include <memory>

namespace caprion {

bool isValidUTF8(std::string_view bytes) noexcept {
  // PCRE2 checks the whole of a UTF subject before it matches, and the empty pattern matches any.
  static pcre2_code* const anything = [] {
    int error = 0;
    PCRE2_SIZE offset = 0;
    return pcre2_compile(reinterpret_cast<PCRE2_SPTR>(""), 0, PCRE2_UTF, &error, &offset, nullptr);
  }();
  const std::unique_ptr<pcre2_match_data, decltype(&pcre2_match_data_free)> match(
      pcre2_match_data_create(1, nullptr), pcre2_match_data_free);
  const auto* subject = reinterpret_cast<PCRE2_SPTR>(bytes.data() != nullptr ? bytes.data() : "");
  return anything != nullptr && match != nullptr &&
         pcre2_match(anything, subject, bytes.size(), 0, 0, match.get(), nullptr) > 0;
}

void printLine(std::string_view text) noexcept {
  flockfile(stdout);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
  funlockfile(stdout);
}

}  // namespace caprion
