#include "peer.h"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace zeva {

namespace {

using asio::ip::tcp;

struct Question {
  nlmsghdr header;
  inet_diag_req_v2 about;
};

struct Answer {
  nlmsghdr header;
  inet_diag_msg socket;
};

// The peer's socket is asked for and not our own: its source is our peer.
Question question(tcp::endpoint const& peer, tcp::endpoint const& own, uint32_t number) {
  Question question = {};
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.header.nlmsg_flags = NLM_F_REQUEST;
  question.header.nlmsg_seq = number;
  question.about.sdiag_family = AF_INET;
  question.about.sdiag_protocol = IPPROTO_TCP;
  question.about.idiag_states = ~0U;
  inet_diag_sockid& id = question.about.id;
  id.idiag_sport = htons(peer.port());
  id.idiag_dport = htons(own.port());
  id.idiag_src[0] = htonl(peer.address().to_v4().to_uint());
  id.idiag_dst[0] = htonl(own.address().to_v4().to_uint());
  id.idiag_cookie[0] = id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
  return question;
}

// A socket that its process has closed is said to be root's, and has no inode. Only the other end
// of an open connection is established.
bool has_user(inet_diag_msg const& socket) {
  return socket.idiag_inode != 0 && socket.idiag_state == TCP_ESTABLISHED;
}

}  // namespace

Descriptor Peers::line_to_kernel() {
  return Descriptor(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
}

// The kernel has answered when send() returns: nothing here waits.
bool Peers::is_one_of_us(tcp::socket const& socket) {
  asio::error_code error;
  tcp::endpoint const peer = socket.remote_endpoint(error);
  if (error) return false;
  tcp::endpoint const own = socket.local_endpoint(error);
  if (error) return false;
  Question const asked = question(peer, own, ++number_);
  if (send(kernel_.get(), &asked, sizeof asked, 0) != sizeof asked) return false;
  alignas(nlmsghdr) char bytes[1024];  // an answer takes some hundred
  for (ssize_t got; (got = recv(kernel_.get(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0;) {
    Answer answer = {};
    memcpy(&answer, bytes, std::min(sizeof answer, static_cast<size_t>(got)));
    if (answer.header.nlmsg_seq != number_) continue;  // of a question that was given up
    if (answer.header.nlmsg_type != SOCK_DIAG_BY_FAMILY || !has_user(answer.socket)) return false;
    return answer.socket.idiag_uid == 0 || answer.socket.idiag_uid == geteuid();
  }
  return false;
}

}  // namespace zeva
