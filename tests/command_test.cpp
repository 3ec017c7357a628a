#include "process.hpp"
#include "service.hpp"
#include "zip_writer.hpp"

#include <csignal>
#include <map>
#include <numeric>

namespace caprion::test {

namespace {

using stand_in::Answer;
using Fault = Answer::Fault;
using namespace std::string_literals;

const std::string command = "env LC_ALL=C " CAPRION_COMMAND;

const std::string setup = "\nexport TMPDIR=$PWD/t C='" + command + R"sh('
  truncate -s 1M "$(printf '[x] a\377.mkv')"
  printf '\nx\0y\r\n\nlast 2001' >names
  $C )sh";

/// Replaces each ' by ".
std::string json(std::string text) {
  std::ranges::replace(text, '\'', '"');
  return text;
}

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// The arguments of a command, and what it must return and write.
struct Line {
  std::string text;
  int status;
  std::string output;  // with ' for each ", and HERE for the working folder; after "*", only a part
  std::string error;   // a part; empty for no error output
};

/// Runs each line in a new folder, with the stand-in's catalogue.
void check(const std::vector<Line>& lines) {
  stand_in::StandIn service(CATALOGUE);
  for (const Line& line : lines) {
    const TemporaryFolder folder;
    const auto run = runThrough(service, "cd " + folder.path.string() + setup + line.text);
    SCOPED_TRACE(line.text + "\n" + run.output + run.error);
    std::string output = json(line.output);
    if (const auto at = output.find("HERE"); at != std::string::npos) output.replace(at, 4, folder.path);
    EXPECT_EQ(run.status, line.status);
    EXPECT_TRUE(output[0] == '*' ? holds(run.output, output.substr(1)) : run.output == output);
    EXPECT_TRUE(line.error.empty() ? run.error.empty() : holds(run.error, line.error));
  }
}

}  // namespace

TEST(Command, ReportsByItsExitStatus) {
  check({
      {"--version", 0, "caprion 1.0\n", ""},
      {"--help", 0, "*caprion COMMAND", ""},
      {"search --help", 0, "*--where", ""},
      {"hash -V", 0, "caprion 1.0\n", ""},
      {"", 2, "", "usage"},
      {"frobnicate", 2, "", "frobnicate"},
      {"search", 2, "", "--file"},
      {"search --text a --file b", 2, "", "--help"},
      {"search --where query", 2, "", "query"},
      {"search --where Query=x", 2, "", "Query"},
      {"search --text", 2, "", "--text"},
      {"hash", 2, "", "file"},
      {"get", 2, "", "file"},
      {"get -o missing x", 2, "", "'missing'"},
      {"get -j 0 x", 2, "", "--jobs"},
      {"get --pick x", 2, "", "terminal"},
      {"get -l de,klingon x", 2, "", "'klingon' is no language; see caprion languages"},
      {"languages", 0, "*pob  pt-BR         Portuguese (Brazil)\n", ""},
      {"languages --json", 0, "*{'identifier':'pob','tag':'pt-BR','name':'Portuguese (Brazil)'}\n", ""},
      {"parse", 2, "", "name"},
      {"download a b", 2, "", "one record"},
      {"hash --nonsense x", 2, "", "--nonsense"},
      {"search --text sintel", 0, "*Sintel (2010)", ""},
      {"search --text sintel -l de,en", 0, "*\n2  5000202  German    ", ""},
      {"search --text sintel --download 3", 1, "", "no more than 1"},
      {"search --json --text sintel -l DE", 0, "*'detailString':'Sintel (2010)'", ""},
      {"search --file *.mkv", 0, "*Big Buck Bunny", ""},
      {"search --where query=sintel --where sublanguageid=eng -l ger", 0, "*5000201", ""},
      {"search --text nothing-of-the-kind", 1, "", "nothing found"},
      {"search -q --text nothing-of-the-kind", 1, "", ""},
      {"search --json --file missing", 3, "*{'file':'missing','error':{'domain':'','code':0,", ""},
      {"search --file missing", 3, "", "Cannot create a video hash for the file"},
      {"hash *.mkv missing", 3, "*0000000000100000  1048576  ", "missing"},
      {"hash --json -- *.mkv", 0, "*a%FF.mkv','fileHash':'0000000000100000','fileSize':1048576}\n", ""},
      {"hash *.mkv >/dev/full", 3, "", "No space left"},
      {"hash *.mkv <&- >&- 2>&-", 3, "", ""},
  });
}

TEST(Command, SendsEveryByteOfItsArguments) {
  service().setHandler(always({.body = "[]"}));
  for (const auto& [word, sent] :
       {std::pair("[a,b]"s, "%5Ba,b%5D"s), std::pair(""s, ""s), std::pair("-x"s, "-x"s),
        std::pair("a=b=c"s, "a=b=c"s), std::pair("\xFF\n{}%"s, "%FF%0A%7B%7D%25"s)}) {
    runThrough(service(), command + " search --text " + shellQuoted(word));
    EXPECT_EQ(service().requests().back().target, "/search/query-" + sent + "/sublanguageid-eng");
    runThrough(service(), command + " search --where " + shellQuoted("tag=" + word) + " --where tag=");
    EXPECT_EQ(service().requests().back().target, "/search/tag-" + sent + "/tag-");
  }
}

TEST(Command, PrintsFailuresAsJSON) {
  const struct {
    std::string settings;
    Answer answer;
    std::string error;  // the beginning
  } cases[] = {
      {"", {.body = "no \0list"s}, "'org.caprion.answer','code':0,'description':'no \\u0000list'}}\n"},
      {"", {.body = "\xFF"}, "'org.caprion.answer','code':0,'description':null"},
      {"", {.body = ""}, "'org.caprion.answer','code':0,'description':''"},
      {"", {.fault = Fault::reset}, "'NSURLErrorDomain','code':-1005,'description':'The "},
      {"SSL_CERT_FILE=/etc/ssl/certs/ca-certificates.crt ", {}, "'NSURLErrorDomain','code':-1203,"},
      {"SSL_CERT_FILE=/missing ", {}, "'NSURLErrorDomain','code':-1200,'description':'A "},
      {"https_proxy=http://127.0.0.1:1 ", {}, "'NSURLErrorDomain','code':-1004,'description':'Could "},
      {"https_proxy=http://host.invalid:1 ", {}, "'NSURLErrorDomain','code':-1003,'description':'The "},
  };
  for (const auto& [settings, answer, error] : cases) {
    service().setHandler(always(answer));
    const auto run =
        runThrough(service(), "env -u SSL_CERT_DIR " + settings + command + " search --json --text x");
    EXPECT_EQ(run.status, 3) << error;
    EXPECT_TRUE(run.output.starts_with(json("{'error':{'domain':" + error))) << run.output;
    EXPECT_EQ(std::ranges::count(run.output, '\n'), 1) << run.output;
  }
}

TEST(Command, ShowsAnErrorPageOnceAndWithoutItsControls) {
  service().setHandler(always({.body = "\x1b]0;title\n\x07no list"}));
  const std::string line = command + " search --text x 2>&1";
  for (const std::string& each : {line, "script -qec " + shellQuoted(line) + " /dev/null"}) {  // a terminal's
    const auto run = runThrough(service(), each);
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.output.find("title"), run.output.rfind("title"));
    EXPECT_NE(run.output.find("0;title ␇no list"), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find("\x1b]"), std::string::npos);
  }
}

TEST(Command, ParsesEachNameOnALineOfItsOwn) {
  const std::string empty = "{'file':'','title':'','searchString':''}\n";
  check({
      {"parse The.Show.S01E02.mkv ./-", 0, "The.Show.S01E02.mkv: The Show, season 1, episode 2\n./-: -\n",
       ""},
      {"parse --json -- 'a b (1999) 720p.mkv' -x", 0,
       "{'file':'a b (1999) 720p.mkv','title':'a b (','year':1999,'resolution':'720p',"
       "'searchString':'a b ( 1999'}\n{'file':'-x','title':'-x','searchString':'-x'}\n",
       ""},
      {"parse --json ''", 0, empty, ""},
      {"parse x/a.mkv/ /", 0, "x/a.mkv/: a\n/: /\n", ""},
      {"parse a\xFF\x1b.mkv", 0, "a\uFFFD\u241B.mkv: a\uFFFD\u241B\n", ""},
      {"parse --json - <names", 0,
       empty + "{'file':'x\\u0000y\\r','title':'x\\u0000y','searchString':'x\\u0000y'}\n" + empty +
           "{'file':'last 2001','title':'last','year':2001,'searchString':'last 2001'}\n",
       ""},
      {"parse - </dev/null", 0, "", ""},
      {"parse -V >/dev/null; script -qec '$C parse --json a\u202E' /dev/null", 0,
       "{'file':'a\\u202e','title':'a\\u202e','searchString':'a\\u202e'}\r\n", ""},
      {"parse --json - <.", 3,
       "{'error':{'domain':'NSPOSIXErrorDomain','code':21,'description':'Is a directory'}}\n", ""},
      {"--version; yes | $C parse - >/dev/full", 3, "caprion 1.0\n", "No space left"},
  });
}

TEST(Command, DownloadsTheRecordThatASearchPrints) {
  const std::string search = "search --json --text sintel | head -n 1 ";
  const std::string file = "HERE/t/Caprion/5000201/Sintel.2010.720p.WEB-DL.en.eng.srt";
  check({
      {search + "| $C download", 0, file + "\n", ""},
      {search + "| $C download --json -", 0, "{'file':'" + file + "'}\n", ""},
      {search + ">r; $C download r; cat t/*/*/*.eng.srt | head -n 1", 0, file + "\n1\n", ""},
      {"download </dev/null", 3, "", "standard input: "},
      {"download missing", 3, "", "missing: No such file"},
      {"download /dev/zero", 3, "", "/dev/zero: File too large"},
      {search + "| sed s/IDSubtitle/x/ >r; $C download --json r | cut -d, -f 1-3", 0,
       "{'file':'r','error':{'domain':'Caprion.DecodingError','code':2\n", ""},
      {search + "| sed s/ZipDown/x/ | $C download", 3, "", "No zip download link"},
  });
}

TEST(Command, GetsTheRightSubtitleForEachVideo) {
  const std::string there = "  already there\n",
                    hit = "found by content, 1 word in common: Big Buck Bunny (2008)\n", found = "  " + hit,
                    eng = "big.eng.srt" + found, ger = "big.ger.srt" + found;
  const std::map<std::string, std::string> archives{
      {"none", zip({"a.nfo"})},
      {"page", zip({"<!DOCTYPE html>.srt"})},  // the file's content is its name
      {"parts", zip({"a.CD1.srt", "a.CD2.srt"})},
      {"pack", zip({"S01E01.srt", "x/a 1x02.srt", "y/a 2x02.srt"})}};
  const struct {
    std::string line;
    int status;
    std::string output, error;  // of `error`, a part
    std::string added;          // names of new files in the folder, each followed by a space
    int requests;               // to the service; -1 for any number
    std::string hits = "";      // of every search: changes to a record, "ID FORMAT LANGUAGE NUMBER;" for each
    // Requests `first` to `last`, counted from 0, fail with status 429 and this fault.
    int first = 1, last = 0;
    Fault fault = Fault::reset;
  } cases[] = {
      {"$GET big.mkv", 0, eng, "", "big.eng.srt ", 2},
      {"LC_ALL= LC_MESSAGES=de_AT.UTF-8 LANG=fr $GET big.mkv", 0, ger, "", "big.ger.srt ", 2},
      {"$GET big.mkv -l pob -l en,DEU", 1, eng + ger, "big.mkv (pob): No subtitle found",
       "big.eng.srt big.ger.srt ", 5},
      {"$GET --json none.mkv", 1,
       "{'file':'none.mkv','language':'eng',"
       "'error':{'domain':'','code':0,'description':'No subtitle found'}}\n",
       "", "", 2},
      // The hit that suits the name.
      {"$GET -j 1 --json H*.mkv T*.mkv | cut -d, -f 4-", 0,
       "'subtitleID':'5000602','matchedBy':'moviehash'}\n'subtitleID':'5000404','matchedBy':'name'}\n"
       "'subtitleID':'5000702','matchedBy':'name'}\n",
       "", "Harbour.Lights.S01E02.eng.srt The.Lighthouse.Keepers.S01E03.eng.srt The.Tide.2011.eng.srt ", 8},
      // Which files are videos, and their order.
      {"mkdir -p s/t/.h; mv [A-Zn]*.mkv s/t/.h; mv big.mkv s/t/big.MKV; ln -s .. s/t/up; "
       "ln -s t/big.MKV s/big.l.mkv; $GET -j 1 s ./s/big.l.mkv s/t/../t",
       0, "s/big.l.eng.srt" + found + "s/t/" + eng, "2 videos: 2 placed", "s ", 3},
      {"touch a.jpg; $GET -l en,ger missing big.mkv /dev/null a.jpg ./missing", 3, eng + ger,
       "4 videos in 2 languages: 2 placed, 0 already there, 0 not found, 6 failed",
       "a.jpg big.eng.srt big.ger.srt ", 3},
      {"mkdir a; cp big.mkv a/1.mkv; cp big.mkv a/2.mkv; script -qec '$GET --pick a' /dev/null "
       "</dev/null | tail -n 1 | cut -d, -f 4-",
       0, " 1 not taken, 0 failed, 1 video not tried\r\n", "", "a ", 1},
      {"mv big.mkv big.b; $GET --any big.b", 0, eng, "", "big.b big.eng.srt ", 2},
      {"mkdir a; cp big.mkv a; cp big.mkv a/big.mp4; $GET a", 3, "a/" + eng, "like that of a/big.mkv", "a ",
       2},
      {"mkdir a; cp big.mkv a; $GET -o . big.mkv a", 3, "./" + eng, "1 failed", "a big.eng.srt ", 2},
      // Existing files, and which of them may be replaced.
      {"echo mine >big.EN.SRT; $GET ./big.mkv; cat *.SRT", 0, "./big.EN.SRT" + there + "mine\n", "",
       "big.EN.SRT ", 0},
      {"touch big.ass; $GET big.mkv; $GET -l en,ger big.mkv", 0, "big.ass" + there + eng + ger, "",
       "big.ass big.eng.srt big.ger.srt ", 3},
      {"touch big.txt big.ger.srt; $GET big.mkv", 0, eng, "", "big.eng.srt big.ger.srt big.txt ", 2},
      {"ln -s none big.en.srt; $GET big.mkv", 3, "", "big.en.srt: No such file", "big.en.srt ", 0},
      {"mkdir -p o/big.en.srt; $GET -o o big.mkv", 3, "", "Is a directory", "o ", 0},
      {"echo mine >big.eng.srt; $GET --force big.mkv; head -n 1 *.srt", 0, eng + "1\n", "", "big.eng.srt ",
       2},
      {"echo mine >a; ln -s a big.eng.srt; $GET --force big.mkv || cat a", 0, "mine\n",
       "big.eng.srt: File exists", "a big.eng.srt ", 1},
      {"$GET --force big.mkv", 1, "", "No subtitle found", "", 3, "1 mkv eng 5000101;2 ../x eng 5000101;"},
      {"$GET -n -l de big.mkv", 0, "big.ger.srt  would be placed, " + hit, "", "", 1},
      {"$GET -o /proc big.mkv", 3, "", "/proc/big.eng.srt: ", "", -1},
      {"umask 027; $GET big.mkv; stat -c %a *.srt", 0, eng + "640\n", "", "big.eng.srt ", 2},
      // The subtitle's name and encoding.
      {"$GET big.mkv -l pt-BR", 0, "big.pt-BR.srt" + found, "", "big.pt-BR.srt ", 2, "1 SRT pob 5000101;"},
      {"$GET big.mkv -l sr", 0, "big.srp.sub" + found, "", "big.srp.sub ", 2, "1 sub scc 5000101;"},
      {"mv big.mkv 'a\xFF\n.b.mkv'; $GET --json -l zh a*", 0,
       "{'file':'a\uFFFD\\n.b.mkv','fileBytes':'a%FF%0A.b.mkv','language':'chi',"
       "'subtitle':'a\uFFFD\\n.b.chi.srt','subtitleBytes':'a%FF%0A.b.chi.srt',"
       "'subtitleID':'5000105','matchedBy':'moviehash','encoding':'gbk'}\n",
       "", "a\xFF\n.b.chi.srt ", 2},
      {"$GET -l ru --keep-encoding big.mkv; head -n 3 *.srt | iconv -f cp1251 -t utf-8 | tail -n 1", 0,
       "big.rus.srt" + found + "Добрый вечер. Где смотритель маяка?\r\n", "", "big.rus.srt ", 2},
      // Useless archives, and faults of the service.
      {"$GET big.mkv", 0, eng, "No subtitle file found", "big.eng.srt ", 4,
       "1 srt eng none;2 srt eng none;3 srt eng 5000101;"},
      {"$GET --json big.mkv | wc -l", 0, "1\n", "", "", 4,
       "1 srt eng none;2 srt eng none;3 srt eng none;4 srt eng 5000101;"},
      {"mkdir a; for i in 1 2 3 4 5; do cp big.mkv a/big.$i.mkv; done; $GET -j 1 a", 3,
       "a/big.1.eng.srt" + found, "3 failed, 1 video not tried, as the service can't be reached", "a ", -1,
       "", 2, 99},
      {"mv big.mkv Big.S01E02.mkv; $GET --json B*.mkv | cut -d, -f 4; cat B*.srt", 0,
       "'subtitleID':'3'\nx/a 1x02.srt", "", "Big.S01E02.eng.srt ", 4,
       "1 srt eng page;2 srt eng parts;3 srt eng pack;"},
      {"$GET big.mkv", 0, eng, "", "big.eng.srt ", 3, "", 0, 0, Fault::none},
      {"$GET big.mkv", 0, eng, "", "big.eng.srt ", 3, "", 1, 1, Fault::none},
      {"$GET --json big.mkv | cut -d, -f 3-4", 0, "'error':{'domain':'NSURLErrorDomain','code':-1005\n", "",
       "", 1, "", 0, 0},
      {"sh -c 'echo $$ >pid; exec $GET big.mkv' || echo $?", 0, "130\n", "", "pid ", 2, "", 1, 1,
       Fault::hang},
  };
  for (const auto& c : cases) {
    const TemporaryFolder folder, temporary;
    std::atomic<int> requests = 0;
    stand_in::StandIn service(CATALOGUE, [&](const stand_in::Request& request) -> std::optional<Answer> {
      const int number = requests++;
      if (number >= c.first && number <= c.last) {
        if (c.fault == Fault::hang) ::kill(std::stoi(contentOf(folder.path / "pid")), SIGINT);
        return Answer{.status = 429, .body = "Too many requests", .fault = c.fault};
      }
      const auto archive = archives.find(request.target.substr(request.target.rfind('/') + 1));
      if (archive != archives.end()) return Answer{.body = archive->second};
      if (c.hits.empty() || !request.target.starts_with("/search/")) return std::nullopt;
      std::string hits;
      for (const std::string& one : split(c.hits, ';')) {
        const auto words = split(one, ' ');
        hits += (hits.empty() ? "" : ",") +
                record(texts("IDSubtitle SubFormat SubLanguageID ZipDownloadLink MovieKind MatchedBy "
                             "MovieName MovieYear SubFileName",
                             {words[0], words[1], words[2], "https://dl.test/sub/" + words[3],
                              archives.contains(words[3]) ? "episode" : "movie", "moviehash",
                              "Big Buck Bunny", "2008", "Big.srt"}));
      }
      return Answer{.body = "[" + hits + "]"};
    });
    const auto run =
        runThrough(service, "cd " + folder.path.string() + "; TMPDIR=" + temporary.path.string() + R"(
      export TMPDIR LC_ALL=C GET=')" CAPRION_COMMAND R"( get'
      truncate -s 1M big.mkv
      truncate -s 3M Harbour.Lights.S01E02.mkv
      touch none.mkv The.Lighthouse.Keepers.S01E03.mkv The.Tide.2011.mkv
      )" + c.line);
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path)) {
      if (entry.path().extension() != ".mkv") names.insert(entry.path().filename().string() + " ");
    }
    EXPECT_EQ(run.status, c.status) << c.line << run.error;
    EXPECT_EQ(run.output, json(c.output)) << c.line << run.error;
    EXPECT_TRUE(holds(run.error, c.error)) << c.line << run.error;
    EXPECT_EQ(std::accumulate(names.begin(), names.end(), ""s), c.added) << c.line;
    EXPECT_TRUE(c.requests < 0 || requests == c.requests) << c.line << requests;
  }
}

TEST(Command, PlacesTextsOfEveryEncodingAsUTF8) {
  const struct {
    std::string language, encodings, label = language;  // `label`: the language given by the service
  } cases[] = {
      {"cze", "windows-1250 iso-8859-2"},
      {"pol", "windows-1250 iso-8859-2"},
      {"rus", "windows-1251 koi8-r utf-16 utf-8"},
      {"fre", "windows-1252"},
      {"ell", "windows-1253"},
      {"tur", "windows-1254"},
      {"heb", "windows-1255"},
      {"ara", "windows-1256"},
      {"chi", "gbk"},
      {"zht", "big5"},
      {"jpn", "shift_jis"},
      {"kor", "euc-kr"},
      {"rus", "windows-1251", "fre"},
      {"ell", "windows-1253", "pol"},
  };
  for (const auto& [language, encodings, label] : cases) {
    for (const std::string& encoding : split(encodings, ' ')) {
      const TemporaryFolder folder;
      const std::string file = TEXTS "/" + language + ".txt";
      const auto encoded = runIn("env", "iconv -f utf-8 -t " + encoding + " " + file);
      const std::string hit = recordFor(texts("MatchedBy SubLanguageID", {"moviehash", label}));
      stand_in::ZipWriter writer;
      writer.add("film.srt", encoded.output);
      service().setHandler([hit, archive = writer.finish()](const stand_in::Request& request) {
        return Answer{.body = request.host == "dl.test" ? archive : "[" + hit + "]"};
      });
      const auto run =
          runThrough(service(), "cd " + folder.path.string() +
                                    "; export TMPDIR=$PWD/t; head -c 65536 /dev/zero >a.mkv; " + command +
                                    " get --json -l " + label + " a.mkv && cmp a.*.srt " + file);
      EXPECT_EQ(run.status, 0) << language << " in " << encoding << " as " << label << run.output
                               << run.error;
      EXPECT_EQ(holds(run.output, json("'encoding':'" + encoding + "'")), encoding != "utf-8") << run.output;
    }
  }
}

}  // namespace caprion::test
