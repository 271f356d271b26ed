// zeva-regdump: prints the registry, or what is below one of its keys.
//
// It reads the store's files itself, without changing a byte and whether a server runs or not, or
// asks a running server. Both ways print the same.

#include "loader.h"
#include "nvreg.h"
#include "printable.h"
#include "product_home.h"
#include "registry_view.h"
#include "regpath.h"
#include "server_reader.h"
#include "tool.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <exception>
#include <string>

namespace {

// Writes keys to standard output; a terminal gets no byte that it could take for a command.
class Printer {
 public:
  explicit Printer(bool json) : json_(json), terminal_(isatty(STDOUT_FILENO) == 1) {
    // By the block of a disk, a large store takes thousands of calls.
    static char buffer[256 << 10];
    if (!terminal_) setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
  }

  // False once standard output takes no more.
  bool print(zeva::KeyView const& key) { return json_ ? print_json(key) : print_text(key); }

 private:
  // A piece for each value: a key may hold most of the store.
  bool print_json(zeva::KeyView const& key) {
    std::string piece = R"({"key":)";
    zeva::append_text_json(piece, key.path, terminal_);
    piece += R"(,"values":[)";
    for (zeva::Value const* value : key.values) {
      if (value != key.values.front()) piece += ',';
      zeva::append_value_json(piece, *value, terminal_);
      if (!put(piece)) return false;
      piece.clear();
    }
    return put(piece += "]}\n");
  }

  bool print_text(zeva::KeyView const& key) {
    if (!put_line(key.path)) return false;
    for (zeva::Value const* value : key.values) {
      if (!put_line(zeva::value_line(*value))) return false;
    }
    return true;
  }

  bool put_line(std::string const& text) const {
    return put((terminal_ ? zeva::printable(text) : text) + '\n');
  }

  static bool put(std::string const& text) {
    return fwrite(text.data(), 1, text.size(), stdout) == text.size();
  }

  bool const json_;
  bool const terminal_;
};

std::string describe(int32_t status) {
  switch (status) {
    case NVREG_NO_SERVER:
      return "no registry server answers there";
    case NVREG_REFUSED:
      return "who answers there is not the home's registry server, or this user may not read the "
             "home's cookie file";
    case NVREG_BAD_ARGUMENT:
      return "is not an address of the form ZEVA:PORT";
    default:
      char text[64];
      snprintf(text, sizeof text, "the registry cannot be read, status 0x%08X",
               static_cast<unsigned>(status));
      return text;
  }
}

int no_such_key(std::string const& key) {
  return zeva::complain(key, "there is no such key");
}

int dump_files(std::string const& home, std::string const& path, zeva::KeyVisitor const& visit) {
  // Never taken apart, which takes as long as printing it: it goes with the process.
  static auto const& store = *new zeva::LoadedStore(zeva::load_store(home + "/config"));
  for (std::string const& note : store.notes) zeva::complain(home, note);
  if (!store.root) return zeva::complain(home, store.failure);
  zeva::Key const* key = zeva::find_key(*store.root, path);
  if (key == nullptr) return no_such_key(path);
  zeva::visit_tree(*key, path, visit);
  return 0;
}

int dump_server(std::string const& address, std::string const& path,
                zeva::KeyVisitor const& visit) {
  int32_t const status = zeva::visit_server(address, path, visit);
  if (status == NVREG_NOT_FOUND) return no_such_key(path);
  return status < 0 ? zeva::complain(address, describe(status)) : 0;
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app("Prints the policy store below KEY; everything without one.");
  std::string home = zeva::product_home();
  std::string server;
  std::string key;
  bool json = false;
  auto* home_option =
      app.add_option("--home", home, "read the store's files in this home\n(default: $ZEVA_HOME)")
          ->option_text("HOME");
  auto* server_option = app.add_option("--server", server,
                                       "ask the registry server at this address,\nas in ZEVA:5069")
                            ->option_text("ADDRESS");
  app.add_flag("--json", json, "one JSON object a line for each key");
  app.add_option("KEY", key, "a key's path, as in 'registry\\config'");
  if (auto const status = zeva::parse_command_line(app, argc, argv)) return *status;

  if (*home_option && *server_option) {
    zeva::complain("--home and --server exclude each other", "see --help");
    return zeva::kWrongUsage;
  }
  std::string path;
  if (zeva::join_path("", key, path) != NVREG_OK) return zeva::complain(key, "is no key's path");

  Printer printer(json);
  auto const visit = [&](zeva::KeyView const& view) { return printer.print(view); };
  int const status =
      server.empty() ? dump_files(home, path, visit) : dump_server(server, path, visit);
  if (fflush(stdout) != 0 || ferror(stdout) != 0) {
    return zeva::complain("standard output", std::string("cannot be written: ") + strerror(errno));
  }
  return status;
} catch (std::exception const& error) {
  return zeva::complain_of(error);
}
