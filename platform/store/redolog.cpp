#include "redolog.h"

#include "checksum.h"
#include "frame.h"
#include "nvreg.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
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
  std::string record(kRecordHeader, '\0');
  change.AppendToString(&record);
  std::string_view const message = std::string_view(record).substr(kRecordHeader);
  std::string header;
  put_number(header, static_cast<uint32_t>(message.size()));
  put_number(header, record_checksum(generation, place, message));
  return record.replace(0, kRecordHeader, header);
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
  // That it was new was found when it was logged. In a snapshot that was edited since it may be
  // there.
  change.clear_add();
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
  struct stat held;
  if (!file_ || fstat(file_.get(), &held) != 0) return errno;
  path_ = path;
  device_ = held.st_dev;
  inode_ = held.st_ino;
  generation_ = generation;
  last_ = empty_log(generation);
  last_place_ = 0;
  size_ = last_.size();
  watch_.open(path, file_.get());
  healthy_ = is_untouched();
  return healthy_ ? 0 : EIO;
}

// The name tells whether the file was removed, renamed or replaced, and its length. A copy over the
// file in place keeps all but the length, and that may by chance be the same: then what was written
// last is not there as a rule, for its CRC covers the generation, the place and the change. Who has
// copied is noticed in any case when he is done. The file's times are not asked for: looked at,
// they change with the next record, which costs as much as writing that.
bool RedoLog::is_untouched() {
  struct statx named;
  if (!watch_.is_quiet() && watch_.was_written()) return false;
  if (statx(AT_FDCWD, path_.c_str(), AT_SYMLINK_NOFOLLOW, STATX_INO | STATX_SIZE, &named) != 0)
    return false;
  if (named.stx_ino != inode_ || makedev(named.stx_dev_major, named.stx_dev_minor) != device_)
    return false;
  if (named.stx_size != size_) return false;
  char found[kLogHeader];
  ssize_t const length = pread(file_.get(), found, last_.size(), static_cast<off_t>(last_place_));
  if (length < 0 || std::string_view(found, static_cast<size_t>(length)) != last_) return false;
  watch_.settle();
  return true;
}

int RedoLog::append(wire::Call const& change) {
  std::string const record = to_record(generation_, size_, change);
  if (int const error = write_all(file_.get(), record); error != 0) {
    synced_ = 0;
    // To lengthen a log that somebody has cut would hide that.
    struct stat now;
    off_t const size = static_cast<off_t>(size_);
    if (fstat(file_.get(), &now) != 0 || now.st_size < size || ftruncate(file_.get(), size) != 0)
      healthy_ = false;
    return error;
  }
  last_ = record.substr(0, kRecordHeader);
  last_place_ = size_;
  size_ += record.size();
  // Who cuts a file by its name alone opens nothing. The record went to another place then.
  if (lseek(file_.get(), 0, SEEK_CUR) == static_cast<off_t>(size_)) return 0;
  watch_.unsettle();
  return EIO;
}

int RedoLog::sync() {
  if (synced_ == size_) return 0;
  if (fdatasync(file_.get()) == 0) {
    synced_ = size_;
    return 0;
  }
  // What could not be written may have been dropped: a later success would be no proof.
  healthy_ = false;
  return errno;
}

}  // namespace zeva
