#include "registry_view.h"

#include "nvreg.h"
#include "nvregentry.h"
#include "text.h"

#include <string.h>

namespace zeva {
namespace {

uint32_t number_of(Value const& value) {
  uint32_t number = 0;
  memcpy(&number, value.data.data(), std::min(sizeof number, value.data.size()));
  return number;
}

std::string text_of(Value const& value) {
  return value.data.substr(0, value.data.find('\0'));
}

std::vector<std::string> list_of(Value const& value) {
  std::vector<std::string> list;
  std::string_view rest = value.data;
  while (!rest.empty() && rest.front() != '\0') {
    std::string_view const text = rest.substr(0, rest.find('\0'));
    list.emplace_back(text);
    rest.remove_prefix(std::min(rest.size(), text.size() + 1));
  }
  return list;
}

std::vector<std::string> bytes_of(Value const& value) {
  std::vector<std::string> bytes;
  for (char const& byte : value.data) bytes.push_back(to_hex({&byte, 1}));
  return bytes;
}

}  // namespace

void visit_tree(Key const& top, std::string const& path, KeyVisitor const& visit) {
  KeyView view{path, {}};
  std::vector<size_t> parents;  // the lengths of the paths that lead to the current one
  bool go_on = true;
  auto enter = [&](Key const& key) {
    if (!go_on) return;
    if (&key != &top) {
      parents.push_back(view.path.size());
      if (!view.path.empty()) view.path += '\\';
      view.path += key.name;
    }
    view.values.clear();
    for (size_t i = 0; i < key.values.size(); ++i) view.values.push_back(key.values[i]);
    go_on = visit(view);
  };
  auto leave = [&](Key const& key) {
    if (!go_on || &key == &top) return;
    view.path.resize(parents.back());
    parents.pop_back();
  };
  walk(top, enter, leave);
}

namespace {

// The entry is given each value in its decoded form: from raw bytes it would take one character off
// a text that is stored without its terminator.
std::string line_of(std::string const& name, Value const& value) {
  if (value.type == kMaskedValue) return "    " + name + "=(masked)";
  Nvregentry entry;
  auto const type = static_cast<_NvRegDataType>(value.type);
  entry.setname(name);
  entry.settype(type);
  if (type == NVREG_DWORD) entry.setvalue(type, static_cast<unsigned long>(number_of(value)));
  if (type == NVREG_STRING) entry.setvalue(type, text_of(value));
  if (type == NVREG_BINARY) entry.setvalue(type, bytes_of(value));
  if (type == NVREG_MULTISTRING) entry.setvalue(type, list_of(value));
  std::string line;
  entry.getregentrystring("", line);
  line.pop_back();
  return line;
}

}  // namespace

std::string value_line(Value const& value) {
  return line_of(value.name, value);
}

std::string value_text(Value const& value) {
  std::string const line = line_of("", value);
  return line.substr(line.find_first_not_of(" ="));
}

Json text_json(std::string_view bytes) {
  if (is_utf8(bytes)) return std::string(bytes);
  return {{"hex", to_hex(bytes)}};
}

std::string json_line(Json const& json, bool for_terminal) {
  return json.dump(-1, ' ', for_terminal);
}

Json value_json(Value const& value) {
  static char const* const kTypes[] = {"dword", "string", "binary", "multistring"};
  Json shown;
  shown["name"] = text_json(value.name);
  if (value.type == kMaskedValue) {
    shown["type"] = "masked";
    return shown;
  }
  shown["type"] = value.type < std::size(kTypes) ? kTypes[value.type] : "unknown";
  switch (value.type) {
    case NVREG_DWORD:
      shown["value"] = number_of(value);
      break;
    case NVREG_STRING:
      shown["value"] = text_json(text_of(value));
      break;
    case NVREG_MULTISTRING:
      shown["value"] = Json::array();
      for (std::string const& text : list_of(value)) shown["value"].push_back(text_json(text));
      break;
    default:
      shown["value"] = to_hex(value.data);
  }
  return shown;
}

}  // namespace zeva
