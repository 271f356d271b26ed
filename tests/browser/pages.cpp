// Writes pages of made-up rehearsals into a folder: of the same keys and values with harmless texts
// and with hostile ones, and a small one.

#include "html_report.h"
#include "made_up.h"

#include <fstream>

namespace {

constexpr std::string_view kHostile[] = {
    "<script>document.title='x'</script>",
    "</td></tr></table></details></main>",
    "\"><img src='http://127.0.0.1:9/x' onerror='document.title=1'>",
    "' onclick='document.title=1' x='",
    "<!--",
    "]]>",
    "<![CDATA[",
    "<?xml ?>",
    "</style></title></pre></textarea>",
    "<plaintext>",
    "<base href='http://127.0.0.1:9/'><link rel='stylesheet' href='x'>",
    "<iframe src='//127.0.0.1:9/'></iframe>",
    "&lt;b&gt; &amp &#0; &#x202e;",
    "\xE2\x80\xAE\xE2\x81\xA6\xE2\x80\x8F",  // right-to-left override, isolate and mark
    "\xD7\x90\xD7\x91\xD7\x92 \xD8\xA7\xD8\xA8 123",
    "\xFF\xFE\xC0\xAF\xED\xA0\x80\xF4\x90\x80\x80",
    "\x01\x07\x08\x1B[2J\x7F\xC2\x9B",
    "\r\t \xC2\x85\xE2\x80\xA8\xEF\xBF\xBE\xEF\xBB\xBF",
    "javascript:document.title=1",
    "<svg/onload=document.title=1><math><mi>",
};
constexpr size_t kKinds = std::size(kHostile);

std::string harmless(size_t i) {
  return "text" + std::to_string(1000 + i);
}

// Each pair of kinds at most once.
std::string hostile(size_t i) {
  std::string text(kHostile[i % kKinds]);
  return text.append(kHostile[(i / kKinds + i) % kKinds]).append(std::to_string(i));
}

zeva::Rehearsal of_texts(std::string (*text_at)(size_t), size_t count = 200) {
  zeva::Rehearsal rehearsal;
  zeva::Key& before = *(rehearsal.before = std::make_unique<zeva::Key>());
  zeva::Key& after = *(rehearsal.after = std::make_unique<zeva::Key>());
  rehearsal.result = 0;
  for (size_t i = 0; i < count; ++i) {
    std::string const words = text_at(i);
    std::string const task = "registry\\policy\\Rule\\Mail\\rules\\" + words + "\\tasks\\" + words;
    put(i % 2 == 0 ? before : after, task, {text(words, words)});
    put(before, "changed", {text(words, words)});
    put(after, "changed", {text(words, "another")});
    rehearsal.log.push_back({"Warning: " + words, words, true});
    rehearsal.findings.push_back({"cut", words, words, words, words});
    rehearsal.findings.back().severity = static_cast<zeva::Severity>(i % 3);
    rehearsal.notes.push_back(words);
  }
  std::string large;  // a megabyte for 200 texts
  for (size_t i = 0; large.size() < count * 5243; ++i) large += text_at(i);
  put(after, "large", {text("large", large)});
  rehearsal.not_examined = text_at(0);
  return rehearsal;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::string const folder = argv[1];
  auto const write = [&](char const* name, zeva::Rehearsal const& rehearsal) {
    return static_cast<bool>(std::ofstream(folder + name)
                             << report_html(rehearsal, outline_of(rehearsal), {}));
  };
  bool const written = write("/harmless.html", of_texts(harmless)) &&
                       write("/hostile.html", of_texts(hostile)) &&
                       write("/small.html", of_texts(harmless, 5));
  return written ? 0 : 1;
}
