#include "platform/url_components.hpp"
#include "service.hpp"

#include <caprion/url.hpp>

namespace caprion::test {

using namespace std::string_literals;

TEST(URL, AcceptsAndTakesApart) {
  const struct {
    const char *text, *scheme, *host, *path;
  } cases[] = {
      {"https://dl.example.org/a%20b/c", "https", "dl.example.org", "/a b/c"},
      {"HTTP://user:pw@EXAMPLE.org:8080?q=/#f", "http", "example.org", ""},
      {"http://[2001:db8::1]:80/x", "http", "[2001:db8::1]", "/x"},
      {"http://host#f", "http", "host", ""},
      {"mailto:someone@example.org", "mailto", "", "someone@example.org"},
      {"file:///etc/passwd", "file", "", "/etc/passwd"},
      {"a/b:c", "", "", "a/b:c"},
      {"?q", "", "", ""},
      {"http://", "http", "", ""},
  };
  for (const auto& c : cases) {
    const auto url = URL::fromString(c.text);
    ASSERT_TRUE(url) << c.text;
    EXPECT_EQ(url->absoluteString(), c.text);
    EXPECT_EQ(url->scheme(), c.scheme) << c.text;
    EXPECT_EQ(url->host(), c.host) << c.text;
    EXPECT_EQ(url->path(), c.path) << c.text;
  }
}

TEST(URL, RefusesWhatIsNoURL) {
  const std::string refused =
      "| |http://a b/|http://x/%|http://x/%4|http://x/%zz|ht tp://x|1http://x|:x|a:b:c d|http://x/\xC3\xA4|"
      "http://x/\0|http://x:80a/|http://x:a/|http://[::1|http://[]/|http://a@b@c/|http://x/[y]|"
      "http://x/\"y\"|x#a#b|http://a[b]/"s;
  for (const std::string& text : split(refused, '|')) EXPECT_FALSE(URL::fromString(text)) << text;
}

TEST(URL, EncodesJustWhatAPathMayNotHold) {
  const std::string plain = "/azAZ09-._~:@!$&'()*+,;=/a/../b//";
  EXPECT_EQ((URLComponents{"https", "host", plain}.url()->absoluteString()), "https://host" + plain);
  EXPECT_EQ(
      (URLComponents{"https", "host", "/ %?#[]\"<>\\^`{|}\x7f\n\0\xC3\xA4\xFF"s}.url()->absoluteString()),
      "https://host/%20%25%3F%23%5B%5D%22%3C%3E%5C%5E%60%7B%7C%7D%7F%0A%00%C3%A4%FF");
  EXPECT_FALSE((URLComponents{"https", "host", "x"}.url()));
}

TEST(URL, OfAFileKeepsItsPathInAnyBytes) {
  for (const std::string& path : {"/a b"s, "/%41?#"s, "/\xFF\x01"s, "//x/../y/"s, "/a\0b"s}) {
    const URL url = URL::fileURLWithPath(path);
    EXPECT_EQ(url.path(), path);
    EXPECT_TRUE(url.isFileURL());
    EXPECT_EQ(URL::fromString(url.absoluteString()), url);
  }
  EXPECT_FALSE(URL::fromString("http:/a")->isFileURL());
  EXPECT_EQ(URL::fileURLWithPath("x").path(), std::filesystem::current_path() / "x");
}

}  // namespace caprion::test
