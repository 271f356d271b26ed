// What keys the store will hold after a migration: those that the export makes, and those of today
// that no importer removes.
#pragma once

#include "tree.h"

#include <string>
#include <string_view>

namespace zeva {

class FutureStore {
 public:
  // `today` may be null, and must outlive this.
  explicit FutureStore(Key const* today) : today_(today) {}

  [[nodiscard]] Key& root() { return made_; }

  // Makes the key at a path below one that was made here. Null when the path names none, or
  // one that no store takes. `before`, when given, receives who made it already, or nothing.
  Key* make(Key& below, std::string_view path, std::string_view maker = "",
            std::string* before = nullptr);

  // Whether there will be a key at a path from the root.
  [[nodiscard]] bool has(std::string_view path) const;

 private:
  Key const* const today_;
  Key made_;
};

}  // namespace zeva
