#include "comparison.hpp"
#include "stand_in.hpp"
#include "zip_writer.hpp"

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <random>

namespace caprion::bench {

namespace {

/// An archive of letters that can hardly be compressed.
std::string archive() {
  std::string text;
  std::mt19937 random(1);
  while (text.size() < subtitleSize) text += static_cast<char>(' ' + random() % 64);
  stand_in::ZipWriter writer;
  writer.add(subtitleName, text);
  return writer.finish();
}

/// Serves prepared answers.
[[noreturn]] void serve(int toParent) {
  std::map<std::string, stand_in::Answer> answers;
  for (const int hits : {1, 50}) {
    const std::string target = "/search/query-" + std::to_string(hits);
    answers[target].body = answer(static_cast<std::size_t>(hits));
    answers[target + "-far-away"] = {.body = answers[target].body, .delay = std::chrono::milliseconds(20)};
  }
  answers[std::strstr(archiveURL, "/en/")].body = archive();
  const stand_in::StandIn standIn(
      {}, [&](const stand_in::Request& request) { return std::optional(answers.at(request.target)); });
  const std::string places = standIn.proxyURL() + '\n' + standIn.authorityFile().string();
  check(::write(toParent, places.data(), places.size()) > 0, "nobody to serve");
  char byte = 0;
  while (::read(toParent, &byte, 1) > 0) continue;  // until the parent has ended
  std::_Exit(0);
}

}  // namespace

std::string answer(std::size_t hits) {
  std::string hit, json;
  std::ifstream file(HIT);  // with {n} in place of its number
  for (std::string line; std::getline(file, line);) hit += line;
  check(!hit.empty(), "no " HIT);
  for (std::size_t number = 0; number < hits; ++number) {
    const std::string digits = std::to_string(1'955'000'000 + number);
    json.append(number > 0 ? "," : "[").append(hit);
    for (std::size_t at = json.size() - hit.size(); (at = json.find("{n}", at)) != std::string::npos;)
      json.replace(at, 3, digits);
  }
  return json + ']';
}

void startService() {
  int ends[2];
  check(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no socket for the stand-in");
  const pid_t process = ::fork();
  check(process >= 0, "no process for the stand-in");
  ::close(ends[process == 0 ? 0 : 1]);
  if (process == 0) serve(ends[1]);
  char places[4096] = {};
  check(::read(ends[0], places, sizeof places - 1) > 0, "the stand-in has not started");
  const std::string text = places, proxy = text.substr(0, text.find('\n'));
  for (const char* name : {"https_proxy", "http_proxy"}) ::setenv(name, proxy.c_str(), 1);
  for (const char* name : {"no_proxy", "NO_PROXY", "CURL_CA_BUNDLE", "SSL_CERT_DIR"}) ::unsetenv(name);
  ::setenv("SSL_CERT_FILE", text.substr(proxy.size() + 1).c_str(), 1);
}

}  // namespace caprion::bench
