#include "platform/letter_case.hpp"

#include "platform/made_once.hpp"
#include "platform/regular_expression.hpp"
#include "platform/text.hpp"

#include <new>

namespace caprion {

namespace {

PCRE2_SPTR codeUnits(std::string_view text) { return reinterpret_cast<PCRE2_SPTR>(text.data()); }

}  // namespace

std::string lowercasedASCII(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

std::string lowercased(std::string_view text) {
  if (text.empty() || !isValidUTF8(text)) return lowercasedASCII(text);
  // PCRE2 knows the case of all scripts, for use in substitutions.
  struct Anything {
    RegularExpression expression{"(?s).+"};
  };
  static constinit MadeOnce<Anything> made;
  const RegularExpression& anything = made.get().expression;
  std::string result(text.size() * 2 + 1, '\0');  // a letter grows at most so
  PCRE2_SIZE length = result.size();
  const int count =
      pcre2_substitute(anything.code(), codeUnits(text), text.size(), 0,
                       PCRE2_SUBSTITUTE_EXTENDED | PCRE2_NO_UTF_CHECK, nullptr, nullptr, codeUnits("\\L$0"),
                       PCRE2_ZERO_TERMINATED, reinterpret_cast<PCRE2_UCHAR*>(result.data()), &length);
  if (count < 0) throw std::bad_alloc();
  result.resize(length);
  return result;
}

}  // namespace caprion
