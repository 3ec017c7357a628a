#pragma once

#include "stand_in.hpp"

#include <boost/json/array.hpp>

#include <filesystem>
#include <string_view>

namespace caprion::stand_in {

/// The service's hits and archives, from a folder that README.md describes. Immutable, so any thread may use
/// it.
class Catalogue {
 public:
  /// An empty path is a catalogue without hits. Throws std::runtime_error if the folder can't be read.
  explicit Catalogue(std::filesystem::path folder);

  /// The hits for /search/..., the archive for /.../sub/NUMBER, and a 404 for everything else.
  Answer answer(const Request& request) const;

 private:
  Answer search(std::string_view path) const;
  Answer archive(std::string_view number) const;

  std::filesystem::path folder_;
  boost::json::array records_;
};

}  // namespace caprion::stand_in
