// Keys and values of the registry as they are shown: as text, a key's full path on a line and each
// value on one of its own, or as JSON.
#pragma once

#include "tree.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zeva {

// Keeps names in the order in which they are written.
using Json = nlohmann::ordered_json;

// The type of a value whose data is not to be shown. What it has in place of its data only tells it
// from others of its name.
inline constexpr uint32_t kMaskedValue = UINT32_MAX;

struct KeyView {
  std::string path;  // from the root, in normal form
  std::vector<Value const*> values;
};

// Takes each key in turn; false ends the visit.
using KeyVisitor = std::function<bool(KeyView const&)>;

// Visits a key, which is at that path, and all below it, depth first in store order.
void visit_tree(Key const& top, std::string const& path, KeyVisitor const& visit);

// The value as the run log shows it, without a newline at the end. A text ends at its first NUL or
// at its stored length.
[[nodiscard]] std::string value_line(Value const& value);

// What value_line shows of it without its name: "SZ text".
[[nodiscard]] std::string value_text(Value const& value);

// A string, or {"hex":"..."} when the bytes are not UTF-8.
[[nodiscard]] Json text_json(std::string_view bytes);

// Without a newline. For a terminal in ASCII alone, as some characters beyond it are commands.
[[nodiscard]] std::string json_line(Json const& json, bool for_terminal);

// {"name":...,"type":...,"value":...}; of a masked value without "value".
[[nodiscard]] Json value_json(Value const& value);

// Appends to a line what json_line shows of text_json, and of value_json: a dump of a large store
// has no time to build a tree of each.
void append_text_json(std::string& line, std::string_view bytes, bool for_terminal);
void append_value_json(std::string& line, Value const& value, bool for_terminal);

}  // namespace zeva
