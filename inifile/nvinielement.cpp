#include "nvinielement.h"

#include <utility>

using zeva::IniText;

namespace {

// The first lines need no room of their own.
void add_lines(IniText& lines, IniText added) {
  if (lines.empty())
    lines = std::move(added);
  else
    lines.append(added);
}

}  // namespace

void Nvinielement::setname(std::string_view name) {
  if (name == name_) return;
  name_ = name;
  if (attributes_.find(name_) != nullptr) return;
  Nvcomment* comment = comments_.find(name_);
  if (comment != nullptr) addheadercomment(std::exchange(comment->lines, {}));
}

int Nvinielement::getattribute(std::string_view key, std::string& value) const {
  Nvkeypair const* pair = attributes_.find(key);
  if (pair == nullptr) return -1;
  value = std::string_view(pair->value);
  return 0;
}

void Nvinielement::setattribute(IniText key, IniText value) {
  attributes_.obtain(std::move(key)).value = std::move(value);
}

void Nvinielement::setattributes(std::vector<Nvkeypair> attributes) {
  attributes_.assign(std::move(attributes));
}

void Nvinielement::mergeattributes(std::span<Nvkeypair> attributes,
                                   std::set<std::string>* overwritten) {
  attributes_.merge(attributes, [overwritten](Nvkeypair& pair, Nvkeypair&& later) {
    if (overwritten != nullptr && pair.value != later.value) overwritten->emplace(pair.name);
    pair.value = std::move(later.value);
  });
}

void Nvinielement::setcomment(std::string_view name, std::string_view line) {
  std::string const lines = std::string(line) + "\n";
  if (name == name_)
    addheadercomment(lines);
  else
    addkeycomment(name, lines);
}

void Nvinielement::setcomments(std::string_view name, std::vector<std::string> const& lines) {
  std::string const item(name);
  for (std::string const& line : lines) setcomment(item, line);
}

std::string_view Nvinielement::getkeycomment(std::string_view key) const {
  Nvcomment const* comment = comments_.find(key);
  if (comment == nullptr) return "";
  return comment->lines;
}

void Nvinielement::addheadercomment(IniText lines) {
  add_lines(header_comment_, std::move(lines));
}

void Nvinielement::addkeycomment(IniText key, IniText lines) {
  add_lines(comments_.obtain(std::move(key)).lines, std::move(lines));
}

void Nvinielement::initialize() {
  name_.clear();
  attributes_.clear();
  comments_.clear();
  header_comment_ = {};
}
