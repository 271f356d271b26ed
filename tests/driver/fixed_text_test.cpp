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

TEST(FixedText, OrdinaryWordsStayUnquoted) {
  zeva::FixedText text;
  text.add_word("/opt/norva/zeva-2.1_x").add(-17);
  EXPECT_STREQ(text.c_str(), "/opt/norva/zeva-2.1_x-17");
}

TEST(FixedText, SaysWhenItIsCut) {
  zeva::FixedText<8> text;
  EXPECT_TRUE(text.add("1234567").fits());
  EXPECT_FALSE(text.add("8").fits());
  EXPECT_STREQ(text.c_str(), "1234567");
}

}  // namespace
