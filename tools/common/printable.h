// Text on its way to a person.
#pragma once

#include <string>
#include <string_view>

namespace zeva {

// What a terminal shows of a text from somewhere else as it stands: valid UTF-8 with every
// character that is not a visible one (control characters, direction marks, broken bytes) written
// as \n, \r, \t or its bytes as \xNN. No such text can move the cursor, change colours or pass for
// another one.
[[nodiscard]] std::string printable(std::string_view text);

// "1 key", "2 keys".
[[nodiscard]] std::string counted(size_t count, std::string_view one, std::string_view many);

}  // namespace zeva
