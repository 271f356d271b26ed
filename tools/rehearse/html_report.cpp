#include "html_report.h"

#include "digest.h"
#include "finding_report.h"
#include "html_style.h"
#include "printable.h"
#include "registry_view.h"

#include <pugixml.hpp>

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace zeva {
namespace {

using pugi::xml_node;
using Text = std::string const&;

// A browser takes a style sheet as it stands, without the references that a tree is written with.
static_assert(kPageStyle.find_first_of("<>&") == std::string_view::npos);

struct Link {
  char const* id;
  char const* title;
};
constexpr Link kAreasPart = {"areas", "Areas"};
constexpr Link kFindingsPart = {"findings", "Findings"};
constexpr Link kTargetPart = {"target", "This machine"};
constexpr Link kTroublesPart = {"troubles", "Warnings and errors of the run"};
constexpr Link kChangesPart = {"changes", "Changes in the store"};
constexpr Link kLogPart = {"log", "The run's log"};
constexpr Link kDigestsPart = {"digests", "What was rehearsed"};

constexpr char kNotCompared[] = "The stores cannot be compared.";

// In the order of Severity.
constexpr char const* kFindingCaptions[] = {
    "Errors: the run will fail", "Losses: what will not arrive, or not as it is", "Notes"};

// An element with a text, be it empty: without one it would be written as <td/>, which a browser
// takes for a start tag.
xml_node add(xml_node parent, char const* name, Text text = "") {
  xml_node element = parent.append_child(name);
  element.append_child(pugi::node_pcdata).set_value(text.c_str());
  return element;
}

// Of the few elements that have no end tag.
xml_node add_void(xml_node parent, char const* name) {
  return parent.append_child(name);
}

void set(xml_node element, char const* name, Text value) {
  element.append_attribute(name).set_value(value.c_str());
}

xml_node add_header(xml_node row, char const* scope, Text text = "") {
  xml_node header = add(row, "th", text);
  set(header, "scope", scope);
  return header;
}

void add_link(xml_node parent, Link const& link) {
  set(add(parent, "a", link.title), "href", std::string("#") + link.id);
}

// Each name for itself: letters that run from right to left would put the ones after them first.
void add_path(xml_node parent, std::string_view path) {
  if (path.empty()) add(parent, "bdi", "(the root)");
  for (char const* separator = ""; !path.empty(); separator = "\\") {
    std::string_view const name = path.substr(0, path.find('\\'));
    parent.append_child(pugi::node_pcdata).set_value(separator);
    add(parent, "bdi", printable(name));
    path.remove_prefix(std::min(path.size(), name.size() + 1));
  }
}

// Returns where its rows go.
xml_node add_table(xml_node parent, Text caption, std::initializer_list<char const*> columns) {
  xml_node table = parent.append_child("table");
  add(table, "caption", caption);
  xml_node row = table.append_child("thead").append_child("tr");
  for (char const* const column : columns) add_header(row, "col", column);
  return table;
}

// The changes of an area. A browser lays out a table as a whole, but none that is out of sight:
// there are as many as it takes.
class ChangeTables {
 public:
  ChangeTables() = default;
  explicit ChangeTables(xml_node parent) : parent_(parent) { begin_table("Key by key"); }

  void add_change(KeyChange const& change) {
    add_key(change);
    for (ValueChange const& value : change.values) {
      if (rows_ >= kMostRows) add_key(change);
      add_value(value);
    }
    if (change.values.empty()) set(add(add_row(), "td", "(no values)"), "colspan", "3");
  }

 private:
  static constexpr size_t kMostRows = 200;

  void begin_table(Text caption) {
    xml_node block = parent_.append_child("div");
    set(block, "class", "rows");
    table_ = add_table(block, caption, {"Key and value", "Before", "After"});
    rows_ = 0;
  }

  xml_node add_row() {
    ++rows_;
    return key_.append_child("tr");
  }

  void add_key(KeyChange const& change) {
    // There is no key without a row below it.
    if (rows_ + 1 >= kMostRows) begin_table("Key by key, continued");
    key_ = table_.append_child("tbody");
    auto const& [sign, word] = name_of(change.kind);
    xml_node key = add_header(add_row(), "rowgroup");
    set(key, "colspan", "3");
    set(key, "class", "key");
    set(add(key, "span", std::string(sign) + " " + word), "class", word);
    key.append_child(pugi::node_pcdata).set_value(" ");
    add_path(key, change.path);
  }

  void add_value(ValueChange const& value) {
    auto const kind = !value.before  ? KeyChange::Kind::kGained
                      : !value.after ? KeyChange::Kind::kLost
                                     : KeyChange::Kind::kChanged;
    auto const& [sign, word] = name_of(kind);
    std::string const& name = (value.before ? value.before : value.after)->name;
    xml_node row = add_row();
    set(add_header(row, "row", sign + (" " + (name.empty() ? "(no name)" : printable(name)))),
        "class", word);
    for (auto const* side : {&value.before, &value.after}) {
      add(row, "td", *side ? printable(value_text(**side)) : "(none)");
    }
  }

  xml_node parent_;
  xml_node table_;
  xml_node key_;     // the rows of the current one
  size_t rows_ = 0;  // in the current table
};

class HtmlReport {
 public:
  HtmlReport(Rehearsal const& rehearsal, Outline const& outline, Scope const& scope)
      : rehearsal_(rehearsal), outline_(outline), scope_(scope) {}

  std::string write() {
    document_.append_child(pugi::node_doctype).set_value("html");
    xml_node html = document_.append_child("html");
    set(html, "lang", "en");
    add_head(html.append_child("head"));
    body_ = html.append_child("body").append_child("main");
    add_verdict();
    xml_node const areas = add_part(kAreasPart);
    add_findings(kFindingsPart, rehearsal_.findings);
    add_findings(kTargetPart, rehearsal_.target);
    add_troubles();
    add_changes();
    add_areas(areas);  // with links to those that have changes
    add_log();
    add_digests();

    struct : pugi::xml_writer {
      void write(void const* data, size_t size) override {
        bytes.append(static_cast<char const*>(data), size);
      }
      std::string bytes;
    } page;
    document_.save(page, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    return std::move(page.bytes) + "\n";
  }

 private:
  void add_head(xml_node head) {
    std::string const style(kPageStyle);
    set(add_void(head, "meta"), "charset", "utf-8");
    xml_node policy = add_void(head, "meta");
    set(policy, "http-equiv", "Content-Security-Policy");
    set(policy, "content",
        "default-src 'none'; style-src 'sha256-" + text_digest(style) +
            "'; base-uri 'none'; form-action 'none'");
    for (auto const& [name, content] :
         {std::pair("viewport", "width=device-width, initial-scale=1"),
          std::pair("color-scheme", "light dark"), std::pair("referrer", "no-referrer")}) {
      xml_node meta = add_void(head, "meta");
      set(meta, "name", name);
      set(meta, "content", content);
    }
    add(head, "title", "Rehearsal: " + outline_.verdict);
    add(head, "style", style);
  }

  void add_verdict() {
    add(body_, "h1", "Rehearsal of a migration");
    static constexpr char const* kGrades[] = {"good", "mixed", "bad"};  // in the order of Grade
    set(add(body_, "p", "Verdict: " + outline_.verdict), "class",
        std::string("verdict ") + kGrades[static_cast<size_t>(outline_.grade)]);
    xml_node remarks = add(body_, "ul");
    for (Text remark : outline_.remarks) add(remarks, "li", remark);
    xml_node contents = body_.append_child("nav");
    set(contents, "aria-label", "Contents");
    xml_node list = contents.append_child("ul");
    for (Link const& part : {kAreasPart, kFindingsPart, kTargetPart, kTroublesPart, kChangesPart,
                             kLogPart, kDigestsPart}) {
      add_link(list.append_child("li"), part);
    }
  }

  xml_node add_part(Link const& link, Text more = "") {
    xml_node part = body_.append_child("section");
    set(part, "id", link.id);
    add(part, "h2", link.title + more);
    return part;
  }

  void add_areas(xml_node part) {
    if (!outline_.can_compare) {
      add(part, "p", kNotCompared);
      return;
    }
    xml_node body =
        add_table(part, "Policies, tasks, groups and so on", {"Area", "Gained", "Lost", "Changed"})
            .append_child("tbody");
    for (size_t i = 0; i < outline_.areas.size(); ++i) {
      AreaOutline const& area = outline_.areas[i];
      xml_node row = body.append_child("tr");
      xml_node header = add_header(row, "row");
      if (shown_.count(static_cast<Area>(i)) != 0) {
        add_link(header, {kAreas[i].id, kAreas[i].title});
      } else {
        add(header, "span", kAreas[i].title);
      }
      add(row, "td", std::to_string(area.items.gained));
      xml_node lost = add(row, "td", std::to_string(area.items.lost));
      if (!area.lost_items.empty()) {
        set(lost, "class", "lost");
        xml_node names = lost.append_child("ul");
        for (Text name : area.lost_items) add_path(names.append_child("li"), name);
      }
      add(row, "td", std::to_string(area.items.changed));
    }
  }

  void add_findings(Link const& link, std::vector<Finding> const& findings) {
    xml_node part = add_part(link, ": " + count_findings(findings));
    for (size_t i = 0; i < std::size(kFindingCaptions); ++i) {
      auto const severity = static_cast<Severity>(i);
      if (std::ranges::count(findings, severity, &Finding::severity) == 0) continue;
      xml_node table =
          add_table(part, kFindingCaptions[i], {"File", "Place", "What", "What to do"});
      set(table.child("caption"), "class", kSeverityNames[i]);
      xml_node body = table.append_child("tbody");
      for (Finding const& finding : findings) {
        if (finding.severity != severity) continue;
        xml_node row = body.append_child("tr");
        add_header(row, "row", finding.file.empty() ? "(no file)" : printable(finding.file));
        for (Text cell : {place_of(finding), finding.text, finding.advice}) {
          add(row, "td", printable(cell));
        }
      }
    }
  }

  void add_troubles() {
    bool const is_any = std::ranges::any_of(rehearsal_.log, &LogLine::is_trouble);
    xml_node part = add_part(kTroublesPart, is_any ? "" : ": none");
    if (!is_any) return;
    xml_node body =
        add_table(part, "By the file that was read last", {"File", "Line"}).append_child("tbody");
    for (LogLine const& line : rehearsal_.log) {
      if (!line.is_trouble) continue;
      xml_node row = body.append_child("tr");
      add_header(row, "row", line.file.empty() ? "(no file)" : printable(line.file));
      add(row.append_child("td"), "pre", shown(line));
    }
  }

  void add_changes() {
    if (!outline_.can_compare) {
      add(add_part(kChangesPart), "p", kNotCompared);
      return;
    }
    xml_node part = add_part(kChangesPart, ": " + count_keys(outline_));
    set(add(part, "p", "SZ is a text, MS a list of texts, DW a number, BI bytes."), "class",
        "quiet");
    ChangeTables tables;
    size_t const hidden = visit_by_area(
        rehearsal_, scope_,
        [&](Area area, size_t keys) {
          shown_.insert(area);
          xml_node details = part.append_child("details");
          set(details, "id", name_of(area).id);
          set(details, "open", "");
          add(details, "summary",
              std::string(name_of(area).title) + ": " + counted(keys, "key", "keys"));
          tables = ChangeTables(details);
        },
        [&](KeyChange const& change) { tables.add_change(change); });
    if (hidden > 0) {
      add(part, "p", counted(hidden, "changed key is", "changed keys are") + " not shown.");
    }
  }

  void add_log() {
    xml_node details = add_part(kLogPart).append_child("details");
    set(details, "open", "");
    add(details, "summary", counted(rehearsal_.log.size(), "line", "lines"));
    std::string all;
    for (LogLine const& line : rehearsal_.log) all += shown(line) + "\n";
    set(add(details, "pre", all), "class", "log");
  }

  void add_digests() {
    xml_node digests = add_part(kDigestsPart).append_child("dl");
    for (auto const& [what, digest] :
         {std::pair("SHA-256 of the package", &rehearsal_.package_sha256),
          std::pair("SHA-256 of what the store holds before", &rehearsal_.before_sha256),
          std::pair("SHA-256 of what the store holds after", &rehearsal_.after_sha256)}) {
      add(digests, "dt", what);
      add(digests, "dd", digest->empty() ? "(unknown)" : *digest);
    }
  }

  // The lines of a message after its first are set back.
  static std::string shown(LogLine const& line) {
    std::string text;
    for (Text part : lines_of(line.message)) text += (text.empty() ? "" : "\n  ") + part;
    return text;
  }

  Rehearsal const& rehearsal_;
  Outline const& outline_;
  Scope const& scope_;
  pugi::xml_document document_;
  xml_node body_;
  std::set<Area> shown_;  // those with changes to see
};

}  // namespace

std::string report_html(Rehearsal const& rehearsal, Outline const& outline, Scope const& scope) {
  return HtmlReport(rehearsal, outline, scope).write();
}

}  // namespace zeva
