// Keeps secrets out of what is shown: values whose names say that they are secrets, and whatever an
// administrator names.
//
// Secrets are taken out of a rehearsal once, before anything is made of it, so that no form of
// output can show them.
#pragma once

#include "tree.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace zeva {

// A text that stands for a secret.
inline constexpr char kHidden[] = "(masked)";

class Secrets {
 public:
  // Every value of the keys at and below the prefixes, paths in normal form, is secret, too.
  explicit Secrets(std::vector<std::string> prefixes = {});

  // True for "Password", "proxy_passwd", "ApiKey2"; not for "PasswordProtected", which is a
  // setting.
  [[nodiscard]] static bool is_secret_name(std::string_view name);
  // A value without a name of its own goes by that of its key.
  [[nodiscard]] bool covers(std::string_view path, std::string_view name) const;
  // Whether keys were named beside the names of values.
  [[nodiscard]] bool has_prefixes() const { return !prefixes_.empty(); }

  // Remembers a secret for hide(), and each line of it. One of less than four bytes is not: it may
  // be part of any word.
  void learn(std::string_view secret);
  // Remembers the values of a store that are secret.
  void learn(Key const& root);

  // The text with kHidden in place of every secret that was learned.
  [[nodiscard]] std::string hide(std::string_view text) const;

  // Makes the secret values of a store kMaskedValue: what is left of them tells only whether two
  // of a name are equal, and that only within stores masked with the same salt.
  void mask(Key& root, std::string_view salt) const;

 private:
  struct Known {
    std::string_view text;
    size_t within;  // place of the longest of the others that this one begins with; kNone
  };
  static constexpr size_t kNone = SIZE_MAX;

  void index() const;
  // The length of the longest secret that a text begins with; 0 when there is none.
  [[nodiscard]] size_t secret_at(std::string_view text) const;

  std::vector<std::string> prefixes_;
  std::set<std::string, std::less<>> known_;
  mutable std::vector<Known> index_;  // of known_, in its order; empty until it is needed
};

}  // namespace zeva
