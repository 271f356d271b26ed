// What may be sent to a terminal beside text.
#pragma once

namespace zeva {

// True when the file is a terminal that takes commands: cursor movements and the like.
[[nodiscard]] bool takes_commands(int file);

// True when it takes colours and the user has not set NO_COLOR against them.
[[nodiscard]] bool takes_colours(int file);

}  // namespace zeva
