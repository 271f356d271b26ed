// What the INI tests share: a folder for files and a text that shows all of a model.
#pragma once

#include "nvconfigfile.h"
#include "scratch_folder.h"

#include <gtest/gtest.h>

class IniFiles : public testing::Test {
 protected:
  std::string path(std::string const& name) const { return folder_ / name; }
  std::string make(std::string const& name, std::string const& content) const {
    folder_.write(name, content);
    return path(name);
  }

  // What a file of that text becomes when it is read and written.
  std::string rewritten(std::string const& text) const {
    NvConfigFile file(make("x", text));
    EXPECT_EQ(file.readfile(), 0);
    EXPECT_EQ(file.writefile(), 0);
    return folder_.read("x.gen");
  }

  ScratchFolder folder_;
};

// Every section and key with the comment lines above it.
inline std::string shown(NvConfigFile const& file) {
  std::string text;
  std::vector<std::string> names;
  NvConfigFile(file).getsecnames(names);
  for (std::string const& name : names) {
    Nvinielement section;
    EXPECT_EQ(file.getelements(name, section), 0);
    text.append(section.getheadercomment()) += "[" + section.getname() + "]\n";
    for (Nvkeypair const& pair : section.getattributes()) {
      text.append(section.getkeycomment(pair.name)).append(pair.name);
      text.append("=").append(pair.value).append("|\n");
    }
  }
  return text;
}
