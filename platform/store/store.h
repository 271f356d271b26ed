// The registry server's store: the tree in memory and the three files that keep it.
//
// A change is in the log before it counts. A snapshot is written when the store is opened, unless
// the same files would be written again, and on a refresh, once the log has outgrown it; never when
// the store is closed, since the files may have been restored by then. For the same reason a store
// whose files were touched by someone else takes no more changes.
//
// What fails here, in all of this folder, says so by its result: false, null, a negative status or
// an errno; the readers of a snapshot's elements return what is wrong, null for nothing. `why` is
// the reason for a person; it is set on failure only and never stands for a result.
#pragma once

#include "files.h"
#include "redolog.h"
#include "tree.h"

#include <stdint.h>
#include <sys/stat.h>

#include <memory>
#include <string>
#include <vector>

namespace zeva {

class Store {
 public:
  // Opens the store in a folder, or makes it from the file factory.xml there. Null on failure, and
  // `why` says the reason; `notes` receives what a person should know either way. Only one process
  // can have a store open. What does not count in a damaged file is kept under another name.
  [[nodiscard]] static std::unique_ptr<Store> open(std::string const& config,
                                                   std::vector<std::string>& notes,
                                                   std::string& why);

  [[nodiscard]] Key const& root() const { return *root_; }

  // Makes a change; a status of nvreg.h. When it is back, the change is in the log.
  [[nodiscard]] int32_t change(wire::Call const& call);

  // Answers once all changes are on the disk. `note` receives a warning, or stays as it is.
  [[nodiscard]] int32_t refresh(std::string& note);

 private:
  explicit Store(std::string const& config);

  [[nodiscard]] bool load(std::vector<std::string>& notes, std::string& why);
  [[nodiscard]] bool load_factory(std::string& why);
  [[nodiscard]] bool take_over_files();
  [[nodiscard]] bool write_snapshot_and_log(bool keep_current, std::string& why);
  [[nodiscard]] bool write_new_files(bool keep_current, bool new_backup, uint64_t& length,
                                     std::string& why);
  [[nodiscard]] bool put_in_place(bool new_backup, std::string& why);
  // Whether someone wrote over the files since `log` was opened; false for a log that never was.
  [[nodiscard]] bool was_restored(RedoLog& log, std::string& why) const;
  [[nodiscard]] bool snapshot_is_untouched() const;

  std::string const folder_;
  std::string const snapshot_;
  std::string const log_path_;
  std::string const backup_;
  Descriptor lock_;
  std::unique_ptr<Key> root_;
  uint64_t generation_ = 0;
  RedoLog log_;
  struct stat snapshot_stat_ = {};
  uint64_t log_bound_ = 0;  // bytes of log at which a refresh writes a snapshot
};

}  // namespace zeva
