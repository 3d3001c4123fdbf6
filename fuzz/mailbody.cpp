// A mail of any bytes is cleaned as ICU's regular expressions would do it: the patterns themselves, one after the
// other, stand beside the scanners that replace them.
#include "TavroCore/mail/MailBody.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "Platform/Text.h"
#include "fuzz/Check.h"

namespace {

using Text::Pattern;
constexpr auto anyCase = Pattern::Case::insensitive;

struct Step {
  Pattern pattern;
  std::string_view put;
};

template <typename Steps>
std::string applied(std::string text, const Steps& steps) {
  for (const Step& step : steps) text = step.pattern.replaceAll(text, step.put);
  return text;
}

std::string collapsed(const std::string& text) {
  static const std::array<Step, 4> steps = {{
      {Pattern(R"((?<!(?<![^\n])--(?= \n))[ \t]+\n)"), "\n"},  // but for the blank of a line "-- "
      {Pattern(R"((?m)^[ \t]+)"), ""},
      {Pattern(R"([ \t]{2,})"), " "},
      {Pattern(R"(\n{3,})"), "\n\n"},
  }};
  return applied(text, steps);
}

std::string stripped(const std::string& html) {
  static const std::array<Step, 30> steps = {{
      {Pattern(R"(<script\b[^>]*>[\s\S]*?</script>)", anyCase), ""},
      {Pattern(R"(<style\b[^>]*>[\s\S]*?</style>)", anyCase), ""},
      {Pattern(R"(<head\b[^>]*>[\s\S]*?</head>)", anyCase), ""},
      {Pattern(R"(<!--[\s\S]*?-->)"), ""},
      {Pattern("</p>", anyCase), "\n"},
      {Pattern("</div>", anyCase), "\n"},
      {Pattern("</h1>", anyCase), "\n"},
      {Pattern("</h2>", anyCase), "\n"},
      {Pattern("</h3>", anyCase), "\n"},
      {Pattern("</h4>", anyCase), "\n"},
      {Pattern("</h5>", anyCase), "\n"},
      {Pattern("</h6>", anyCase), "\n"},
      {Pattern("</li>", anyCase), "\n"},
      {Pattern("<br>", anyCase), "\n"},
      {Pattern("<br/>", anyCase), "\n"},
      {Pattern("<br />", anyCase), "\n"},
      {Pattern("<[^>]+>"), ""},
      {Pattern("&nbsp;"), " "},
      {Pattern("&amp;"), "&"},
      {Pattern("&lt;"), "<"},
      {Pattern("&gt;"), ">"},
      {Pattern("&quot;"), "\""},
      {Pattern("&#39;"), "'"},
      {Pattern("&apos;"), "'"},
      {Pattern("\u00A0"), " "},
      {Pattern("\u200B"), " "},
      {Pattern("\u200C"), " "},
      {Pattern("\u200D"), " "},
      {Pattern("\u2060"), " "},
      {Pattern("\uFEFF"), " "},
  }};
  return collapsed(applied(html, steps));
}

std::string cut(const std::string& text) {
  static const std::array<Pattern, 6> places = {
      Pattern("-----Original Message-----"),
      Pattern("-----Message d'origine-----"),
      Pattern("_{32}"),
      Pattern(R"((?m)^On .{0,200}? wrote:\s*$)"),
      Pattern(R"((?m)^Le .{0,200}?(a écrit|écrit)\s*:\s*$)"),
      Pattern("(?m)^>.*$"),
  };
  std::size_t end = text.size();
  for (const Pattern& place : places)
    if (const auto match = place.firstMatch(text)) end = std::min(end, match->begin);
  return text.substr(0, end);
}

std::string cleaned(std::string text) {
  static const Pattern html("<div|<p>|<p |<table|<html|<br|<span|<td|<a ", anyCase);
  text = Text::replaceAll(Text::replaceAll(text, "\r\n", "\n"), "\r", "\n");
  text = cut(html.firstMatch(text) ? stripped(text) : collapsed(text));
  if (const auto signature = text.find("\n-- \n"); signature != std::string::npos) text.resize(signature);
  return std::string(Text::trim(text));
}

/// Two roads to a mail: the bytes as they are, or each byte as one of these.
std::string mailOf(std::string_view bytes) {
  static const auto tokens = Text::split(
      std::string(199, 'x') +
          "|<script|</script>|<SCRIPT>|<\u017Fcript |</\u017Fcript>|<style|</style>|<\uFB06yle>|</\uFB05yle>"
          "|<head>|</head>|<header|<!--|-->|--|->|<|>|/|</p>|</DIV>|<br|<br>|<Br />|<div|<a |<\u017Fpan|&|&amp;"
          "|amp;|lt;|&lt;|&nbsp;|nbsp;|#39;|&apos;|\u00A0|\u200B|\u200D|\uFEFF| |\t|  |\n|\r|\v|\f|\u0085"
          "|\u2028|\u3000|On | wrote:|Le |a écrit|écrit|:|\n> |\n-- \n|-- |-----Original Message-----"
          "|-----Message d'origine-----|________________|x|_|9|\u0301|é|😀|\xFF|\n\n\n",
      '|');
  if (bytes.empty() || bytes.front() % 2 == 0) return std::string(bytes);
  std::string mail;
  for (const char byte : bytes.substr(1)) mail += tokens[static_cast<unsigned char>(byte) % tokens.size()];
  return mail;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size > 400) return 0;  // the patterns take quadratic time
  const std::string raw = mailOf({reinterpret_cast<const char*>(data), size});
  const std::string mail = Text::repairUTF8(raw);
  const std::string body = MailBody::clean(raw);
  const std::string expected = cleaned(mail);
  CHECK(Text::isValidUTF8(body));
  if (expected.size() <= MailBody::byteCap)
    CHECK(body == expected);
  else
    CHECK(body.size() < MailBody::byteCap + 50 && expected.starts_with(body.substr(0, body.rfind("\n\n[truncated: "))));
  CHECK(MailBody::stripHTMLToText(raw) == stripped(mail));
  return 0;
}
