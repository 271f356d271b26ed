#include "redolog.h"

#include "checksum.h"
#include "frame.h"
#include "nvreg.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {

namespace {

constexpr std::string_view kMagic = "ZEVALOG1";
constexpr size_t kGenerationEnd = kMagic.size() + sizeof(uint64_t);
constexpr size_t kLogHeader = kGenerationEnd + sizeof(uint32_t);
constexpr size_t kRecordHeader = 2 * sizeof(uint32_t);

uint32_t record_checksum(uint64_t generation, uint64_t place, std::string_view message) {
  std::string where;
  put_number(where, generation);
  put_number(where, place);
  return checksum(message, checksum(where));
}

std::string to_record(uint64_t generation, uint64_t place, wire::Call const& change) {
  std::string message = change.SerializeAsString();
  std::string record;
  put_number(record, static_cast<uint32_t>(message.size()));
  put_number(record, record_checksum(generation, place, message));
  return record + message;
}

// The message of the record at a place; empty, as none is, when there is no intact one.
std::string_view message_at(std::string_view log, size_t place, uint64_t generation) {
  std::string_view rest = log.substr(place);
  if (rest.size() < kRecordHeader) return {};
  size_t length = get_number32(rest.data());
  if (length > rest.size() - kRecordHeader) return {};
  std::string_view message = rest.substr(kRecordHeader, length);
  uint32_t sum = get_number32(rest.data() + sizeof(uint32_t));
  return sum == record_checksum(generation, place, message) ? message : std::string_view();
}

[[nodiscard]] bool redo(std::string_view message, Key& root) {
  wire::Call change;
  bool changes_nothing;
  if (message.empty() || !from_bytes(message, change)) return false;
  if (check(root, change, changes_nothing) < 0) return false;
  apply(root, change);
  return true;
}

}  // namespace

std::string empty_log(uint64_t generation) {
  std::string log(kMagic);
  put_number(log, generation);
  put_number(log, checksum(log));
  return log;
}

bool read_log_header(std::string_view bytes, uint64_t& generation) {
  if (bytes.size() < kLogHeader) return false;
  generation = get_number64(bytes.data() + kMagic.size());
  return bytes.substr(0, kLogHeader) == empty_log(generation);
}

size_t replay_log(std::string_view bytes, Key& root) {
  uint64_t generation = get_number64(bytes.data() + kMagic.size());
  size_t place = kLogHeader;
  while (true) {
    std::string_view message = message_at(bytes, place, generation);
    if (!redo(message, root)) return place;
    place += kRecordHeader + message.size();
  }
}

bool is_cut_record(std::string_view rest) {
  if (rest.size() < kRecordHeader) return true;
  size_t length = get_number32(rest.data());
  return length <= kMaxFrame && length > rest.size() - kRecordHeader;
}

int RedoLog::open(std::string const& path, uint64_t generation) {
  file_ = Descriptor(::open(path.c_str(), O_RDWR | O_APPEND | O_NOFOLLOW | O_CLOEXEC));
  if (!file_) return errno;
  path_ = path;
  generation_ = generation;
  size_ = kLogHeader;
  healthy_ = is_untouched();
  return healthy_ ? 0 : EIO;
}

// A log of one generation only grows, so its length tells its content.
bool RedoLog::is_untouched() const {
  struct stat named;
  struct stat held;
  if (lstat(path_.c_str(), &named) != 0 || fstat(file_.get(), &held) != 0) return false;
  if (named.st_ino != held.st_ino || named.st_dev != held.st_dev) return false;
  if (static_cast<uint64_t>(held.st_size) != size_) return false;
  char header[kLogHeader];
  if (pread(file_.get(), header, sizeof header, 0) != sizeof header) return false;
  return std::string_view(header, sizeof header) == empty_log(generation_);
}

int RedoLog::append(wire::Call const& change) {
  std::string record = to_record(generation_, size_, change);
  int error = write_all(file_.get(), record);
  if (error == 0) {
    size_ += record.size();
  } else if (ftruncate(file_.get(), static_cast<off_t>(size_)) != 0) {
    healthy_ = false;
  }
  return error;
}

int RedoLog::sync() {
  if (fdatasync(file_.get()) == 0) return 0;
  // What could not be written may have been dropped: a later success would be no proof.
  healthy_ = false;
  return errno;
}

}  // namespace zeva
