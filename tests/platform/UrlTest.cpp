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
  for (const string_view text :
       {"not a url"sv, "https://x.example/a b"sv, " https://x.example"sv, "https://x.example\n"sv,
        "https://x.example/\0"sv, "https://x.example/ü"sv, "https://bücher.example/"sv, "message://<abc@x.example>"sv,
        "https://x.example/%zz"sv, "https://x.example/%4"sv, "%"sv, "a\\b"sv, "a|b"sv})
    EXPECT_FALSE(Url::isValid(text)) << text;
}

TEST(UrlTest, refusesWhatTheGrammarDoesNotKnow) {
  for (const string_view text :
       {"", "1:2", ":x", "a_b:c", "https://x.example:80a/", "https://a@b@c/", "https://[::1/", "https://[::1]x/",
        "https://[1.2.3.4]/", "https://[::1%25eth0]/", "https://[v.x]/", "https://[v1]/", "https://[]/",
        "https://x[1].example/", "https://x.example/[1]", "a#b#c"})
    EXPECT_FALSE(Url::isValid(text)) << text;
}

}  // namespace
