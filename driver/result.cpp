#include "result.h"

#include <fcntl.h>
#include <unistd.h>

#include "fixed_text.h"
#include "product_home.h"

void my_exit(int code) {
  FixedText path;
  path.add(zeva::product_home()).add("/xhtml/en/download/mig_result");
  int file = path.fits() ? open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666) : -1;
  if (file >= 0) {
    // The console reads this file as one piece: no line end follows.
    FixedText text;
    text.add("<?xml version=\"1.0\" encoding=\"utf-8\"?><root>").add(code).add("</root>");
    // There is nobody left to tell when this fails.
    [[maybe_unused]] ssize_t written = write(file, text.c_str(), text.length());
    close(file);
  }
  // No exit handlers: they may need what a jump or a signal has left half done.
  _exit(code);
}
