#include "expected_store.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

namespace {

constexpr size_t kValueBuffer = 2048;  // what the store wrapper passes on of a text or a list
constexpr char kPlain[] = "\r\n=";
constexpr char kEscaped[] = "\1\2\3";

// Puts the byte of `to` in the place of each byte of `from`.
std::string translated(std::string text, std::string const& from, std::string const& to) {
  for (char& byte : text) {
    if (size_t const at = from.find(byte); at != std::string::npos) byte = to[at];
  }
  return text;
}

std::vector<std::string> split(std::string const& text, char separator) {
  std::vector<std::string> pieces;
  std::istringstream in(text);
  for (std::string piece; std::getline(in, piece, separator);) {
    if (!piece.empty()) pieces.push_back(piece);
  }
  return pieces;
}

zeva::Json list_json(std::string const& text) {
  zeva::Json list = zeva::Json::array();
  size_t size = 0;
  for (std::string const& piece : split(text, ';')) {
    size += piece.size() + 1;
    if (size >= kValueBuffer) break;
    list.push_back(zeva::text_json(piece));
  }
  return list;
}

zeva::Json stored(std::string const& name, TypedText const& value) {
  static char const* const kTypes[] = {"", "dword", "string", "multistring", "binary"};
  std::string const& text = value.payload;
  zeva::Json shown = text;  // an identifier's digits
  if (value.type == 1) shown = static_cast<uint32_t>(std::strtoll(text.c_str(), nullptr, 10));
  if (value.type == 2) shown = zeva::text_json(text.substr(0, kValueBuffer));
  if (value.type == 3) shown = list_json(text);
  return {{"name", name}, {"type", kTypes[value.type]}, {"value", shown}};
}

std::string payload(ExportSection const& keys, std::string const& name) {
  for (auto const& [key, value] : keys) {
    if (key == name) return value.payload;
  }
  return "";
}

int number(ExportSection const& keys, std::string const& name) {
  return static_cast<int>(std::strtoll(payload(keys, name).c_str(), nullptr, 10));
}

using Names = std::vector<std::string>;

ExportSection only(ExportSection keys, Names const& names) {
  std::erase_if(keys, [&](auto const& entry) {
    return std::find(names.begin(), names.end(), entry.first) == names.end();
  });
  return keys;
}

void replace(ExportSection& keys, std::string const& name, std::string const& payload) {
  for (auto& [key, value] : keys) {
    if (key == name) value.payload = payload;
  }
}

struct Migration {
  std::filesystem::path const& folder;
  Store& store;

  void migrate() {
    filter_actions();
    config();
    for (std::string const root : {"registry\\policy\\Rule\\Mail", "WhiteBlackLists\\Global"})
      store.erase(find(emptied(root)));
    policy("globalPolicy.txt", "registry\\policy\\Rule", "");
    xfilter();
    address_lists();
    misc();
  }

  void filter_actions() {
    std::string const base = emptied("registry\\policy\\Classification");
    int const count = number(read_export(folder / "actionFile.txt")["common"], "FileNum");
    for (int i = 1; i <= count; ++i) {
      ExportFile file = read_export(folder / ("action" + std::to_string(i) + ".txt"));
      ExportSection const& common = file["common"];
      std::string const key = base + "\\" + payload(common, "name");
      set_attributes(key, payload(common, "DisplayName"), payload(common, "Comment"));
      if (number(common, "hidden") == 1) set(key, "hidden", {2, payload(common, "hidden")});
      for (int j = 1; j <= number(common, "actionnum"); ++j)
        action(key, file["action" + std::to_string(j)]);
    }
  }

  void action(std::string const& classification, ExportSection const& keys) {
    std::string const key = classification + "\\actions\\" + payload(keys, "name");
    set_all(key, {keys.begin() + 1, keys.begin() + 5});  // order to actionType
    ExportSection settings(keys.begin() + 5, keys.end());
    replace(settings, "ArchiveFolder", "/opt/norva/zeva/queue/archive");
    if (number(keys, "actionType") == 0x20001 && payload(keys, "Administrator").empty())
      settings.emplace_back("Administrator", TypedText{2, ""});
    if (settings.empty()) settings.emplace_back("", TypedText{2, ""});
    set_all(key + "\\setting", settings);
  }

  void config() {
    set_all("registry\\config", read_export(folder / "excepton.txt")["common"]);

    ExportFile limits = read_export(folder / "scanlimit.txt");
    for (auto const& [name, value] : limits["common"]) {
      std::string const filter = name == "uiMaxFrontScanSize" ? "0002" : "0001\\0001";
      set("registry\\config\\FilterManager\\" + filter, name, value);
    }

    std::string const base =
        emptied("registry\\config\\Classification\\0001\\0003\\QuarantineArea");
    ExportFile areas = read_export(folder / "quarantine.txt");
    for (int i = 1; i <= number(areas["common"], "FileNum"); ++i) {
      ExportSection area = areas["area" + std::to_string(i)];
      replace(area, "Path", "/opt/norva/zeva/queue/quarantine");
      set_all(base + "\\" + payload(area, "AreaName"), area);
    }
  }

  void policy(std::string const& name, std::string const& parent, std::string const& path) {
    ExportFile file = read_export(folder / name);
    ExportSection const& common = file["common"];
    std::string const key = touch(parent + "\\" + payload(common, "name"));
    set_all(key, only(common, {"comment", "displayName", "order", "matchType"}));
    set_counted(touch(key + "\\inactive"), file["inactive"], "inactive",
                number(common, "inactiveNum"));
    set_counted(key, file["condition"], "condition", number(common, "conditionNum"));

    std::string const tasks = touch(key + "\\tasks");
    for (int i = 1; i <= number(common, "taskNum"); ++i)
      task(payload(file["task" + std::to_string(i)], "filename"), tasks, path);

    std::string const rules = touch(key + "\\rules");
    for (int i = 1; i <= number(common, "subPolicyNum"); ++i) {
      ExportSection const& sub = file["policy" + std::to_string(i)];
      policy(payload(sub, "filename"), rules, path + "\\" + payload(sub, "name"));
    }
  }

  void task(std::string const& name, std::string const& parent, std::string const& path) {
    static std::map<std::string, std::string> const kSubkeys = {
        {"classification", "Classification"}, {"Classification_UI", "setting\\Classification_UI"}};
    ExportFile file = read_export(folder / name);
    std::string const key = touch(parent + "\\" + payload(file["common"], "name"));
    for (auto [title, keys] : file) {
      if (title == "common") {
        set_all(key, {keys.begin() + 1, keys.end()});  // all but the name
      } else if (title == "blackwhitelist") {
        lists(touch("WhiteBlackLists\\Global\\" + path), keys);
      } else {
        unsigned const rate = static_cast<unsigned>(number(keys, "BaselineDetectionRate"));
        if (rate < 2) replace(keys, "BaselineDetectionRate", "4");
        if (rate > 5) replace(keys, "BaselineDetectionRate", "1");
        auto const renamed = kSubkeys.find(title);
        set_all(key + "\\" + (renamed == kSubkeys.end() ? title : renamed->second), keys);
      }
    }
  }

  void lists(std::string const& key, ExportSection const& keys) {
    set_all(key, only(keys, {"active"}));
    Names const kinds = {"editWL", "noEditWL", "editBL", "noEditBL", "subsWL", "subsBL"};
    for (std::string const& kind : kinds) set_all(key, only(keys, {"size_" + kind}));
    for (std::string const& kind : kinds)
      set_counted(key, keys, "l_" + kind + "_", number(keys, "size_" + kind));
  }

  void xfilter() {
    std::string const base = emptied("XFilter");
    ExportFile file = read_export(folder / "xfilter.txt");
    set_all(base, only(file["common"], {"enable"}));
    for (int i = 1; i <= number(file["common"], "filterNum"); ++i) {
      std::string const title = "filter" + std::to_string(i);
      ExportSection const& filter = file[title];
      std::string const key = base + "\\" + payload(filter, "Name");
      set_all(key, only(filter, {"Location", "CaseSensitive"}));
      for (int j = 0; j < number(filter, "patternNum"); ++j)
        set(key, "Pattern " + std::to_string(j),
            {2, payload(file[title + "_pattern"], "Pattern" + std::to_string(j))});
    }
  }

  void address_lists() {
    std::string const base = emptied("registry\\policy\\AddressList");
    ExportFile file = read_export(folder / "address.txt");
    for (int i = 1; i <= number(file["common"], "Num"); ++i) {
      ExportSection const& keys = file["addressList" + std::to_string(i)];
      std::string const key = base + "\\" + payload(keys, "Name");
      set_attributes(key, payload(keys, "displayName"), payload(keys, "comment"));
      set(key, "order", {1, "0"});
      int place = 0;
      for (std::string const& address : split(payload(keys, "address"), ';'))
        set(key, "address" + std::to_string(++place), {2, address});
    }
  }

  void misc() {
    ExportFile file = read_export(folder / "misc.txt");
    for (int i = 1; i <= number(file["common"], "SectionNum"); ++i) {
      ExportSection const& keys = file["Section" + std::to_string(i)];
      set(payload(keys, "KeyName"), payload(keys, "ValueName"), keys.back().second);
    }
  }

  Store::iterator find(std::string const& key) {
    return std::ranges::find_if(store, [&](zeva::Json const& line) { return line["key"] == key; });
  }

  // Makes the key with every key above it, each behind all that its parent holds, and returns its
  // path without empty components.
  std::string touch(std::string const& path) {
    std::string key;
    for (std::string const& name : split(path, '\\')) {
      std::string const parent = key.empty() ? "" : key + "\\";
      auto const is_inside = [&, top = key](std::string const& other) {
        return other == top || other.starts_with(parent);
      };
      key = parent + name;
      if (find(key) != store.end()) continue;
      auto const last = std::find_if(store.rbegin(), store.rend(), [&](zeva::Json const& line) {
        return is_inside(line["key"]);
      });
      store.insert(last.base(), zeva::Json{{"key", key}, {"values", zeva::Json::array()}});
    }
    return key;
  }

  // The same, without what is below the key.
  std::string emptied(std::string const& path) {
    std::string const key = touch(path);
    std::erase_if(store, [&](zeva::Json const& line) {
      return std::string(line["key"]).starts_with(key + "\\");
    });
    return key;
  }

  void set(std::string const& path, std::string const& name, TypedText const& value) {
    zeva::Json& values = find(touch(path))->at("values");
    auto const old = std::ranges::find_if(
        values, [&](zeva::Json const& other) { return other["name"] == name; });
    if (old == values.end())
      values.push_back(stored(name, value));
    else
      *old = stored(name, value);
  }

  void set_all(std::string const& path, ExportSection const& keys) {
    touch(path);
    for (auto const& [name, value] : keys) set(path, name, value);
  }

  void set_counted(std::string const& path, ExportSection const& keys, std::string const& prefix,
                   int count) {
    for (int i = 1; i <= count; ++i) set_all(path, only(keys, {prefix + std::to_string(i)}));
  }

  // As the policy library stores an attribute record, whose fields hold 256 and 512 bytes.
  void set_attributes(std::string const& path, std::string const& display_name,
                      std::string const& comment) {
    set(path, "displayName", {2, display_name.substr(0, 256)});
    set(path, "comment", {2, comment.substr(0, 512)});
  }
};

}  // namespace

ExportSection& ExportFile::operator[](std::string const& name) {
  for (auto& [title, keys] : *this) {
    if (title == name) return keys;
  }
  return emplace_back(name, ExportSection()).second;
}

ExportFile read_export(std::filesystem::path const& path) {
  ExportFile file;
  ExportSection* section = nullptr;
  std::ifstream in(path, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '[') {
      section = &file[line.substr(1, line.find(']') - 1)];
      continue;
    }
    size_t const equals = line.find('=');
    std::string const value = translated(line.substr(equals + 1), kEscaped, kPlain);
    section->emplace_back(line.substr(0, equals), TypedText{value.at(0) - '0', value.substr(2)});
  }
  return file;
}

void write_export(std::filesystem::path const& path, ExportFile const& file) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary);
  for (auto const& [name, keys] : file) {
    out << '[' << name << "]\n";
    for (auto const& [key, value] : keys)
      out << key << '=' << value.type << ':' << translated(value.payload, kPlain, kEscaped) << '\n';
  }
}

Store migrated(Store before, std::filesystem::path const& folder) {
  Migration{folder, before}.migrate();
  return before;
}
