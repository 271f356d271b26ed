// The gateway's home for programs with a short path in mind.
#pragma once

// product_home(), cut at 255 bytes. The text stays valid until the next call.
char const* gethomepath();
