// Reads the store from its files without changing a byte, while a server runs or not.
//
// The files stand in the home's folder config: cFlt_db.xml, the snapshot; cFlt_db.xml.redo, the log
// of the changes since then; cFlt_db.xml.bak, the snapshot before the current one.
#pragma once

#include "tree.h"

#include <stdint.h>

#include <memory>
#include <string>
#include <vector>

namespace zeva {

inline constexpr char kSnapshotFile[] = "/cFlt_db.xml";
inline constexpr char kLogFile[] = "/cFlt_db.xml.redo";
inline constexpr char kBackupFile[] = "/cFlt_db.xml.bak";

struct LoadedStore {
  std::unique_ptr<Key> root;  // null when there is no store or none that can be trusted
  std::string failure;        // why root is null, for a person
  bool absent = false;        // none of the three files is there

  uint64_t generation = 0;           // the highest that any of the files bears
  bool snapshot_is_whole = false;    // root comes from cFlt_db.xml, not from cFlt_db.xml.bak
  bool is_at_rest = false;           // a server's start would write the same files again
  std::vector<std::string> notes;    // what was found wrong and what it cost, for a person
  std::vector<std::string> damaged;  // files that hold something that did not count
};

// `config`: the path of the home's folder config.
[[nodiscard]] LoadedStore load_store(std::string const& config);

}  // namespace zeva
