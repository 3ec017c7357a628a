// Extracts a subtitle from any bytes as an archive, or as the files in one. The first line has the first
// texts of the record.
#include "download/archive_extraction.hpp"
#include "platform/file_manager.hpp"
#include "platform/text.hpp"
#include "records.hpp"
#include "zip_writer.hpp"

#include <cassert>
#include <filesystem>
#include <fstream>

using namespace caprion;
namespace fs = std::filesystem;

namespace {

/// A folder tree with files that an archive may try to overwrite; the downloads are deep inside it.
struct Place {
  Place() {
    std::string pattern = fs::temp_directory_path() / "caprion-fuzz-XXXXXX";
    root = fs::canonical(::mkdtemp(pattern.data()));
    fs::create_directories(root / "a/b/Caprion/other");
    for (const char* folder : {"", "a", "a/b", "a/b/Caprion", "a/b/Caprion/other"}) {
      std::ofstream(root / folder / "film.srt") << "untouched";
    }
    ::setenv("TMPDIR", (root / "a/b").c_str(), 1);
  }
  ~Place() { removeItem(root); }

  /// Describes everything outside the folder: paths and modes, and when files were last changed.
  std::string contentOutside(const fs::path& folder) const {
    std::string content;
    for (fs::recursive_directory_iterator entry(root), end; entry != end; ++entry) {
      const auto status = entry->symlink_status();
      if (entry->path() == folder) entry.disable_recursion_pending();
      content += entry->path().string() + std::to_string(static_cast<unsigned>(status.permissions()));
      if (!fs::is_regular_file(status)) continue;
      content += ' ' + std::to_string(entry->last_write_time().time_since_epoch().count());
    }
    return content;
  }

  fs::path root;
};

/// An archive with a file for each line of NAME, a tab, CONTENT; a link if CONTENT is '>' and a target.
std::string archiveOf(std::string_view lines) {
  stand_in::ZipWriter writer;
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    const std::string_view name = line.substr(0, line.find('\t'));
    const std::string_view content = line.substr(std::min(name.size() + 1, line.size()));
    content.starts_with('>') ? writer.addSymlink(name, content.substr(1)) : writer.add(name, content);
  }
  return writer.finish();
}

void checkReports(const std::vector<Result<URL>>& reports, const std::string& folder) {
  assert(!reports.empty());
  for (const auto& report : reports) assert(!report || &report == &reports.back());
  if (!reports.back()) return;
  // A file or a folder of the archive, or a link to one, but nothing outside the folder.
  const std::string path = reports.back()->path();
  assert(path.starts_with(folder + '/') && fs::canonical(path).string().starts_with(folder + '/'));
  assert(fs::is_regular_file(path) || fs::is_directory(path));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  static const Place place;
  const std::string input(data, size);
  const std::size_t lineEnd = std::min(input.find('\n'), size);
  const auto subtitle = *Subtitle::decode(*fuzz::recordOf(repairedUTF8(input.substr(0, lineEnd)), '\t'));
  CacheFolder folder("Caprion", "42");
  assert(!folder.lock());
  const std::string archive = folder.path() + "/archive.zip";
  const std::string rest = input.substr(std::min(lineEnd + 1, size));
  std::ofstream(archive, std::ios::binary) << (input.starts_with('\t') ? rest : archiveOf(rest));

  static const std::string before = place.contentOutside(folder.path());
  checkReports(extractSubtitle(*subtitle, folder, archive), folder.path());
  assert(place.contentOutside(folder.path()) == before);
  folder.empty();
  assert(fs::is_empty(folder.path()));
  return 0;
}
