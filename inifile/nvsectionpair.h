// One section entry of a file: the name it is looked up by, and the section. NvConfigFile keeps the
// two names equal; setpair is for programs that edit such files beside the migration.
#pragma once

#include "nvinielement.h"

#include <string>
#include <utility>

class Nvsectionpair {
 public:
  Nvsectionpair() = default;
  explicit Nvsectionpair(std::string name) : name_(std::move(name)) {}

  std::string const& getname() const { return name_; }
  void setname(std::string name) { name_ = std::move(name); }

  Nvinielement const& getvalue() const { return value_; }
  Nvinielement& getvalue() { return value_; }
  void setvalue(Nvinielement value) { value_ = std::move(value); }

  void setpair(std::string name, Nvinielement value) {
    setname(std::move(name));
    setvalue(std::move(value));
  }

 private:
  std::string name_;
  Nvinielement value_;
};
