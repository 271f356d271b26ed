// The update log that the gateway's own programs keep; the migration has a run log instead.
#pragma once

#include <string>

// Appends the local time, three blanks and the message to FOLDER/log/updatelog.debug, without a
// line break. 0; -1, and nothing happens, when the file cannot be opened.
int writelog(std::string const& folder, std::string const& message);
