#include "rehearsal_home.h"

#include "files.h"
#include "sandbox.h"
#include "snapshot.h"
#include "store_copy.h"

#include <string.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace zeva {
namespace {

std::string const kHome = kScratchHome;
std::string const kConfig = kHome + "/config";
std::string const kOriginal = std::string(kScratchFolder) + "/original";

}  // namespace

std::optional<std::string> RehearsalHome::lay_out(std::string const& config) {
  StoreCopy files;
  if (int const error = read_store(config, files)) {
    return std::string("the store cannot be read: ") + strerror(error);
  }
  std::error_code failure;
  for (std::string const& folder : {kHome + "/xhtml/en/download", kOriginal}) {
    if (!fs::create_directories(folder, failure)) return folder + ": " + failure.message();
  }
  for (size_t i = 0; i < std::size(kStoreFiles); ++i) {
    if (!files[i]) continue;
    had_store_ = true;
    for (std::string const& copy : {kOriginal, kConfig}) {
      if (int const error = write_new_file(copy + kStoreFiles[i], *files[i])) {
        return std::string("the store cannot be copied: ") + strerror(error);
      }
    }
  }
  return std::nullopt;
}

LoadedStore load_factory_store(std::string const& config) {
  LoadedStore store;
  std::string bytes;
  auto root = std::make_unique<Key>();
  if (int const error = read_file(config + "/factory.xml", bytes)) {
    store.failure = std::string("the factory's store cannot be read: ") + strerror(error);
  } else if (read_snapshot(bytes, *root, store.generation, store.failure)) {
    store.root = std::move(root);
  }
  return store;
}

LoadedStore RehearsalHome::load_original() const {
  return had_store_ ? load_store(kOriginal) : load_factory_store(kConfig);
}

LoadedStore RehearsalHome::load_current() const {
  return load_store(kConfig);
}

}  // namespace zeva
