#pragma once

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace caprion {

/// A case-insensitive regular expression over UTF-8 text, in PCRE2's syntax. Case, word characters and `\d`
/// follow Unicode; `[0-9]` is ASCII. Thread-safe.
class RegularExpression {
  struct Free {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
    void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
  };

 public:
  /// Compiles the pattern, which must be valid: any failure throws std::bad_alloc.
  explicit RegularExpression(std::string_view pattern);

  /// The compiled pattern, for direct use of PCRE2.
  const pcre2_code* code() const noexcept { return code_.get(); }

  /// Iterates over the non-overlapping, non-empty matches in one text, for one expression after the other.
  ///
  ///     RegularExpression::Matches match(text);
  ///     for (match.of(expression); match.next();) use(match.text());
  class Matches {
   public:
    /// `subject` must be well-formed UTF-8, which is not checked, and outlive this object. Like next(),
    /// throws std::bad_alloc.
    explicit Matches(std::string_view subject);

    /// Starts over with an expression, which must outlive the iteration.
    void of(const RegularExpression& expression);

    /// Advances to the next match; false if there is none.
    bool next();

    /// The byte offset of the match. Only after next() returned true.
    std::size_t position() const;

    /// The text of the match, or of group 1 or 2; empty for a group that didn't participate. Only after
    /// next() returned true.
    std::string_view text(std::size_t group = 0) const;

   private:
    const RegularExpression* expression_ = nullptr;
    std::string_view subject_;
    std::size_t searchFrom_ = 0;
    std::unique_ptr<pcre2_match_data, Free> data_;
  };

 private:
  std::unique_ptr<pcre2_code, Free> code_;
  bool isJITCompiled_ = false;
};

}  // namespace caprion
