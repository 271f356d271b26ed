// The door to the registry part of the policy store: opens a registry through the gateway's
// library, opens keys by path, reads, writes, enumerates and deletes values and keys.
//
// The importers open, list and delete keys and store entries with it. Reading values, the simple
// attributes, the dumps and the scratch text are for programs that work on the policy store beside
// the migration, the console's and the gateway's own.
//
// Results are 0 for success and -1 for failure unless a call says otherwise. A failure leaves its
// text in the error record, from where geterror() fetches it for the run log.
//
// Paths are relative to the registry's root, components joined by backslashes
// ("registry\config\FilterManager"); the empty path is the root itself. Opening a missing key
// creates it. Key handles belong to the caller, who closes them (see openkey.h) before the registry
// is destroyed. Calls that take a path open the key themselves, as nvregopenkey does, and close it.
#pragma once

#include "errorrecord.h"
#include "nvreg.h"
#include "nvregentry.h"

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <string>
#include <vector>

namespace zeva {

// How much of a value is stored, in bytes. The page on export files names this size, too.
inline constexpr size_t kValueBuffer = 2048;

}  // namespace zeva

class NvPoRegistry : public zeva::ErrorRecord {
 public:
  // Nothing opened: setfilename, then nvregopen.
  NvPoRegistry();
  // Opens the registry at the address `file` ("ZEVA:5069"). After a failure every key operation
  // fails, and the error record says why.
  explicit NvPoRegistry(std::string const& file);
  ~NvPoRegistry();

  // Stores `file`, the address; opens nothing.
  void setfilename(std::string const& file) { file_ = file; }

  // Opens the registry at the stored address, in place of one that was open.
  [[nodiscard]] bool nvregopen();
  bool isopen() const { return registry_ != nullptr; }
  // Makes the changes so far visible to other processes and durable.
  [[nodiscard]] int nvregrefresh();
  int closeregfile();

  // A missing key is created. With the empty path, the root's own handle.
  [[nodiscard]] int nvregopenkey(std::string const& path, _NvPolComHandle*& key);
  // Opens a path below `key` and replaces `key` by the new handle; the old one stays open and the
  // caller's. With the empty path, and on failure, `key` stays as it is.
  [[nodiscard]] int nvregopenkey(_NvPolComHandle*& key, std::string const& path);
  // The root's own handle stays open.
  int nvregclosekey(_NvPolComHandle* key);

  // Creates no key.
  [[nodiscard]] int nvregdeletevalue(std::string const& path, std::string const& name);
  [[nodiscard]] int nvregdeletevalue(_NvPolComHandle* key, std::string const& name);
  // Deletes the key at a path below `key` with all that is below it.
  [[nodiscard]] int nvregdeletekey(_NvPolComHandle* key, std::string const& subkey);

  // Stores an entry. Texts are cut at zeva::kValueBuffer bytes, and so are lists, before the first
  // text that does not fit; a binary entry is stored as Nvregentry::getvalue converts it.
  [[nodiscard]] int nvsetvalue(_NvPolComHandle* key, Nvregentry const& entry);
  // Stores `length` bytes as they are.
  [[nodiscard]] int nvsetvalue(char const* path, char const* name, _NvRegDataType type,
                               unsigned char const* data, int length);
  [[nodiscard]] int nvsetentry(std::string const& path, Nvregentry const& entry);
  // Store the entries in order, up to the first that fails.
  [[nodiscard]] int nvsetallentry(_NvPolComHandle* key, std::vector<Nvregentry> const& entries);
  [[nodiscard]] int nvsetallentry(std::string const& path, std::vector<Nvregentry> const& entries);

  // Reads a value of at most zeva::kValueBuffer + 1 bytes. After a failure the entry has its text,
  // too.
  [[nodiscard]] int getentry(_NvPolComHandle* key, std::string const& name, Nvregentry& entry);
  [[nodiscard]] int nvgetentry(std::string const& path, std::string const& name, Nvregentry& entry);
  // Reads a value's bytes as they are. `length` is the capacity of `data` on entry, the length of
  // the value afterwards.
  [[nodiscard]] int nvgetvalue(char const* path, char const* name, _NvRegDataType& type,
                               unsigned char* data, int& length);

  // Append the names of all subkeys. A key without subkeys is a failure.
  [[nodiscard]] int nvgetallentryname(_NvPolComHandle* key, std::vector<std::string>& names);
  [[nodiscard]] int nvgetallentryname(std::string const& path, std::vector<std::string>& names);
  // Append all values. A value of unknown type is appended without its data and leaves a text in
  // the error record, but is no failure.
  [[nodiscard]] int nvgetallentry(_NvPolComHandle* key, std::vector<Nvregentry>& entries);
  [[nodiscard]] int nvgetallentry(std::string const& path, std::vector<Nvregentry>& entries);

  // Debugging dumps on standard output. `label` is what the key is called there: a line of its
  // own, its values below it as Nvregentry::print shows them.
  int enumKey(_NvPolComHandle* key, std::string const& label);    // the key with its values
  int enumKeys(_NvPolComHandle* key, std::string const& label);   // ... and all keys below it
  int enumAttrs(_NvPolComHandle* key, std::string const& label);  // values alone, `label` as indent
  int enumAttr(_NvPolComHandle* key, std::string const& label);   // the value that `label` names

  // Numbers and texts (types 0 and 1) as text, a number in decimal. Another type, a value stored
  // with another type and a text that is no number are failures.
  [[nodiscard]] int getsimpleattr(std::string const& path, std::string const& name,
                                  _NvRegDataType type, std::string& value);
  [[nodiscard]] int setsimpleattr(std::string const& path, std::string const& name,
                                  _NvRegDataType type, std::string const& value);
  // The same for each name of a map, in the map's order up to the first failure: reads replace the
  // value beside the name.
  [[nodiscard]] int getsimpleattrs(std::string const& path, _NvRegDataType type,
                                   std::map<std::string, std::string>& values);
  [[nodiscard]] int setsimpleattrs(std::string const& path, _NvRegDataType type,
                                   std::map<std::string, std::string> const& values);

  // A scratch text that callers may borrow.
  std::string* gettemporaryvar() { return &temporary_; }
  void cleartemporaryvar() { temporary_.clear(); }

 private:
  // Runs `work` on the key at a path and closes the key; -1 when it cannot be opened.
  template <class Work>
  int with_key(std::string const& path, Work work);
  _NvPolComHandle* open_existing(_NvPolComHandle* parent, std::string const& path);
  _NvPolComHandle* open_or_create(_NvPolComHandle* parent, std::string const& path);
  // Shows the key at a path below that of the label, and puts the paths of its subkeys on
  // `pending`, the first one last.
  int dump_key(_NvPolComHandle* key, std::string const& label, std::string const& path,
               std::vector<std::string>& pending);
  // Asks for a number once more, into its own four bytes.
  int query_dword(_NvPolComHandle* key, std::string const& label, std::string const& name,
                  uint32_t& number);
  int check_query(int32_t status, std::string const& label, std::string const& name);
  int read_entry(_NvPolComHandle* key, std::string const& label, std::string const& name,
                 Nvregentry& entry);
  // read_entry; the text of a failure is left with the entry, too.
  int get_entry(_NvPolComHandle* key, std::string const& label, std::string const& name,
                Nvregentry& entry);
  int get_simple(_NvPolComHandle* key, std::string const& label, std::string const& name,
                 _NvRegDataType type, std::string& value);
  int set_simple(_NvPolComHandle* key, std::string const& name, _NvRegDataType type,
                 std::string const& value);

  std::string file_;
  std::string temporary_;
  char file_buffer_[264] = {};  // the address as the library takes it
  _NvPolComHandle* registry_ = nullptr;
  _NvPolComHandle* root_ = nullptr;
  int32_t open_status_ = 0;
};
