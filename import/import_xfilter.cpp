#include "import_xfilter.h"

#include "export_file.h"
#include "importers.h"
#include "list_walk.h"
#include "package_names.h"
#include "steps.h"

#include <string>
#include <vector>

using namespace zeva;

namespace {

// Patterns are numbered from 0, and their values' names have a blank that the file's keys lack.
void import_patterns(NvConfigFile const& file, NvPoRegistry& registry, _NvPolComHandle* filter,
                     std::string const& section, int count) {
  constexpr int kFirst = 0;
  ListWalk patterns =
      ListWalk::over_keys(file, section, "Pattern", count, "patterns of " + section, 385, kFirst);
  while (patterns.next()) {
    std::string pattern;
    if (!read_data(file, section, patterns.name(), VALUE_TEXT, &pattern, false)) continue;
    // A pattern that cannot be stored is logged by write_data, and does not cost the next one.
    (void)write_data(registry, filter, numbered("Pattern ", patterns.number()), VALUE_TEXT,
                     &pattern);
  }
}

void import_filter(NvConfigFile const& file, NvPoRegistry& registry, _NvPolComHandle* xfilter,
                   std::string const& section, std::string const& name) {
  RegistryKey filter(registry, xfilter, name, 337);
  if (!filter) return;

  long location = 0, case_sensitive = 0;
  _tag_MAP_ITEM const rows[] = {
      {section, "Location", VALUE_NUMBER, &location},
      {section, "CaseSensitive", VALUE_NUMBER, &case_sensitive},
  };
  if (!read_rows(file, rows)) return;
  (void)write_rows(registry, filter.get(), rows);

  int patterns = 0;
  if (!read_number(file, section, "patternNum", patterns)) return;
  import_patterns(file, registry, filter.get(), section + "_pattern", patterns);
}

// An extra filter that cannot be removed does not keep the others from being removed.
void remove_filters(NvPoRegistry& registry, _NvPolComHandle* xfilter) {
  std::vector<std::string> filters;
  if (registry.nvgetallentryname(xfilter, filters) == -1) {
    // That there are none yet counts as a failure of the listing, and is nothing to report.
    bool const none = registry.errorname() == "REG_EMPTY";
    std::string const text = registry.geterror();
    if (!none) log_error(425, text);
  }
  for (std::string const& filter : filters) {
    (void)delete_keys(registry, xfilter, {filter}, "Error", 425);
  }
}

}  // namespace

void import_xfilter_imp(NvPoRegistry& registry, _NvPolComHandle* xfilter,
                        NvConfigFile const& file) {
  long enable = 0;
  _tag_MAP_ITEM const rows[] = {{"common", "enable", VALUE_NUMBER, &enable}};
  if (!read_rows(file, rows)) return;
  (void)write_rows(registry, xfilter, rows);

  int count = 0;
  if (!read_number(file, "common", "filterNum", count)) return;
  ListWalk filters = ListWalk::over_sections(file, "filter", count, "filters", 351);
  while (filters.next()) {
    std::string const section = filters.name();
    std::string name;
    if (!read_data(file, section, "Name", VALUE_TEXT, &name, false)) continue;
    import_filter(file, registry, xfilter, section, name);
  }
}

int import_xfilter(char const* dir, char const* regfile) {
  NvPoRegistry registry(regfile);
  RegistryKey xfilter(registry, "XFilter", 410);
  if (!xfilter) return 0;
  remove_filters(registry, xfilter.get());

  // An export without extra filters has no such file.
  if (lacks_export_file(dir, kExtraFilterFile)) return 0;
  NvConfigFile file;
  if (!read_export_file(file, dir, kExtraFilterFile, 434)) return 0;
  import_xfilter_imp(registry, xfilter.get(), file);
  return 0;
}
