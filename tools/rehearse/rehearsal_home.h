// The scratch home of a rehearsal: a copy of a real home's store, beside the programs that the
// sandbox has put there.
#pragma once

#include "loader.h"

#include <optional>
#include <string>

namespace zeva {

// The store that a server would begin with in a folder `config` that holds none.
[[nodiscard]] LoadedStore load_factory_store(std::string const& config);

class RehearsalHome {
 public:
  // Copies the store from a home's folder `config`, which a server may be changing meanwhile.
  // Returns what went wrong, if anything did.
  [[nodiscard]] std::optional<std::string> lay_out(std::string const& config);

  // False: there was no store to copy, and the run's server begins with the factory's.
  [[nodiscard]] bool had_store() const { return had_store_; }

  // The store as it was copied, and as it is now.
  [[nodiscard]] LoadedStore load_original() const;
  [[nodiscard]] LoadedStore load_current() const;

 private:
  bool had_store_ = false;
};

}  // namespace zeva
