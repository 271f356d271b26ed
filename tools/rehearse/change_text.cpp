#include "change_text.h"

#include "printable.h"
#include "registry_view.h"

#include <ostream>

namespace zeva {
namespace {

// In the order of KeyChange::Kind.
constexpr char const* kColours[] = {kGreen, kRed, kYellow};

}  // namespace

void ChangeText::write_key(KeyChange const& change) {
  put(kColours[static_cast<int>(change.kind)],
      std::string("  ") + name_of(change.kind).sign + " " +
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
