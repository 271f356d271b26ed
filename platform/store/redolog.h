// The log of changes since a snapshot. It opens with the snapshot's generation; then one record
// follows the other: length, CRC-32, and the change as the call that asked for it.
//
// A record's CRC covers the generation and the record's place in the file, too, so that a record
// that was written into another log than it was meant for, or elsewhere, counts for nothing.
#pragma once

#include "files.h"
#include "filewatch.h"
#include "tree.h"

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <string>
#include <string_view>

namespace zeva {

// The bytes of a log without records.
[[nodiscard]] std::string empty_log(uint64_t generation);

// False when the bytes do not begin like a log.
[[nodiscard]] bool read_log_header(std::string_view bytes, uint64_t& generation);

// Makes the changes of a log with a good header, up to the first record that is torn, damaged or
// cannot be applied. Returns the length of what counted: all bytes for an intact log.
[[nodiscard]] size_t replay_log(std::string_view bytes, Key& root);

// Whether the bytes, from a record's place to the end of the log, can be the beginning of a record
// that is still being written.
[[nodiscard]] bool is_cut_record(std::string_view rest);

// The log being written.
class RedoLog {
 public:
  // Takes over the file at a path, which holds empty_log(generation); 0 or an errno.
  [[nodiscard]] int open(std::string const& path, uint64_t generation);

  // Whether the file is still what this object wrote: false when it was replaced, cut, extended or
  // written to.
  [[nodiscard]] bool is_untouched();

  // The same at less cost, but for what is noticed by append() (the log was cut by its name) or not
  // at all (something was mounted above it).
  [[nodiscard]] bool is_left_alone() { return watch_.is_quiet() || is_untouched(); }

  // Appends a change; after a failure nothing of it counts, unless healthy() says otherwise.
  [[nodiscard]] int append(wire::Call const& change);

  // Answers once all is on the disk.
  [[nodiscard]] int sync();

  // False once a failure left a doubt about what the file holds.
  [[nodiscard]] bool healthy() const { return healthy_; }
  [[nodiscard]] uint64_t size() const { return size_; }

 private:
  std::string path_;
  Descriptor file_;
  FileWatch watch_;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  uint64_t generation_ = 0;
  std::string last_;         // header that was written: the log's or a record's
  uint64_t last_place_ = 0;  // where
  uint64_t size_ = 0;
  uint64_t synced_ = 0;  // the size that is on the disk, 0 while that is unknown
  bool healthy_ = false;
};

}  // namespace zeva
