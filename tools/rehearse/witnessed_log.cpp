#include "witnessed_log.h"

#include "files.h"

#include <stdlib.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace zeva {
namespace {

// Where a line of the log begins, and what was read last since the line before; empty for nothing.
struct Beginning {
  size_t place;
  std::string file;
};

std::vector<Beginning> read_beginnings(std::string const& log_path, std::string_view notes,
                                       std::string const& folder) {
  std::vector<Beginning> beginnings;
  std::string file;
  while (!notes.empty()) {
    std::string const note(notes.substr(0, notes.find('\0')));
    notes.remove_prefix(std::min(notes.size(), note.size() + 1));
    size_t const blank = note.find(' ');
    if (blank == std::string::npos) continue;
    std::string const path = note.substr(blank + 1);
    if (path == log_path) {
      beginnings.push_back({strtoul(note.c_str(), nullptr, 10), std::exchange(file, "")});
    } else if (path.starts_with(folder + "/")) {
      file = path.substr(folder.size() + 1);
    }
  }
  return beginnings;
}

// Without what the log puts in front: "[time][pid=...][tid=...]:".
std::string message_of(std::string_view line) {
  size_t const end = line.find("]:");
  std::string_view message = end == std::string_view::npos ? line : line.substr(end + 2);
  while (message.ends_with('\n')) message.remove_suffix(1);
  return std::string(message);
}

bool is_trouble(std::string_view message) {
  for (std::string_view const sign : {"Error", "Erorr", "error", "Warning", "Timeout", "timeout",
                                      "failed", "cannot", "FilterAction ["}) {
    if (message.find(sign) != std::string_view::npos) return true;
  }
  return false;
}

// Lines about keys that an importer opens, lists or empties whatever its file holds: the store
// alone is to blame. Where such a line stands with other words, it names its file.
constexpr std::string_view kOfTheStore[] = {
    // classifications
    "Error [461]", "FilterAction [467]", "Remove FilterAction error [474]",
    // exceptions, scan limits, quarantine areas
    "Error [137]", "Error [182]", "Error [204]", "Error [26]", "Error [35]", "Error [44]",
    // policies
    "Error [459]", "Error [467]", "Error [477]", "Error [484]",
    // extra filters, address lists
    "Error [410]", "Error [425]", "Error [55]", "Remove address error [64]"};

bool is_of_the_store(std::string_view message) {
  std::string_view const place = message.substr(0, message.find(':'));
  return std::ranges::find(kOfTheStore, place) != std::end(kOfTheStore);
}

// A message that names a file itself knows better.
std::string file_named_in(std::string const& message, std::string const& folder) {
  for (std::string const before : {" from ", ": read "}) {
    size_t const start = message.find(before + folder + "/");
    size_t const end = message.rfind(" failed.");
    if (start == std::string::npos || end == std::string::npos) continue;
    size_t const name = start + before.size() + folder.size() + 1;
    if (end > name) return message.substr(name, end - name);
  }
  return "";
}

}  // namespace

std::vector<LogLine> read_witnessed_log(std::string const& log_path, std::string const& notes,
                                        std::string const& folder) {
  std::vector<LogLine> lines;
  std::string log;
  std::string noted;
  if (read_file(log_path, log) != 0) return lines;
  (void)read_file(notes, noted);  // without it no line has a file
  std::vector<Beginning> beginnings = read_beginnings(log_path, noted, folder);
  if (beginnings.empty()) {
    for (size_t at = 0; at < log.size(); at = log.find('\n', at) + 1) {
      beginnings.push_back({at, ""});
      if (log.find('\n', at) == std::string::npos) break;
    }
  }
  // A line that tells of no trouble begins a step of the run, for which nothing was read yet; one
  // of the store stands before its importer reads, or after a file that is not to blame.
  std::string read_last;
  for (size_t i = 0; i < beginnings.size(); ++i) {
    if (!beginnings[i].file.empty()) read_last = beginnings[i].file;
    size_t const start = std::min(beginnings[i].place, log.size());
    size_t const end = i + 1 < beginnings.size() ? beginnings[i + 1].place : log.size();
    std::string const message = message_of(std::string_view(log).substr(start, end - start));
    std::string const named = file_named_in(message, folder);
    bool const is_of_store = is_of_the_store(message);
    if (!is_trouble(message) || is_of_store) read_last.clear();
    lines.push_back({message, named.empty() ? read_last : named, is_trouble(message), is_of_store});
  }
  return lines;
}

}  // namespace zeva
