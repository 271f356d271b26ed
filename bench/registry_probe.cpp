// Stores so many values of 100 bytes in one new key of the server that runs: registry_probe VALUES.
// Prints the seconds that it took. bench/breaks asks it how the cost grows.
#include "nvreg.h"
#include "scratch.h"

#include <stdio.h>
#include <stdlib.h>

#include <string>

namespace {

void check(int32_t status, char const* what) {
  if (status >= 0) return;
  fprintf(stderr, "%s: status 0x%08X\n", what, static_cast<unsigned>(status));
  exit(1);
}

void store(_NvPolComHandle* key, int values) {
  std::string const data(100, 'x');
  for (int i = 0; i < values; ++i) {
    int32_t status;
    nvreg_setValue(key, std::to_string(i).c_str(), NVREG_STRING,
                   reinterpret_cast<unsigned char const*>(data.data()),
                   static_cast<uint32_t>(data.size()), &status);
    check(status, "nvreg_setValue");
  }
}

}  // namespace

int main(int argc, char** argv) {
  int const values = argc == 2 ? atoi(argv[1]) : 0;
  if (values <= 0) {
    fprintf(stderr, "usage: registry_probe VALUES\n");
    return 2;
  }
  int32_t status;
  _NvPolComHandle* root = nullptr;
  _NvPolComHandle* const registry = nvreg_open(1, "ZEVA:5069", &root, &status);
  check(status, "nvreg_open");
  _NvPolComHandle* const key =
      nvreg_createKey(root, ("Probe\\" + std::to_string(getpid())).c_str(), &status);
  check(status, "nvreg_createKey");
  printf("%f\n", zeva::seconds_of([&] { store(key, values); }));
  nvreg_closeKey(key, &status);
  nvreg_closeKey(root, &status);
  nvreg_close(registry, &status);
}
