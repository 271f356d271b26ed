// What the wrappers of the policy library's hives have in common: the registry key that a hive is
// opened on and the hive's handle.
#pragma once

#include "enumeration.h"
#include "nvpol.h"
#include "nvporegistry.h"

#include <string>
#include <vector>

namespace zeva {

class PolicyHive : public ErrorRecord {
 protected:
  PolicyHive() = default;
  ~PolicyHive() = default;

  // Opens the catalogue, the registry at the address `file` and its key `key`, which is created
  // when missing. false when the key cannot be opened; the registry's error texts are taken over.
  [[nodiscard]] bool open_key(std::string const& key, std::string const& file);

  // Closes what open_key has opened, as far as it is open, and makes the changes so far durable and
  // visible to other processes.
  void close_key();

  // true, and recorded with the rule's name, when a rule refers to the object. Also when that
  // cannot be told: a rule must not lose what it refers to.
  [[nodiscard]] bool referred(int32_t kind, std::string const& iname);

  NvPoRegistry registry_;
  _NvPolComHandle* regkey_ = nullptr;
  _NvPolComHandle* hive_ = nullptr;
};

}  // namespace zeva
