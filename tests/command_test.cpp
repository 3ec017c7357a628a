#include "process.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <atomic>
#include <optional>
#include <set>

namespace caprion::test {

namespace {

using stand_in::Answer;
using namespace std::string_literals;

const std::string command = CAPRION_COMMAND;

/// The lines of a JSON output; a line that isn't an object fails the test.
std::vector<boost::json::object> objects(const std::string& output) {
  std::vector<boost::json::object> lines;
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) lines.push_back(boost::json::parse(line).as_object());
  return lines;
}

std::set<std::string> namesIn(const std::filesystem::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
}

}  // namespace

TEST(Command, ReportsByItsExitStatus) {
  stand_in::StandIn service(CATALOGUE);
  const TemporaryFolder folder;
  const std::string video = folder.path / "[x] a\xFF.mkv";
  std::ofstream(video) << "";
  std::filesystem::resize_file(video, 1 << 20);
  const std::string file = shellQuoted(video);

  struct Case {
    std::string words;
    int status;
    std::string output, error;  // parts that have to be there; empty for none at all
  };
  for (const Case& c : {
           Case{"--version", 0, "caprion 1.0\n", ""},
           Case{"--help", 0, "caprion COMMAND", ""},
           Case{"search --help", 0, "--where", ""},
           Case{"", 2, "", "usage"},
           Case{"frobnicate", 2, "", "frobnicate"},
           Case{"search", 2, "", "--file"},
           Case{"search --text a --file b", 2, "", "--help"},
           Case{"search --where query", 2, "", "query"},
           Case{"search --where Query=x", 2, "", "Query"},
           Case{"search --text", 2, "", "--text"},
           Case{"hash", 2, "", "file"},
           Case{"get", 2, "", "file"},
           Case{"get -o missing x", 2, "", "'missing'"},
           Case{"parse", 2, "", "name"},
           Case{"download a b", 2, "", "one record"},
           Case{"hash --nonsense x", 2, "", "--nonsense"},
           Case{"search --text sintel", 0, "Sintel (2010)", ""},
           Case{"search --json --text sintel -l ger", 0, "\"detailString\":\"Sintel (2010)\"", ""},
           Case{"search --file " + file, 0, "Big Buck Bunny", ""},
           Case{"search --where query=sintel --where sublanguageid=eng -l ger", 0, "English", ""},
           Case{"search --text nothing-of-the-kind", 1, "", "nothing found"},
           Case{"search --quiet --text nothing-of-the-kind", 1, "", ""},
           Case{"search --json --file missing", 3,
                "{\"file\":\"missing\",\"error\":{\"domain\":\"\",\"code\":0,", ""},
           Case{"search --file missing", 3, "", "Cannot create a video hash for the file"},
           Case{"hash " + file + " missing", 3, "0000000000100000  1048576  ", "missing"},
           Case{"hash --json -- " + file, 0,
                "a\xEF\xBF\xBD.mkv\",\"fileHash\":\"0000000000100000\",\"fileSize\":1048576}\n", ""},
           Case{"hash " + file + " >/dev/full", 3, "", "No space left"},
           Case{"hash " + file + " <&- >&- 2>&-", 3, "", ""},
       }) {
    const auto run = runThrough(service, command + " " + c.words);
    EXPECT_EQ(run.status, c.status) << c.words;
    EXPECT_NE(run.output.find(c.output), std::string::npos) << c.words << "\n" << run.output;
    EXPECT_NE(run.error.find(c.error), std::string::npos) << c.words << "\n" << run.error;
    EXPECT_EQ(run.output.empty(), c.output.empty()) << c.words << "\n" << run.output;
    EXPECT_EQ(run.error.empty(), c.error.empty()) << c.words << "\n" << run.error;
  }
}

TEST(Command, SendsEveryByteOfItsArguments) {
  stand_in::StandIn service;
  for (const auto& [word, sent] :
       {std::pair("[a,b]"s, "%5Ba,b%5D"s), std::pair(""s, ""s), std::pair("-x"s, "-x"s),
        std::pair("a=b=c"s, "a=b=c"s), std::pair("\xFF\n{}%"s, "%FF%0A%7B%7D%25"s)}) {
    runThrough(service, command + " search --text " + shellQuoted(word));
    EXPECT_EQ(service.requests().back().target, "/search/query-" + sent + "/sublanguageid-eng");
    runThrough(service, command + " search --where " + shellQuoted("tag=" + word) + " --where tag=");
    EXPECT_EQ(service.requests().back().target, "/search/tag-" + sent + "/tag-");
  }
}

TEST(Command, PrintsFailuresAsJSON) {
  stand_in::StandIn service;
  struct Case {
    std::string settings;
    Answer answer;
    std::string domain;
    int code;
    boost::json::value description;  // null stands for a null, false for any text
  };
  for (const Case& c : {
           Case{"", {.body = "no \0list"s}, "org.caprion.answer", 0, boost::json::string("no \0list"s)},
           Case{"", {.body = "\xFF"}, "org.caprion.answer", 0, nullptr},
           Case{"", {.body = ""}, "org.caprion.answer", 0, ""},
           Case{"", {.fault = Answer::Fault::reset}, "NSURLErrorDomain", -1005, false},
           Case{"SSL_CERT_FILE=/etc/ssl/certs/ca-certificates.crt ", {}, "NSURLErrorDomain", -1203, false},
           Case{"SSL_CERT_FILE=/missing ", {}, "NSURLErrorDomain", -1200, false},
           Case{"https_proxy=http://127.0.0.1:1 ", {}, "NSURLErrorDomain", -1004, false},
           Case{"https_proxy=http://host.invalid:1 ", {}, "NSURLErrorDomain", -1003, false},
       }) {
    service.setHandler([answer = c.answer](const auto&) { return answer; });
    const auto run =
        runThrough(service, "env -u SSL_CERT_DIR " + c.settings + command + " search --json --text x 2>&1");
    ASSERT_EQ(run.status, 3) << c.settings << run.output;
    const auto lines = objects(run.output.substr(run.output.rfind("{\"error\"")));
    ASSERT_EQ(lines.size(), 1u) << run.output;
    const auto& error = lines[0].at("error").as_object();
    EXPECT_EQ(error.at("domain").as_string(), c.domain) << run.output;
    EXPECT_EQ(error.at("code").as_int64(), c.code) << run.output;
    if (c.description.is_bool()) {
      EXPECT_FALSE(error.at("description").as_string().empty());
    } else {
      EXPECT_EQ(error.at("description"), c.description) << run.output;
    }
  }
}

TEST(Command, KeepsTheServersTextOffTheTerminal) {
  stand_in::StandIn service("", [](const auto&) { return Answer{.body = "\x1b]0;title\x07no list"}; });
  // script gives it a terminal.
  const auto run =
      runThrough(service, "script -qec " + shellQuoted(command + " search --text x") + " /dev/null");
  EXPECT_EQ(run.status, 3);
  EXPECT_NE(run.output.find("title"), std::string::npos);
  EXPECT_EQ(run.output.find("\x1b]"), std::string::npos);
}

TEST(Command, ParsesEachNameOnALineOfItsOwn) {
  stand_in::StandIn service;
  const std::string empty = "{\"file\":\"\",\"title\":\"\",\"searchString\":\"\"}\n";
  struct Case {
    std::string line;
    int status;
    std::string output;
  };
  for (const Case& c : {
           Case{"parse The.Show.S01E02.mkv ./-", 0,
                "The.Show.S01E02.mkv: The Show, season 1, episode 2\n./-: -\n"},
           Case{"parse --json -- 'a b (1999) 720p.mkv' -x", 0,
                "{\"file\":\"a b (1999) 720p.mkv\",\"title\":\"a b (\",\"year\":1999,\"resolution\":\"720p\","
                "\"searchString\":\"a b ( 1999\"}\n"
                "{\"file\":\"-x\",\"title\":\"-x\",\"searchString\":\"-x\"}\n"},
           Case{"parse --json ''", 0, empty},
           Case{"parse x/a.mkv/ /", 0, "x/a.mkv/: a\n/: /\n"},
           Case{"parse a\xFF\x1b.mkv", 0, "a\uFFFD\u241B.mkv: a\uFFFD\u241B\n"},
           Case{"parse --json - <names", 0,
                empty +
                    "{\"file\":\"x\\u0000y\\r\",\"title\":\"x\\u0000y\",\"searchString\":\"x\\u0000y\"}\n" +
                    empty +
                    "{\"file\":\"last 2001\",\"title\":\"last\",\"year\":2001,\"searchString\":\"last "
                    "2001\"}\n"},
           Case{"parse - </dev/null", 0, ""},
           Case{"parse --json - <.", 3,
                "{\"error\":{\"domain\":\"NSPOSIXErrorDomain\",\"code\":21,\"description\":\"Is a "
                "directory\"}}\n"},
           Case{"--version; yes | " + command + " parse - >/dev/full", 3, "caprion 1.0\n"},
       }) {
    const TemporaryFolder folder;
    std::ofstream(folder.path / "names") << "\nx\0y\r\n\nlast 2001"s;
    const auto run = runThrough(service, "cd " + folder.path.string() + "; " + command + " " + c.line);
    EXPECT_EQ(run.status, c.status) << c.line << run.error;
    EXPECT_EQ(run.output, c.output) << c.line << run.error;
  }
}

TEST(Command, DownloadsTheRecordThatASearchPrints) {
  stand_in::StandIn service(CATALOGUE);
  struct Case {
    std::string line;
    int status;
    std::string output, error;  // $FILE stands for the subtitle's path; of the error, a part
  };
  const std::string search = command + " search --json --text sintel | head -n 1 ";
  for (const Case& c : {
           Case{search + "| " + command + " download", 0, "$FILE\n", ""},
           Case{search + "| " + command + " download --json -", 0, "{\"file\":\"$FILE\"}\n", ""},
           Case{search + ">r; " + command + " download r; cat \"$TMPDIR\"/*/*/*.eng.srt | head -n 1", 0,
                "$FILE\n1\n", ""},
           Case{search + ">r; " + command + " download r", 0, "$FILE\n", ""},
           Case{command + " download </dev/null", 3, "", "standard input: "},
           Case{command + " download missing", 3, "", "missing: No such file"},
           Case{command + " download /dev/zero", 3, "", "/dev/zero: File too large"},
           Case{search + "| sed s/IDSubtitle/x/ >r; " + command + " download --json r | cut -d, -f 1-3", 0,
                "{\"file\":\"r\",\"error\":{\"domain\":\"Caprion.DecodingError\",\"code\":2\n", ""},
           Case{search + "| sed s/ZipDown/x/ | " + command + " download", 3, "", "No zip download link"},
       }) {
    const TemporaryFolder folder;
    const auto run = runThrough(service, "cd " + folder.path.string() + "; export TMPDIR=$PWD/t; " + c.line);
    std::string output = c.output;
    const std::size_t place = output.find("$FILE");
    if (place != std::string::npos)
      output.replace(place, 5, folder.path / "t/Caprion/5000201/Sintel.2010.720p.WEB-DL.en.eng.srt");
    EXPECT_EQ(run.status, c.status) << c.line << run.error;
    EXPECT_EQ(run.output, output) << c.line << run.error;
    EXPECT_NE(run.error.find(c.error), std::string::npos) << c.line << run.error;
  }
}

TEST(Command, GetsASubtitleForEachVideo) {
  const boost::json::object record =
      boost::json::parse(contentOf(CATALOGUE "/catalogue.json")).as_array().at(0).as_object();
  const std::string found = "  found by content: Big Buck Bunny (2008)\n", there = "  already there\n";
  struct Case {
    std::string line;
    int status;
    std::string output, error;            // of the error, a part
    std::string added;                    // names that are new in the folder, each with a space behind it
    std::optional<std::size_t> requests;  // that the service answers; absent for any number
    std::string language{}, format{};     // of its every hit, when there is a format
    std::size_t requestsUntilReset = 100;
  };
  for (const Case& c : {
           Case{"$GET big.mkv", 0, "big.eng.srt" + found, "", "big.eng.srt ", 2},
           Case{"$GET big.mkv -l ger", 0, "big.ger.srt" + found, "", "big.ger.srt ", 2},
           Case{"$GET night.of.the.living.dead.mkv", 0,
                "night.of.the.living.dead.eng.srt  found by name: Night of the Living Dead (1968)\n", "",
                "night.of.the.living.dead.eng.srt ", 3},
           Case{"$GET sintel.2010.mkv", 0, "sintel.2010.eng.srt  found by name: Sintel (2010)\n", "",
                "sintel.2010.eng.srt ", 2},
           Case{"$GET nothing.mkv", 1, "", "nothing.mkv: No subtitle found", "", 1},
           Case{"$GET missing big.mkv nothing.mkv", 3, "big.eng.srt" + found,
                "3 videos: 1 placed, 0 already there, 1 not found, 1 failed", "big.eng.srt ", 3},
           Case{"$GET big.mkv big.mkv", 0, "big.eng.srt" + found + "big.eng.srt" + there, "1 already there",
                "big.eng.srt ", 3},
           Case{"echo mine >big.eng.srt; $GET ./big.mkv; cat *.srt", 0, "./big.eng.srt" + there + "mine\n",
                "", "big.eng.srt ", 1},
           Case{"echo mine >big.eng.srt; $GET --force big.mkv; head -n 1 *.srt", 0,
                "big.eng.srt" + found + "1\n", "", "big.eng.srt ", 2},
           Case{"mkdir big.eng.srt; $GET --force big.mkv", 3, "", "big.eng.srt: Is a directory",
                "big.eng.srt ", 2},
           Case{"mkdir o; $GET -o o big.mkv; ls -A o", 0, "o/big.eng.srt" + found + "big.eng.srt\n", "", "o ",
                2},
           Case{"$GET -o /proc big.mkv", 3, "", "/proc/big.eng.srt: ", "", {}},
           Case{"umask 027; $GET big.mkv; stat -c %a *.srt", 0, "big.eng.srt" + found + "640\n", "",
                "big.eng.srt ", 2},
           Case{"cp big.mkv 'a\xFF\n.b.mkv'; $GET --json a*", 0,
                "{\"file\":\"a\uFFFD\\n.b.mkv\",\"subtitle\":\"a\uFFFD\\n.b.eng.srt\",\"subtitleID\":"
                "\"5000101\"}\n",
                "", "a\xFF\n.b.eng.srt a\xFF\n.b.mkv ", 2},
           Case{"$GET --json nothing.mkv", 1,
                "{\"file\":\"nothing.mkv\",\"error\":{\"domain\":\"\",\"code\":0,\"description\":\"No "
                "subtitle found\"}}\n",
                "", "", 1},
           Case{"$GET big.mkv big.mkv sintel.2010.mkv nothing.mkv", 3, "big.eng.srt" + found, "3 failed",
                "big.eng.srt ", 2, "", "", 2},
           Case{"$GET --json big.mkv sintel.2010.mkv | cut -d, -f 1,3", 0,
                "{\"file\":\"big.mkv\",\"code\":-1005\n{\"file\":\"sintel.2010.mkv\",\"code\":-1005\n", "",
                "", 1, "", "", 1},
           Case{"$GET big.mkv", 0, "big.x-y.s_t" + found, "", "big.x-y.s_t ", 2, "../X\x1b-y\0"s, ".S_/T\n"},
           Case{"$GET --force big.mkv", 3, "", "named like a video", "", 1, "/", "MKV"},
       }) {
    const TemporaryFolder folder, temporary;
    for (const auto& [name, size] :
         {std::pair("big.mkv", 1 << 20), std::pair("night.of.the.living.dead.mkv", 100'000),
          std::pair("sintel.2010.mkv", 0), std::pair("nothing.mkv", 0)}) {
      std::ofstream(folder.path / name) << "";
      std::filesystem::resize_file(folder.path / name, static_cast<std::uintmax_t>(size));
    }
    const auto before = namesIn(folder.path);
    std::atomic<std::size_t> answered = 0;
    stand_in::StandIn service(CATALOGUE, [&](const stand_in::Request& request) -> std::optional<Answer> {
      if (answered == c.requestsUntilReset) return Answer{.fault = Answer::Fault::reset};
      ++answered;
      if (c.format.empty() || !request.target.starts_with("/search/")) return std::nullopt;
      boost::json::object hit = record;
      hit["SubLanguageID"] = c.language;
      hit["SubFormat"] = c.format;
      return Answer{.body = boost::json::serialize(boost::json::array{hit})};
    });
    const auto run =
        runThrough(service, "cd " + folder.path.string() + "; export TMPDIR=" + temporary.path.string() +
                                "; GET='" + command + " get'; " + c.line);
    std::string added;
    for (const std::string& name : namesIn(folder.path)) {
      if (before.count(name) == 0) added += name + " ";
    }
    EXPECT_EQ(run.status, c.status) << c.line << run.error;
    EXPECT_EQ(run.output, c.output) << c.line << run.error;
    EXPECT_NE(run.error.find(c.error), std::string::npos) << c.line << run.error;
    EXPECT_EQ(added, c.added) << c.line;
    EXPECT_EQ(answered, c.requests.value_or(answered)) << c.line;
    EXPECT_EQ(std::filesystem::file_size(folder.path / "big.mkv"), 1u << 20) << c.line;
  }
}

}  // namespace caprion::test
