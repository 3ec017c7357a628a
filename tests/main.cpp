#include "service.hpp"
#include "zip_writer.hpp"

namespace caprion::test {

stand_in::StandIn& service() {
  static stand_in::StandIn server;
  return server;
}

Changes texts(const std::string& keys, std::vector<std::string> values) {
  Changes changes;
  for (const std::string& key : split(keys, ' ')) {
    std::string json = "\"";
    for (const char c : values[changes.size()]) (c == '"' ? json += '\\' : json) += c;
    changes.emplace_back(key, json + '"');
  }
  return changes;
}

std::string record(const Changes& changes) {
  const std::string keys =
      "IDSubtitle MatchedBy SubFileName SubLanguageID LanguageName ISO639 SubFormat MovieName MovieYear "
      "MovieKind IDMovieImdb SeriesIMDBParent SeriesSeason SeriesEpisode ZipDownloadLink SubDownloadLink "
      "SubSumCD";
  Changes members;
  for (const auto& key : split(keys, ' ')) members.emplace_back(key, "\"the " + key + '"');
  members[9].second = R"("movie")";
  for (const auto& change : changes) {
    const auto found = std::ranges::find(members, change.first, &Changes::value_type::first);
    found == members.end() ? members.push_back(change) : void(found->second = change.second);
  }
  std::string json;
  for (const auto& [key, value] : members) {
    if (!value.empty()) json += (json.empty() ? "{\"" : ",\"") + key + "\":" + value;
  }
  return json + "}";
}

std::string recordFor(const Changes& changes) {
  Changes all = texts("IDSubtitle SubFileName SubLanguageID SubFormat ZipDownloadLink",
                      {"42", "film.srt", "ENG", "SRT", "https://dl.test/42"});
  all.insert(all.end(), changes.begin(), changes.end());
  return record(all);
}

std::string zip(const std::vector<std::string>& names) {
  stand_in::ZipWriter writer;
  for (const std::string& name : names) {
    if (const std::size_t arrow = name.find(" -> "); arrow != std::string::npos) {
      writer.addSymlink(name.substr(0, arrow), name.substr(arrow + 4));
    } else {
      name.ends_with('/') ? writer.addFolder(name) : writer.add(name, name);
    }
  }
  return writer.finish();
}

}  // namespace caprion::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  const auto& service = caprion::test::service();
  for (const char* name : {"https_proxy", "http_proxy"}) ::setenv(name, service.proxyURL().c_str(), 1);
  ::setenv("no_proxy", "127.0.0.1,direct.test", 1);  // for tests of direct connections
  ::setenv("SSL_CERT_FILE", service.authorityFile().c_str(), 1);
  return RUN_ALL_TESTS();
}
