// The update log that the gateway keeps beside the run's own.
#pragma once

#include <string>

// Appends the local time, three blanks and the message to FOLDER/log/updatelog.debug, without a
// line break. Nothing happens when the file cannot be opened.
void writelog(std::string const& folder, std::string const& message);
