#include "platform/url_components.hpp"

#include <caprion/url.hpp>

#include <gtest/gtest.h>

namespace caprion::test {

using namespace std::string_literals;

TEST(URL, AcceptsAndTakesApart) {
  struct Case {
    const char *text, *scheme, *host, *path;
  };
  for (const Case& c : {
           Case{"https://dl.example.org/a%20b/c", "https", "dl.example.org", "/a b/c"},
           Case{"HTTP://user:pw@EXAMPLE.org:8080?q=/#f", "http", "example.org", ""},
           Case{"http://[2001:db8::1]:80/x", "http", "[2001:db8::1]", "/x"},
           Case{"http://host#f", "http", "host", ""},
           Case{"mailto:someone@example.org", "mailto", "", "someone@example.org"},
           Case{"file:///etc/passwd", "file", "", "/etc/passwd"},
           Case{"a/b:c", "", "", "a/b:c"},
           Case{"?q", "", "", ""},
           Case{"http://", "http", "", ""},
       }) {
    const auto url = URL::fromString(c.text);
    ASSERT_TRUE(url) << c.text;
    EXPECT_EQ(url->absoluteString(), c.text);
    EXPECT_EQ(url->scheme(), c.scheme) << c.text;
    EXPECT_EQ(url->host(), c.host) << c.text;
    EXPECT_EQ(url->path(), c.path) << c.text;
  }
}

TEST(URL, RefusesWhatIsNoURL) {
  for (const std::string& text : {""s,
                                  " "s,
                                  "http://a b/"s,
                                  "http://x/%"s,
                                  "http://x/%4"s,
                                  "http://x/%zz"s,
                                  "ht tp://x"s,
                                  "1http://x"s,
                                  ":x"s,
                                  "a:b:c d"s,
                                  "http://x/\xC3\xA4"s,
                                  "http://x/\0"s,
                                  "http://x:80a/"s,
                                  "http://x:a/"s,
                                  "http://[::1"s,
                                  "http://[]/"s,
                                  "http://a@b@c/"s,
                                  "http://x/[y]"s,
                                  "http://x/\"y\""s,
                                  "x#a#b"s,
                                  "http://a[b]/"s}) {
    EXPECT_FALSE(URL::fromString(text)) << text;
  }
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
  EXPECT_TRUE(URL::fileURLWithPath("x").path().ends_with("/x"));
  EXPECT_TRUE(URL::fileURLWithPath("x").path().starts_with("/"));
}

}  // namespace caprion::test
