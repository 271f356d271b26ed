#include "nvconfigfile.h"

#include "files.h"
#include "inireader.h"

#include <fcntl.h>

int NvConfigFile::readfile() {
  zeva::Descriptor const file(open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  return readfile(file.get());
}

int NvConfigFile::readfile(int fd) {
  std::string text;
  if (zeva::read_regular(fd, text, zeva::kLargestFile) != 0) {
    error_ = "Unable to open input file:" + path_ + "\n";
    return -1;
  }
  zeva::read_ini(std::move(text), *this);
  return 0;
}

Nvinielement const* NvConfigFile::find(std::string_view section) const {
  Nvsectionpair const* pair = sections_.find(section);
  return pair == nullptr ? nullptr : &pair->getvalue();
}

int NvConfigFile::getelements(std::string_view section, Nvinielement& element) const {
  Nvinielement const* found = find(section);
  if (found == nullptr) return -1;
  element = *found;
  return 0;
}

int NvConfigFile::getattribute(std::string_view section, std::string_view key,
                               std::string& value) const {
  Nvinielement const* found = find(section);
  return found == nullptr ? -1 : found->getattribute(key, value);
}

int NvConfigFile::getattribute(std::string_view key, std::string& value) const {
  if (sections_.items().size() != 1) return -1;
  return sections_.items().front().getvalue().getattribute(key, value);
}

int NvConfigFile::getsection(std::string_view section, std::vector<Nvkeypair>& attributes) const {
  Nvinielement const* found = find(section);
  if (found == nullptr) return -1;
  attributes = found->getattributes();
  return 0;
}

int NvConfigFile::getsecnames(std::vector<std::string>& names) {
  if (sections_.items().empty()) {
    error_ += "getsection names is empty.\n";
    return -1;
  }
  for (Nvsectionpair const& section : sections_.items()) names.push_back(section.getname());
  return 0;
}

void NvConfigFile::setelements(Nvinielement element) {
  Nvsectionpair& section = sections_.obtain(element.getname());
  section.setvalue(std::move(element));
}
