// The message catalogue: message patterns by error name, in the administrator's language.
//
// A catalogue is a folder of compiled ICU resource bundles, root.res and one more per language,
// made from the texts in catalogue/. Its messages stand in a table of the bundle; a message is an
// ICU MessageFormat pattern whose {0}, {1} ... receive the failure's details.
//
// Nothing here fails loudly: a missing catalogue, table or key gives an empty text.
#pragma once

#include <unicode/fmtable.h>
#include <unicode/unistr.h>
#include <unicode/ures.h>

#include <string>

class Nvresbundle {
 public:
  Nvresbundle() = default;
  // As setfile.
  Nvresbundle(std::string const& path, char const* locale);
  Nvresbundle(std::string const& path, std::string const& table, char const* locale);
  ~Nvresbundle();
  Nvresbundle(Nvresbundle const&) = delete;
  Nvresbundle& operator=(Nvresbundle const&) = delete;

  // Opens the catalogue at a path without extension and, when a table is named, that table, in
  // place of what was open. A null locale is the process's default one. 0, or -1 when the catalogue
  // or the table cannot be opened.
  int setfile(std::string const& path, char const* locale);
  int setfile(std::string const& path, std::string const& table, char const* locale);

  // Opens a table of the open catalogue; null when there is none of that name. The caller gives it
  // back with closetable, which takes null too.
  [[nodiscard]] UResourceBundle* opentable(std::string const& name) const;
  static void closetable(UResourceBundle* table);

  // The text of a key in the open table, or in the table named. 0, or -1 with `out` untouched.
  // Without a table it says so on standard output: the one sign that the catalogue is not
  // installed.
  int getstring(std::string const& key, icu::UnicodeString& out) const;
  int getstring(std::string const& table, std::string const& key, icu::UnicodeString& out) const;

  // The message of a key with its placeholders filled, empty when there is none or when it cannot
  // be formatted. The arguments end with an integer 0, or are counted by the caller.
  std::string getmessage(std::string const& key, icu::Formattable const* args) const;
  std::string getmessage(std::string const& key, icu::Formattable const* args, int count) const;
  void getmessage(std::string const& key, icu::Formattable const* args,
                  icu::UnicodeString& out) const;
  void getmessage(std::string const& key, icu::Formattable const* args, int count,
                  icu::UnicodeString& out) const;

  static void UstringtoUtf8(icu::UnicodeString const& text, std::string& out);

 private:
  void close();

  std::string path_;
  std::string table_name_;
  UResourceBundle* bundle_ = nullptr;
  UResourceBundle* table_ = nullptr;
};
