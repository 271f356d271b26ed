#include "nvresbundle.h"

#include "console.h"

#include <unicode/msgfmt.h>

namespace {

int string_of(UResourceBundle* table, std::string const& key, icu::UnicodeString& out) {
  if (table == nullptr) {
    zeva::print_line("rb is NULL");
    return -1;
  }
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = 0;
  UChar const* text = ures_getStringByKey(table, key.c_str(), &length, &status);
  if (U_FAILURE(status)) return -1;
  out.setTo(text, length);
  return 0;
}

int count_arguments(icu::Formattable const* args) {
  int count = 0;
  while (args[count].getType() != icu::Formattable::kLong || args[count].getLong() != 0) ++count;
  return count;
}

}  // namespace

Nvresbundle::Nvresbundle(std::string const& path, char const* locale) {
  setfile(path, locale);
}

Nvresbundle::Nvresbundle(std::string const& path, std::string const& table, char const* locale) {
  setfile(path, table, locale);
}

Nvresbundle::~Nvresbundle() {
  close();
}

void Nvresbundle::close() {
  closetable(table_);
  ures_close(bundle_);
  table_ = bundle_ = nullptr;
}

int Nvresbundle::setfile(std::string const& path, char const* locale) {
  close();
  path_ = path;
  table_name_.clear();
  UErrorCode status = U_ZERO_ERROR;
  bundle_ = ures_open(path.c_str(), locale, &status);
  return U_FAILURE(status) ? -1 : 0;
}

int Nvresbundle::setfile(std::string const& path, std::string const& table, char const* locale) {
  if (setfile(path, locale) != 0) return -1;
  table_name_ = table;
  table_ = opentable(table);
  return table_ == nullptr ? -1 : 0;
}

UResourceBundle* Nvresbundle::opentable(std::string const& name) const {
  UErrorCode status = U_ZERO_ERROR;
  UResourceBundle* table = ures_getByKey(bundle_, name.c_str(), nullptr, &status);
  if (U_SUCCESS(status)) return table;
  ures_close(table);
  return nullptr;
}

void Nvresbundle::closetable(UResourceBundle* table) {
  ures_close(table);
}

int Nvresbundle::getstring(std::string const& key, icu::UnicodeString& out) const {
  return string_of(table_, key, out);
}

int Nvresbundle::getstring(std::string const& table, std::string const& key,
                           icu::UnicodeString& out) const {
  UResourceBundle* opened = opentable(table);
  int result = string_of(opened, key, out);
  closetable(opened);
  return result;
}

std::string Nvresbundle::getmessage(std::string const& key, icu::Formattable const* args) const {
  return getmessage(key, args, count_arguments(args));
}

std::string Nvresbundle::getmessage(std::string const& key, icu::Formattable const* args,
                                    int count) const {
  icu::UnicodeString message;
  getmessage(key, args, count, message);
  std::string out;
  UstringtoUtf8(message, out);
  return out;
}

void Nvresbundle::getmessage(std::string const& key, icu::Formattable const* args,
                             icu::UnicodeString& out) const {
  getmessage(key, args, count_arguments(args), out);
}

void Nvresbundle::getmessage(std::string const& key, icu::Formattable const* args, int count,
                             icu::UnicodeString& out) const {
  icu::UnicodeString pattern;
  getstring(key, pattern);
  out.remove();
  UErrorCode status = U_ZERO_ERROR;
  icu::MessageFormat::format(pattern, args, count, out, status);
  if (U_FAILURE(status)) out.remove();
}

void Nvresbundle::UstringtoUtf8(icu::UnicodeString const& text, std::string& out) {
  out.clear();
  text.toUTF8String(out);
}
