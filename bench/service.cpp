#include "service.hpp"

#include "comparison.hpp"
#include "stand_in.hpp"
#include "zip_writer.hpp"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <random>
#include <string>

namespace caprion::bench {

namespace {

/// Letters that hardly pack, so that the archive has about their size.
std::string archive() {
  std::string text;
  std::mt19937 random(1);
  while (text.size() < 66'000) text += static_cast<char>(' ' + random() % 64);
  stand_in::ZipWriter writer;
  writer.add(Service::subtitleName, text);
  return writer.finish();
}

/// Answers from memory until the other end of the connection is closed.
void serve(int connection) {
  std::map<std::string, stand_in::Answer> answers;
  for (const int hits : {1, 50}) {
    stand_in::Answer& near = answers["/search/query-" + std::to_string(hits)];
    near.body = answer(static_cast<std::size_t>(hits));
    stand_in::Answer& far = answers["/search/query-" + std::to_string(hits) + "%20hits,%20far%20away"];
    far = near;
    far.delay = std::chrono::milliseconds(20);
  }
  const std::string link = Service::archiveURL;
  answers[link.substr(link.find("/en/"))].body = archive();

  const stand_in::StandIn standIn({},
                                  [&](const stand_in::Request& request) -> std::optional<stand_in::Answer> {
                                    const auto found = answers.find(request.target);
                                    if (found == answers.end()) return stand_in::Answer{.status = 404};
                                    return found->second;
                                  });
  const std::string places = standIn.proxyURL() + '\n' + standIn.authorityFile().string();
  if (::write(connection, places.data(), places.size()) < 0) return;
  char byte = 0;
  while (::read(connection, &byte, 1) > 0) {
  }
}

}  // namespace

Service::Service() {
  int ends[2];
  check(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no socket for the stand-in");
  process_ = ::fork();
  check(process_ >= 0, "no process for the stand-in");
  if (process_ == 0) {
    ::close(ends[0]);
    serve(ends[1]);
    std::_Exit(0);
  }
  ::close(ends[1]);
  connection_ = ends[0];

  char places[4096];
  const ssize_t size = ::read(connection_, places, sizeof places);
  check(size > 0, "the stand-in has not started");
  const std::string text(places, static_cast<std::size_t>(size));
  const std::string proxy = text.substr(0, text.find('\n'));
  for (const char* name : {"https_proxy", "http_proxy"}) ::setenv(name, proxy.c_str(), 1);
  for (const char* name : {"no_proxy", "NO_PROXY", "CURL_CA_BUNDLE", "SSL_CERT_DIR"}) ::unsetenv(name);
  ::setenv("SSL_CERT_FILE", text.substr(proxy.size() + 1).c_str(), 1);
}

Service::~Service() {
  ::close(connection_);
  ::waitpid(process_, nullptr, 0);
}

}  // namespace caprion::bench
