// Measures the cleaning of a large HTML mail beside `w3m -dump`, which lays the same file out as text. Both are
// whole processes that read the file and write to nowhere. Figures are medians.
#include "TavroCore/mail/MailBody.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench/Command.h"
#include "bench/Scratch.h"

namespace {

namespace fs = std::filesystem;

/// What newsletters are made of: nested tables, attributes longer than the text, entities, comments.
std::string newsletter(std::size_t size) {
  std::string html = "<html><head><style>td { color: black }</style></head><body><!-- preview --><div>\n";
  for (int number = 0; html.size() < size; ++number)
    html += fmt::format(
        "<table width=\"600\" cellpadding=\"0\" style=\"border-collapse:collapse;font-family:Helvetica,Arial\"><tr>\n"
        "  <td align=\"left\" style=\"padding:12px;color:#333333\"><h2>Offer {0}</h2><p>Tom &amp; Ann&nbsp;write:\n"
        "    &lt;hello&gt;, it&#39;s   cheap<br/>café &quot;{0}&quot;</p><!-- [if mso]><b>x</b><![endif] -->\n"
        "    <a href=\"https://shop.example/item/{0}?utm_source=mail&amp;utm_medium=html\">See more</a></td>\n"
        "</tr></table>\n\n",
        number);
  return html + "</div><script>if (a < b) track();</script></body></html>\n";
}

void clean(const char* path) {
  std::ifstream file(path, std::ios::binary);
  const std::string raw{std::istreambuf_iterator<char>(file), {}};
  fmt::print("{}\n", MailBody::clean(raw));
}

void measure(const fs::path& scratch) {
  constexpr int rounds = 9;
  constexpr std::size_t size = 4'000'000;
  const fs::path mail = scratch / "mail.html";
  std::ofstream(mail, std::ios::binary) << newsletter(size);
  std::vector<Cost> ours;
  std::vector<Cost> theirs;
  for (int round = 0; round < rounds; ++round) {  // in turns, so that what else the machine does falls on both
    ours.push_back(costOf({fs::read_symlink("/proc/self/exe"), mail}));
    theirs.push_back(costOf({"w3m", "-dump", "-T", "text/html", mail}));
  }
  const Cost our = median(ours);
  const Cost their = median(theirs);
  fmt::print("{:<34}{:>14}{:>14}{:>10}\n", "", "MailBody", "w3m -dump", "ratio");
  fmt::print("{:<34}{:>11.1f} ms{:>11.1f} ms{:>10.3f}\n", "HTML mail of 4 MB, to text", our.milliseconds,
             their.milliseconds, our.milliseconds / their.milliseconds);
  fmt::print("{:<34}{:>10.1f} MiB{:>10.1f} MiB{:>10.3f}\n", "memory for it", our.megabytes, their.megabytes,
             our.megabytes / their.megabytes);
}

}  // namespace

/// Without an argument it measures; with one, it is what is measured.
int main(int argc, char** argv) {
  if (argc == 2) {
    clean(argv[1]);
    return 0;
  }
  return measureInScratch(measure);
}
