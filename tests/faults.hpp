#pragma once

#include "process.hpp"
#include "service.hpp"

#include <string>
#include <vector>

namespace caprion::test {

/// One way to go wrong. BODY in the answer stands for the right body, and LENGTH for how many bytes that has.
struct Row {
  const char* what;
  stand_in::Answer answer{.body = "BODY"};
  std::string search{};    ///< how each line of the reports of a search begins; empty: there is no search
  std::string download{};  ///< the same of a download
  Changes changes{};       ///< of the record
  std::string content{};   ///< of the subtitle's folder afterwards; empty: whatever there is
  std::string host{};      ///< what process_under_test becomes; empty: this process is the host
  std::string prepare = "true";  ///< a shell's command line that is run in the temporary folder beforehand
  std::string folder = "ROOT";   ///< TMPDIR
};

/// What stands for the report of the one record, or of the one subtitle under its new name.
inline const std::string good = "good";
/// The beginning of a report of silence, before which a row waits for no more than 300 ms.
inline const std::string timedOut = "NSURLErrorDomain -1001 The request timed out";

inline const std::string goodList = "[" + record() + "]";
inline const std::string goodArchive = zip({"film.srt"});

/// Has each row's search and download, and holds them to their reports. After each, the session works as if
/// nothing had been, and nothing is left open, running or lying about.
void check(const std::vector<Row>& rows);

/// The reports of a process that does the row's operation twice, a search or the download of a record, and
/// then what it has written to its output; "skipped" where it can't become what it should.
std::vector<std::string> reportsOfProcess(const Row& row, const std::string& body,
                                          const std::filesystem::path& root, const std::string& operation);

}  // namespace caprion::test
