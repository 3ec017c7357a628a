#include "platform/regular_expression.hpp"

#include <new>

namespace caprion {

namespace {

PCRE2_SPTR units(std::string_view text) {
  return reinterpret_cast<PCRE2_SPTR>(text.data() != nullptr ? text.data() : "");
}

}  // namespace

RegularExpression::RegularExpression(std::string_view pattern) noexcept {
  int error = 0;
  PCRE2_SIZE offset = 0;
  code_.reset(pcre2_compile(units(pattern), pattern.size(), PCRE2_UTF | PCRE2_UCP | PCRE2_CASELESS, &error,
                            &offset, nullptr));
  // Where the system allows no machine code to be made, PCRE2 interprets the pattern instead.
  if (code_ != nullptr) pcre2_jit_compile(code_.get(), PCRE2_JIT_COMPLETE);
}

RegularExpression::Matches::Matches(const RegularExpression& expression, std::string_view subject)
    : code_(expression.code_.get()), subject_(subject) {
  if (code_ == nullptr) return;
  data_.reset(pcre2_match_data_create_from_pattern(code_, nullptr));
  if (data_ == nullptr) throw std::bad_alloc();
}

bool RegularExpression::Matches::next() {
  if (code_ == nullptr) return false;
  const int found = pcre2_match(code_, units(subject_), subject_.size(), searchFrom_,
                                PCRE2_NO_UTF_CHECK | PCRE2_NOTEMPTY, data_.get(), nullptr);
  if (found == PCRE2_ERROR_NOMATCH) return false;
  // Whatever else goes wrong is a lack of memory or stack; to go on would be to lose matches in silence.
  if (found < 0) throw std::bad_alloc();
  searchFrom_ = pcre2_get_ovector_pointer(data_.get())[1];
  return true;
}

std::size_t RegularExpression::Matches::position() const { return pcre2_get_ovector_pointer(data_.get())[0]; }

std::string_view RegularExpression::Matches::text(std::size_t group) const {
  const PCRE2_SIZE* const range = pcre2_get_ovector_pointer(data_.get()) + 2 * group;
  if (range[0] == PCRE2_UNSET) return {};
  return subject_.substr(range[0], range[1] - range[0]);
}

}  // namespace caprion
