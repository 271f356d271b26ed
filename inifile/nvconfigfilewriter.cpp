// The half of NvConfigFile that writes: the text of a model, and changes to it.
#include "files.h"
#include "nvconfigfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

void put(FILE* file, std::string_view text) {
  if (!text.empty()) fwrite(text.data(), 1, text.size(), file);
}

// An empty regular file, new or truncated once it is known to be one; null when there can be none
// of that name.
FILE* create_regular(std::string const& path) {
  zeva::Descriptor file(
      open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666));
  struct stat status;
  bool const empty = file && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                     ftruncate(file.get(), 0) == 0;
  return empty ? fdopen(file.release(), "w") : nullptr;
}

bool is_missing(std::string const& path) {
  struct stat status;
  return lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

// A leading section without a name gets no header, for its keys stood before any. Comment lines
// above a header need one all the same: they would become the first key's.
bool has_header(Nvinielement const& section, bool first) {
  return !first || !section.getname().empty() || !section.getheadercomment().empty();
}

void write_section(FILE* file, Nvinielement const& section, bool first) {
  if (has_header(section, first)) {
    NvConfigFile::printcomment(file, section.getname(), section);
    put(file, "[" + section.getname() + "]\n");
  }
  for (Nvkeypair const& pair : section.getattributes()) {
    put(file, section.getkeycomment(pair.name));
    put(file, pair.name);
    put(file, "=");
    put(file, pair.value);
    put(file, "\n");
  }
}

}  // namespace

int NvConfigFile::writefile() {
  std::string const copy = path_ + ".bak";
  bool const missing = is_missing(path_);
  bool const copied = copyfile(path_, copy) == 0;
  if (copied) error_ += "file " + path_ + "is copied to file " + copy + ".\n";

  std::string const written = path_ + ".gen";
  error_ += "try to write ini file to " + written + ".\n";
  FILE* file = create_regular(written);
  if (file == nullptr) {
    error_ += "Unable open write file: " + written + "\n";
    return -1;
  }
  bool first = true;
  for (Nvsectionpair const& section : sections_.items())
    write_section(file, section.getvalue(), std::exchange(first, false));
  if (finish(file, written) != 0) return -1;
  return copied || missing ? 0 : -1;
}

int NvConfigFile::copyfile(std::string const& source, std::string const& target) {
  std::string content;
  zeva::Descriptor const from(open(source.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (zeva::read_regular(from.get(), content, zeva::kLargestFile) != 0) {
    error_ += "Unabel open read file: " + source + "\n";
    return -1;
  }
  FILE* file = create_regular(target);
  if (file == nullptr) {
    error_ += "Unabel open write file: " + target + "\n";
    return -1;
  }
  put(file, content);
  return finish(file, target);
}

// Half a file would pass for a whole one: it is removed.
int NvConfigFile::finish(FILE* file, std::string const& path) {
  bool const written = fflush(file) == 0 && ferror(file) == 0;
  if (fclose(file) == 0 && written) return 0;
  remove(path.c_str());
  error_ += "Unable to write file: " + path + "\n";
  return -1;
}

void NvConfigFile::printcomment(FILE* file, std::string_view name, Nvinielement const& element) {
  put(file, name == element.getname() ? element.getheadercomment() : element.getkeycomment(name));
}

void NvConfigFile::print() const {
  std::string text = "NvConfigFile--print\nfilename:" + path_ +
                     "\nNvinifile size=" + std::to_string(sections_.items().size()) + "\n";
  for (Nvsectionpair const& section : sections_.items()) {
    text += "section: " + section.getname() + "\n";
    for (Nvkeypair const& pair : section.getvalue().getattributes()) {
      text.append("    key:").append(pair.name);
      text.append("\n    value:").append(pair.value).append("\n");
    }
  }
  if (!error_.empty()) text += "Error :" + error_;
  put(stdout, text);
}

int NvConfigFile::setattribute(std::string_view section, std::string_view key,
                               std::string_view value) {
  Nvsectionpair* pair = sections_.find(section);
  if (pair == nullptr) return -1;
  pair->getvalue().setattribute(key, value);
  return 0;
}

int NvConfigFile::setattribute(std::string_view key, std::string_view value) {
  if (sections_.items().size() != 1) return -1;
  return setattribute(sections_.items().front().getname(), key, value);
}

int NvConfigFile::setsection(std::string_view section, std::vector<Nvkeypair> attributes) {
  Nvsectionpair& pair = sections_.obtain(std::string(section));
  pair.getvalue().setname(pair.getname());
  pair.getvalue().setattributes(std::move(attributes));
  return 0;
}
