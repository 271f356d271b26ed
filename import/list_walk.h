// The items of a numbered list in turn, as many as the list's count says.
//
// A count is only a number in a file: it may be wrong by billions, and a list may have gaps. So the
// walk also goes to items that are missing, each of which gets its own line in the log when it
// cannot be read, but of a long gap only to the first hundred: there it goes on with the next item
// that the file does hold, or ends when there is none. Nothing that is there is left out, and time
// and log stay within what the file's size allows.
#pragma once

#include "export_keys.h"
#include "nvconfigfile.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zeva {

// The numbers of a list's items that a file holds, of those from `first` on that a count announces,
// in order. `item` is the numbered name of the list's sections, which ends with its number, or of
// the keys of a section.
[[nodiscard]] std::vector<int> held_sections(NvConfigFile const& file, std::string_view item,
                                             int count);
[[nodiscard]] std::vector<int> held_keys(NvConfigFile const& file, std::string const& section,
                                         std::string_view item, int count, int first = 1);

class ListWalk {
 public:
  // The list's items are the file's sections `item` from number 1 to `count`. In the log they are
  // called `list`; the line of a gap that is left out has the number `code`.
  static ListWalk over_sections(NvConfigFile const& file, std::string_view item, int count,
                                std::string const& list, int code);

  // The same for the keys of a section, counted from `first`.
  static ListWalk over_keys(NvConfigFile const& file, std::string const& section,
                            std::string_view item, int count, std::string const& list, int code,
                            int first = 1);

  // Goes to the next item, at first to the first. False behind the last.
  [[nodiscard]] bool next();

  int number() const { return static_cast<int>(number_); }
  std::string name() const { return numbered(item_, number()); }

 private:
  ListWalk(NvConfigFile const& file, std::string_view item, int count, std::string const& list,
           int code, int first, std::vector<int> held);

  std::string file_, item_, list_;
  int code_;
  long long number_, end_;       // of the item, and behind the last
  std::vector<int> held_;        // the numbers among them that the file holds, in order
  std::size_t held_before_ = 0;  // how many of them lie before the next number
  int missing_ = 0;              // how many items in a row have been
};

}  // namespace zeva
