#pragma once

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace caprion {

/// A case-insensitive regular expression over UTF-8 text, in PCRE2's syntax. Case, word characters and `\d`
/// are Unicode's; a range such as `[0-9]` is what it says. Any thread may search with it.
class RegularExpression {
  struct Free {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
    void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
  };

 public:
  /// Compiles the pattern, which is known to be a right one: throws std::bad_alloc whenever it can't.
  explicit RegularExpression(std::string_view pattern);

  /// The compiled pattern, for what else PCRE2 can do with it.
  const pcre2_code* code() const noexcept { return code_.get(); }

  /// The matches in one text that don't overlap, from left to right; of one expression after the other. An
  /// empty match counts as none.
  ///
  ///     RegularExpression::Matches match(text);
  ///     for (match.of(expression); match.next();) use(match.text());
  class Matches {
   public:
    /// `subject` has to be well-formed UTF-8, which is not checked, and to outlive this. Throws
    /// std::bad_alloc, as next() does.
    explicit Matches(std::string_view subject);

    /// Begins with the matches of an expression, which has to outlive them.
    void of(const RegularExpression& expression);

    /// Goes to the next match, to the first one at the first call; false when there is none.
    bool next();

    /// Where the match begins, in bytes. Only after next() returned true.
    std::size_t position() const;

    /// The text that the match, or one of its first two groups, covers; empty for a group that took no part.
    /// Only after next() returned true.
    std::string_view text(std::size_t group = 0) const;

   private:
    const RegularExpression* expression_ = nullptr;
    std::string_view subject_;
    std::size_t searchFrom_ = 0;
    std::unique_ptr<pcre2_match_data, Free> data_;
  };

 private:
  std::unique_ptr<pcre2_code, Free> code_;
  bool isMachineCode_ = false;
};

}  // namespace caprion
