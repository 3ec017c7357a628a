#include "process.hpp"
#include "zip_writer.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <atomic>
#include <csignal>
#include <map>
#include <optional>
#include <set>

namespace caprion::test {

namespace {

using stand_in::Answer;
using namespace std::string_literals;

const std::string command = "env LC_ALL=C " CAPRION_COMMAND;

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
           Case{"hash -V", 0, "caprion 1.0\n", ""},
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
           Case{"get -j 0 x", 2, "", "--jobs"},
           Case{"get --pick x", 2, "", "terminal"},
           Case{"get -l de,klingon x", 2, "", "'klingon' is no language; see caprion languages"},
           Case{"languages", 0, "pob  pt-BR         Portuguese (Brazil)\n", ""},
           Case{"languages --json", 0,
                "{\"identifier\":\"pob\",\"tag\":\"pt-BR\",\"name\":\"Portuguese (Brazil)\"}\n", ""},
           Case{"parse", 2, "", "name"},
           Case{"download a b", 2, "", "one record"},
           Case{"hash --nonsense x", 2, "", "--nonsense"},
           Case{"search --text sintel", 0, "Sintel (2010)", ""},
           Case{"search --text sintel -l de,en", 0, "\n2  5000202  German    ", ""},
           Case{"search --text sintel --download 3", 1, "", "no more than 1"},
           Case{"search --json --text sintel -l DE", 0, "\"detailString\":\"Sintel (2010)\"", ""},
           Case{"search --file " + file, 0, "Big Buck Bunny", ""},
           Case{"search --where query=sintel --where sublanguageid=eng -l ger", 0, "5000201", ""},
           Case{"search --text nothing-of-the-kind", 1, "", "nothing found"},
           Case{"search -q --text nothing-of-the-kind", 1, "", ""},
           Case{"search --json --file missing", 3,
                "{\"file\":\"missing\",\"error\":{\"domain\":\"\",\"code\":0,", ""},
           Case{"search --file missing", 3, "", "Cannot create a video hash for the file"},
           Case{"hash " + file + " missing", 3, "0000000000100000  1048576  ", "missing"},
           Case{"hash --json -- " + file, 0,
                "a%FF.mkv\",\"fileHash\":\"0000000000100000\",\"fileSize\":1048576}\n", ""},
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

TEST(Command, ShowsAnErrorPageOnceAndWithoutItsControls) {
  stand_in::StandIn service("", [](const auto&) { return Answer{.body = "\x1b]0;title\n\x07no list"}; });
  const std::string line = command + " search --text x 2>&1";
  for (const std::string& each : {line, "script -qec " + shellQuoted(line) + " /dev/null"}) {  // a terminal's
    const auto run = runThrough(service, each);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.output.find("title"), run.output.rfind("title"));
    EXPECT_NE(run.output.find("0;title ␇no list"), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find("\x1b]"), std::string::npos);
  }
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
           Case{"parse -V >/dev/null; script -qec '" + command + " parse --json a\u202E' /dev/null", 0,
                "{\"file\":\"a\\u202e\",\"title\":\"a\\u202e\",\"searchString\":\"a\\u202e\"}\r\n"},
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

TEST(Command, GetsTheRightSubtitleForEachVideo) {
  auto record = boost::json::parse(contentOf(CATALOGUE "/catalogue.json")).as_array().at(0).as_object();
  record["MatchedBy"] = "moviehash";
  const std::string there = "  already there\n",
                    hit = "found by content, 1 word in common: Big Buck Bunny (2008)\n", found = "  " + hit,
                    eng = "big.eng.srt" + found, ger = "big.ger.srt" + found;
  const std::map<std::string, std::map<std::string, std::string>> archives{
      {"/sub/none", {{"a.nfo", "x"}}},
      {"/sub/page", {{"a.srt", "<!DOCTYPE html>"}}},
      {"/sub/parts", {{"a.CD1.srt", "one"}, {"a.CD2.srt", "two"}}},
      {"/sub/pack", {{"S01E01.srt", "one"}, {"x/a 1x02.srt", "two"}, {"y/a 2x02.srt", "three"}}}};
  struct Case {
    std::string line;
    int status;
    std::string output, error;  // of the error, a part
    std::string added;          // names that are new in the folder, each with a space behind it
    int requests;               // that the service gets; -1 for any number
    std::string hits = "";      // of every search: changes to a record, "ID FORMAT LANGUAGE NUMBER;" for each
    // Requests from the first to the last get this.
    int first = 1, last = 0;
    Answer::Fault fault = Answer::Fault::reset;
  };
  for (const Case& c : {
           Case{"$GET big.mkv", 0, eng, "", "big.eng.srt ", 2},
           Case{"LC_ALL= LC_MESSAGES=de_AT.UTF-8 LANG=fr $GET big.mkv", 0, ger, "", "big.ger.srt ", 2},
           Case{"$GET big.mkv -l pob -l en,DEU", 1, eng + ger, "big.mkv (pob): No subtitle found",
                "big.eng.srt big.ger.srt ", 5},
           Case{"$GET --json none.mkv", 1,
                "{\"file\":\"none.mkv\",\"language\":\"eng\",\"error\":{\"domain\":\"\","
                "\"code\":0,\"description\":\"No subtitle found\"}}\n",
                "", "", 2},
           // Of several hits, the one that suits the name.
           Case{"$GET -j 1 --json H*.mkv T*.mkv | cut -d, -f 4-", 0,
                "\"subtitleID\":\"5000602\",\"matchedBy\":\"moviehash\"}\n\"subtitleID\":\"5000404\","
                "\"matchedBy\":"
                "\"name\"}\n\"subtitleID\":\"5000702\",\"matchedBy\":\"name\"}\n",
                "",
                "Harbour.Lights.S01E02.eng.srt The.Lighthouse.Keepers.S01E03.eng.srt The.Tide.2011.eng.srt ",
                8},
           // What is a video, and in which order they come.
           Case{"mkdir -p s/t/.h; mv [A-Zn]*.mkv s/t/.h; mv big.mkv s/t/big.MKV; ln -s .. s/t/up; "
                "ln -s t/big.MKV s/big.l.mkv; $GET -j 1 s ./s/big.l.mkv s/t/../t",
                0, "s/big.l.eng.srt" + found + "s/t/" + eng, "2 videos: 2 placed", "s ", 3},
           Case{"touch a.jpg; $GET -l en,ger missing big.mkv /dev/null a.jpg ./missing", 3, eng + ger,
                "4 videos in 2 languages: 2 placed, 0 already there, 0 not found, 6 failed",
                "a.jpg big.eng.srt big.ger.srt ", 3},
           Case{"mkdir a; cp big.mkv a/1.mkv; cp big.mkv a/2.mkv; script -qec '$GET --pick a' /dev/null "
                "</dev/null | tail -n 1 | cut -d, -f 4-",
                0,
                " 1 not taken, 0 failed, 1 video not "
                "tried\r\n",
                "", "a ", 1},
           Case{"mv big.mkv big.b; $GET --any big.b", 0, eng, "", "big.b big.eng.srt ", 2},
           Case{"mkdir a; cp big.mkv a; cp big.mkv a/big.mp4; $GET a", 3, "a/" + eng,
                "like that of a/big.mkv", "a ", 2},
           Case{"mkdir a; cp big.mkv a; $GET -o . big.mkv a", 3, "./" + eng, "1 failed", "a big.eng.srt ", 2},
           // What is there already, and what may be replaced.
           Case{"echo mine >big.EN.SRT; $GET ./big.mkv; cat *.SRT", 0, "./big.EN.SRT" + there + "mine\n", "",
                "big.EN.SRT ", 0},
           Case{"touch big.ass; $GET big.mkv; $GET -l en,ger big.mkv", 0, "big.ass" + there + eng + ger, "",
                "big.ass big.eng.srt big.ger.srt ", 3},
           Case{"touch big.txt big.ger.srt; $GET big.mkv", 0, eng, "", "big.eng.srt big.ger.srt big.txt ", 2},
           Case{"ln -s none big.en.srt; $GET big.mkv", 3, "", "big.en.srt: No such file", "big.en.srt ", 0},
           Case{"mkdir -p o/big.en.srt; $GET -o o big.mkv", 3, "", "Is a directory", "o ", 0},
           Case{"echo mine >big.eng.srt; $GET --force big.mkv; head -n 1 *.srt", 0, eng + "1\n", "",
                "big.eng.srt ", 2},
           Case{"echo mine >a; ln -s a big.eng.srt; $GET --force big.mkv || cat a", 0, "mine\n",
                "big.eng.srt: File exists", "a big.eng.srt ", 1},
           Case{"$GET --force big.mkv", 1, "", "No subtitle found", "", 3,
                "1 mkv eng 5000101;2 ../x eng 5000101;"},
           Case{"$GET -n -l de big.mkv", 0, "big.ger.srt  would be placed, " + hit, "", "", 1},
           Case{"$GET -o /proc big.mkv", 3, "", "/proc/big.eng.srt: ", "", -1},
           Case{"umask 027; $GET big.mkv; stat -c %a *.srt", 0, eng + "640\n", "", "big.eng.srt ", 2},
           // How it is called, and what is in it.
           Case{"$GET big.mkv -l pt-BR", 0, "big.pt-BR.srt" + found, "", "big.pt-BR.srt ", 2,
                "1 SRT pob 5000101;"},
           Case{"$GET big.mkv -l sr", 0, "big.srp.sub" + found, "", "big.srp.sub ", 2, "1 sub scc 5000101;"},
           Case{"mv big.mkv 'a\xFF\n.b.mkv'; $GET --json -l zh a*", 0,
                "{\"file\":\"a\uFFFD\\n.b.mkv\",\"fileBytes\":\"a%FF%0A.b.mkv\",\"language\":\"chi\","
                "\"subtitle\":"
                "\"a\uFFFD\\n.b.chi.srt\",\"subtitleBytes\":\"a%FF%0A.b.chi.srt\",\"subtitleID\":\"5000105\","
                "\"matchedBy\":\"moviehash\",\"encoding\":\"gbk\"}\n",
                "", "a\xFF\n.b.chi.srt ", 2},
           Case{"$GET -l ru --keep-encoding big.mkv; head -n 3 *.srt | iconv -f cp1251 -t utf-8 | tail -n 1",
                0, "big.rus.srt" + found + "Добрый вечер. Где смотритель маяка?\r\n", "", "big.rus.srt ", 2},
           // Archives of no use, and a service in trouble.
           Case{"$GET big.mkv", 0, eng, "No subtitle file found", "big.eng.srt ", 4,
                "1 srt eng none;2 srt eng none;3 srt eng 5000101;"},
           Case{"$GET --json big.mkv | wc -l", 0, "1\n", "", "", 4,
                "1 srt eng none;2 srt eng none;3 srt eng none;4 srt eng 5000101;"},
           Case{"mkdir a; for i in 1 2 3 4 5; do cp big.mkv a/big.$i.mkv; done; $GET -j 1 a", 3,
                "a/big.1.eng.srt" + found,
                "1 placed, 0 already there, 0 not found, 3 failed, 1 video not tried, as the service can't "
                "be reached",
                "a ", -1, "", 2, 99},
           Case{"mv big.mkv Big.S01E02.mkv; $GET --json B*.mkv | cut -d, -f 4; cat B*.srt", 0,
                "\"subtitleID\":\"3\"\ntwo", "", "Big.S01E02.eng.srt ", 4,
                "1 srt eng page;2 srt eng parts;3 srt eng pack;"},
           Case{"$GET big.mkv", 0, eng, "", "big.eng.srt ", 3, "", 0, 0, Answer::Fault::none},
           Case{"$GET big.mkv", 0, eng, "", "big.eng.srt ", 3, "", 1, 1, Answer::Fault::none},
           Case{"$GET --json big.mkv | cut -d, -f 3-4", 0,
                "\"error\":{\"domain\":\"NSURLErrorDomain\",\"code\":-1005\n", "", "", 1, "", 0, 0},
           Case{"sh -c 'echo $$ >pid; exec $GET big.mkv' || echo $?", 0, "130\n", "", "pid ", 2, "", 1, 1,
                Answer::Fault::hang},
       }) {
    const TemporaryFolder folder, temporary;
    for (const auto& [name, size] :
         {std::pair("big.mkv", 1 << 20), std::pair("none.mkv", 0),
          std::pair("Harbour.Lights.S01E02.mkv", 3 << 20), std::pair("The.Lighthouse.Keepers.S01E03.mkv", 0),
          std::pair("The.Tide.2011.mkv", 0)}) {
      std::ofstream(folder.path / name) << "";
      std::filesystem::resize_file(folder.path / name, static_cast<std::uintmax_t>(size));
    }
    const auto before = namesIn(folder.path);
    std::atomic<int> requests = 0;
    stand_in::StandIn service(CATALOGUE, [&](const stand_in::Request& request) -> std::optional<Answer> {
      const int number = requests++;
      if (number >= c.first && number <= c.last) {
        if (c.fault == Answer::Fault::hang) ::kill(std::stoi(contentOf(folder.path / "pid")), SIGINT);
        return Answer{.status = 429, .body = "Too many requests", .fault = c.fault};
      }
      if (const auto files = archives.find(request.target); files != archives.end()) {
        stand_in::ZipWriter writer;
        for (const auto& [name, content] : files->second) writer.add(name, content);
        return Answer{.body = writer.finish()};
      }
      if (c.hits.empty() || !request.target.starts_with("/search/")) return std::nullopt;
      boost::json::array hits;
      std::istringstream words(c.hits);
      std::string id, format, language;
      for (std::string archive; words >> id >> format >> language && std::getline(words, archive, ';');) {
        hits.push_back(record);
        auto& one = hits.back().as_object();
        one["IDSubtitle"] = id;
        one["SubFormat"] = format;
        one["SubLanguageID"] = language;
        one["ZipDownloadLink"] = "https://dl.test/sub/" + archive.substr(1);
        if (archives.count("/sub/" + archive.substr(1)) > 0) one["MovieKind"] = "episode";
      }
      return Answer{.body = boost::json::serialize(hits)};
    });
    const auto run = runThrough(service, "cd " + folder.path.string() +
                                             "; export LC_ALL=C TMPDIR=" + temporary.path.string() +
                                             " GET='" CAPRION_COMMAND " get'; " + c.line);
    std::string added;
    for (const std::string& name : namesIn(folder.path)) {
      if (before.count(name) == 0 && !name.ends_with(".mkv")) added += name + " ";
    }
    EXPECT_EQ(run.status, c.status) << c.line << run.error;
    EXPECT_EQ(run.output, c.output) << c.line << run.error;
    EXPECT_NE(run.error.find(c.error), std::string::npos) << c.line << run.error;
    EXPECT_EQ(added, c.added) << c.line;
    EXPECT_TRUE(c.requests < 0 || requests == c.requests) << c.line << requests;
  }
}

TEST(Command, PlacesTextsOfEveryEncodingAsUTF8) {
  struct Case {
    std::string language, encoding, label = language;  // what the service says that it is in
  };
  for (const auto& [language, encoding, label] : {Case{"cze", "windows-1250"},
                                                  {"cze", "iso-8859-2"},
                                                  {"pol", "windows-1250"},
                                                  {"pol", "iso-8859-2"},
                                                  {"rus", "windows-1251"},
                                                  {"rus", "koi8-r"},
                                                  {"fre", "windows-1252"},
                                                  {"ell", "windows-1253"},
                                                  {"tur", "windows-1254"},
                                                  {"heb", "windows-1255"},
                                                  {"ara", "windows-1256"},
                                                  {"chi", "gbk"},
                                                  {"zht", "big5"},
                                                  {"jpn", "shift_jis"},
                                                  {"kor", "euc-kr"},
                                                  {"rus", "utf-16"},
                                                  {"rus", "utf-8"},
                                                  {"rus", "windows-1251", "fre"},
                                                  {"ell", "windows-1253", "pol"}}) {
    const TemporaryFolder folder;
    const std::string file = TEXTS "/" + language + ".txt";
    const auto encoded = runIn("env", "iconv -f utf-8 -t " + encoding + " " + file);
    const std::string hit =
        R"([{"IDSubtitle":"1","MatchedBy":"moviehash","SubFileName":"a.srt","SubLanguageID":")" + label +
        R"(","LanguageName":"","ISO639":"","SubFormat":"srt","MovieName":"A","MovieYear":"","MovieKind":"movie",)"
        R"("IDMovieImdb":"","SeriesIMDBParent":"","SeriesSeason":"","SeriesEpisode":"","SubSumCD":"",)"
        R"("ZipDownloadLink":"http://dl.test/"}])";
    stand_in::StandIn service("", [&](const stand_in::Request& request) {
      stand_in::ZipWriter writer;
      writer.add("a.srt", encoded.output);
      return Answer{.body = request.target == "/" ? writer.finish() : hit};
    });
    const auto run = runThrough(
        service, "cd " + folder.path.string() + "; export TMPDIR=$PWD/t; head -c 65536 /dev/zero >a.mkv; " +
                     command + " get --json -l " + label + " a.mkv && cmp a.*.srt " + file);
    EXPECT_EQ(run.status, 0) << language << " in " << encoding << " as " << label << run.output << run.error;
    const std::string told = "\"encoding\":\"" + encoding + "\"";
    EXPECT_EQ(run.output.find(told) != std::string::npos, encoding != "utf-8") << run.output;
  }
}

}  // namespace caprion::test
