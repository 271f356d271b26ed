// Reads an INI file with one of the readers: reader_probe READER FILE. Prints how many keys its
// section "s" has and the value of its key "Setting"; ends with 1 when the reader refuses the file.
// bench/breaks asks it what becomes of a file.
#include "nvconfigfile.h"

#include <glib.h>

#include <ini.h>
#include <iniparser/iniparser.h>
#define SI_NO_CONVERSION  // of characters: names and values are bytes, as in the others
#include <SimpleIni.h>

#include <stdio.h>
#include <string.h>

#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace {

struct Read {
  size_t keys = 0;
  std::string value;
};

std::optional<Read> ours(char const* path) {
  NvConfigFile file;
  file.setname(path);
  if (file.readfile() != 0) return std::nullopt;
  Read read;
  if (Nvinielement const* const section = file.find("s")) {
    read.keys = section->getattributes().size();
  }
  (void)file.getattribute("s", "Setting", read.value);
  return read;
}

std::optional<Read> glib(char const* path) {
  GKeyFile* const file = g_key_file_new();
  GError* error = nullptr;
  if (!g_key_file_load_from_file(file, path, G_KEY_FILE_NONE, &error)) {
    fprintf(stderr, "%s\n", error->message);
    return std::nullopt;
  }
  Read read;
  g_strfreev(g_key_file_get_keys(file, "s", &read.keys, nullptr));
  if (gchar* const value = g_key_file_get_value(file, "s", "Setting", nullptr)) read.value = value;
  return read;
}

std::optional<Read> simpleini(char const* path) {
  CSimpleIniCaseA file(true);
  if (file.LoadFile(path) != SI_OK) return std::nullopt;
  return Read{static_cast<size_t>(file.GetSectionSize("s")), file.GetValue("s", "Setting", "")};
}

std::optional<Read> inih(char const* path) {
  Read read;
  auto const take = [](void* data, char const*, char const* name, char const* value) {
    auto& taken = *static_cast<Read*>(data);
    ++taken.keys;
    if (strcmp(name, "Setting") == 0) taken.value = value;
    return 1;
  };
  int const error = ini_parse(path, take, &read);
  if (error == 0) return read;
  fprintf(stderr, "error in line %d\n", error);
  return std::nullopt;
}

std::optional<Read> iniparser(char const* path) {
  dictionary* const file = iniparser_load(path);
  if (file == nullptr) return std::nullopt;
  int const keys = iniparser_getsecnkeys(file, "s");
  Read const read{static_cast<size_t>(keys), iniparser_getstring(file, "s:setting", "")};
  iniparser_freedict(file);
  return read;
}

struct Reader {
  char const* name;
  std::optional<Read> (*read)(char const* path);
};

constexpr Reader kReaders[] = {{"zeva-migrate", ours},
                               {"GKeyFile", glib},
                               {"SimpleIni", simpleini},
                               {"inih", inih},
                               {"iniparser", iniparser}};

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3) {
    for (Reader const& reader : kReaders) {
      if (strcmp(reader.name, argv[1]) != 0) continue;
      auto const read = reader.read(argv[2]);
      if (!read) return 1;
      printf("%zu\n%s\n", read->keys, read->value.c_str());
      return 0;
    }
  }
  fprintf(stderr, "usage: reader_probe READER FILE\n");
  return 2;
}
