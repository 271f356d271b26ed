// Holds what zeva-rehearse prints for programs against the page that describes it.
#pragma once

#include "work_folder.h"

#include <gtest/gtest.h>

inline void expect_valid(std::string const& json) {
  WorkFolder work;
  work.write("report", json);
  auto const done = work.sh(
      "python3 -c 'import json, jsonschema; "
      "jsonschema.Draft202012Validator(json.load(open(\"" SCHEMA
      "\"))).validate(json.load(open(\"report\")))'");
  EXPECT_EQ(done.exit_status, 0) << done.error;
}
