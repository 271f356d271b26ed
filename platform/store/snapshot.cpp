#include "snapshot.h"

#include "checksum.h"
#include "nvreg.h"
#include "regpath.h"
#include "text.h"

#include <pugixml.hpp>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

namespace zeva {

namespace {

constexpr char const* kTypes[] = {"dword", "string", "binary", "multistring"};
constexpr std::string_view kVersion = "1";
constexpr std::string_view kChecksum = "<!-- crc32 ";
constexpr size_t kMarkup = 64;  // bytes around a value's name and data, as a guess
constexpr size_t kHead = 256;   // bytes; the opening of the tree is within them

// Deeper trees are written without indentation, which would be most of the file.
constexpr size_t kIndentedDepth = 128;

// ---- what XML carries ---------------------------------------------------------------------------

bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Whether a reader of the XML gets exactly these bytes back, whatever it does with blanks at the
// ends. A name stands in an attribute, where a line break or a tab would become a blank.
bool carries(std::string_view bytes, bool is_name) {
  if (bytes.empty()) return true;
  if (is_blank(bytes.front()) || is_blank(bytes.back()) || !is_utf8(bytes)) return false;
  auto control = [&](char c) {
    return static_cast<unsigned char>(c) < 0x20 && (is_name || (c != '\n' && c != '\t'));
  };
  if (std::any_of(bytes.begin(), bytes.end(), control)) return false;
  // U+FFFE and U+FFFF are no characters.
  return bytes.find("\xEF\xBF\xBE") == bytes.npos && bytes.find("\xEF\xBF\xBF") == bytes.npos;
}

// The texts of a multi-string in its full form: each with its NUL and an empty one at the end.
std::optional<std::vector<std::string_view>> split_multistring(std::string_view data) {
  std::vector<std::string_view> texts;
  while (!data.empty()) {
    std::string_view text = data.substr(0, data.find('\0'));
    if (text.size() == data.size()) return {};
    data.remove_prefix(text.size() + 1);
    if (text.empty()) return data.empty() ? std::optional(texts) : std::nullopt;
    if (!carries(text, false)) return {};
    texts.push_back(text);
  }
  return {};
}

// ---- writing ------------------------------------------------------------------------------------

void set(pugi::xml_node element, char const* attribute, std::string const& text) {
  element.append_attribute(attribute).set_value(text.c_str());
}

void set_name(pugi::xml_node element, std::string const& name) {
  bool plain = carries(name, true);
  set(element, plain ? "name" : "name-hex", plain ? name : to_hex(name));
}

void add_text(pugi::xml_node element, std::string const& text) {
  if (!text.empty()) element.append_child(pugi::node_pcdata).set_value(text.c_str());
}

[[nodiscard]] bool write_string(pugi::xml_node element, std::string_view data) {
  bool terminated = !data.empty() && data.back() == '\0';
  if (terminated) data.remove_suffix(1);
  if (!carries(data, false)) return false;
  if (!terminated) set(element, "terminated", "no");
  add_text(element, std::string(data));
  return true;
}

[[nodiscard]] bool write_multistring(pugi::xml_node element, std::string_view data) {
  auto texts = split_multistring(data);
  if (!texts) return false;
  for (std::string_view text : *texts) add_text(element.append_child("text"), std::string(text));
  return true;
}

[[nodiscard]] bool write_dword(pugi::xml_node element, std::string_view data) {
  uint32_t number;
  memcpy(&number, data.data(), sizeof number);
  add_text(element, std::to_string(number));
  return true;
}

void write_value(pugi::xml_node element, Value const& value) {
  set_name(element, value.name);
  set(element, "type", kTypes[value.type]);
  bool written = (value.type == NVREG_DWORD && write_dword(element, value.data)) ||
                 (value.type == NVREG_STRING && write_string(element, value.data)) ||
                 (value.type == NVREG_MULTISTRING && write_multistring(element, value.data));
  if (!written) set(element, "hex", to_hex(value.data));
}

class StringWriter : public pugi::xml_writer {
 public:
  explicit StringWriter(size_t expected) { text_.reserve(expected); }
  void write(void const* data, size_t size) override {
    text_.append(static_cast<char const*>(data), size);
  }
  std::string& text() { return text_; }

 private:
  std::string text_;
};

std::string checksum_line(uint32_t checksum) {
  char digits[9];
  snprintf(digits, sizeof digits, "%08" PRIx32, checksum);
  return std::string(kChecksum) + digits + " -->\n";
}

// ---- reading ------------------------------------------------------------------------------------

class Reader {
 public:
  // Null when all was read, or what is wrong with failed().
  [[nodiscard]] char const* read(pugi::xml_node store, Key& root);
  [[nodiscard]] pugi::xml_node failed() const { return failed_; }

 private:
  struct Open {
    Key* key;
    size_t path_length;
    pugi::xml_node next;
  };

  [[nodiscard]] char const* read_child(pugi::xml_node element);
  [[nodiscard]] char const* read_key(pugi::xml_node element);
  [[nodiscard]] char const* read_value(pugi::xml_node element);

  std::vector<Open> open_;
  pugi::xml_node failed_;
};

// An element's attributes, found in one go: most of a snapshot's elements have two.
enum { kName, kNameHex, kType, kTerminated, kHex, kAttributes };
using Attributes = std::array<pugi::xml_attribute, kAttributes>;

// Of all that there are, an element may have the first so many.
[[nodiscard]] char const* read_attributes(pugi::xml_node element, size_t allowed,
                                          Attributes& attributes) {
  constexpr std::array<std::string_view, kAttributes> kNames = {"name", "name-hex", "type",
                                                                "terminated", "hex"};
  for (pugi::xml_attribute attribute : element.attributes()) {
    std::string_view const name = attribute.name();
    size_t at = 0;
    while (at < allowed && kNames[at] != name) ++at;
    if (at == allowed) return "an unknown attribute";
    if (!attributes[at]) attributes[at] = attribute;
  }
  return nullptr;
}

[[nodiscard]] char const* read_name(Attributes const& attributes, std::string& name) {
  pugi::xml_attribute const plain = attributes[kName];
  pugi::xml_attribute const hex = attributes[kNameHex];
  if (!plain == !hex) return "one of the attributes name and name-hex is needed";
  if (plain) {
    name = plain.value();
  } else if (!from_hex(hex.value(), name)) {
    return "the attribute name-hex holds no bytes in hex";
  }
  return check_name(name) < 0 ? "a name is too long or holds a NUL or a backslash" : nullptr;
}

[[nodiscard]] char const* read_text(pugi::xml_node element, std::string& text) {
  for (pugi::xml_node part : element.children()) {
    if (part.type() != pugi::node_pcdata && part.type() != pugi::node_cdata)
      return "only text may stand here";
    std::string_view const more = part.value();
    text.reserve(text.size() + more.size() + 1);  // a NUL follows
    text += more;
  }
  return nullptr;
}

[[nodiscard]] char const* read_dword(pugi::xml_node element, std::string& data) {
  std::string text;
  if (char const* wrong = read_text(element, text)) return wrong;
  uint32_t number;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size())
    return "a dword is a decimal number from 0 to 4294967295";
  data.assign(reinterpret_cast<char const*>(&number), sizeof number);
  return nullptr;
}

[[nodiscard]] char const* read_string(pugi::xml_node element, Attributes const& attributes,
                                      std::string& data) {
  std::string_view terminated = attributes[kTerminated].as_string("yes");
  if (terminated != "yes" && terminated != "no") return "terminated is yes or no";
  if (char const* wrong = read_text(element, data)) return wrong;
  if (terminated == "yes") data += '\0';
  return nullptr;
}

[[nodiscard]] char const* read_multistring(pugi::xml_node element, std::string& data) {
  for (pugi::xml_node text : element.children()) {
    if (strcmp(text.name(), "text") != 0) return "only text elements may stand here";
    if (char const* wrong = read_text(text, data)) return wrong;
    data += '\0';
  }
  data += '\0';
  return nullptr;
}

[[nodiscard]] char const* read_data(pugi::xml_node element, Attributes const& attributes,
                                    uint32_t type, std::string& data) {
  if (pugi::xml_attribute hex = attributes[kHex]) {
    if (element.first_child()) return "a value holds text or the attribute hex, not both";
    return from_hex(hex.value(), data) ? nullptr : "the attribute hex holds no bytes in hex";
  }
  switch (type) {
    case NVREG_DWORD:
      return read_dword(element, data);
    case NVREG_STRING:
      return read_string(element, attributes, data);
    case NVREG_MULTISTRING:
      return read_multistring(element, data);
    default:
      return "a binary value needs the attribute hex";
  }
}

char const* Reader::read_value(pugi::xml_node element) {
  Attributes attributes;
  std::string name;
  if (char const* wrong = read_attributes(element, kAttributes, attributes)) return wrong;
  if (char const* wrong = read_name(attributes, name)) return wrong;
  Value* const value = open_.back().key->values.add(name);
  if (!value) return "two values of this name";

  std::string_view type = attributes[kType].value();
  auto known = std::find(std::begin(kTypes), std::end(kTypes), type);
  if (known == std::end(kTypes)) return "the type is dword, string, binary or multistring";
  value->type = static_cast<uint32_t>(known - std::begin(kTypes));
  if (char const* wrong = read_data(element, attributes, value->type, value->data)) return wrong;
  return check_value(value->type, value->data) < 0 ? "a value is too long or not of its type"
                                                   : nullptr;
}

char const* Reader::read_key(pugi::xml_node element) {
  Attributes attributes;
  std::string name;
  if (char const* wrong = read_attributes(element, kNameHex + 1, attributes)) return wrong;
  if (char const* wrong = read_name(attributes, name)) return wrong;
  if (name.empty()) return "a key needs a name";
  Open const& parent = open_.back();
  Key* const key = parent.key->subkeys.add(name);
  if (!key) return "two keys of this name";
  size_t path_length = parent.path_length + (parent.path_length > 0 ? 1 : 0) + name.size();
  if (path_length > NVREG_MAX_PATH) return "the path of a key is too long";
  open_.push_back({key, path_length, element.first_child()});
  return nullptr;
}

char const* Reader::read_child(pugi::xml_node element) {
  std::string_view kind = element.name();
  if (kind == "value") return read_value(element);
  if (kind == "key") return read_key(element);
  return "only keys and values may stand here";
}

char const* Reader::read(pugi::xml_node store, Key& root) {
  open_.push_back({&root, 0, store.first_child()});
  while (!open_.empty()) {
    pugi::xml_node child = open_.back().next;
    if (!child) {
      open_.pop_back();
      continue;
    }
    open_.back().next = child.next_sibling();
    if (char const* wrong = read_child(child)) {
      failed_ = child;
      return wrong;
    }
  }
  return nullptr;
}

std::string in_line(std::string const& bytes, ptrdiff_t offset, char const* wrong) {
  auto end = bytes.begin() + std::clamp<ptrdiff_t>(offset, 0, std::ssize(bytes));
  return "line " + std::to_string(1 + std::count(bytes.begin(), end, '\n')) + ": " + wrong;
}

bool is_number(char const* text, uint64_t& number) {
  auto [end, error] = std::from_chars(text, text + strlen(text), number);
  return error == std::errc() && end != text && *end == '\0';
}

[[nodiscard]] bool read_head(pugi::xml_node store, uint64_t& generation) {
  return strcmp(store.name(), "store") == 0 && store.attribute("version").value() == kVersion &&
         is_number(store.attribute("generation").value(), generation);
}

// What the last line of a sealed snapshot is about.
std::string_view without_checksum(std::string_view bytes) {
  return bytes.substr(0, bytes.rfind(kChecksum));
}

// Of bytes that are sealed.
[[nodiscard]] bool fits_checksum(std::string_view bytes) {
  std::string_view const sealed = without_checksum(bytes);
  return bytes.substr(sealed.size()) == checksum_line(checksum(sealed));
}

// The one that its last line says, which has been found to be true, or that of one written by hand.
uint32_t known_checksum(std::string_view bytes) {
  std::string_view const sealed = without_checksum(bytes);
  if (sealed.size() == bytes.size()) return checksum(bytes);
  char const* const digits = bytes.data() + sealed.size() + kChecksum.size();
  uint32_t sum = 0;
  std::from_chars(digits, bytes.data() + bytes.size(), sum, 16);
  return sum;
}

}  // namespace

std::string write_snapshot(Key const& root, uint64_t generation) {
  pugi::xml_document document;
  pugi::xml_node element = document.append_child("store");
  set(element, "version", std::string(kVersion));
  set(element, "generation", std::to_string(generation));

  size_t depth = 0;
  size_t deepest = 0;
  size_t length = 0;  // roughly
  walk(
      root,
      [&](Key const& key) {
        deepest = std::max(deepest, depth);
        if (depth++ > 0) {
          element = element.append_child("key");
          set_name(element, key.name);
        }
        for (size_t i = 0; i < key.values.size(); ++i) {
          write_value(element.append_child("value"), key.values[i]);
          length += kMarkup + key.values[i].name.size() + key.values[i].data.size();
        }
      },
      [&](Key const&) {
        if (--depth > 0) element = element.parent();
      });

  StringWriter writer(length);
  document.save(writer, " ", deepest <= kIndentedDepth ? pugi::format_indent : pugi::format_raw,
                pugi::encoding_utf8);
  std::string& text = writer.text();
  if (text.back() != '\n') text += '\n';
  text += checksum_line(checksum(text));
  return std::move(text);
}

bool is_sealed(std::string_view bytes) {
  return bytes.rfind(kChecksum) != bytes.npos;
}

bool is_intact(std::string_view bytes, uint64_t& generation) {
  if (!is_sealed(bytes) || !fits_checksum(bytes)) return false;
  // What is parsed ends within the tree: the result says so, and the head is there all the same.
  pugi::xml_document head;
  (void)head.load_buffer(bytes.data(), std::min(bytes.size(), kHead), pugi::parse_default,
                         pugi::encoding_utf8);
  return read_head(head.document_element(), generation);
}

uint32_t content_checksum(std::string_view bytes) {
  std::string_view const all = without_checksum(bytes);
  std::string_view const head = all.substr(0, all.find('>', all.find("<store")));
  return checksum_behind(known_checksum(bytes), checksum(head), all.size() - head.size());
}

bool read_snapshot(std::string const& bytes, Key& root, uint64_t& generation, std::string& why) {
  if (is_sealed(bytes) && !fits_checksum(bytes)) {
    why = "its checksum does not fit: it is damaged, or was edited and its last line left there";
    return false;
  }
  pugi::xml_document document;
  pugi::xml_parse_result result =
      document.load_buffer(bytes.data(), bytes.size(), pugi::parse_default, pugi::encoding_utf8);
  if (!result) {
    why = in_line(bytes, result.offset, result.description());
    return false;
  }
  pugi::xml_node store = document.document_element();
  if (!read_head(store, generation)) {
    why = "it is not a store of version 1 with a generation";
    return false;
  }
  Reader reader;
  if (char const* wrong = reader.read(store, root)) {
    why = in_line(bytes, reader.failed().offset_debug(), wrong);
    return false;
  }
  return true;
}

}  // namespace zeva
