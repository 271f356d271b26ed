// Enumerations of the gateway's libraries.
#pragma once

#include "nvreg.h"

#include <stdint.h>

#include <string>
#include <vector>

namespace zeva {

// A library's call that reads the name of the item at an index.
using Enumerator = void (*)(_NvPolComHandle* parent, uint32_t index, char* name, uint32_t* length,
                            int32_t* status);

// Appends the names that an enumeration gives, from index 0 on, each read into a buffer of
// `name_size` bytes: any name of the store, unless the caller sets a size of its own. Returns the
// status that ended it; `at_first` tells whether it was the first call's.
[[nodiscard]] int32_t append_names(Enumerator next, _NvPolComHandle* parent,
                                   std::vector<std::string>& names, bool& at_first,
                                   uint32_t name_size = NVREG_MAX_NAME + 1);

// What a library's call writes a text to.
class TextBuffer {
 public:
  uint32_t length = 0;  // the capacity before a call, the text's length after it
  char* data() { return bytes_.data(); }
  std::string text() const { return bytes_.substr(0, length); }

  void reset() { length = static_cast<uint32_t>(bytes_.size()); }
  // Makes room for a text of `length` and its NUL; false when there was enough.
  [[nodiscard]] bool grow() {
    if (length < bytes_.size()) return false;
    bytes_.resize(size_t{length} + 1);
    return true;
  }

 private:
  std::string bytes_ = std::string(1024, '\0');
};

// Makes a call that reads texts, and makes it again with larger buffers as long as they do not
// fit. Returns the last call's status.
template <class Call, class... Buffers>
[[nodiscard]] int32_t read_texts(Call call, Buffers&... buffers) {
  for (;;) {
    (buffers.reset(), ...);
    int32_t status = 0;
    call(&status);
    bool grown = false;
    if (status == NVREG_BUFFER_TOO_SMALL) ((grown = buffers.grow() || grown), ...);
    if (!grown) return status;
  }
}

}  // namespace zeva
