#include "examine_task.h"

#include "import_task.h"
#include "list_walk.h"
#include "nvreg.h"
#include "regpath.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <string>
#include <vector>

namespace zeva {
namespace {

// A task's part is written whole or not at all.
void report_part(ExportReader& file, std::string const& part) {
  std::string const place = file.take_unreadable();
  if (place.empty()) return;
  file.report("partial", part, "", "is not imported: " + place + " cannot be read");
}

bool examine_part(ExportReader& file, ExportSection const& section) {
  bool const readable = file.values(section.name, section.keys);
  report_part(file, section.name);
  return readable;
}

void report_left_out(ExportReader& file, ExportSection const& section,
                     ExportSection const& before) {
  file.report("partial", section.name, "",
              std::string("is not imported, because ") + before.name + " is not");
}

void examine_virus_task(ExportReader& file, References& references) {
  bool const classified = examine_part(file, kVirusClasses);
  examine_part(file, kVirusSettings);
  if (!classified) report_left_out(file, kVirusSettings, kVirusClasses);
  references.call_classifications(file, kVirusClasses.name, kVirusClasses.keys);
}

void examine_mail_lists(ExportReader& file) {
  std::string const section = kMailLists.name;
  file.values(section, kMailListHead.keys);
  if (std::string const place = file.take_unreadable(); !place.empty()) {
    file.report("partial", section, "", "no list is imported: " + place + " cannot be read");
    return;
  }
  for (size_t i = 0; i < std::size(kMailListKeys); ++i) {
    int const size = file.asked_number(section, kMailListSizes[i]).value_or(0);
    auto const held = held_keys(file.file(), section, kMailListKeys[i].name, size);
    for (int const n : held) file.item(section, kMailListKeys[i], n);
    file.report_missing(held, section, kMailListSizes[i], size);
  }
  file.take_unreadable();
}

void examine_spam_task(ExportReader& file, References& references) {
  examine_part(file, kSpamClasses);
  bool const set = examine_part(file, kSpamSettings);
  examine_part(file, kShownSpamClasses);
  if (!set) report_left_out(file, kShownSpamClasses, kSpamSettings);
  for (ExportSection const& classes : {kSpamClasses, kShownSpamClasses}) {
    references.call_classifications(file, classes.name, classes.keys);
  }
  if (auto const path = file.asked_text(kSpamSettings.name, kControllingPolicy)) {
    report_slashes(file, kSpamSettings.name, kControllingPolicy, *path);
    references.call(file, kSpamSettings.name, kControllingPolicy.name, Thing::kPolicies, *path);
  }
  examine_mail_lists(file);
}

// Sections and keys that become those of the store, which ends with the first that it does not
// take.
void report_bad_names(ExportReader& file, std::string const& section) {
  char const* const kEnd = "it is left out, with what follows in the file";
  if (!names_keys(section))
    file.report("bad-name", section, "", refusal(section, kPathLimit, kEnd));
  if (section.find_first_not_of('\\') == section.npos)
    file.report("bad-name", "[" + section + "]", "",
                std::string("the section has no name: ") + kEnd);
  for (std::string const& key : file.keys(section)) {
    if (check_name(key) != NVREG_OK)
      file.report("bad-name", section, key, refusal(key, kNameLimit, kEnd));
  }
}

void examine_content_task(ExportReader& file, std::span<RequiredSection const> required,
                          References& references) {
  auto const sections = file.sections();
  for (RequiredSection const& wanted : required) {
    if (std::ranges::any_of(sections, [&](auto const& name) { return wanted.is(name); })) continue;
    file.report("partial", std::string(wanted.name), "",
                "is missing: the task is imported in part only");
  }
  for (std::string const& section : sections) {
    if (section == kCommon) continue;
    report_bad_names(file, section);
    file.whole_section(section);
    report_part(file, section);
  }
  for (std::string const& key : file.keys(kVirusClasses.name)) {
    ExportKey const any = {key.c_str(), VALUE_TEXT};
    references.call_classifications(file, kVirusClasses.name, {&any, 1});
  }
}

}  // namespace

void report_slashes(ExportReader& file, std::string const& section, ExportKey const& key,
                    std::string const& path) {
  if (path.find('/') == path.npos || path.find('\\') != path.npos) return;
  file.report("slash-path", section, key.name,
              "\"" + path + "\" is one name to the registry, not a path");
}

bool examine_task(ExportReader& file, References& references) {
  bool const head = file.values(kCommon, kTaskHead.keys);
  std::string const place = file.take_unreadable();
  int const filter = file.asked_number(kCommon, kTaskFilter).value_or(0);
  auto const kind = std::ranges::find(kTaskKinds, filter, &TaskKind::filter);
  if (!head) {
    file.report("skipped", "", "", "the task: " + place + " cannot be read");
  } else if (kind == std::end(kTaskKinds)) {
    file.report("skipped", kCommon, kTaskFilter.name,
                "the task: there is no filter of number " + std::to_string(filter));
  } else if (filter == kVirusTask) {
    examine_virus_task(file, references);
  } else if (filter == kSpamTask) {
    examine_spam_task(file, references);
  } else {
    examine_content_task(file, kind->required, references);
  }
  return head && kind != std::end(kTaskKinds);
}

}  // namespace zeva
