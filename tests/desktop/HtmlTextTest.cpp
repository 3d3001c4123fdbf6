// Guards what people read of a note: its lines as a browser shows them, for HTML that is fine, broken,
// cut off or hostile.
#include <gtest/gtest.h>

#include "Platform/linux/stores/HtmlText.h"

namespace {

struct Case {
  std::string html;
  std::string plain;
};

const std::vector<Case> cases = {
    {"", ""},
    {"plain text,\n  no markup", "plain text, no markup"},
    {"<div><b>Title</b></div><div>one<br>two</div>", "Title\none\ntwo"},
    {"<div><b>Title</b></div><div></div>", "Title"},
    {"Hi<br>-- <br>Boss<br>--<br>x -- <br>y", "Hi\n-- \nBoss\n--\nx --\ny"},
    {"<div>a</div><div><br></div><div>b</div>", "a\n\nb"},
    {"<p>a<br></p><p>b</p>", "a\nb"},
    {"<h1>List</h1><ul><li>one</li><li>two<ul><li>inner</ul></ul>after", "List\none\ntwo\ninner\nafter"},
    {"<table><tr><td>a</td><td>b</td></tr><tr><td>c</td></tr></table>", "a\tb\nc"},
    {"<pre>a  b\n c</pre>d   e", "a  b\n c\nd e"},
    {"fish &amp; chips &lt;3 &euro;5 &#8364; &#x1F600; &nbsp;| AT&T &unknown; &#0; &#xD800;",
     "fish & chips <3 €5 € 😀 \u00A0| AT&T &unknown; \uFFFD \uFFFD"},
    {"&#99999999999999999999;&", "\uFFFD&"},
    {"a < b <> <3 </ >", "a < b <> <3 </ >"},
    {"<DIV CLASS='x>y' title=\"a<b\">A</DIV>B", "A\nB"},
    {"x<!-- <div>no</div> -->y<?php no ?>z<!DOCTYPE html>", "xyz"},
    {"<style>p{}</style><script>if (a</b>) </script><title>no</title>seen", "seen"},
    {"bad \xFF\xC3 bytes, <b>NUL</b> " + std::string(1, '\0'), "bad \uFFFD\uFFFD bytes, NUL \uFFFD"},
    {"<!-- never closed <div>gone</div>", ""},
    {"a&#10;b&#32;&#9;c&#x0a;", "a b c"},
    {"one <picture>two</picture> three</p>four", "one two three\nfour"},  // its beginnings hold "<p" and "</p"
    {"kept<a href=\"never closed>gone", "kept"},
};

TEST(HtmlText, readsAsABrowserShowsIt) {
  for (const auto& [html, plain] : cases) EXPECT_EQ(HtmlText::plain(html), plain) << html;
}

TEST(HtmlText, knowsTheFirstLineFromABeginningOnlyWhenItIsWhole) {
  for (const auto& [html, plain] : cases) {
    const auto first = HtmlText::firstLine(html);
    EXPECT_NE(plain.find(first.value_or("")), std::string::npos) << html;
    for (std::size_t cut = 0; cut <= html.size(); ++cut) {
      const auto early = HtmlText::firstLine(html.substr(0, cut), /*isBeginning=*/true);
      EXPECT_EQ(early.value_or(first.value_or("")), first.value_or("")) << html << " cut at " << cut;
    }
  }
}

TEST(HtmlText, isLinearInDepthAndInStrayTags) {
  std::string html;
  for (int i = 0; i < 200'000; ++i) html += "<div>";
  for (int i = 0; i < 200'000; ++i) html += "</i>&a<!";
  EXPECT_EQ(HtmlText::plain(html).size(), 400'000u);
  for (int i = 0; i < 200'000; ++i) html += "<script></scrip<a b=\"";
  EXPECT_TRUE(HtmlText::pictures(html + "<img src=x>").empty());
}

TEST(HtmlText, findsPictures) {
  const std::string html = "<img src=a.png><IMG alt=\"src=b\" SRC='c d.png'/><img><p src=e><!-- <img src=f> -->";
  EXPECT_EQ(HtmlText::pictures(html), (std::vector<std::string>{"a.png", "c d.png"}));
}

}  // namespace
