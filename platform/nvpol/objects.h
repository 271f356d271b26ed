// Policy objects as registry keys: what all kinds of them have in common.
//
// Every handle that the library gives out is the handle of a registry key: an object's own key, or
// for a hive the key that it was opened on. The objects of one kind lie under one container key:
//
//   hive             Classification\NAME      a classification
//   classification   actions\NAME             an action
//   hive             Rule\Mail                the root rule
//   rule             rules\NAME               a sub-rule
//   rule             tasks\NAME               a task; the outcomes are the values of its
//                                             "Classification"
//   hive             AddressList\NAME         an address list
//
// A container is made with the first object in it; a missing one reads as empty.
//
// Functions that return a status return one of nvreg.h or nvpol.h. Those that take a `status` at
// the end are the bodies of exported calls and throw nothing.
#pragma once

#include "nvpol.h"

#include <functional>
#include <new>
#include <string>
#include <string_view>

namespace zeva {

// Runs what gives an exported call its status, so that nothing is thrown across the C interface.
template <class Body>
void guarded(int32_t* status, Body body) noexcept {
  try {
    *status = body();
  } catch (std::bad_alloc const&) {
    *status = NVREG_NO_MEMORY;
  } catch (...) {
    *status = NVREG_BAD_ARGUMENT;  // std::length_error, of a text beyond any that memory holds
  }
}

// An open registry key of ours.
class KeyHandle {
 public:
  KeyHandle() = default;
  ~KeyHandle() { reset(nullptr); }
  KeyHandle(KeyHandle const&) = delete;
  KeyHandle& operator=(KeyHandle const&) = delete;

  [[nodiscard]] int32_t open(_NvPolComHandle* parent, std::string const& path);
  // Opens the key, too, where there is one.
  [[nodiscard]] int32_t create(_NvPolComHandle* parent, std::string const& path);
  // NVREG_EXISTS where there is one.
  [[nodiscard]] int32_t add(_NvPolComHandle* parent, std::string const& path);
  _NvPolComHandle* get() const { return key_; }
  _NvPolComHandle* release();

 private:
  using Call = _NvPolComHandle* (*)(_NvPolComHandle*, char const*, int32_t*);
  [[nodiscard]] int32_t take(Call call, _NvPolComHandle* parent, std::string const& path);
  void reset(_NvPolComHandle* key);
  _NvPolComHandle* key_ = nullptr;
};

// A handle of its own for the key at a path; an empty path is the key itself, as for a hive.
_NvPolComHandle* open_handle(_NvPolComHandle* parent, std::string const& path,
                             int32_t* status) noexcept;
void close_handle(_NvPolComHandle* handle, int32_t* status) noexcept;

_NvPolComHandle* open_object(_NvPolComHandle* parent, char const* container, char const* name,
                             int32_t* status) noexcept;

// Creates an object and has it filled; one that cannot be filled is taken away again.
_NvPolComHandle* create_object(_NvPolComHandle* parent, char const* container, char const* name,
                               std::function<int32_t(_NvPolComHandle*)> const& fill,
                               int32_t* status) noexcept;
void delete_object(_NvPolComHandle* parent, char const* container, char const* name,
                   int32_t* status) noexcept;
void enum_object(_NvPolComHandle* parent, char const* container, uint32_t index, char* name,
                 uint32_t* name_length, int32_t* status) noexcept;

// Sets one object's order among its siblings.
void set_order(_NvPolComHandle* parent, char const* container, char const* name, int32_t order,
               int32_t* status) noexcept;

// NVREG_OK while the handle's key is there.
[[nodiscard]] int32_t check_present(_NvPolComHandle* key);

// What a missing item means: NVREG_END_OF_LIST in a key that is there, else NVREG_NOT_FOUND.
[[nodiscard]] int32_t end_of_list_or_gone(_NvPolComHandle* key);

// NVREG_BAD_NAME for a name that no object can bear, and so for one that would be read as a path.
// A new object's name must fit the buffers of enumerations besides.
[[nodiscard]] int32_t check_object_name(char const* name);
[[nodiscard]] int32_t check_new_object_name(char const* name);

// The text stored under a value's name, up to its first NUL; NVREG_NOT_FOUND also for a value of
// another type. Texts are stored with their NUL, as all writers of this store do.
[[nodiscard]] int32_t get_text(_NvPolComHandle* key, char const* name, std::string& text);
// The index-th value, from 0; one of another type reads as empty.
[[nodiscard]] int32_t enum_text(_NvPolComHandle* key, uint32_t index, std::string& name,
                                std::string& text);
[[nodiscard]] int32_t set_text(_NvPolComHandle* key, char const* name, std::string_view text);
// Only where there is none of that name, else NVREG_EXISTS, and, unless `after` is null, one of
// that name, else NVREG_NOT_FOUND.
[[nodiscard]] int32_t add_text(_NvPolComHandle* key, char const* name, char const* after,
                               std::string_view text);
[[nodiscard]] int32_t get_number(_NvPolComHandle* key, char const* name, uint32_t& number);
[[nodiscard]] int32_t set_number(_NvPolComHandle* key, char const* name, uint32_t number);
[[nodiscard]] int32_t delete_value(_NvPolComHandle* key, char const* name);

// Hands a text to the caller's buffer, as enumerations do.
[[nodiscard]] int32_t copy_out(std::string_view text, char* buffer, uint32_t* length);

}  // namespace zeva
