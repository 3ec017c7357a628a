#include "process.hpp"

#include <boost/json/parse.hpp>

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
    service.setHandler([&](const auto&) { return c.answer; });
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

}  // namespace caprion::test
