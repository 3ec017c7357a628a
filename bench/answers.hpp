#pragma once

#include <cstddef>
#include <string>

namespace caprion::bench {

/// The answer to a search with this many hits, of the service's shape: 50 keys and about 1,680 bytes each.
std::string answer(std::size_t hits);

}  // namespace caprion::bench
