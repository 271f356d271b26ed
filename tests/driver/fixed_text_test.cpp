#include "fixed_text.h"

#include <gtest/gtest.h>

#include <stdio.h>

#include <string>

namespace {

std::string shell_output(std::string const& command) {
  FILE* pipe = popen(command.c_str(), "r");
  std::string output;
  for (int c; (c = fgetc(pipe)) != EOF;) output += static_cast<char>(c);
  pclose(pipe);
  return output;
}

TEST(FixedText, WordsReachTheShellAsTheyAre) {
  for (char const* word : {"/opt/norva/zeva", "with blank", "it's", "$(touch x)", "`id`", "a;b|c&d",
                           "*?[x]", "\"", "~", "\\", "line\nbreak", "-n", "#", "\xc3\xa4\xff"}) {
    zeva::FixedText unquoted, quoted;
    unquoted.add("printf %s x").add_word(word);
    quoted.add("printf %s 'x").add_quoted(word).add("'");
    EXPECT_EQ(shell_output(unquoted.c_str()), "x" + std::string(word));
    EXPECT_EQ(shell_output(quoted.c_str()), "x" + std::string(word));
  }
}

TEST(FixedText, KeepsOrdinaryWordsAndSaysWhenItIsCut) {
  zeva::FixedText<8> text;
  EXPECT_TRUE(text.add_word("/1.2-_x").fits());
  EXPECT_FALSE(text.add("8").fits());
  EXPECT_STREQ(text.c_str(), "/1.2-_x");
}

}  // namespace
