#include "change_text.h"

#include "printable.h"
#include "registry_view.h"

#include <ostream>

namespace zeva {
namespace {

struct Look {
  char const* sign;
  char const* colour;
};
// In the order of KeyChange::Kind.
constexpr Look kLooks[] = {{"+", kGreen}, {"-", kRed}, {"~", kYellow}};

}  // namespace

void ChangeText::write_key(KeyChange const& change) {
  auto const& [sign, colour] = kLooks[static_cast<int>(change.kind)];
  put(colour, std::string("  ") + sign + " " +
                  (change.path.empty() ? "(the root)" : printable(change.path)));
}

void ChangeText::write(KeyChange const& change) {
  write_key(change);
  for (ValueChange const& value : change.values) {
    if (value.before) put(kRed, "  - " + printable(value_line(*value.before)));
    if (value.after) put(kGreen, "  + " + printable(value_line(*value.after)));
  }
}

void ChangeText::put(char const* colour, std::string const& line) {
  bool const coloured = in_colour_ && colour[0] != '\0';
  out_ << (coloured ? colour + line + "\033[0m" : line) << '\n';
}

}  // namespace zeva
