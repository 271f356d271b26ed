#include "inireader.h"

#include "trimname.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace zeva {

namespace {

// Not a function: it would be called through a pointer for each character of a name.
constexpr auto is_blank = [](char character) { return character == ' ' || character == '\t'; };

// Names, values and comment lines stay where they are in the text; what the grammar leaves out of
// them is closed up there.
class IniReader {
 public:
  IniReader(std::string& text, NvConfigFile& file, Overwritten* overwritten)
      : bytes_(text.data()),
        text_(text),
        file_(file),
        overwritten_(overwritten),
        line_end_(std::min(text_.find('\n'), text_.size())) {}

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
        keep_pending(1);
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
    current_.addheadercomment(take_pending());
  }

  void merge_keys() {
    current_.mergeattributes(keys_, overwritten_ == nullptr ? nullptr : &overwritten_keys_);
    keys_.clear();
  }

  // A section of many batches gets room for what it will hold if it goes on like this, as far as
  // that can be believed: doubling again and again would touch twice as much memory.
  void merge_batch() {
    merge_keys();
    std::vector<Nvkeypair> const& keys = current_.getattributes();
    if (keys.size() + kBatch <= keys.capacity()) return;
    uint64_t const size = section_end() - section_begin_;
    uint64_t const expected = keys.size() * size / (at_ - section_begin_);
    if (expected > keys.capacity())
      current_.reserveattributes(
          std::min(static_cast<size_t>(expected + expected / 16), kMostExpected * keys.size()));
  }

  // Of the section that the line before at_ is in. A header behind a NUL is overlooked.
  size_t section_end() {
    if (at_ > section_end_) section_end_ = std::min(next_header(), text_.size());
    return section_end_;
  }

  size_t next_header() const {
    size_t bracket = text_.find('[', at_);
    while (bracket < text_.size() && text_[text_.find_last_not_of(" \t", bracket - 1)] != '\n')
      bracket = text_.find('[', bracket + 1);
    return bracket;
  }

  void store() {
    merge_keys();
    if (overwritten_ != nullptr) note_overwritten();
    file_.setelements(std::exchange(current_, {}));
    section_begin_ = at_;
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
    bytes_[at_] = '#';
    keep_pending(rest_of_line().size() + 1);
  }

  // Only the text's last line may be without its newline, and is then pending for nothing.
  void keep_pending(size_t size) {
    size = std::min(size, text_.size() - at_);
    if (pending_ == pending_end_) pending_ = pending_end_ = at_;
    memmove(bytes_ + pending_end_, bytes_ + at_, size);
    pending_end_ += size;
    at_ += size;
  }

  IniText take_pending() {
    size_t const begin = std::exchange(pending_, pending_end_);
    return IniText::view_of(text_.substr(begin, pending_end_ - begin));
  }

  void read_key() {
    std::string_view line = rest_of_line();
    line = line.substr(0, line.find('\0'));
    at_ += line.size() + 1;

    size_t const equals = std::min(line.find('='), line.size());
    std::string_view const name = without_blanks(line.substr(0, equals));
    line.remove_prefix(std::min(equals + 1, line.size()));
    keys_.push_back({IniText::view_of(name), IniText::view_of(trimmed(line))});
    if (pending_ != pending_end_) current_.addkeycomment(IniText::view_of(name), take_pending());
    if (keys_.size() == kBatch) merge_batch();
  }

  std::string_view without_blanks(std::string_view part) {
    char* const begin = bytes_ + (part.data() - bytes_);
    char* const end = std::remove_if(begin, begin + part.size(), is_blank);
    return {begin, static_cast<size_t>(end - begin)};
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

  // So many keys are read before equal names are merged: enough for merging to be quick, few enough
  // for a name that stands there a million times to take no more room than one.
  static constexpr size_t kBatch = 1024;
  static constexpr size_t kMostExpected = 16;  // times what a section already holds

  char* const bytes_;
  std::string_view const text_;  // the same
  NvConfigFile& file_;
  Overwritten* const overwritten_;  // null where nobody asks
  size_t at_ = 0;
  size_t line_end_;  // the newline that ends a line begun before or at at_, or the end of the text
  size_t section_begin_ = 0;
  size_t section_end_ = 0;  // the one that was looked for last: only long sections need it
  Nvinielement current_;
  std::vector<Nvkeypair> keys_;             // of the current section, not yet merged into it
  std::set<std::string> overwritten_keys_;  // of the current section
  size_t pending_ = 0;      // the comment lines read since the last item, each with its newline,
  size_t pending_end_ = 0;  // moved together from here to there
};

}  // namespace

void read_ini(std::string text, NvConfigFile& file, Overwritten* overwritten) {
  NvConfigFile read;
  read.text_ = std::make_unique<std::string>(std::move(text));
  IniReader(*read.text_, read, overwritten).read();
  file.sections_ = std::move(read.sections_);
  file.text_ = std::move(read.text_);
}

}  // namespace zeva
