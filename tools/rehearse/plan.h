// What a rehearsal has found, kept in a file: before the migration it says whether package and
// store are still what was rehearsed, after it whether the store has become what was planned.
//
// The file is text, one JSON object on a line. The first says what was rehearsed; "report" holds
// what zeva-rehearse --json prints without its log. Then come the keys of the store before and of
// the store after the run, depth first: the first key of each is the root, and "depth" says how
// many keys lead to one. A value is [name, type, data], its data byte by byte as it is stored; of a
// secret one there is a keyed digest instead. The last line is a digest of all before it.
#pragma once

#include "rehearsed.h"
#include "tree.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zeva {

struct Plan {
  std::string package;              // full path
  bool is_folder = false;           // of export files, which was packed for the rehearsal
  std::string home;                 // full path
  std::vector<std::string> masked;  // paths of keys whose values were secret
  std::string salt;                 // of the digests of secrets
  std::string package_sha256;
  std::string before_sha256;
  std::string after_sha256;
  std::unique_ptr<Key> before;  // with its secrets masked
  std::unique_ptr<Key> after;
};

// The bytes of the file. `report` is what was printed for programs.
[[nodiscard]] std::string write_plan(Plan const& plan, std::string const& report);

// Reads a plan; what is wrong with it, nothing if nothing is.
[[nodiscard]] std::optional<std::string> read_plan(std::string const& path, Plan& plan);

}  // namespace zeva
