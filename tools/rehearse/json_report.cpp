#include "json_report.h"

#include "registry_view.h"

#include <ostream>
#include <string_view>
#include <utility>

namespace zeva {
namespace {

constexpr int kFormatVersion = 1;  // of the schema

Json texts_json(std::vector<std::string> const& texts) {
  Json all = Json::array();
  for (std::string const& text : texts) all.push_back(text_json(text));
  return all;
}

Json digest_json(std::string const& digest) {
  return digest.empty() ? Json() : Json(digest);
}

Json notes_json(Rehearsal const& rehearsal) {
  Json notes = texts_json(rehearsal.notes);
  if (!rehearsal.not_examined.empty()) {
    notes.push_back(text_json("the package could not be looked at: " + rehearsal.not_examined));
  }
  return notes;
}

Json counts_json(ChangeCounts const& counts) {
  return {{"gained", counts.gained}, {"lost", counts.lost}, {"changed", counts.changed}};
}

Json areas_json(Outline const& outline) {
  Json areas = Json::array();
  for (size_t i = 0; i < outline.areas.size(); ++i) {
    Json area = {{"area", kAreas[i].id}};
    area.update(counts_json(outline.areas[i].items));
    area["lost_items"] = texts_json(outline.areas[i].lost_items);
    areas.push_back(std::move(area));
  }
  return areas;
}

Json change_json(KeyChange const& key) {
  Json shown;
  shown["key"] = text_json(key.path);
  shown["area"] = name_of(item_at(key.path).area).id;
  shown["change"] = name_of(key.kind).word;
  shown["keys"] = key.keys;
  shown["values"] = Json::array();
  for (ValueChange const& value : key.values) {
    Json sides;
    sides["before"] = value.before ? value_json(*value.before) : Json();
    sides["after"] = value.after ? value_json(*value.after) : Json();
    shown["values"].push_back(sides);
  }
  return shown;
}

Json findings_json(std::vector<Finding> const& findings) {
  Json all = Json::array();
  for (Finding const& finding : findings) {
    all.push_back({{"severity", name_of(finding.severity)},
                   {"kind", finding.kind},
                   {"file", text_json(finding.file)},
                   {"section", text_json(finding.section)},
                   {"key", text_json(finding.key)},
                   {"text", text_json(finding.text)},
                   {"advice", text_json(finding.advice)}});
  }
  return all;
}

Json log_json(std::vector<LogLine> const& log) {
  Json lines = Json::array();
  for (LogLine const& line : log) {
    lines.push_back({{"message", text_json(line.message)},
                     {"file", text_json(line.file)},
                     {"trouble", line.is_trouble}});
  }
  return lines;
}

}  // namespace

// The changes can be far more than the rest, so they are written one by one.
void report_json(Rehearsal const& rehearsal, Outline const& outline, Scope const& scope,
                 bool for_terminal, std::ostream& out) {
  Json head;
  head["format_version"] = kFormatVersion;
  head["verdict"] = outline.verdict;
  head["result"] = rehearsal.result ? Json(*rehearsal.result) : Json();
  head["meaning"] = rehearsal.result ? Json(describe_result(*rehearsal.result)) : Json();
  head["left_out"] = outline.left_out;
  head["warnings"] = outline.warnings;
  head["store_errors"] = outline.store_errors;
  head["factory_store"] = !rehearsal.had_store;
  head["package_sha256"] = digest_json(rehearsal.package_sha256);
  head["before_sha256"] = digest_json(rehearsal.before_sha256);
  head["after_sha256"] = digest_json(rehearsal.after_sha256);
  head["notes"] = notes_json(rehearsal);
  head["keys"] = counts_json(outline.keys);
  head["areas"] = areas_json(outline);
  head["findings"] = findings_json(rehearsal.findings);
  head["target"] = findings_json(rehearsal.target);
  std::string const first = json_line(head, for_terminal);
  out << std::string_view(first).substr(0, first.size() - 1) << ",\"changes\":[";
  char const* separator = "";
  size_t hidden = 0;
  visit_changes(rehearsal, [&](KeyChange const& change) {
    if (!is_in(scope, change)) {
      hidden += change.keys;
      return;
    }
    out << std::exchange(separator, ",") << json_line(change_json(change), for_terminal);
  });
  out << "],\"hidden_keys\":" << hidden
      << ",\"log\":" << json_line(log_json(rehearsal.log), for_terminal) << "}\n";
}

void report_findings_json(std::vector<Finding> const& findings, bool for_terminal,
                          std::ostream& out) {
  Json const report = {{"format_version", kFormatVersion}, {"findings", findings_json(findings)}};
  out << json_line(report, for_terminal) << '\n';
}

}  // namespace zeva
