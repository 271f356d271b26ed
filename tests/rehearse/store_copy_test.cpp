// Files that change while they are read: what happens between two reads is done in the first one.

#include "store_copy.h"

#include "work_folder.h"

#include <gmock/gmock.h>

#include <errno.h>
#include <sys/types.h>

#include <functional>

namespace {

std::function<void()> meanwhile;

}  // namespace

extern "C" ssize_t __real_pread64(int, void*, size_t, off64_t);
extern "C" __attribute__((visibility("default"))) ssize_t __wrap_pread64(int file, void* bytes,
                                                                         size_t size,
                                                                         off64_t place) {
  ssize_t const got = __real_pread64(file, bytes, size, place);
  if (meanwhile) meanwhile();
  return got;
}

namespace {

class StoreCopy : public testing::Test {
 protected:
  StoreCopy() { put("old"); }
  ~StoreCopy() override { meanwhile = nullptr; }

  // Replaces every file as the server does.
  void put(std::string const& content) {
    for (char const* name : zeva::kStoreFiles) replace(name, content);
  }
  void replace(std::string const& name, std::string const& content) {
    work_.write("new", content);
    std::filesystem::rename(work_ / "new", work_ / name);
  }

  // The three files' contents as they were copied.
  std::string copied(int expected = 0) {
    zeva::StoreCopy copy;
    EXPECT_EQ(zeva::read_store(work_ / "", copy), expected);
    std::string shown;
    for (auto const& file : copy) shown += file.value_or("none") + " ";
    return shown;
  }

  WorkFolder work_;
  int calls_ = 0;
};

TEST_F(StoreCopy, IsOfOneMomentOrNone) {
  EXPECT_EQ(copied(), "old old old ");
  meanwhile = [&] {
    if (++calls_ == 1) put("new");
  };
  EXPECT_EQ(copied(), "new new new ");
  meanwhile = [&] {
    if (++calls_ == 8) replace(zeva::kLogFile, "newer");
  };
  EXPECT_EQ(copied(), "new newer new ");
  meanwhile = [&] { put("new"); };
  copied(EAGAIN);
}

TEST_F(StoreCopy, IsTakenAgainOfFilesThatChangeInPlace) {
  for (char const* const name : {zeva::kSnapshotFile, zeva::kLogFile}) {
    calls_ = 0;
    put("old");
    meanwhile = [&] {
      if (++calls_ != 2) return;
      std::ofstream(work_ / name) << "x";
      std::filesystem::last_write_time(work_ / name, {});
    };
    EXPECT_THAT(copied(), testing::HasSubstr("x "));
  }
}

TEST_F(StoreCopy, TakesALogThatGrows) {
  meanwhile = [&] {
    if (++calls_ == 2) std::ofstream(work_ / zeva::kLogFile, std::ios::app) << " more";
  };
  EXPECT_EQ(copied(), "old old old ");
  EXPECT_EQ(calls_, 3);
}

}  // namespace
