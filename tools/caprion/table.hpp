#pragma once

#include "text.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace caprion::tool {

struct Column {
  std::string heading;
  /// How far it is narrowed on a narrow terminal before any other column; 0 for a column that is cut last.
  std::size_t narrowest = 0;
  Cut cut = Cut::end;
  /// Omit the column if all its cells are the same.
  bool isForDifferences = false;
};

/// Every row has as many cells as there are columns.
struct Table {
  std::vector<Column> columns;
  std::vector<std::vector<std::string>> rows;
};

/// The table as aligned lines, the headings first. If the `width` of a terminal is given, cells are cut to
/// fit.
std::string linesOf(Table table, std::optional<std::size_t> width, bool bold);

}  // namespace caprion::tool
