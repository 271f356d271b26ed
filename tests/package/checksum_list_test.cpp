#include "checksum_list.h"

#include "descriptor.h"
#include "work_folder.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <regex>

namespace {

char const kEmptySum[] = "d41d8cd98f00b204e9800998ecf8427e";

// Whether a line counts, md5sum itself is asked: all files are empty, and "$" is their sum.
TEST(ChecksumList, NamesWhatMd5sumWouldCheck) {
  WorkFolder work;
  for (std::string const name : {"a", " x", "b c", "n\nl", "p)q", "c\rr", " "})
    work.write(name, "");
  for (std::string const line :
       {"$  b c",        "$ *a",       "$\t a",       " \t$  a",    "$  a\r",
        "MD5 (p)q) = $", "MD5(a)=$\r", "MD5 (a) $",   "\\$  n\\nl", "\\MD5 (n\\nl) = $",
        "\\$  a\\x",     "$ a",        "$  b c\n$ y", "$ a\n$  x",  "#$  a",
        "0$  a",         "$a",         "$ ",          "$  ",        "MD5 (a) = $0",
        "\\$  c\\rr"}) {
    work.write("md5.sum", std::regex_replace(line, std::regex("\\$"), kEmptySum));
    zeva::Descriptor const file(open((work / "md5.sum").c_str(), O_RDONLY));
    zeva::ChecksumList list(file.get());
    bool named = false;
    for (std::string name; list.next(name); named = true) {
      EXPECT_TRUE(std::filesystem::exists(work / name)) << line;
      EXPECT_EQ(list.sum(), kEmptySum) << line;
    }
    EXPECT_EQ(named, work.sh("md5sum -c md5.sum").succeeded()) << line;
  }
  zeva::ChecksumList unreadable(-1);
  std::string name;
  EXPECT_TRUE(!unreadable.next(name) && unreadable.failed());
}

}  // namespace
