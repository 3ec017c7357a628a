#include "download/archive_extraction.hpp"

#include "download/zip_directory.hpp"
#include "platform/error.hpp"
#include "platform/file_manager.hpp"
#include "platform/letter_case.hpp"
#include "platform/process.hpp"
#include "platform/standard_output.hpp"

#include <sys/resource.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace caprion {

namespace {

/// For a single entry. unzip may write one byte more, which shows that the limit was exceeded.
constexpr std::uint64_t entrySizeLimit = std::uint64_t{256} << 20;
/// For all entries together.
constexpr std::uint64_t sizeLimit = std::uint64_t{1} << 30;
constexpr std::size_t entryLimit = 10'000;
constexpr std::chrono::seconds timeLimit(20);

constexpr const char* unzipPath = "/usr/bin/unzip";
/// unzip's exit status when it couldn't create or write a file.
constexpr int unzipCannotWrite = 50;

std::string_view lastComponent(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path.substr(path.rfind('/') + 1);
}

/// What follows the last period of the last component; empty if there is none.
std::string_view pathExtension(std::string_view path) {
  const std::string_view name = lastComponent(path);
  const std::size_t period = name.rfind('.');
  return period == std::string_view::npos ? "" : name.substr(period + 1);
}

/// In lower case. The text is untrusted, and must not lead into another folder.
std::string extensionFrom(std::string_view text) {
  std::string extension;
  for (const char c : lowercased(text)) {
    if (c == '/') {
      extension += "%2F";
    } else if (c == '\0') {
      extension += "%00";
    } else {
      extension += c;
    }
  }
  return extension;
}

std::string renamed(const std::string& path, const Subtitle& subtitle) {
  std::string stem = path;
  const std::string_view name = lastComponent(path);
  if (const std::size_t period = name.rfind('.'); period != std::string_view::npos) {
    stem.resize(path.size() - name.size() + period);
  }
  return stem + '.' + extensionFrom(subtitle.subLanguageID()) + '.' + extensionFrom(subtitle.subFormat());
}

/// An error if the archive declares more or larger files than the limits allow.
std::optional<Error> declaredExcess(const std::string& archive) {
  std::size_t entries = 0;
  std::uint64_t total = 0;
  readZipDirectory(archive, [&](std::string_view, std::uint64_t size) {
    total += std::min(size, sizeLimit + 1);
    return ++entries <= entryLimit && total <= sizeLimit;
  });
  if (entries > entryLimit) return fileError(EFBIG, archive, "it holds more than 10,000 files");
  if (total > sizeLimit) return fileError(EFBIG, archive, "it unpacks to more than 1 GiB");
  return std::nullopt;
}

/// An error if the file was truncated because unzip, whose exit status is `status`, couldn't write all of it.
std::optional<Error> cutShort(const std::string& archive, const std::string& folder,
                              const std::string& relativePath, std::optional<int> status) {
  const std::string path = folder + '/' + relativePath;
  const std::uint64_t size = fileSize(path);
  if (size > entrySizeLimit) return fileError(EFBIG, path);
  if (status && *status != unzipCannotWrite && *status < 128) return std::nullopt;

  std::optional<std::uint64_t> declaredSize;
  readZipDirectory(archive, [&](std::string_view name, std::uint64_t entrySize) {
    if (name == relativePath) declaredSize = entrySize;  // of duplicates, the last one is on disk
    return true;
  });
  const bool isWhole = declaredSize ? size >= *declaredSize : !status;
  if (isWhole) return std::nullopt;
  rlimit hosts{};
  if (::getrlimit(RLIMIT_FSIZE, &hosts) == 0 && size >= hosts.rlim_cur) return fileError(EFBIG, path);
  if (status == unzipCannotWrite) return fileError(ENOSPC, path);
  if (status) return fileError(EINTR, unzipPath, "it was ended by a signal");
  struct statvfs disk {};
  const bool isFull =
      ::statvfs(path.c_str(), &disk) == 0 && disk.f_bavail * disk.f_frsize < *declaredSize - size;
  if (isFull) return fileError(ENOSPC, path);
  return std::nullopt;
}

}  // namespace

std::vector<Result<URL>> extractSubtitle(const Subtitle& subtitle, const CacheFolder& folder,
                                         const std::string& archive, const std::stop_token& stop) {
  if (const auto error = declaredExcess(archive)) return {*error};
  // -o: overwrite without asking; -C: match names in any case (none are given).
  const Process unzip{.executable = unzipPath,
                      .arguments = {"-o", "-C", archive, "-d", folder.path()},
                      .fileSizeLimit = entrySizeLimit + 1,
                      .writeLimit = sizeLimit,
                      .timeLimit = timeLimit,
                      // If the host exits meanwhile, the folder stays locked until unzip has ended.
                      .sharedDescriptor = folder.lockDescriptor()};
  const auto status = unzip.run(stop);
  if (!status) return {status.error()};

  std::vector<Result<URL>> reports;
  std::string names;
  std::optional<std::string> chosen;
  const std::string_view extension = pathExtension(subtitle.subFileName());
  enumerate(
      folder.path(),
      [&](const std::string& path) {
        names.append(lastComponent(path)).append("\n");
        if (pathExtension(path) == extension) chosen = path;
        return !chosen;
      },
      [&](const std::string& path, const Error& error) {
        printLine("directoryEnumerator error at " + URL::fileURLWithPath(path).absoluteString() + ":  " +
                  std::string(error.localizedDescription()));
        reports.emplace_back(error);
      });

  if (!chosen) {
    auto userInfo = describedBy("No subtitle file found in the zip archive.");
    userInfo.emplace(NSLocalizedRecoverySuggestionErrorKey, std::move(names));
    reports.emplace_back(Error("", 0, std::move(userInfo)));
  } else if (const auto relativePath = pathWithin(folder.path(), *chosen); !relativePath) {
    reports.emplace_back(libraryError("The unzipped subtitle file doesn't exist"));
  } else if (const auto error = cutShort(archive, folder.path(), *relativePath, *status)) {
    reports.emplace_back(*error);
  } else {
    grantOwnerAccess(folder.path(), *relativePath);
    grantOwnerAccess(folder.path(),
                     chosen->substr(folder.path().size() + 1));  // the same file, unless it is a link
    const std::string name = renamed(*chosen, subtitle);
    const auto failure = moveItem(*chosen, name);
    reports.emplace_back(failure ? Result<URL>(*failure) : Result<URL>(URL::fileURLWithPath(name)));
  }
  return reports;
}

}  // namespace caprion
