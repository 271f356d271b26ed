// One key line of a section.
#pragma once

#include "initext.h"

struct Nvkeypair {
  zeva::IniText name;
  zeva::IniText value{};

  bool operator==(Nvkeypair const&) const = default;
};
