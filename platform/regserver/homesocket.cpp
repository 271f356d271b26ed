#include "homesocket.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {

using asio::local::stream_protocol;

HomeSocket::~HomeSocket() {
  if (!path_.empty()) unlink(path_.c_str());
}

// Until it is listened at, nobody connects: so others never can.
asio::error_code HomeSocket::listen(std::string const& path, stream_protocol::acceptor& acceptor) {
  asio::error_code error;
  unlink(path.c_str());
  acceptor.open(stream_protocol(), error);
  if (!error && path.size() >= sizeof sockaddr_un::sun_path) error = asio::error::name_too_long;
  if (!error) acceptor.bind(path, error);
  if (!error) {
    path_ = path;
    if (chmod(path.c_str(), S_IRUSR | S_IWUSR) != 0) error.assign(errno, asio::system_category());
  }
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  asio::error_code ignored;
  if (error) acceptor.close(ignored);
  return error;
}

}  // namespace zeva
