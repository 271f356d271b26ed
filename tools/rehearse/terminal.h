// What may be sent to a terminal beside text.
#pragma once

#include <stddef.h>

namespace zeva {

// True when the file is a terminal that takes commands: cursor movements and the like.
[[nodiscard]] bool takes_commands(int file);

// True when it takes colours and the user has not set NO_COLOR against them.
[[nodiscard]] bool takes_colours(int file);

// How many characters a line of the terminal has; 80 where it does not say.
[[nodiscard]] size_t columns_of(int file);

}  // namespace zeva
