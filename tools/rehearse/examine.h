// Walks an unpacked package the way the importers do, without a store, and finds what they would
// leave out, cut or never look at, and what would not work afterwards.
#pragma once

#include "finding.h"
#include "tree.h"

#include <functional>
#include <string>
#include <vector>

namespace zeva {

struct ExamineOptions {
  Key const* store = nullptr;           // before the run, when it is known
  bool is_packed = true;                // false for a folder that zeva-pack gives its md5.sum yet
  std::function<void()> go_on = [] {};  // called before each file that is read
};

[[nodiscard]] std::vector<Finding> examine_package(std::string const& folder,
                                                   ExamineOptions const& options = {});

}  // namespace zeva
