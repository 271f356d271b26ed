#include "export_file.h"
#include "importers.h"
#include "list_walk.h"
#include "package_names.h"
#include "value_table.h"
#include "xfilter_keys.h"

#include <string>
#include <vector>

using namespace zeva;

namespace {

void import_patterns(NvConfigFile const& file, NvPoRegistry& registry, _NvPolComHandle* filter,
                     std::string const& section, int count) {
  ListWalk patterns = ListWalk::over_keys(file, section, kPattern.name, count,
                                          "patterns of " + section, 385, kFirstPattern);
  while (patterns.next()) {
    std::string pattern;
    if (!read_data(file, section, patterns.name(), kPattern.type, &pattern, false)) continue;
    // A pattern that cannot be stored is logged by write_data, and does not cost the next one.
    (void)write_data(registry, filter, numbered(kStoredPattern, patterns.number()), kPattern.type,
                     &pattern);
  }
}

void import_filter(NvConfigFile const& file, NvPoRegistry& registry, _NvPolComHandle* xfilter,
                   int number) {
  std::string const section = numbered(kExtraFilter.name, number);
  std::string name;
  if (!read_data(file, section, kExtraFilterName.name, kExtraFilterName.type, &name, false)) return;
  RegistryKey filter(registry, xfilter, name, 337);
  if (!filter) return;

  ValueTable values(section, kExtraFilter.keys);
  if (!values.read(file)) return;
  (void)values.write(registry, filter.get());

  int patterns = 0;
  if (!read_number(file, section, kPatternCount, patterns)) return;
  import_patterns(file, registry, filter.get(), numbered(kPatterns.name, number), patterns);
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
  ValueTable values(kExtraFilters);
  if (!values.read(file)) return;
  (void)values.write(registry, xfilter);

  int count = 0;
  if (!read_number(file, kCommon, kExtraFilterCount, count)) return;
  ListWalk filters = ListWalk::over_sections(file, kExtraFilter.name, count, "filters", 351);
  while (filters.next()) import_filter(file, registry, xfilter, filters.number());
}

int import_xfilter(char const* dir, char const* regfile) {
  NvPoRegistry registry(regfile);
  RegistryKey xfilter(registry, kExtraFilters.stored_in, 410);
  if (!xfilter) return 0;
  remove_filters(registry, xfilter.get());

  // An export without extra filters has no such file.
  if (lacks_export_file(dir, kExtraFilterFile)) return 0;
  NvConfigFile file;
  if (!read_export_file(file, dir, kExtraFilterFile, 434)) return 0;
  import_xfilter_imp(registry, xfilter.get(), file);
  return 0;
}
