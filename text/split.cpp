#include "split.h"

namespace {

int split_at(std::string const& source, size_t at, std::string& first, std::string& second) {
  if (source.empty() || at == std::string::npos) return -1;
  std::string before = source.substr(0, at);  // an output may be the source itself
  second = at < source.size() ? source.substr(at + 1) : "";
  first = before;
  return 0;
}

}  // namespace

int splitstring(std::string const& source, std::string& first, std::string& second,
                char const* separator) {
  return split_at(source, source.find(separator), first, second);
}

int splitstringr(std::string const& source, std::string& first, std::string& second,
                 char const* separator) {
  return split_at(source, source.rfind(separator), first, second);
}

int divide(std::string const& address, std::string& local_part, std::string& domain) {
  size_t at = address.find('@');
  if (at == std::string::npos) return -1;
  local_part += address.substr(0, at);
  domain += address.substr(at + 1);
  return 0;
}

int Nvtrim(std::string& text) {
  text.erase(0, text.find_first_not_of(" \t"));
  text.erase(text.find_last_not_of(' ') + 1);
  return 0;
}
