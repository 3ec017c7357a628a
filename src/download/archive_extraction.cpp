#include "download/archive_extraction.hpp"

#include "platform/error.hpp"
#include "platform/file_manager.hpp"
#include "platform/letter_case.hpp"
#include "platform/process.hpp"
#include "platform/standard_output.hpp"

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string_view>

namespace caprion {

namespace {

/// How far a single entry may inflate. It ends one byte later, which tells.
constexpr std::uint64_t entrySizeLimit = std::uint64_t{256} << 20;

std::string_view lastComponent(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path.substr(path.rfind('/') + 1);
}

/// What stands behind the last period of the last component; empty when there is none.
std::string_view pathExtension(std::string_view path) {
  const std::string_view name = lastComponent(path);
  const std::size_t period = name.rfind('.');
  return period == std::string_view::npos ? "" : name.substr(period + 1);
}

/// The extension in lower case. It comes from a stranger, and must not lead into another folder.
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

}  // namespace

std::vector<Result<URL>> extractSubtitle(const Subtitle& subtitle, const CacheFolder& folder,
                                         const std::string& archive) {
  // Overwrite without asking; match names in any case (none are given); unpack into the folder.
  const Process unzip{.executable = "/usr/bin/unzip",
                      .arguments = {"-o", "-C", archive, "-d", folder.path()},
                      .fileSizeLimit = entrySizeLimit + 1,
                      // Should the host exit meanwhile, the folder stays locked until unzip is done with it.
                      .sharedDescriptor = folder.lockDescriptor()};
  if (const auto error = unzip.run()) return {*error};

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
    reports.emplace_back(
        Error("", 0,
              {{std::string(NSLocalizedDescriptionKey), "No subtitle file found in the zip archive."},
               {std::string(NSLocalizedRecoverySuggestionErrorKey), names}}));
  } else if (!fileExists(*chosen, folder.path())) {
    reports.emplace_back(libraryError("The unzipped subtitle file doesn't exist"));
  } else if (fileSize(*chosen) > entrySizeLimit) {
    reports.emplace_back(fileError(EFBIG, *chosen));  // it is cut short
  } else if (const std::string name = renamed(*chosen, subtitle);
             const auto error = moveItem(*chosen, name)) {
    reports.emplace_back(*error);
  } else {
    reports.emplace_back(URL::fileURLWithPath(name));
  }
  return reports;
}

}  // namespace caprion
