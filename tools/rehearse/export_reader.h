// One export file, read as the importers read it, with an eye on what becomes of each value.
//
// Whoever examines a file asks for the keys of its importer's tables. What is asked for and is
// missing, of another type, or will not arrive whole is a finding at once; what nobody has asked
// for in the end is one, too.
#pragma once

#include "export_file.h"
#include "export_keys.h"
#include "finding.h"
#include "inireader.h"
#include "nvconfigfile.h"

#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeva {

class ExportReader {
 public:
  // `name` is relative to `folder`, which must be the unpacked package.
  ExportReader(std::string const& folder, std::string const& name, std::vector<Finding>& findings);

  // Opens the file without reading it, so that what is known already need not be read again; false
  // when the importers could not open it.
  [[nodiscard]] bool open();
  // Reads the file that open() has opened; false when the importers could not read it.
  [[nodiscard]] bool read();
  // Reports the bytes that an editor or a transfer has put into the file that was read.
  void report_bytes();
  // From here on, what cannot be read is what the importer ends the run for.
  void unreadable_ends_run(bool does) { unreadable_ = does ? Severity::kError : Severity::kLoss; }

  [[nodiscard]] std::string const& name() const { return name_; }
  [[nodiscard]] NvConfigFile const& file() const { return file_; }
  [[nodiscard]] FileIdentity identity() const { return identity_; }
  // Each name once.
  [[nodiscard]] std::vector<std::string> sections() const;
  [[nodiscard]] std::vector<std::string> keys(std::string const& section) const;

  // The payload of a value, or nothing when it cannot be read.
  std::optional<std::string> value(std::string const& section, ExportKey const& key);
  // The same for an item of a list: `key` is its numbered name.
  std::optional<std::string> item(std::string const& section, ExportKey const& key, int number);
  // The same for a number; 0 when it cannot be read, which take_unreadable() then says.
  int number(std::string const& section, ExportKey const& key);
  // False when one that is not optional cannot be read. All are asked for.
  bool values(std::string const& section, std::span<ExportKey const> keys);
  // What was asked for already, or nothing when it could not be read.
  [[nodiscard]] std::optional<std::string> asked_text(std::string const& section,
                                                      ExportKey const& key) const;
  [[nodiscard]] std::optional<int> asked_number(std::string const& section,
                                                ExportKey const& key) const;
  // Asks for every key of a section, whatever its type.
  bool whole_section(std::string const& section);

  // The first value that could not be read since the last call, as "section.key"; empty if all
  // could.
  std::string take_unreadable();

  Finding& report(Kind kind, std::string const& section, std::string const& key,
                  std::string const& text);
  // Reports something without which its importer ends the run, if it does.
  void report_unreadable(Kind kind, std::string const& section, std::string const& key,
                         std::string const& text);
  // Reports the items that a count announces and the file does not hold.
  void report_missing(std::vector<int> const& held, std::string const& section,
                      ExportKey const& key, int count);
  // Reports what the file holds and nobody has asked for, what of it is overwritten in the file
  // itself, and the texts that are no UTF-8.
  void report_rest();

 private:
  void note_bytes(std::string_view bytes);
  void report_loss(std::string const& section, ExportKey const& key, tag_VALUE_TYPE type,
                   std::string const& payload);
  void report_number(std::string const& section, ExportKey const& key, std::string const& payload);
  void note_text(std::string const& section, ExportKey const& key, std::string const& payload);
  void report_encoding();
  void report_overwritten();
  void report_unasked();

  std::string const folder_;
  std::string const name_;
  std::vector<Finding>& findings_;
  Descriptor opened_;
  NvConfigFile file_;
  FileIdentity identity_{};
  std::vector<Finding> about_bytes_;
  std::set<std::pair<std::string, std::string>> asked_;  // sections and keys
  Overwritten overwritten_;
  std::string first_unreadable_;
  Severity unreadable_ = Severity::kLoss;
  // The texts that are no UTF-8: where the first one stands, and a sample of all.
  std::optional<std::pair<std::string, std::string>> first_broken_;
  size_t broken_count_ = 0;
  std::string broken_;
  bool has_utf8_ = false;  // a text beyond ASCII that is
};

}  // namespace zeva
