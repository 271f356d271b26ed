// One section of an INI file: its name, its keys in file order and the comment lines that stand
// above its header and its keys. Copying copies all of it, texts included. What is to be stored may
// be a text of the element itself. The reader fills it and the importers look keys up;
// setattribute, setcomment, setcomments and initialize are for programs that edit such files beside
// the migration.
#pragma once

#include "namedsequence.h"
#include "nvcomment.h"
#include "nvkeypair.h"

#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class Nvinielement {
 public:
  // Comment lines that were set for this name, and are not those of a key, become the header's.
  void setname(std::string_view name);
  std::string const& getname() const { return name_; }

  // The value of the first key of exactly that name, in constant time. 0, or -1 when there is none;
  // `value` is then left as it was.
  [[nodiscard]] int getattribute(std::string_view key, std::string& value) const;

  // Replaces the value of the first key of that name, in its place; appends the pair when there is
  // none.
  void setattribute(zeva::IniText key, zeva::IniText value);

  std::vector<Nvkeypair> const& getattributes() const { return attributes_.items(); }
  void setattributes(std::vector<Nvkeypair> attributes);

  // Makes room for so many in all.
  void reserveattributes(size_t attributes) { attributes_.reserve(attributes); }

  // Does for each pair in turn what setattribute would, but quicker, and moves its texts. Unless it
  // is null, `overwritten` gets the names of those that had another value.
  void mergeattributes(std::span<Nvkeypair> attributes,
                       std::set<std::string>* overwritten = nullptr);

  // Adds comment lines below those that the named item already has: the section's header when
  // `name` is the section's name, otherwise the key of that name, whether it exists yet or not. A
  // line is a whole line without its newline: "#" and a text, or empty.
  void setcomment(std::string_view name, std::string_view line);
  void setcomments(std::string_view name, std::vector<std::string> const& lines);

  // The comment lines above the header and above one key, told apart even when a key is named like
  // its section: whole lines, each with its newline; empty when there are none.
  std::string_view getheadercomment() const { return header_comment_; }
  void addheadercomment(zeva::IniText lines);
  std::string_view getkeycomment(std::string_view key) const;
  void addkeycomment(zeva::IniText key, zeva::IniText lines);

  // Empties the element for another section.
  void initialize();

 private:
  std::string name_;
  zeva::NamedSequence<Nvkeypair, &Nvkeypair::name> attributes_;
  zeva::NamedSequence<Nvcomment, &Nvcomment::name> comments_;
  zeva::IniText header_comment_;
};
