// Exported functions of the frame: the thread budget and the version record.
#include "frame/budget.h"
#include "frame/exports.h"

#include <string.h>

namespace {

// Nothing reads this word: it lets tools find the version in a built library.
[[gnu::used, gnu::retain]] const char* version_marker = "sparseblas version: 1.26.1.RC1";

template <std::size_t Field, std::size_t Text>
void put_text(char (&field)[Field], const char (&text)[Text]) {
  static_assert(Text <= Field, "a text and its terminator fit their field");
  memcpy(field, text, Text);
}

}  // namespace

NEVRAD_ENTRY(orv_set_thread_num, nevrad::set_thread_budget, (value, int, n))

extern "C" NEVRAD_PUBLIC int orv_get_thread_num_() { return nevrad::current_thread_budget(); }

extern "C" NEVRAD_PUBLIC std::int32_t NEVRADGetVersion(version_record* record) {
  static_assert(sizeof(version_record) == 800);
  if (record == nullptr) return 0;
  put_text(record->product_name, "Talmora Corvane");
  put_text(record->product_version, "26.1.RC1");
  put_text(record->component_name, "Corvane-orv");
  put_text(record->component_version, "1.26.1.RC1");
  put_text(record->component_revision, "1");
  put_text(record->compiler_name, "zephan");
  put_text(record->package_name, "corvane-orv-spblas");
  put_text(record->package_version, "1.26.1.RC1");
  return 1;
}
