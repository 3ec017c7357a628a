#include "service.hpp"

#include <cstdlib>

namespace caprion::test {

stand_in::StandIn& service() {
  static stand_in::StandIn server;
  return server;
}

std::string record(const std::vector<std::pair<std::string, std::string>>& changes) {
  std::vector<std::pair<std::string, std::string>> members;
  for (const char* key :
       {"IDSubtitle", "MatchedBy", "SubFileName", "SubLanguageID", "LanguageName", "ISO639", "SubFormat",
        "MovieName", "MovieYear", "MovieKind", "IDMovieImdb", "SeriesIMDBParent", "SeriesSeason",
        "SeriesEpisode", "ZipDownloadLink", "SubDownloadLink", "SubSumCD"}) {
    members.emplace_back(key, std::string("\"the ") + key + "\"");
  }
  members[9].second = R"("movie")";
  for (const auto& [key, value] : changes) {
    const auto same = [&key = key](const auto& member) { return member.first == key; };
    const auto found = std::find_if(members.begin(), members.end(), same);
    if (found != members.end()) found->second = value;
    if (found == members.end()) members.emplace_back(key, value);
  }
  std::string json;
  for (const auto& [key, value] : members) {
    if (!value.empty()) json += (json.empty() ? "{\"" : ",\"") + key + "\":" + value;
  }
  return json + "}";
}

}  // namespace caprion::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const auto& service = caprion::test::service();
  for (const char* name : {"https_proxy", "http_proxy"}) ::setenv(name, service.proxyURL().c_str(), 1);
  for (const char* name : {"no_proxy", "NO_PROXY"}) ::unsetenv(name);
  ::setenv("SSL_CERT_FILE", service.authorityFile().c_str(), 1);
  return RUN_ALL_TESTS();
}
