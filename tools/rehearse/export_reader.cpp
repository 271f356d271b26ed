#include "export_reader.h"

#include "encoding.h"
#include "files.h"
#include "mapping.h"
#include "nvpol.h"
#include "nvporegistry.h"
#include "printable.h"
#include "text.h"
#include "typedtext.h"

#include <errno.h>
#include <stdlib.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace zeva {
namespace {

std::string list_loss(std::string const& payload) {
  std::vector<std::string> entries;
  parse_multi_str(payload.c_str(), entries);
  size_t total = 0;
  size_t kept = 0;
  for (std::string const& entry : entries) {
    total += entry.size() + 1;
    if (total >= kValueBuffer) break;
    ++kept;
  }
  if (kept == entries.size()) return "";
  return "a list of " + counted(entries.size(), "entry", "entries") + " in " +
         std::to_string(payload.size()) + " bytes; the store keeps the first " +
         std::to_string(kept);
}

std::string text_loss(std::string const& payload, size_t room) {
  if (payload.size() < room) return "";
  return "a text of " + std::to_string(payload.size()) + " bytes; the store keeps " +
         std::to_string(room) + " without a terminator";
}

bool is_hex(char c) {
  return isxdigit(static_cast<unsigned char>(c)) != 0;
}

std::string identifier_loss(std::string const& payload) {
  bool good = payload.size() == 32;
  for (size_t i = 0; good && i < payload.size(); i += 2) {
    good = (is_hex(payload[i]) || payload[i] == ' ') && is_hex(payload[i + 1]);
  }
  return good ? "" : "\"" + payload + "\" is no identifier of 32 hexadecimal digits";
}

char const* describe(tag_VALUE_TYPE type) {
  static char const* const names[] = {"typed text", "a number (1:)", "a text (2:)", "a list (3:)",
                                      "an identifier (4:)"};
  return names[type];
}

}  // namespace

ExportReader::ExportReader(std::string const& folder, std::string const& name,
                           std::vector<Finding>& findings)
    : folder_(folder), name_(name), findings_(findings) {}

bool ExportReader::open() {
  opened_ = open_export_file(folder_, name_);
  auto const identity = identity_of(opened_);
  identity_ = identity.value_or(FileIdentity());
  return identity.has_value();
}

bool ExportReader::read() {
  std::string bytes;
  bool const done = read_regular(opened_.get(), bytes, kLargestFile) == 0;
  opened_ = Descriptor();
  if (!done) return false;
  if (auto const converted = converted_from_utf16(bytes)) {
    about_bytes_.push_back({"utf-16", name_, "", "", "is UTF-16, of which nothing can be read"});
    about_bytes_.back().severity = unreadable_;
    bytes = *converted;  // what else is the matter with it counts as well
  }
  note_bytes(bytes);
  read_ini(std::move(bytes), file_, &overwritten_);
  return true;
}

void ExportReader::note_bytes(std::string_view bytes) {
  auto const note = [&](Kind kind, std::string const& text) {
    about_bytes_.emplace_back(kind, name_, "", "", text);
  };
  if (bytes.starts_with("\xEF\xBB\xBF")) {
    note("byte-order-mark", "begins with a byte order mark, which becomes part of its first line");
  }
  if (bytes.find("\r\n") != bytes.npos) {
    note("carriage-returns",
         "has CR-LF line ends; each value keeps the carriage return at its end");
  }
  if (size_t const nul = bytes.find('\0'); nul != bytes.npos) {
    auto const line = 1 + std::ranges::count(bytes.substr(0, nul), '\n');
    note("nul-byte",
         "line " + std::to_string(line) +
             " holds a NUL byte, which ends the line, or the file when it begins a line");
  }
}

void ExportReader::report_bytes() {
  findings_.insert(findings_.end(), about_bytes_.begin(), about_bytes_.end());
}

std::vector<std::string> ExportReader::sections() const {
  std::vector<std::string> names;
  names.reserve(file_.sections().size());
  for (Nvsectionpair const& section : file_.sections()) names.push_back(section.getname());
  return names;
}

std::vector<std::string> ExportReader::keys(std::string const& section) const {
  std::vector<std::string> names;
  if (Nvinielement const* const found = file_.find(section)) {
    names.reserve(found->getattributes().size());
    for (Nvkeypair const& pair : found->getattributes()) names.emplace_back(pair.name);
  }
  return names;
}

std::optional<std::string> ExportReader::value(std::string const& section, ExportKey const& key) {
  std::string const place = place_of(section, key.name);
  std::string text;
  asked_.emplace(section, key.name);
  if (file_.getattribute(section, key.name, text) != 0) {
    if (key.optional) return std::nullopt;
    if (first_unreadable_.empty()) first_unreadable_ = place;
    report_unreadable("missing", section, key.name, "is missing");
    return std::nullopt;
  }
  RegValue parsed;
  if (!parse_str(trans_str(text).c_str(), parsed, key.type)) {
    if (first_unreadable_.empty()) first_unreadable_ = place;
    report_unreadable("lost-value", section, key.name,
                      "\"" + text + "\" is not " + describe(key.type));
    return std::nullopt;
  }
  std::string payload = parsed.text;
  free(parsed.text);
  report_loss(section, key, static_cast<tag_VALUE_TYPE>(parsed.type), payload);
  return payload;
}

void ExportReader::report_loss(std::string const& section, ExportKey const& key,
                               tag_VALUE_TYPE type, std::string const& payload) {
  Fate const fate = key.fate;
  std::string const cut = fate == Fate::kUsed        ? ""
                          : fate == Fate::kShownName ? text_loss(payload, NVPOL_DISPLAY_NAME_SIZE)
                          : fate == Fate::kRemark    ? text_loss(payload, NVPOL_COMMENT_SIZE)
                          : type == VALUE_TEXT       ? text_loss(payload, kValueBuffer)
                          : type == VALUE_LIST       ? list_loss(payload)
                                                     : "";
  if (!cut.empty()) report("cut", section, key.name, cut);
  if (type == VALUE_NUMBER) report_number(section, key, payload);
  if (type == VALUE_TEXT || type == VALUE_LIST) note_text(section, key, payload);
  std::string const lost = type == VALUE_IDENTIFIER ? identifier_loss(payload) : "";
  if (!lost.empty()) report("lost-value", section, key.name, lost);
}

void ExportReader::report_number(std::string const& section, ExportKey const& key,
                                 std::string const& payload) {
  errno = 0;
  char* end = nullptr;
  long long const number = strtoll(payload.c_str(), &end, 10);
  // The carriage return of a line's end, which is told of the whole file, takes nothing away.
  std::string_view const rest = end;
  bool const is_number = !payload.empty() && (rest.empty() || rest == "\r");
  bool const is_count = key.fate == Fate::kUsed;
  int64_t const largest = is_count ? INT32_MAX : int64_t{UINT32_MAX};
  if (is_number && errno == 0 && number >= 0 && number <= largest) return;

  auto const count = static_cast<int32_t>(number);
  std::string const taken =
      !is_count   ? "; the store gets " + std::to_string(static_cast<uint32_t>(number))
      : count < 0 ? "; nothing that it counts is imported"
                  : "; it counts as " + std::to_string(count);
  if (!is_number) {
    report("lost-value", section, key.name, "\"" + payload + "\" is no number of 32 bits" + taken);
    return;
  }
  char const* const wrong = number < 0 ? " is negative"
                            : is_count ? " is too large for a signed number of 32 bits"
                                       : " is too large for 32 bits";
  Finding& wrapped = report("wrapped-number", section, key.name, payload + wrong + taken);
  // The same 32 bits, which is how -1 stands for "no limit".
  if (!is_count && number < 0 && number >= INT32_MIN) wrapped.severity = Severity::kNote;
}

void ExportReader::note_text(std::string const& section, ExportKey const& key,
                             std::string const& payload) {
  constexpr size_t kSample = size_t{64} << 10;
  if (is_utf8(payload)) {
    has_utf8_ |= std::ranges::any_of(payload, [](char c) { return (c & 0x80) != 0; });
    return;
  }
  if (!first_broken_) first_broken_.emplace(section, key.name);
  ++broken_count_;
  if (broken_.size() < kSample) broken_ += payload + "\n";
}

int ExportReader::number(std::string const& section, ExportKey const& key) {
  value(section, key);
  return asked_number(section, key).value_or(0);
}

std::optional<std::string> ExportReader::asked_text(std::string const& section,
                                                    ExportKey const& key) const {
  std::string text;
  bool const readable = read_data(file_, section, key.name, key.type, &text, true);
  return readable ? std::optional(text) : std::nullopt;
}

std::optional<int> ExportReader::asked_number(std::string const& section,
                                              ExportKey const& key) const {
  long number = 0;
  bool const readable = read_data(file_, section, key.name, key.type, &number, true);
  return readable ? std::optional(static_cast<int>(number)) : std::nullopt;
}

std::optional<std::string> ExportReader::item(std::string const& section, ExportKey const& key,
                                              int number) {
  std::string const name = numbered(key.name, number);
  return value(section, {name.c_str(), key.type, key.fate});
}

bool ExportReader::values(std::string const& section, std::span<ExportKey const> keys) {
  bool readable = true;
  for (ExportKey const& key : keys) {
    readable &= value(section, key).has_value() || key.optional;
  }
  return readable;
}

bool ExportReader::whole_section(std::string const& section) {
  bool readable = true;
  for (std::string const& key : keys(section)) {
    readable &= value(section, {key.c_str(), VALUE_ANY}).has_value();
  }
  return readable;
}

std::string ExportReader::take_unreadable() {
  return std::exchange(first_unreadable_, "");
}

Finding& ExportReader::report(Kind kind, std::string const& section, std::string const& key,
                              std::string const& text) {
  return findings_.emplace_back(kind, name_, section, key, text);
}

void ExportReader::report_unreadable(Kind kind, std::string const& section, std::string const& key,
                                     std::string const& text) {
  report(kind, section, key, text).severity = unreadable_;
}

void ExportReader::report_missing(std::vector<int> const& held, std::string const& section,
                                  ExportKey const& key, int count) {
  long long const missing = count - static_cast<long long>(held.size());
  if (missing <= 0) return;
  report("missing", section, key.name,
         "announces " + std::to_string(count) + ", of which " + std::to_string(missing) +
             (missing == 1 ? " is" : " are") + " missing");
}

void ExportReader::report_rest() {
  if (first_broken_) report_encoding();
  report_overwritten();
  report_unasked();
}

void ExportReader::report_encoding() {
  std::string const encoding = likely_encoding(broken_);
  Finding& broken = report(
      "no-utf-8", first_broken_->first, first_broken_->second,
      (broken_count_ == 1 ? "is"
                          : "and " + counted(broken_count_ - 1, "other", "others") + " are") +
          " no UTF-8, as which the console will show it");
  if (!encoding.empty()) broken.text += "; by its bytes it is " + encoding;
  if (has_utf8_) {
    broken.advice = "write it in UTF-8, as others of the file are: iconv would spoil those";
  } else if (!encoding.empty()) {
    broken.advice = "convert the file with iconv -f " + encoding + " -t UTF-8";
  }
}

// Of a section with keys that nobody reads, that alone is told.
void ExportReader::report_overwritten() {
  auto const report_one = [&](std::string const& section, std::string const& key,
                              std::string const& text) {
    report("same-name", section, key, text).advice = "give one of them its own name, or remove it";
  };
  for (std::string const& section : overwritten_.sections) {
    auto const asked = asked_.lower_bound({section, ""});
    bool const is_read = asked != asked_.end() && asked->first == section;
    if (!is_read && !keys(section).empty()) continue;
    report_one(section, "",
               "stands in the file more than once: only the last one counts, and nothing is left "
               "of the keys before it");
  }
  for (auto const& [section, keys] : overwritten_.keys) {
    for (std::string const& key : keys) {
      if (!asked_.contains({section, key})) continue;
      report_one(section, key,
                 "stands here more than once, with different values: the last counts");
    }
  }
}

void ExportReader::report_unasked() {
  for (std::string const& section : sections()) {
    std::vector<std::string> unasked;
    std::vector<std::string> const all = keys(section);
    for (std::string const& key : all) {
      if (!asked_.contains({section, key})) unasked.push_back(key);
    }
    if (unasked.size() == all.size()) {
      if (!section.empty() || !all.empty()) {
        report("unread-section", section, "", "no importer asks for this section");
      }
      continue;
    }
    for (std::string const& key : unasked) {
      report("unread-key", section, key, "no importer asks for this key");
    }
  }
}

}  // namespace zeva
