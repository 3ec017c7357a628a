#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace caprion::tool {

/// A row's cells: any texts, as many in each row of a table.
using Row = std::vector<std::string>;

/// The rows as lines with aligned columns, cut to `width` columns of a terminal where one is given. `bold`
/// sets the first row, the heading, in bold type.
std::string tableLines(std::vector<Row> rows, std::optional<std::size_t> width, bool bold);

}  // namespace caprion::tool
