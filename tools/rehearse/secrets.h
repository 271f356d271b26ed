// Keeps secrets out of what is shown: values whose names say that they are secrets, and whatever an
// administrator names.
//
// Secrets are taken out of a rehearsal once, before anything is made of it, so that no form of
// output can show them.
#pragma once

#include "tree.h"

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
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
  [[nodiscard]] bool covers(std::string_view path, std::string_view name) const;

  // Remembers a secret for hide(). One of less than four bytes is not: it may be part of any word.
  void learn(std::string_view secret);
  // Remembers the values of a store that are secret.
  void learn(Key const& root);

  // The text with kHidden in place of every secret that was learned.
  [[nodiscard]] std::string hide(std::string_view text) const;

  // Makes the secret values of a store kMaskedValue: what is left of them tells only whether two
  // of a name are equal, and that only within stores masked with the same salt.
  void mask(Key& root, std::string_view salt) const;

 private:
  // The length of the longest secret that a text begins with; 0 when there is none.
  [[nodiscard]] size_t secret_at(std::string_view text) const;

  std::vector<std::string> prefixes_;
  std::unordered_set<std::string> known_;
  // How long those are that begin with the same four bytes.
  std::unordered_map<std::string, std::set<size_t, std::greater<>>> lengths_;
};

}  // namespace zeva
