// What is printed while this lives, by the test too, is seen only when the test fails: expected
// errors would hide the ones that matter.
#pragma once

#include <gtest/gtest.h>

#include <stdio.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <unistd.h>

class QuietOutput {
 public:
  QuietOutput() {
    fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
  }
  ~QuietOutput() {
    fflush(stdout);
    dup2(output_, STDOUT_FILENO);
    off_t start = 0;
    while (testing::Test::HasFailure() && sendfile(STDOUT_FILENO, kept_, &start, 1 << 20) > 0) {
    }
    close(output_);
    close(kept_);
  }
  QuietOutput(QuietOutput const&) = delete;
  QuietOutput& operator=(QuietOutput const&) = delete;

 private:
  int output_ = dup(STDOUT_FILENO), kept_ = memfd_create("output", MFD_CLOEXEC);
};
