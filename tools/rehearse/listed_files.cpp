#include "listed_files.h"

#include "checksum_list.h"
#include "descriptor.h"
#include "export_file.h"
#include "package_names.h"

#include <fcntl.h>

#include <filesystem>

namespace zeva {

std::set<std::string> listed_files(std::string const& folder) {
  std::set<std::string> names;
  Descriptor const file(open_export_file(folder, folder + "/" + kChecksumFile));
  ChecksumList list(file.get());
  for (std::string name; list.next(name);)
    names.insert(std::filesystem::path(name).lexically_normal());
  return names;
}

}  // namespace zeva
