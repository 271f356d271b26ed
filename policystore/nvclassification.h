// The classifications of the policy store and their actions, as objects of the policy library. A
// classification is a named group of filter actions; an action has an internal name, attributes and
// a key of free settings.
//
// The importer of filter actions lists and creates classifications with it, and writes actions as
// keys of the registry. The rest is for programs that work on the policy store beside the
// migration, the console's and the gateway's own.
//
// Results are 0 for success and -1 for failure, or a handle, null on failure; a failure leaves its
// text in the error record. Handles of classifications and actions belong to the caller, who gives
// the first back with closeclass and the second with nvpol_closeAction.
#pragma once

#include "nvregentry.h"
#include "policyhive.h"

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

// One action's attributes. At most 256 bytes of the display name and 512 of the comment are stored.
struct Nvactionattr {
  std::string name;  // for the caller; not read or written here
  std::string displayname;
  std::string comment;
  int32_t order = 0;       // position among the classification's actions
  int32_t actiontype = 0;  // what the action does
  int32_t extra = 0;       // carried unchanged
};

// A classification's attributes, bounded like an action's.
struct Nvclassifattr {
  std::string displayname;
  std::string comment;
};

class NvClassification : public zeva::PolicyHive {
 public:
  // No hive open.
  NvClassification() { open_catalogue(); }
  // As setfile.
  NvClassification(std::string const& key, std::string const& file);
  ~NvClassification() { closeclasshive(); }

  // Opens the hive on the key `key` ("registry\policy") of the registry at the address `file`
  // ("ZEVA:5069"), in place of one that was open. After a failure every call that needs the hive
  // fails.
  void setfile(std::string const& key, std::string const& file);
  // Closes the hive; its changes are then visible to other processes.
  void closeclasshive();

  // Appends the internal names. A hive without classifications is a failure.
  [[nodiscard]] int getclassnames(std::vector<std::string>& names);
  [[nodiscard]] _NvPolComHandle* openclass(std::string const& iname);
  // Returns the new classification, open.
  [[nodiscard]] _NvPolComHandle* createclass(std::string const& iname,
                                             std::string const& displayname,
                                             std::string const& comment);
  // `phdl` is null afterwards.
  int closeclass(_NvPolComHandle*& phdl);
  // Refused while a rule refers to the classification.
  [[nodiscard]] int deleteclass(std::string const& iname);
  // A classification without a display name is a failure.
  [[nodiscard]] int getclassattr(_NvPolComHandle* phdl, std::string& displayname,
                                 std::string& comment);
  [[nodiscard]] int setclassattr(_NvPolComHandle* phdl, std::string const& displayname,
                                 std::string const& comment);
  // Sets the attributes of a classification, created when missing; the record then still tells that
  // it could not be opened. Actions are not written.
  [[nodiscard]] int setclassification(std::string const& iname, Nvclassifattr const& classifattr,
                                      std::vector<std::string> const& names,
                                      std::vector<Nvactionattr> const& actions);

  // Append the internal names of a classification's actions; none is a failure.
  [[nodiscard]] int getactionnames(_NvPolComHandle* phdl, std::vector<std::string>& names);
  [[nodiscard]] int getactionnames(std::string const& iname, std::vector<std::string>& names);
  // Returns the new action of the classification hive, open.
  [[nodiscard]] _NvPolComHandle* createaction(_NvPolComHandle* hive, std::string const& iname,
                                              Nvactionattr const& attr);
  // Reads all attributes but the name. An action without a display name is a failure and leaves
  // `attr` untouched.
  [[nodiscard]] int getaction(_NvPolComHandle* phdl, std::string const& iname, Nvactionattr& attr);
  [[nodiscard]] int setaction(_NvPolComHandle* phdl, std::string const& iname,
                              Nvactionattr const& attr);
  // Appends an entry for every action, in the order of getactionnames: an empty one, and the result
  // -1, for an action that cannot be read.
  [[nodiscard]] int getallaction(_NvPolComHandle* phdl, std::vector<Nvactionattr>& attrs);
  // Sets each named action's attributes to those at the same index; one that fails stops no other.
  // Fewer attributes than names are a failure and set nothing.
  [[nodiscard]] int setallaction(_NvPolComHandle* phdl, std::vector<std::string> const& names,
                                 std::vector<Nvactionattr> const& attrs);
  [[nodiscard]] int deleteaction(_NvPolComHandle* phdl, std::string const& iname);

  // The values of an action's settings key as text by their name: "DW 12", "SZ text", "BI 0a ff ",
  // "MS one;two;". No value at all is a failure, and so is one of unknown type, whose name then has
  // no text.
  [[nodiscard]] int getactionsettings(_NvPolComHandle* hdl,
                                      std::map<std::string, std::string>& values);
  [[nodiscard]] int setactionsettings(_NvPolComHandle* hdl, std::vector<Nvregentry>& entries);

 private:
  template <class Work>
  int with_action(_NvPolComHandle* phdl, std::string const& iname, Work work);
  bool setting_text(Nvregentry const& entry, std::string& text);
};
