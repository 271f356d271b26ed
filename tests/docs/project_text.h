// The project's own texts, for tests that hold documents against code.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

using Names = std::set<std::string>;

// A file of the project, which must not be empty; the path is relative to the project's folder.
inline std::string read(std::string const& path) {
  std::ostringstream text;
  text << std::ifstream(SOURCE_FOLDER "/" + path).rdbuf();
  EXPECT_NE(text.str(), "") << path;
  return text.str();
}

// What the pattern's groups hold, joined by a blank, at every place where it matches.
inline Names all(std::string const& text, std::string const& pattern) {
  std::regex const wanted(pattern);
  Names names;
  for (auto match = std::sregex_iterator(text.begin(), text.end(), wanted);
       match != std::sregex_iterator(); ++match) {
    std::string name = (*match)[1];
    for (size_t group = 2; group < match->size(); ++group) name += " " + (*match)[group].str();
    names.insert(name);
  }
  return names;
}
