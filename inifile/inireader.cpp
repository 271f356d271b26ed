#include "inireader.h"

#include "storage.h"
#include "trimname.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace zeva {

namespace {

bool is_blank(char character) {
  return character == ' ' || character == '\t';
}

class IniReader {
 public:
  IniReader(std::string_view text, NvConfigFile& file, Overwritten* overwritten)
      : text_(text),
        file_(file),
        overwritten_(overwritten),
        line_end_(std::min(text.find('\n'), text.size())) {}

  void read() {
    // A NUL ends the file only in a line's first place, not behind blanks.
    while (at_ < text_.size() && text_[at_] != '\0') {
      skip_blanks();
      if (at_ < text_.size()) read_line();
    }
    store();
  }

 private:
  void read_line() {
    switch (text_[at_]) {
      case '[':
        read_header();
        break;
      case '#':
      case ';':
        read_comment();
        break;
      case '\n':
        pending_ += '\n';
        ++at_;
        break;
      default:
        read_key();
    }
  }

  // Keys and comment lines from before the first header, or below a header without a name, stay in
  // the current section and so become part of the one that begins here.
  void read_header() {
    if (!current_.getname().empty())
      store();
    else
      merge_keys();  // one that is named like the section keeps its comment lines
    ++at_;
    skip_blanks();
    std::string_view name = rest_of_line();
    size_t const length = std::min(name.find_first_of(std::string_view("]\0", 2)), name.size());
    // Only a "]" takes the rest of its line with it: what follows a NUL is read as a line.
    bool const closed = length < name.size() && name[length] == ']';
    at_ += (closed ? name.size() : length) + 1;

    name = name.substr(0, length);
    current_.setname(name.substr(0, name.find_last_not_of(" \t") + 1));
    current_.addheadercomment(pending_);
    pending_.clear();
  }

  void merge_keys() {
    current_.mergeattributes(std::exchange(keys_, {}),
                             overwritten_ == nullptr ? nullptr : &overwritten_keys_);
    merged_ = at_;
  }

  void store() {
    merge_keys();
    if (overwritten_ != nullptr) note_overwritten();
    file_.setelements(std::exchange(current_, {}));
  }

  void note_overwritten() {
    std::string const& name = current_.getname();
    Nvinielement const* const earlier = file_.find(name);
    std::string value;
    auto const is_lost = [&](Nvkeypair const& pair) {
      return current_.getattribute(pair.name, value) != 0 || value != pair.value;
    };
    if (earlier != nullptr && std::ranges::any_of(earlier->getattributes(), is_lost))
      overwritten_->sections.insert(name);
    // Those of the earlier one are lost with it.
    if (earlier != nullptr || !overwritten_keys_.empty())
      overwritten_->keys[name] = std::exchange(overwritten_keys_, {});
  }

  void read_comment() {
    std::string_view const line = rest_of_line();
    at_ += line.size() + 1;
    pending_.append("#").append(line.substr(1)).append("\n");
  }

  void read_key() {
    std::string_view line = rest_of_line();
    line = line.substr(0, line.find('\0'));
    at_ += line.size() + 1;

    size_t const equals = std::min(line.find('='), line.size());
    make_room(keys_);
    Nvkeypair& key = keys_.emplace_back();
    key.name = line.substr(0, equals);
    std::erase_if(key.name, is_blank);
    line.remove_prefix(std::min(equals + 1, line.size()));
    key.value = trimmed(line);
    if (!pending_.empty()) {
      current_.addkeycomment(key.name, pending_);
      pending_.clear();
    }
    if (at_ - merged_ >= kBatch) merge_keys();
  }

  void skip_blanks() {
    while (at_ < text_.size() && is_blank(text_[at_])) ++at_;
  }

  // Up to its newline, which is looked for once: a line that NULs cut into many would otherwise be
  // searched again and again.
  std::string_view rest_of_line() {
    if (at_ > line_end_) line_end_ = std::min(text_.find('\n', at_), text_.size());
    return text_.substr(at_, line_end_ - at_);
  }

  // So much text is read before equal names are merged: enough keys for merging to be quick, few
  // enough for a name that stands there a million times to take no more room than one.
  static constexpr size_t kBatch = size_t{1} << 20;

  std::string_view const text_;
  NvConfigFile& file_;
  Overwritten* const overwritten_;  // null where nobody asks
  size_t at_ = 0;
  size_t line_end_;  // the newline that ends a line begun before or at at_, or the end of the text
  Nvinielement current_;
  std::vector<Nvkeypair> keys_;             // of the current section, not yet merged into it
  size_t merged_ = 0;                       // up to where they are
  std::set<std::string> overwritten_keys_;  // of the current section
  std::string pending_;  // the comment lines read since the last item, each with its newline
};

}  // namespace

void read_ini(std::string_view text, NvConfigFile& file, Overwritten* overwritten) {
  IniReader(text, file, overwritten).read();
}

}  // namespace zeva
