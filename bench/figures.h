// The one table of all benchmarks: each row holds what is measured of ours against a peer in the
// same run, as a ratio, and what is aimed at.
#pragma once

#include <algorithm>
#include <cstdio>
#include <vector>

namespace zeva {

enum class Aim { kAtMost, kAtLeast };

struct Figure {
  char const* block;  // "INI parsing"
  char const* what;   // "1000000 keys, one section"
  char const* unit;   // of both figures: "ns/key", "calls/s", "MiB"
  double ours;
  char const* peer;  // "GKeyFile"
  double theirs;
  Aim aim;
  double ratio;  // of ours to theirs, aimed at; 0 where none is
};

inline double median(std::vector<double> figures) {
  std::ranges::sort(figures);
  return figures[figures.size() / 2];
}

// Benchmarks print rows alone: bench/run prints the head above them all.
inline void print_row(Figure const& figure) {
  double const ratio = figure.ours / figure.theirs;
  bool const met = figure.aim == Aim::kAtMost ? ratio <= figure.ratio : ratio >= figure.ratio;
  std::printf("| %s | %s | %.4g %s | %s: %.4g | %.2f |", figure.block, figure.what, figure.ours,
              figure.unit, figure.peer, figure.theirs, ratio);
  if (figure.ratio == 0)
    std::printf(" | |\n");
  else
    std::printf(" %s %.2f | %s |\n", figure.aim == Aim::kAtMost ? "≤" : "≥", figure.ratio,
                met ? "yes" : "missed");
  std::fflush(stdout);
}

}  // namespace zeva
