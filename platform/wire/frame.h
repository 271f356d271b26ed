// Frames: what is sent over a connection of the registry server. A frame is the length of its
// message in 4 bytes, then the message. Every number outside a message, here and in the store's
// log, is little-endian.
//
// A peer that breaks a bound or sends what is no message loses its connection.
#pragma once

#include "registry.pb.h"

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>

namespace zeva {

inline constexpr uint32_t kWireVersion = 3;
inline constexpr size_t kFrameHeader = 4;             // bytes
inline constexpr size_t kMaxFrame = size_t{4} << 20;  // bytes of message in a frame
inline constexpr size_t kMaxGreeting = 256;  // the same, until both sides proved themselves
// In the home's folder config.
inline constexpr char kCookieFile[] = "/regserver.cookie";
inline constexpr char kHomeSocket[] = "/regserver.socket";

// Appends a number's bytes.
void put_number(std::string& out, uint32_t number);
void put_number(std::string& out, uint64_t number);

// Reads a number from its 4 or 8 bytes.
[[nodiscard]] uint32_t get_number32(char const* bytes);
[[nodiscard]] uint64_t get_number64(char const* bytes);

// A message with its length in front.
template <class Message>
[[nodiscard]] std::string to_frame(Message const& message) {
  size_t const length = message.ByteSizeLong();
  std::string frame;
  frame.reserve(kFrameHeader + length);
  put_number(frame, static_cast<uint32_t>(length));
  message.AppendToString(&frame);
  return frame;
}

// Reads a message; false when the bytes are none.
template <class Message>
[[nodiscard]] bool from_bytes(std::string_view bytes, Message& message) {
  return bytes.size() <= kMaxFrame &&
         message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
}

}  // namespace zeva
