// Files that change while they are read: what happens between two reads is done in the first one.

#include "store_copy.h"

#include <errno.h>
#include <sys/types.h>

#include <gmock/gmock.h>
#include <functional>

#include "work_folder.h"

namespace {

std::function<void()> meanwhile;

}  // namespace

extern "C" ssize_t __real_pread64(int, void*, size_t, off64_t);
extern "C" ssize_t __wrap_pread64(int file, void* bytes, size_t size, off64_t place) {
  ssize_t const got = __real_pread64(file, bytes, size, place);
  if (meanwhile) meanwhile();
  return got;
}

namespace {

class Store : public WorkFolder {
 public:
  Store() { put("old"); }
  ~Store() { meanwhile = nullptr; }

  // Replaces every file as the server does.
  void put(std::string const& content) {
    for (std::string const name : zeva::kStoreFiles) {
      write("new", content);
      std::filesystem::rename(*this / "new", *this / name);
    }
  }
};

using Copied = std::vector<std::string>;

Copied copied(Store const& store, int expected = 0) {
  zeva::StoreCopy copy;
  EXPECT_EQ(zeva::read_store(store / "", copy), expected);
  Copied shown;
  for (auto const& file : copy) shown.push_back(file.value_or("none"));
  return shown;
}

TEST(StoreCopy, IsOfOneMoment) {
  Store store;
  EXPECT_EQ(copied(store), (Copied{"old", "old", "old"}));
  int calls = 0;
  meanwhile = [&] {
    if (++calls == 1) store.put("new");
  };
  EXPECT_EQ(copied(store), (Copied{"new", "new", "new"}));
}

TEST(StoreCopy, TakesALogThatGrows) {
  Store store;
  int calls = 0;
  meanwhile = [&] {
    if (++calls == 2) std::ofstream(store / zeva::kLogFile, std::ios::app) << " more";
  };
  EXPECT_EQ(copied(store), (Copied{"old", "old", "old"}));
  EXPECT_EQ(calls, 3);
}

TEST(StoreCopy, GivesUpOnFilesThatNeverRest) {
  Store store;
  meanwhile = [&] { store.put("new"); };
  copied(store, EAGAIN);
}

}  // namespace
