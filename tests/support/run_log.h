// The run log as tests look at it.
#pragma once

#include <fstream>
#include <string>
#include <vector>

// The messages of a log without the bracketed heads of their lines; a message of several lines is
// one of them.
inline std::vector<std::string> logged_messages(std::string const& path) {
  std::vector<std::string> messages;
  std::ifstream log(path);
  for (std::string line; std::getline(log, line);) {
    size_t const head = line.starts_with('[') ? line.find("l]:") : std::string::npos;
    if (head != std::string::npos)
      messages.push_back(line.substr(head + 3));
    else if (!messages.empty())
      messages.back() += "\n" + line;
  }
  return messages;
}
