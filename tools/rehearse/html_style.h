// The style sheet of a rehearsal's page.
#pragma once

#include <string_view>

namespace zeva {

// Each colour has a contrast of at least 4.5 to the ground. Long names break wherever they must, so
// that no table is wider than its page. What a reader has closed is printed, too.
inline constexpr std::string_view kPageStyle = R"(
:root {
  color-scheme: light dark;
  --ground: #ffffff; --text: #1c1c1c; --quiet: #5a5a5a; --line: #b8b8b8; --head: #f0f0f0;
  --link: #0645ad; --good: #0a6010; --bad: #a40000; --other: #6f4a00;
}
@media screen and (prefers-color-scheme: dark) {
  :root {
    --ground: #14171a; --text: #e8e8e8; --quiet: #a8a8a8; --line: #50555a; --head: #22272b;
    --link: #9ecbff; --good: #8fd98f; --bad: #ff9d9d; --other: #f0c674;
  }
}
body {
  margin: 0 auto; max-width: 75rem; padding: 0.5rem; overflow-wrap: anywhere;
  background: var(--ground); color: var(--text); font: 1rem/1.45 sans-serif;
}
a { color: var(--link); }
.verdict { border-left: 0.4rem solid; padding-left: 0.6rem; font-size: 1.2rem; font-weight: bold; }
.good, .gained { color: var(--good); }
.bad, .lost, .error { color: var(--bad); }
.mixed, .changed, .loss { color: var(--other); }
.quiet { color: var(--quiet); }
table { width: 100%; table-layout: fixed; border-collapse: collapse; margin: 0.5rem 0 1rem; }
caption { text-align: left; font-weight: bold; padding: 0.25rem 0; }
th, td {
  border: 1px solid var(--line); padding: 0.2rem 0.3rem; text-align: left; vertical-align: top;
  font-weight: normal; white-space: pre-wrap;
}
thead th { background: var(--head); font-weight: bold; }
.key { background: var(--head); }
ul, dd { margin-left: 0; padding-left: 1.2rem; }
td ul { margin: 0; }
dt { font-weight: bold; }
pre { margin: 0; white-space: pre-wrap; font: inherit; }
.log { font-family: monospace; font-size: 0.875rem; }
.rows { content-visibility: auto; contain-intrinsic-size: auto 6000px; }
summary { cursor: pointer; font-weight: bold; padding: 0.25rem 0; }
@media (max-width: 40rem) {
  table { font-size: 0.875rem; }
  td ul { padding-left: 0.8rem; }
}
@media print {
  body { max-width: none; }
  .rows { content-visibility: visible; }
  details::details-content { content-visibility: visible; }
}
)";

}  // namespace zeva
