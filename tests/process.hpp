#pragma once

#include "stand_in.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace caprion::test {

/// What a finished process left: its exit status (128 and the number of a signal that ended it), and all it
/// wrote.
struct Run {
  int status = -1;
  std::string output, error;
};

/// A folder that lasts as long as this.
struct TemporaryFolder {
  TemporaryFolder() {
    std::string pattern = testing::TempDir() + "caprion-test-XXXXXX";
    path = ::mkdtemp(pattern.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::filesystem::path path;
};

inline std::string contentOf(const std::filesystem::path& file) {
  std::ostringstream content;
  content << std::ifstream(file, std::ios::binary).rdbuf();
  return content.str();
}

inline std::string shellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) c == '\'' ? quoted += "'\\''" : quoted += c;
  return quoted + "'";
}

/// Runs a shell's command line in an environment that leads to the stand-in. Whatever takes over a minute is
/// ended, with status 124.
inline Run runThrough(const stand_in::StandIn& service, const std::string& commandLine) {
  const TemporaryFolder folder;
  const std::string settings = "env -u no_proxy -u NO_PROXY https_proxy=" + service.proxyURL() +
                               " http_proxy=" + service.proxyURL() +
                               " SSL_CERT_FILE=" + service.authorityFile().string();
  const std::string line = settings + " timeout 60 sh -c " + shellQuoted(commandLine) + " >" +
                           (folder.path / "output").string() + " 2>" + (folder.path / "error").string();
  const int status = std::system(line.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), contentOf(folder.path / "output"),
          contentOf(folder.path / "error")};
}

}  // namespace caprion::test
