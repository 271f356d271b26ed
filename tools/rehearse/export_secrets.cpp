#include "export_secrets.h"

#include "export_reader.h"
#include "mapping.h"
#include "misc_keys.h"
#include "nvconfigfile.h"
#include "regpath.h"
#include "typedtext.h"

#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <vector>

namespace fs = std::filesystem;

namespace zeva {
namespace {

// The text of a value without its type, also as the file has it, the entries of a list each for
// itself, and the number that a text is read as, whatever follows it.
std::vector<std::string> texts_of(std::string const& value) {
  RegValue parsed;
  if (!parse_str(trans_str(value).c_str(), parsed, VALUE_ANY)) return {value};
  std::unique_ptr<char, decltype(&free)> const text(parsed.text, free);
  std::vector<std::string> entries;
  if (parsed.type == VALUE_LIST) parse_multi_str(text.get(), entries);
  auto const number = static_cast<uint32_t>(strtoll(text.get(), nullptr, 10));
  entries.push_back(std::to_string(number));
  entries.push_back(std::to_string(static_cast<int32_t>(number)));
  entries.push_back(value.substr(value.find(':') + 1));
  entries.emplace_back(text.get());
  return entries;
}

std::string payload(NvConfigFile const& file, std::string const& section, ExportKey const& key) {
  std::string text;
  if (file.getattribute(section, key.name, text) != 0) return "";
  return texts_of(text).back();
}

// A single value is named by one key and stands in another.
bool is_secret_place(NvConfigFile const& file, std::string const& section, Secrets const& secrets) {
  std::string path;
  if (join_path("", payload(file, section, kValuePath), path) < 0) return false;
  return secrets.covers(path, payload(file, section, kValueName));
}

void learn_file(NvConfigFile const& file, Secrets& secrets) {
  for (Nvsectionpair const& section : file.sections()) {
    bool const place_is_secret = is_secret_place(file, section.getname(), secrets);
    for (Nvkeypair const& pair : section.getvalue().getattributes()) {
      bool const is_secret = secrets.has_prefixes() || Secrets::is_secret_name(pair.name) ||
                             (place_is_secret && pair.name == kValue.name);
      if (!is_secret) continue;
      for (std::string const& text : texts_of(std::string(pair.value))) secrets.learn(text);
    }
  }
}

}  // namespace

void learn_export(std::string const& folder, Secrets& secrets) {
  std::error_code failure;
  for (auto entry = fs::recursive_directory_iterator(folder, failure);
       !failure && entry != fs::end(entry); entry.increment(failure)) {
    std::string const name = entry->path().lexically_relative(folder);
    std::vector<Finding> findings;  // are told by the examination
    ExportReader file(folder, name, findings);
    if (file.open() && file.read()) learn_file(file.file(), secrets);
  }
}

}  // namespace zeva
