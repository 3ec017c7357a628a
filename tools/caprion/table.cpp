#include "table.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace caprion::tool {

namespace {

constexpr std::size_t gap = 2;
// Without a terminal, cells are never cut, but aligned only up to this width: a single huge cell must not
// widen every line.
constexpr std::size_t widestAligned = 80;
constexpr std::size_t narrowestCut = 4;

/// Removes isForDifferences columns whose cells are all the same.
void dropUniform(Table& table) {
  for (std::size_t i = table.columns.size(); i-- > 0;) {
    const auto& rows = table.rows;
    const auto isLikeTheFirst = [&](const auto& row) { return row[i] == rows.front()[i]; };
    if (!table.columns[i].isForDifferences || rows.size() < 2 ||
        !std::all_of(rows.begin(), rows.end(), isLikeTheFirst))
      continue;
    const auto place = static_cast<std::ptrdiff_t>(i);
    table.columns.erase(table.columns.begin() + place);
    for (auto& row : table.rows) row.erase(row.begin() + place);
  }
}

/// Narrows columns until they fit: first those with a `narrowest`, from the left, then the widest.
void fit(std::vector<std::size_t>& widths, const std::vector<Column>& columns, std::size_t width) {
  std::size_t total = std::accumulate(widths.begin(), widths.end(), gap * (widths.size() - 1));
  for (std::size_t i = 0; i < widths.size() && total > width; ++i) {
    if (columns[i].narrowest == 0 || widths[i] <= columns[i].narrowest) continue;
    const std::size_t taken = std::min(total - width, widths[i] - columns[i].narrowest);
    widths[i] -= taken;
    total -= taken;
  }
  for (; total > width; --total) {
    std::size_t& widest = *std::max_element(widths.begin(), widths.end());
    if (widest <= narrowestCut) break;
    --widest;
  }
}

}  // namespace

std::string linesOf(Table table, std::optional<std::size_t> width, bool bold) {
  dropUniform(table);
  std::vector<std::string> headings;
  for (const Column& column : table.columns) headings.push_back(column.heading);
  table.rows.insert(table.rows.begin(), std::move(headings));

  std::vector<std::size_t> widths(table.columns.size());
  for (auto& row : table.rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      row[i] = printable(row[i]);
      widths[i] = std::max(widths[i], std::min(columns(row[i]), width.value_or(widestAligned)));
    }
  }
  if (width && !widths.empty()) fit(widths, table.columns, *width);

  std::string lines;
  for (const auto& row : table.rows) {
    std::string line;
    std::size_t padding = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string cell = width ? fitted(row[i], widths[i], table.columns[i].cut) : row[i];
      const std::size_t taken = columns(cell);
      if (!cell.empty()) line.append(padding, ' ').append(cell);
      padding = (cell.empty() ? padding : 0) + widths[i] - std::min(taken, widths[i]) + gap;
    }
    lines += bold && &row == &table.rows.front() ? "\033[1m" + line + "\033[0m\n" : line + "\n";
  }
  return lines;
}

}  // namespace caprion::tool
