#include "held_plan.h"

#include "change_text.h"
#include "digest.h"
#include "loader.h"
#include "plan.h"
#include "printable.h"
#include "rehearsal_home.h"
#include "secrets.h"
#include "terminal.h"
#include "tool.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace zeva {
namespace {

// Compares the store of a home with one of the plan, and prints the outcome.
class StoreCheck {
 public:
  StoreCheck(Plan const& plan, std::string const& home)
      : plan_(plan), home_(home.empty() ? plan.home : home) {}

  // `is_so` is printed when the stores are equal, `is_not` above what differs.
  int run(std::string const& digest, Key const& expected, char const* is_so, char const* is_not) {
    LoadedStore store = load_store(home_ + "/config");
    if (store.absent) store = load_first_store();
    if (!store.root) return complain(home_, store.failure);
    for (std::string const& note : store.notes) complain(home_, note);
    if (store_digest(*store.root) == digest) {
      std::cout << is_so << '\n';
      return 0;
    }
    std::cout << is_not << '\n';
    Secrets(plan_.masked).mask(*store.root, plan_.salt);
    ChangeText text(std::cout, takes_colours(STDOUT_FILENO));
    bool differs = false;
    compare_stores(expected, *store.root, [&](KeyChange const& change) {
      text.write(change);
      differs = true;
    });
    return differs ? kDiffers : complain("the plan", "is damaged: its digest is not its store's");
  }

 private:
  // As the rehearsal took it: of the home or, if that has none, of the installation.
  LoadedStore load_first_store() const {
    LoadedStore store = load_factory_store(home_ + "/config");
    if (store.root) return store;
    return load_factory_store(own_folder().value_or("") + "/../config");
  }

  Plan const& plan_;
  std::string const home_;
};

int check_package(Plan const& plan, std::string const& given) {
  if (given.empty() && plan.is_folder) {
    return complain(plan.package,
                    "is a folder that was packed for the rehearsal: name the package "
                    "that zeva-pack has made of it");
  }
  std::string const& package = given.empty() ? plan.package : given;
  auto const digest = file_digest(package);
  if (!digest) return complain(package, strerror(errno));
  bool const is_same = *digest == plan.package_sha256;
  std::cout << (is_same ? "The package is the plan's: " : "The package is another one: ")
            << printable(package) << '\n';
  return is_same ? 0 : kDiffers;
}

int flushed(int status) {
  return std::cout.flush() ? status : complain("standard output", "cannot be written");
}

}  // namespace

int check_plan(std::string const& file, std::string const& package, std::string const& home) {
  Plan plan;
  if (auto const why = read_plan(file, plan)) return complain(file, *why);
  int const package_status = check_package(plan, package);
  int const store_status =
      StoreCheck(plan, home)
          .run(plan.before_sha256, *plan.before, "The store is as it was rehearsed.",
               "The store has changed since the rehearsal:");
  if (package_status == kFailed || store_status == kFailed) return flushed(kFailed);
  return flushed(std::max(package_status, store_status));
}

int verify_plan(std::string const& file, std::string const& home) {
  Plan plan;
  if (auto const why = read_plan(file, plan)) return complain(file, *why);
  return flushed(StoreCheck(plan, home)
                     .run(plan.after_sha256, *plan.after, "The store is what was planned.",
                          "The store is not what was planned:"));
}

}  // namespace zeva
