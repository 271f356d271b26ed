#include "plan.h"

#include "digest.h"
#include "files.h"
#include "registry_view.h"
#include "text.h"

#include <string.h>

#include <algorithm>
#include <string_view>

namespace zeva {
namespace {

constexpr int kFormatVersion = 1;
constexpr char kDamaged[] = "is damaged, or no plan";

// The last line of a plan with these bytes before it.
std::string seal_of(std::string_view bytes) {
  return "{\"digest\":\"" + text_digest(bytes) + "\"}\n";
}

// Takes the last line away, if it is the seal of all before it.
bool unseal(std::string& bytes) {
  if (!bytes.ends_with('\n')) return false;
  size_t const last = bytes.rfind('\n', bytes.size() - 2) + 1;
  bool const is_whole =
      seal_of(std::string_view(bytes).substr(0, last)) == std::string_view(bytes).substr(last);
  bytes.resize(last);
  return is_whole;
}

size_t count_keys(Key const& root) {
  size_t count = 0;
  walk(
      root, [&](Key const&) { ++count; }, [](Key const&) {});
  return count;
}

void add_line(Json const& json, std::string& bytes) {
  bytes += json_line(json, false) + "\n";
}

void add_store(Key const& root, std::string& bytes) {
  size_t depth = 0;
  auto const enter = [&](Key const& key) {
    Json values = Json::array();
    for (size_t i = 0; i < key.values.size(); ++i) {
      Value const& value = key.values[i];
      values.push_back(Json::array({text_json(value.name), value.type, text_json(value.data)}));
    }
    add_line({{"depth", depth++}, {"name", text_json(key.name)}, {"values", values}}, bytes);
  };
  walk(root, enter, [&](Key const&) { --depth; });
}

// For reading, in which the order of an object's members does not count: finding one in an ordered
// object costs a look at all others.
using PlanJson = nlohmann::json;

constexpr int kDeepest = 8;  // of what a plan holds in one another; more is none

// Takes the lines of a plan one by one and its members by their types; what is not as it must be
// makes the plan a damaged one.
class PlanReader {
 public:
  explicit PlanReader(std::string_view bytes) : rest_(bytes) {}

  [[nodiscard]] bool is_good() const { return good_; }

  PlanJson line() {
    std::string_view const text = skip_line();
    auto const is_shallow = [](int depth, PlanJson::parse_event_t, PlanJson&) {
      return depth <= kDeepest;
    };
    PlanJson json = PlanJson::parse(text, is_shallow, false);
    if (!json.is_object()) json = fail();
    return json;
  }

  std::string_view skip_line() {
    size_t const end = rest_.find('\n');
    if (end == rest_.npos) fail();
    std::string_view const line = rest_.substr(0, end);
    rest_.remove_prefix(std::min(rest_.size(), line.size() + 1));
    return line;
  }

  PlanJson const& member(PlanJson const& object, char const* name) {
    auto const found = object.find(name);
    return found != object.end() ? *found : fail();
  }

  std::string text(PlanJson const& json) {
    std::string bytes;
    if (json.is_string()) return json.get<std::string>();
    if (!json.is_object() || !json.contains("hex") || !json["hex"].is_string() ||
        !from_hex(json["hex"].get<std::string>(), bytes)) {
      fail();
    }
    return bytes;
  }

  uint64_t number(PlanJson const& json) {
    if (!json.is_number_unsigned()) fail();
    return good_ ? json.get<uint64_t>() : 0;
  }

  bool flag(PlanJson const& json) {
    if (!json.is_boolean()) fail();
    return good_ && json.get<bool>();
  }

  // As many keys as were announced; the first is the root.
  std::unique_ptr<Key> store(uint64_t keys) {
    auto root = std::make_unique<Key>();
    std::vector<Key*> path;
    for (uint64_t i = 0; good_ && i < keys; ++i) {
      PlanJson const json = line();
      uint64_t const depth = number(member(json, "depth"));
      if (depth > path.size() || (depth == 0) != path.empty()) fail();
      if (!good_) break;
      path.resize(depth);
      Key& key = path.empty() ? *root : path.back()->subkeys.at(text(member(json, "name")));
      values(member(json, "values"), key);
      path.push_back(&key);
    }
    return root;
  }

  [[nodiscard]] bool at_end() const { return rest_.empty(); }

 private:
  PlanJson const& fail() {
    static PlanJson const empty = PlanJson::object();
    good_ = false;
    return empty;
  }

  void values(PlanJson const& list, Key& key) {
    if (!list.is_array()) fail();
    for (PlanJson const& value : list) {
      if (!value.is_array() || value.size() != 3) fail();
      if (!good_) return;
      std::string const name = text(value[0]);
      key.values.at(name) = {name, static_cast<uint32_t>(number(value[1])), text(value[2])};
    }
  }

  std::string_view rest_;
  bool good_ = true;
};

}  // namespace

std::string write_plan(Plan const& plan, std::string const& report) {
  Json head;
  head["format_version"] = kFormatVersion;
  head["package"] = text_json(plan.package);
  head["is_folder"] = plan.is_folder;
  head["home"] = text_json(plan.home);
  head["masked"] = Json::array();
  for (std::string const& key : plan.masked) head["masked"].push_back(text_json(key));
  head["salt"] = to_hex(plan.salt);
  head["package_sha256"] = plan.package_sha256;
  head["before_sha256"] = plan.before_sha256;
  head["after_sha256"] = plan.after_sha256;
  head["before_keys"] = count_keys(*plan.before);
  head["after_keys"] = count_keys(*plan.after);
  std::string bytes;
  add_line(head, bytes);
  bytes += "{\"report\":" + report.substr(0, report.find('\n')) + "}\n";
  add_store(*plan.before, bytes);
  add_store(*plan.after, bytes);
  return bytes + seal_of(bytes);
}

std::optional<std::string> read_plan(std::string const& path, Plan& plan) {
  std::string bytes;
  if (int const error = read_file(path, bytes)) return strerror(error);
  bool const is_whole = unseal(bytes);
  PlanReader reader(bytes);
  PlanJson const head = reader.line();
  uint64_t const version = reader.number(reader.member(head, "format_version"));
  if (!reader.is_good()) return kDamaged;
  if (version != kFormatVersion) {
    return "is a plan of another version, " + std::to_string(version) + ": rehearse again";
  }
  if (!is_whole) return kDamaged;
  auto const text = [&](char const* name) { return reader.text(reader.member(head, name)); };
  plan.package = text("package");
  plan.is_folder = reader.flag(reader.member(head, "is_folder"));
  plan.home = text("home");
  for (PlanJson const& key : reader.member(head, "masked")) plan.masked.push_back(reader.text(key));
  bool const has_salt = from_hex(text("salt"), plan.salt);
  plan.package_sha256 = text("package_sha256");
  plan.before_sha256 = text("before_sha256");
  plan.after_sha256 = text("after_sha256");
  uint64_t const before = reader.number(reader.member(head, "before_keys"));
  uint64_t const after = reader.number(reader.member(head, "after_keys"));
  (void)reader.skip_line();  // the report, for people and programs
  plan.before = reader.store(before);
  plan.after = reader.store(after);
  if (!reader.is_good() || !has_salt || !reader.at_end()) return kDamaged;
  return std::nullopt;
}

}  // namespace zeva
