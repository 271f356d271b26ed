// Something about a settings package, or about the machine, that its owner should know before the
// migration.
#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace zeva {

enum class Severity {
  kError,  // the run will fail
  kLoss,   // something will not arrive, or not as it was
  kNote,
};
inline constexpr char const* kSeverityNames[] = {"error", "loss", "note"};

// One row for each kind, in the order of the list in zeva-rehearse(1).
struct FindingKind {
  char const* name;
  Severity severity;   // unless whoever finds one knows that it is worse
  char const* advice;  // what to do about it
};
inline constexpr FindingKind kFindingKinds[] = {
    {"unread-file", Severity::kLoss,
     "correct the name or the number of items, if it was to be imported"},
    {"unread-section", Severity::kLoss,
     "correct the name or the number of items, if it was to be imported"},
    {"unread-key", Severity::kLoss, "correct the name, if it was to be imported"},
    {"unlisted-file", Severity::kNote, "make md5.sum anew, as zeva-pack does"},
    {"missing", Severity::kLoss, "add it, or correct the number that announces it"},
    {"lost-value", Severity::kLoss, "correct the value"},
    {"wrapped-number", Severity::kLoss, "write the number that is meant"},
    {"cut", Severity::kLoss, "shorten it"},
    {"skipped", Severity::kLoss, "correct what cannot be read"},
    {"partial", Severity::kLoss, "correct what cannot be read"},
    {"address-groups", Severity::kError, "take out groups, and make them again after the run"},
    {"byte-order-mark", Severity::kLoss, "save the file without the mark"},
    {"carriage-returns", Severity::kLoss, "save the file with the line ends of Unix"},
    {"nul-byte", Severity::kLoss, "take the byte out"},
    {"utf-16", Severity::kLoss, "convert it: iconv -f UTF-16 -t UTF-8, then tr -d '\\r'"},
    {"no-utf-8", Severity::kLoss, "convert the file with iconv -f ITS-ENCODING -t UTF-8"},
    {"dangling-reference", Severity::kLoss, "correct the name, or add what it names"},
    {"same-name", Severity::kLoss, "give one of them another name"},
    {"bad-name", Severity::kLoss, "give it another name"},
    {"named-twice", Severity::kNote, "correct the name, if another file was meant"},
    {"top-policy", Severity::kLoss, "give it the name Mail"},
    {"slash-path", Severity::kLoss, "write \\ between the parts of the path"},
    {"moved-path", Severity::kNote, "move what is kept there, if it is still wanted"},
    {"checksum", Severity::kError,
     "take the file from the old installation again; if it was changed on purpose, pack it anew"},
    {"package-name", Severity::kError, "rename the package"},
    {"not-writable", Severity::kError, "start the migration as a user who may write there: root"},
    {"no-room", Severity::kError, "make room on that disk"},
    {"port", Severity::kError, "end that program, or give the server another port"},
    {"in-the-way", Severity::kError, "remove it"},
    {"no-command", Severity::kError, "put the home's bin folder into PATH"},
    {"active-run", Severity::kError, "wait until that has ended"},
    {"false-server", Severity::kError, "end that process before the migration"},
};

// The row of a kind. An unknown name does not compile.
class Kind {
 public:
  template <size_t Size>
  consteval Kind(char const (&name)[Size]) : row_(find(name)) {}  // NOLINT: as a name is written

  constexpr Kind(FindingKind const& row) : row_(&row) {}  // NOLINT: as above

  constexpr FindingKind const* operator->() const { return row_; }

 private:
  static consteval FindingKind const* find(std::string_view name) {
    for (FindingKind const& row : kFindingKinds) {
      if (row.name == name) return &row;
    }
    throw "no such kind";
  }

  FindingKind const* row_;
};

struct Finding {
  Finding(Kind of, std::string in_file, std::string in_section, std::string at_key,
          std::string words)
      : severity(of->severity),
        kind(of->name),
        file(std::move(in_file)),
        section(std::move(in_section)),
        key(std::move(at_key)),
        text(std::move(words)),
        advice(of->advice) {}

  Severity severity;
  std::string kind;
  std::string file;     // in the package
  std::string section;  // empty for the file as a whole
  std::string key;      // empty for the section as a whole
  std::string text;     // for a person: what will be lost, or what is the matter
  std::string advice;   // what to do
};

// "section.key", or the section alone; empty for the file as a whole.
[[nodiscard]] inline std::string place_of(std::string section, std::string const& key) {
  return key.empty() ? section : section.append(".").append(key);
}
[[nodiscard]] inline std::string place_of(Finding const& finding) {
  return place_of(finding.section, finding.key);
}

[[nodiscard]] inline std::string name_of(Severity severity) {
  return kSeverityNames[static_cast<int>(severity)];
}

}  // namespace zeva
