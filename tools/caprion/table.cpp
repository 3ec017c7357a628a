#include "table.hpp"

#include "text.hpp"

#include <algorithm>
#include <numeric>

namespace caprion::tool {

namespace {

constexpr std::size_t gap = 2;
// Where lines may be of any length, cells are never cut, but only these many columns are aligned: a single
// huge cell must not blow up every other line.
constexpr std::size_t widestAligned = 80;
constexpr std::size_t narrowestCut = 4;

}  // namespace

std::string tableLines(std::vector<Row> rows, std::optional<std::size_t> width, bool bold) {
  std::vector<std::size_t> widths(rows.empty() ? 0 : rows.front().size());
  for (Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      row[i] = printable(row[i]);
      widths[i] = std::max(widths[i], std::min(columns(row[i]), width.value_or(widestAligned)));
    }
  }

  if (width && !widths.empty()) {
    const std::size_t gaps = gap * (widths.size() - 1);
    std::size_t total = std::accumulate(widths.begin(), widths.end(), gaps);
    while (total > *width) {  // the widest column gives way
      std::size_t& widest = *std::max_element(widths.begin(), widths.end());
      if (widest <= narrowestCut) break;
      --widest;
      --total;
    }
  }

  std::string lines;
  for (std::size_t r = 0; r < rows.size(); ++r) {
    std::string line;
    std::size_t padding = 0;
    for (std::size_t i = 0; i < rows[r].size(); ++i) {
      const std::string cell = width ? fitted(rows[r][i], widths[i]) : rows[r][i];
      const std::size_t taken = columns(cell);
      if (!cell.empty()) line.append(padding, ' ').append(cell);
      padding = (cell.empty() ? padding : 0) + widths[i] - std::min(taken, widths[i]) + gap;
    }
    lines += bold && r == 0 ? "\033[1m" + line + "\033[0m\n" : line + "\n";
  }
  return lines;
}

}  // namespace caprion::tool
