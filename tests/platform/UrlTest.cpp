// Guards what may be kept as a link: what RFC 3986 allows, nothing that a program would have to guess at.
#include <gtest/gtest.h>

#include <string>

#include "Platform/Url.h"

namespace {

using std::string_view;

TEST(UrlTest, takesWhatTheGrammarAllows) {
  for (const string_view text : {"message://%3Cabc@x.example%3E", "message:%3Cabc@x.example%3E",
                                 "https://user:pw@x.example:8080/a/b;c=1/?q=a:b@c/?d#f/?", "https://x.example?q#f",
                                 "https://[::1]:80/", "https://[::ffff:192.0.2.1]", "https://[v7.a:b]/", "https://",
                                 "https://x.example:/", "file:///home/ann/a%20b.txt", "mailto:ann@x.example",
                                 "a+b-c.1:x", "x:", "note", "a/b:c", "//x.example/a", "?q", "#f", "%41"})
    EXPECT_TRUE(Url::isValid(text)) << text;
}

TEST(UrlTest, refusesWhatShouldHaveBeenEscaped) {
  using namespace std::string_view_literals;
  for (const string_view text : {""sv,
                                 "not a url"sv,
                                 "https://x.example/a b"sv,
                                 " https://x.example"sv,
                                 "https://x.example\n"sv,
                                 "https://x.example/\0"sv,
                                 "https://x.example/ü"sv,
                                 "https://bücher.example/"sv,
                                 "message://<abc@x.example>"sv,
                                 "https://x.example/%zz"sv,
                                 "https://x.example/%4"sv,
                                 "%"sv,
                                 "1:2"sv,
                                 ":x"sv,
                                 "a_b:c"sv,
                                 "https://x.example:80a/"sv,
                                 "https://a@b@c/"sv,
                                 "https://[::1/"sv,
                                 "https://[::1]x/"sv,
                                 "https://[1.2.3.4]/"sv,
                                 "https://[::1%25eth0]/"sv,
                                 "https://[v.x]/"sv,
                                 "https://[v1]/"sv,
                                 "https://[]/"sv,
                                 "https://x[1].example/"sv,
                                 "https://x.example/[1]"sv,
                                 "a#b#c"sv,
                                 "a\\b"sv,
                                 "a|b"sv})
    EXPECT_FALSE(Url::isValid(text)) << text;
}

}  // namespace
