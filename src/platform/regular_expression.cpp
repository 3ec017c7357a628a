#include "platform/regular_expression.hpp"

#include <cstdint>
#include <new>

namespace caprion {

namespace {

constexpr std::uint32_t mostGroups = 2;

PCRE2_SPTR units(std::string_view text) {
  return reinterpret_cast<PCRE2_SPTR>(text.data() != nullptr ? text.data() : "");
}

}  // namespace

RegularExpression::RegularExpression(std::string_view pattern) {
  int error = 0;
  PCRE2_SIZE offset = 0;
  code_.reset(pcre2_compile(units(pattern), pattern.size(), PCRE2_UTF | PCRE2_UCP | PCRE2_CASELESS, &error,
                            &offset, nullptr));
  if (code_ == nullptr) throw std::bad_alloc();
  // Where the system forbids JIT compilation, PCRE2 interprets the pattern.
  isJITCompiled_ = pcre2_jit_compile(code_.get(), PCRE2_JIT_COMPLETE) == 0;
}

RegularExpression::Matches::Matches(std::string_view subject)
    : subject_(subject), data_(pcre2_match_data_create(1 + mostGroups, nullptr)) {
  if (data_ == nullptr) throw std::bad_alloc();
}

void RegularExpression::Matches::of(const RegularExpression& expression) {
  expression_ = &expression;
  searchFrom_ = 0;
}

bool RegularExpression::Matches::next() {
  const pcre2_code* const code = expression_->code_.get();
  // pcre2_jit_match skips the checks of pcre2_match.
  const auto match = expression_->isJITCompiled_ ? pcre2_jit_match : pcre2_match;
  const int found = match(code, units(subject_), subject_.size(), searchFrom_,
                          PCRE2_NO_UTF_CHECK | PCRE2_NOTEMPTY, data_.get(), nullptr);
  if (found == PCRE2_ERROR_NOMATCH) return false;
  // Any other failure is a lack of memory or stack; ignoring it would silently lose matches.
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
