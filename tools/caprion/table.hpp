#pragma once

#include "text.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace caprion::tool {

struct Column {
  std::string heading;
  /// How narrow it may become for those right of it, where the terminal is too narrow for all; 0 of a column
  /// that is never cut as long as others can be.
  std::size_t narrowest = 0;
  Cut cut = Cut::end;
  /// It says nothing, and goes, when all its cells are the same.
  bool isForDifferences = false;
};

/// Any texts in rows, each with as many cells as there are columns.
struct Table {
  std::vector<Column> columns;
  std::vector<std::vector<std::string>> rows;
};

/// The table as lines with aligned columns, the headings first and `bold` or not. Where the `width` of a
/// terminal is given, cells are cut to it.
std::string linesOf(Table table, std::optional<std::size_t> width, bool bold);

}  // namespace caprion::tool
