// A list of texts kept as values of a key: PREFIX1, PREFIX2 and so on without a gap, in the list's
// order. So are a rule's conditions, its inactive tasks and an address list's addresses kept.
#pragma once

#include "nvpol.h"

#include <functional>
#include <string>
#include <vector>

namespace zeva {

class NumberedTexts {
 public:
  NumberedTexts(_NvPolComHandle* key, char const* prefix) : key_(key), prefix_(prefix) {}

  // The text at an index from 0; NVREG_END_OF_LIST past the last one.
  [[nodiscard]] int32_t get(uint32_t index, std::string& text) const;
  [[nodiscard]] int32_t count(uint32_t& number) const;
  [[nodiscard]] int32_t append(std::vector<std::string> const& texts);

  using Predicate = std::function<bool(std::string const&)>;

  // Index of the first text that is `wanted`; NVREG_NOT_FOUND when there is none.
  [[nodiscard]] int32_t find(Predicate const& wanted, uint32_t& index) const;

  // Takes away the first such text and moves those behind it forward. Stopped half way, it leaves a
  // text twice and loses none.
  [[nodiscard]] int32_t remove(Predicate const& wanted);

 private:
  [[nodiscard]] int32_t append_at(uint32_t& number, std::string const& text);
  [[nodiscard]] int32_t add_at(uint32_t number, std::string const& text);
  std::string name(uint32_t index) const { return prefix_ + std::to_string(index + 1); }

  _NvPolComHandle* key_;
  std::string prefix_;
};

}  // namespace zeva
