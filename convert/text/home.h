// The gateway's installation root.
#pragma once

// The value of ZEVA_HOME, "/opt/norva/zeva" when it is not set, cut at 255 bytes. The text stays
// valid until the next call.
char const* gethomepath();
