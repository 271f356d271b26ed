// What a rehearsal has come to: everything that is told of it.
#pragma once

#include "finding.h"
#include "tree.h"
#include "witnessed_log.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zeva {

struct Rehearsal {
  bool had_store = false;     // else it began with the factory's
  std::optional<int> result;  // the run's code; none when it did not come to its end
  std::vector<LogLine> log;
  std::unique_ptr<Key> before;  // the store; null when either cannot be compared
  std::unique_ptr<Key> after;
  std::vector<Finding> findings;   // in the package
  std::vector<Finding> target;     // on the machine
  std::string not_examined;        // why the package could not be looked at
  std::vector<std::string> notes;  // what could not be looked at, and why
  // SHA-256 in hex; empty where there is nothing to take it of.
  std::string package_sha256;
  std::string before_sha256;
  std::string after_sha256;
};

}  // namespace zeva
