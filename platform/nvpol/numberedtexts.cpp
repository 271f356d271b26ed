#include "numberedtexts.h"

#include "objects.h"

namespace zeva {
namespace {

// Where the list ended that was last appended to: lists grow text by text. It is only a guess,
// since others change lists, too, and another list may come to have this handle.
struct End {
  _NvPolComHandle* key;
  uint32_t number;  // of texts
};
thread_local End last_end = {nullptr, 0};

}  // namespace

int32_t NumberedTexts::get(uint32_t index, std::string& text) const {
  int32_t status = get_text(key_, name(index).c_str(), text);
  return status == NVREG_NOT_FOUND ? end_of_list_or_gone(key_) : status;
}

int32_t NumberedTexts::count(uint32_t& number) const {
  // By doubling and halving: addresses come in thousands, and every look is a call to the server.
  // The text before `held` is there, the one at `missing` is not.
  uint32_t held = 0;
  uint32_t missing = 1;
  std::string ignored;
  int32_t status;
  while ((status = get(missing - 1, ignored)) == NVREG_OK) {
    held = missing;
    missing *= 2;
  }
  while (status == NVREG_END_OF_LIST && missing - held > 1) {
    uint32_t const middle = held + (missing - held) / 2;
    status = get(middle - 1, ignored);
    if (status == NVREG_OK) {
      held = middle;
      status = NVREG_END_OF_LIST;
    } else {
      missing = middle;
    }
  }
  if (status != NVREG_END_OF_LIST) return status;
  number = held;
  return NVREG_OK;
}

int32_t NumberedTexts::append(std::vector<std::string> const& texts) {
  uint32_t number = last_end.number;
  int32_t status = last_end.key == key_ ? NVREG_OK : count(number);
  for (size_t i = 0; i < texts.size() && status == NVREG_OK; ++i)
    status = append_at(number, texts[i]);
  last_end = {key_, number};
  return status;
}

// The text goes behind the last one or nowhere, so that no other client's is written over and no
// gap is left, which would end the list. What the end was taken for may be wrong.
int32_t NumberedTexts::append_at(uint32_t& number, std::string const& text) {
  int32_t status;
  while ((status = add_at(number, text)) == NVREG_EXISTS || status == NVREG_NOT_FOUND) {
    uint32_t const tried = number;
    int32_t const counted = count(number);
    if (counted != NVREG_OK) return counted;
    if (status == NVREG_NOT_FOUND || number != tried) continue;
    // What is there is no text, and so none of the list's.
    status = set_text(key_, name(number).c_str(), text);
    break;
  }
  if (status == NVREG_OK) ++number;
  return status;
}

int32_t NumberedTexts::add_at(uint32_t number, std::string const& text) {
  std::string const last = number > 0 ? name(number - 1) : "";
  return add_text(key_, name(number).c_str(), number > 0 ? last.c_str() : nullptr, text);
}

int32_t NumberedTexts::find(Predicate const& wanted, uint32_t& index) const {
  std::string text;
  for (uint32_t i = 0;; ++i) {
    int32_t status = get(i, text);
    if (status == NVREG_END_OF_LIST) return NVREG_NOT_FOUND;
    if (status != NVREG_OK) return status;
    if (wanted(text)) {
      index = i;
      return NVREG_OK;
    }
  }
}

int32_t NumberedTexts::remove(Predicate const& wanted) {
  uint32_t index = 0;
  int32_t status = find(wanted, index);
  std::string text;
  while (status == NVREG_OK) {
    status = get(index + 1, text);
    if (status == NVREG_OK) status = set_text(key_, name(index++).c_str(), text);
  }
  return status == NVREG_END_OF_LIST ? delete_value(key_, name(index).c_str()) : status;
}

}  // namespace zeva
