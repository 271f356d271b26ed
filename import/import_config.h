// The three groups of general settings. Each is one export file and, failing, leaves what it has
// written; its errors are in the run log. Arguments as in importers.h.
#pragma once

// "/excepton.txt": the classifications of mail that cannot be processed. 0 or -13.
[[nodiscard]] int import_exception_handling(char const* dir, char const* regfile);

// "/scanlimit.txt": the limits of scanning. 0 or -14.
[[nodiscard]] int import_scan_limit(char const* dir, char const* regfile);

// "/quarantine.txt": replaces the quarantine areas. 0 or -12.
[[nodiscard]] int import_quarantine(char const* dir, char const* regfile);
