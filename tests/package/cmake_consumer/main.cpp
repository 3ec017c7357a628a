#include <caprion/caprion_helper.hpp>
#include <caprion/version.h>
#include <caprion/video_file_components.hpp>

#include <iostream>

int main() {
  const auto video = caprion::URL::fileURLWithPath("/videos/Show.Name.S01E02.mkv");
  const auto components = caprion::VideoFileUtilities::componentsFrom(video);
  // With a static library, decoding links the JSON library, and the client links the transport.
  const bool decodes = caprion::QueryResult::decode("[").has_value();
  caprion::CaprionHelper::shared();
  caprion::Caprion::shared().cancelQueryTask();
  std::cout << CaprionVersionNumber << ' ' << components.searchString() << ' ' << decodes << '\n';
}
