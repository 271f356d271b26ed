#include "registry_view.h"

#include "nvreg.h"
#include "nvregentry.h"
#include "text.h"

#include <string.h>

#include <algorithm>
#include <utility>

namespace zeva {
namespace {

uint32_t number_of(Value const& value) {
  uint32_t number = 0;
  memcpy(&number, value.data.data(), std::min(sizeof number, value.data.size()));
  return number;
}

std::string_view text_of(Value const& value) {
  return std::string_view(value.data).substr(0, value.data.find('\0'));
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
    for (size_t i = 0; i < key.values.size(); ++i) view.values.push_back(&key.values[i]);
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
  if (type == NVREG_STRING) entry.setvalue(type, std::string(text_of(value)));
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

namespace {

// Whether a character may have to be escaped, which is left to the library.
bool is_special(char c) {
  return c < 0x20 || c >= 0x7F || c == '"' || c == '\\';
}

}  // namespace

void append_text_json(std::string& line, std::string_view bytes, bool for_terminal) {
  unsigned special = 0;
  for (char const c : bytes) special |= is_special(c) ? 1U : 0U;  // all of them: many at a time
  if (special == 0) {
    line.append(1, '"').append(bytes).append(1, '"');
  } else {
    line += json_line(text_json(bytes), for_terminal);
  }
}

namespace {

void append_list(std::string& line, Value const& value, bool for_terminal) {
  char separator = '[';
  for (std::string const& text : list_of(value)) {
    line += std::exchange(separator, ',');
    append_text_json(line, text, for_terminal);
  }
  line += separator == '[' ? "[]" : "]";
}

void append_data(std::string& line, Value const& value, bool for_terminal) {
  switch (value.type) {
    case NVREG_DWORD:
      line += std::to_string(number_of(value));
      break;
    case NVREG_STRING:
      append_text_json(line, text_of(value), for_terminal);
      break;
    case NVREG_MULTISTRING:
      append_list(line, value, for_terminal);
      break;
    default:
      append_text_json(line, to_hex(value.data), for_terminal);
  }
}

}  // namespace

void append_value_json(std::string& line, Value const& value, bool for_terminal) {
  static char const* const kTypes[] = {"dword", "string", "binary", "multistring"};
  line += R"({"name":)";
  append_text_json(line, value.name, for_terminal);
  if (value.type == kMaskedValue) {
    line += R"(,"type":"masked"})";
    return;
  }
  line.append(R"(,"type":")")
      .append(value.type < std::size(kTypes) ? kTypes[value.type] : "unknown")
      .append(R"(","value":)");
  append_data(line, value, for_terminal);
  line += '}';
}

Json value_json(Value const& value) {
  std::string text;
  append_value_json(text, value, false);
  return Json::parse(text);
}

}  // namespace zeva
