// One key line of a section.
#pragma once

#include <string>

struct Nvkeypair {
  std::string name;
  std::string value{};

  bool operator==(Nvkeypair const&) const = default;
};
