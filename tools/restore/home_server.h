// The registry server of one home, as far as its service script gives it into our hands.
#pragma once

#include <optional>
#include <string>

namespace zeva {

class HomeServer {
 public:
  // Of the home that ZEVA_HOME names, from the root.
  explicit HomeServer(std::string const& home) : script_(home + "/bin/migration/S99Reg") {}

  // Any process that a migration would take for the server counts as it, unless the script says
  // that the server does not run.
  [[nodiscard]] bool runs() const;

  // Why it did not start, or does not go; nothing when it did.
  [[nodiscard]] std::optional<std::string> start() const;
  [[nodiscard]] std::optional<std::string> stop() const;

 private:
  [[nodiscard]] int call(std::string const& action) const;

  std::string const script_;
};

}  // namespace zeva
