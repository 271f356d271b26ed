// What the importers' tests share: a gateway of their own, export folders written in the test, the
// run log, the store read back, and failures of the registry library.
#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "nvporegistry.h"
#include "scratch_home.h"

using Lines = std::vector<std::string>;
using Export = std::map<std::string, std::string>;  // text by file name
using Importer = int (*)(char const*, char const*);

Lines operator+(Lines first, Lines const& more);

// An export with one text in a file replaced everywhere, or without a file.
Export changed(Export files, std::string const& name, std::string const& from,
               std::string const& to);
Export without(Export files, std::string const& name);

// What the store shows of an export's lines "name=1:number" and "name=2:text", each behind
// `prefix`:
// "\\key:name=DW 1".
Lines shown(std::string const& prefix, std::string const& text);

// The line of a value that cannot be read: "common.name" of a file below the export folder.
std::string no_value(std::string const& value, std::string const& file);

// The text that an error record has for a failure: its name and the arguments of its message.
template <class... Arguments>
std::string reason(Arguments const&... arguments) {
  NvPoRegistry registry;
  registry.seterrorname(arguments...);
  std::string const text = registry.geterror();
  EXPECT_NE(text, "");
  return text;
}

// The same for a call that `failing` (below) has made to fail: its log line, "WHAT [code]: ...".
std::string refused(int code, std::string const& call, std::string const& name,
                    std::string const& what = "Error");

// An import with its whole log and the values that it leaves below the key looked at. `failing`:
// opening, making and deleting the key of this name, and setting the value of this name, fails with
// NVREG_STORE_WRITE. A key's name is the path that the call is made with.
struct ImportCase {
  Export files;
  std::string failing;
  Lines log;
  Lines values;
  int result = 0;
};

class ImportTest : public testing::Test {
 protected:
  static void SetUpTestSuite();
  static void TearDownTestSuite() { delete home; }
  ImportTest();

  int run(Importer importer, Export const& files, std::string const& failing = "");

  // Runs cases in a row, before each of which `key` is deleted and then prepared.
  void check(Importer importer, std::string const& key, std::function<void()> const& prepare,
             std::vector<ImportCase> const& cases);

  // The messages that the last run has logged. A message of several lines is one of them; the
  // export folder and its slash are left out.
  Lines logged() const;

  // Stores the number 1.
  void put(std::string const& path, std::string const& value);

  // The values of a key and, with their paths below it, of all keys under it: "\\key:name=DW 1",
  // and "\\key" for a key without values and keys.
  Lines stored(std::string const& path);
  // The same without empty keys.
  Lines values(std::string const& path);

  static inline ScratchHome* home;
  std::filesystem::path dir, log_;
};
