#include "nvinielement.h"

#include <utility>

int Nvinielement::getattribute(std::string_view key, std::string& value) const {
  Nvkeypair const* pair = attributes_.find(key);
  if (pair == nullptr) return -1;
  value = pair->value;
  return 0;
}

void Nvinielement::setattribute(std::string_view key, std::string_view value) {
  attributes_.obtain(key).value = value;
}

void Nvinielement::setattributes(std::vector<Nvkeypair> attributes) {
  attributes_.assign(std::move(attributes));
}

void Nvinielement::mergeattributes(std::vector<Nvkeypair> attributes) {
  attributes_.merge(std::move(attributes), [](Nvkeypair& pair, Nvkeypair&& later) {
    pair.value = std::move(later.value);
  });
}

void Nvinielement::setcomment(std::string_view name, std::string_view line) {
  std::string& lines = name == name_ ? header_comment_ : comments_.obtain(name).lines;
  lines.append(line).append("\n");
}

void Nvinielement::setcomments(std::string_view name, std::vector<std::string> const& lines) {
  for (std::string const& line : lines) setcomment(name, line);
}

std::string_view Nvinielement::getkeycomment(std::string_view key) const {
  Nvcomment const* comment = comments_.find(key);
  if (comment == nullptr) return "";
  return comment->lines;
}

void Nvinielement::addkeycomment(std::string_view key, std::string_view lines) {
  comments_.obtain(key).lines += lines;
}

void Nvinielement::initialize() {
  name_.clear();
  attributes_.clear();
  comments_.clear();
  header_comment_.clear();
}
