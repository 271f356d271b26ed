// One INI file in memory: its sections and keys in file order, with the comment lines that stand
// above them. Settings exports and the registry server's own settings are such files;
// docs/export-files.md describes their grammar.
//
// Lookups are exact, case-sensitive and find the first match in file order, in constant time. A
// lookup that fails leaves its output as it was, so that a caller may put a default there; a list
// says itself that there was nothing. What has been read lies in one text that the file keeps, and
// its sections are views of that; copies, of a file as of a section or a list, own all their texts.
//
// The migration reads. Changing a model and writing it back is for programs that prepare and
// correct such files beside the migration.
#pragma once

#include "namedsequence.h"
#include "nvsectionpair.h"

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class NvConfigFile;

namespace zeva {

struct Overwritten;

// A larger file is not read: it would fill the memory. The pages on export files and log codes name
// this size.
inline constexpr size_t kLargestFile = size_t{256} << 20;

void read_ini(std::string text, NvConfigFile& file, Overwritten* overwritten);

}  // namespace zeva

class NvConfigFile {
 public:
  NvConfigFile() = default;
  explicit NvConfigFile(std::string path) : path_(std::move(path)) {}
  NvConfigFile(NvConfigFile const& other)
      : path_(other.path_), sections_(other.sections_), error_(other.error_) {}
  NvConfigFile(NvConfigFile&&) = default;
  NvConfigFile& operator=(NvConfigFile const& other) { return *this = NvConfigFile(other); }
  NvConfigFile& operator=(NvConfigFile&&) = default;
  ~NvConfigFile() = default;

  // The path: no access to the file.
  void setname(std::string path) { path_ = std::move(path); }
  std::string const& getname() const { return path_; }
  std::string const& getinifile() const { return path_; }

  // Reads the whole file in place of the sections held so far. 0, or -1 with the error text set
  // and the sections left as they were: the file cannot be opened or read, is larger than
  // zeva::kLargestFile, or is a folder, a device or a pipe. Whatever else a regular file contains
  // can be read. Lack of memory is thrown.
  [[nodiscard]] int readfile();

  // The same from a descriptor open on a regular file, which stays the caller's; the path serves
  // the error text only.
  [[nodiscard]] int readfile(int fd);

  // All sections, and the first one of that name, null when there is none; valid until the file
  // changes.
  std::vector<Nvsectionpair> const& sections() const { return sections_.items(); }
  [[nodiscard]] Nvinielement const* find(std::string_view section) const;

  // Copies the first section of that name. 0, or -1 when there is none.
  [[nodiscard]] int getelements(std::string_view section, Nvinielement& element) const;

  // The value of the first key of that name in the first section of that name. 0, or -1.
  [[nodiscard]] int getattribute(std::string_view section, std::string_view key,
                                 std::string& value) const;

  // The same for a file that holds exactly one section, whatever its name; -1 for any other.
  [[nodiscard]] int getattribute(std::string_view key, std::string& value) const;

  // Copies the keys of the first section of that name. 0, or -1 when there is none.
  int getsection(std::string_view section, std::vector<Nvkeypair>& attributes) const;

  // Appends the name of every section. 0, or -1 with a line added to the error text when the file
  // holds no section.
  int getsecnames(std::vector<std::string>& names);

  // Stores a section: in the place of the one of its name, of which nothing is left, otherwise at
  // the end.
  void setelements(Nvinielement element);

  // Replaces the value of the first key of that name in the first section of that name, or adds the
  // key at the section's end. 0, or -1 when there is no such section. Names and values are written
  // as they are: what the grammar cannot express, a line break for one, does not read back the
  // same.
  [[nodiscard]] int setattribute(std::string_view section, std::string_view key,
                                 std::string_view value);

  // The same for a file that holds exactly one section, whatever its name; -1 for any other.
  [[nodiscard]] int setattribute(std::string_view key, std::string_view value);

  // Replaces all keys of the first section of that name, or adds a section at the end. Comment
  // lines stay with the names they belong to. Always 0.
  int setsection(std::string_view section, std::vector<Nvkeypair> attributes);

  // Writes the model to the path with ".gen" behind it, after copying the file at the path to the
  // path with ".bak" behind it. Both stay; to put the new file in place is the caller's to do. The
  // error text gets a line for each step. 0, or -1: the file could not be written, or it was but
  // the one at the path could not be copied. That there is no file at the path is no failure.
  [[nodiscard]] int writefile();

  // Copies a regular file that readfile could read byte by byte over the target. 0, or -1 with the
  // reason added to the error text.
  [[nodiscard]] int copyfile(std::string const& source, std::string const& target);

  // Writes the comment lines of an element's item to an open file: those above its header when
  // `name` is the element's own name, otherwise those above the key of that name.
  static void printcomment(FILE* file, std::string_view name, Nvinielement const& element);

  // Dumps the path, the sections with their keys and the error text to standard output.
  void print() const;

  // What went wrong, and what the writer did: lines with their newlines. Empty at first.
  std::string const& geterror() const { return error_; }

 private:
  friend void zeva::read_ini(std::string text, NvConfigFile& file, zeva::Overwritten* overwritten);

  [[nodiscard]] int finish(FILE* file, std::string const& path);

  std::string path_;
  std::unique_ptr<std::string> text_;  // that what has been read of sections_ views
  zeva::NamedSequence<Nvsectionpair, &Nvsectionpair::getname> sections_;
  std::string error_;
};
