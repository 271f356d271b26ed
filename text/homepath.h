// The gateway's home for programs with a short path in mind, beside the migration: this one uses
// product_home().
#pragma once

// product_home(), cut at 255 bytes. The text stays valid until the next call.
char const* gethomepath();
