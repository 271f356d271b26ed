// What the importers' tests share: a gateway of their own, export folders written in the test, the
// run log, the store read back, and failures of the registry library.
#pragma once

#include "nvporegistry.h"
#include "quiet_output.h"
#include "registry_client.h"
#include "scratch_home.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;
using Export = std::map<std::string, std::string>;  // text by file name
using Importer = int (*)(char const*, char const*);

// The files of examples/branch-office, by their paths in it, but for what the importers warn of.
Export example();

// An export with one text in a file replaced everywhere.
Export changed(Export files, std::string const& name, std::string const& from,
               std::string const& to);

// The line of a value that cannot be read: "common.name" of a file below the export folder.
std::string no_value(std::string const& value, std::string const& file);

// The lines of a list that counts items without end, lacks those from `first` on, but holds number
// two billion: of a value STEMnumberEND each, and of each of the two gaps.
Lines far_apart(int code, std::string const& list, std::string const& file, int first,
                std::string const& stem, std::string const& end = "");

// The line of a file that cannot be read.
std::string unreadable(int code, std::string const& file);

// The text that an error record has for a failure: its name and the arguments of its message.
template <class... Arguments>
std::string reason(Arguments const&... arguments) {
  NvPoRegistry registry;
  registry.seterrorname(arguments...);
  std::string const text = registry.geterror();
  EXPECT_NE(text, "");
  return text;
}

// What is wrong with an import: a file is missing, or has other texts in the place of `from`, or
// lacks the value "section.key"; or opening, making and deleting a key, or setting a value, whose
// name is a line of `failing` fails with NVREG_STORE_WRITE, and so does with "delete NAME" the
// deletion alone and with "list" every listing of subkeys. A key's name is the path that the call
// is made with.
struct Fault {
  std::string file = {}, from = {}, to = {}, lacks = {}, failing = {};
};

// An import with its whole log, and with what is lost of the whole import: how
// the values begin that are not there. A value shows as "path\\of\\key:name".
struct ImportCase {
  Fault fault;
  Lines log;
  Lines lost;
};

// Cases of the usual faults, each with the one line that it leaves in the log.
ImportCase missing_file(int code, std::string const& file, Lines const& lost);
ImportCase missing_value(std::string const& file, std::string const& value, Lines const& lost);
ImportCase refused_key(int code, std::string const& key, Lines const& lost);
ImportCase refused_deletion(int code, std::string const& key, Lines const& lost,
                            std::string const& what = "Error");
ImportCase refused_value(std::string const& name, Lines const& lost);

// What the cases of a table have in common: the importer's result, and how many values are left in
// the store beside those of the whole import.
struct Outcome {
  int result = 0;
  size_t others = 0;
};

class ImportTest : public testing::Test {
 protected:
  static void SetUpTestSuite();
  static void TearDownTestSuite() { delete home; }
  ImportTest();

  int run(Importer importer, Export const& files, std::string const& failing = "");

  // Empties the store but for the keys in `old_keys_`, each with a value.
  void prepare();

  // Runs the importer over `files_` as they are, then over each case of them.
  void check(Importer importer, Outcome outcome, std::vector<ImportCase> const& cases);
  void check(Importer importer, ImportCase const& each, Outcome outcome, Lines const& whole);

  // The messages that the last run has logged, the export folder and its slash left out.
  Lines logged() const;

  // All values of the store, sorted.
  Lines stored();

  static inline ScratchHome* home;
  Export files_ = example();
  Lines old_keys_;
  RegistryClient client_{home->address()};
  std::filesystem::path dir_, log_;
  QuietOutput quiet_;
};
