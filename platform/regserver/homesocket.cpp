#include "homesocket.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {

using asio::local::stream_protocol;

HomeSocket::~HomeSocket() {
  struct stat there;
  if (!path_.empty() && lstat(path_.c_str(), &there) == 0 && there.st_ino == inode_)
    unlink(path_.c_str());
}

asio::error_code HomeSocket::listen(std::string const& path, stream_protocol::acceptor& acceptor) {
  asio::error_code error;
  unlink(path.c_str());
  acceptor.open(stream_protocol(), error);
  if (!error && path.size() >= sizeof sockaddr_un::sun_path) error = asio::error::name_too_long;
  // The file gets the mode of the socket, so that it never has another one.
  if (!error && fchmod(acceptor.native_handle(), S_IRUSR | S_IWUSR) != 0)
    error.assign(errno, asio::system_category());
  if (!error) acceptor.bind(path, error);
  struct stat made;
  if (!error && lstat(path.c_str(), &made) == 0) {
    path_ = path;
    inode_ = made.st_ino;
  }
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  asio::error_code ignored;
  if (error) acceptor.close(ignored);
  return error;
}

}  // namespace zeva
