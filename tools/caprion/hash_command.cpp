#include "command.hpp"
#include "text.hpp"

#include <caprion/caprion.hpp>

#include <string>

namespace caprion::tool {

namespace {

constexpr std::string_view hashHelp = R"(usage: caprion hash VIDEO...

Prints the movie hash and the size in bytes of each file, by which the service
identifies videos. For a file shorter than 65,536 bytes, which has no hash, it
prints "-" and 0.
)";

ExitStatus runHash(const Arguments& arguments, Output& output) {
  if (arguments.operands.empty()) throw UsageError("name at least one video file");

  ExitStatus status = ExitStatus::done;
  for (const std::string_view file : arguments.operands) {
    const auto hash = Caprion::hashFor(URL::fileURLWithPath(file));
    if (!hash) {
      const Error error("", 0, {}, "Cannot create a video hash for the file");
      output.printFailure(file, error, objectOf(file));
      status = ExitStatus::failed;
    } else if (output.json()) {
      boost::json::object line = objectOf(file);
      line["fileHash"] = hash->fileHash;
      line["fileSize"] = hash->fileSize;
      output.printJSON(line);
    } else {
      const std::string fileHash = hash->fileHash.empty() ? "-" : hash->fileHash;
      output.print(fileHash + "  " + std::to_string(hash->fileSize) + "  " + printable(file) + "\n");
    }
  }
  return status;
}

}  // namespace

constexpr Command hashCommand{"hash", "print the movie hash of video files", hashHelp, {}, runHash};

}  // namespace caprion::tool
