#include "nvinielement.h"

#include <utility>

void Nvinielement::setname(std::string_view name) {
  if (name == name_) return;
  name_ = name;
  if (attributes_.find(name_) != nullptr) return;
  Nvcomment* comment = comments_.find(name_);
  if (comment != nullptr) header_comment_ += std::exchange(comment->lines, {});
}

int Nvinielement::getattribute(std::string_view key, std::string& value) const {
  Nvkeypair const* pair = attributes_.find(key);
  if (pair == nullptr) return -1;
  value = pair->value;
  return 0;
}

void Nvinielement::setattribute(std::string_view key, std::string_view value) {
  std::string stored(value);
  attributes_.obtain(key).value = std::move(stored);
}

void Nvinielement::setattributes(std::vector<Nvkeypair> attributes) {
  (void)attributes_.assign(std::move(attributes));  // the first of a name counts
}

void Nvinielement::mergeattributes(std::vector<Nvkeypair> attributes,
                                   std::set<std::string>* overwritten) {
  attributes_.merge(std::move(attributes), [overwritten](Nvkeypair& pair, Nvkeypair&& later) {
    if (overwritten != nullptr && pair.value != later.value) overwritten->insert(pair.name);
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

void Nvinielement::addkeycomment(std::string_view key, std::string_view lines) {
  std::string added(lines);
  comments_.obtain(key).lines += added;
}

void Nvinielement::initialize() {
  name_.clear();
  attributes_.clear();
  comments_.clear();
  header_comment_.clear();
}
