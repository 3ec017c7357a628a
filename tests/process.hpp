#pragma once

#include "stand_in.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace caprion::test {

/// The exit status of a process (128 plus the signal, if one ended it), and its output.
struct Run {
  int status = -1;
  std::string output, error;
};

/// A new folder, removed on destruction.
struct TemporaryFolder {
  TemporaryFolder() {
    std::string pattern = testing::TempDir() + "caprion-test-XXXXXX";
    path = ::mkdtemp(pattern.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// Creates a file of `size` zeros; returns its path.
  std::string file(const std::string& name, std::uintmax_t size) const {
    std::ofstream{path / name};
    std::filesystem::resize_file(path / name, size);
    return path / name;
  }

  std::filesystem::path path;
};

/// A test with its own temporary folder, which the library uses too.
class InTemporaryFolder : public testing::Test {
 protected:
  InTemporaryFolder() { ::setenv("TMPDIR", root_.path.c_str(), 1); }
  ~InTemporaryFolder() override { ::unsetenv("TMPDIR"); }

  const TemporaryFolder root_;
};

inline std::string contentOf(const std::filesystem::path& file) {
  std::ostringstream content;
  content << std::ifstream(file, std::ios::binary).rdbuf();
  return content.str();
}

/// The names of everything below a folder, sorted.
inline std::string contentOfFolder(const std::filesystem::path& folder) {
  if (!std::filesystem::exists(folder)) return "no folder";
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    names.insert(entry.path().string().substr(folder.string().size() + 1));
  std::string all;
  for (const auto& name : names) all += (all.empty() ? "" : " ") + name;
  return all;
}

inline std::string shellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) c == '\'' ? quoted += "'\\''" : quoted += c;
  return quoted + "'";
}

/// A prefix for shell commands that makes programs use the stand-in.
inline std::string settingsFor(const stand_in::StandIn& service) {
  return "env -u no_proxy -u NO_PROXY https_proxy=" + service.proxyURL() +
         " http_proxy=" + service.proxyURL() + " SSL_CERT_FILE=" + service.authorityFile().string();
}

/// Runs a shell command with settings in front. Ends it after a minute, with status 124.
inline Run runIn(const std::string& settings, const std::string& commandLine) {
  const TemporaryFolder folder;
  const std::string line = settings + " timeout 60 sh -c " + shellQuoted(commandLine) + " >" +
                           (folder.path / "output").string() + " 2>" + (folder.path / "error").string();
  const int status = std::system(line.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), contentOf(folder.path / "output"),
          contentOf(folder.path / "error")};
}

inline Run runThrough(const stand_in::StandIn& service, const std::string& commandLine) {
  return runIn(settingsFor(service), commandLine);
}

}  // namespace caprion::test
